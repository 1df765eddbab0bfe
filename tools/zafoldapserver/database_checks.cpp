// SPDX-License-Identifier: Apache-2.0
//
// The checks of the database: its space, the pool of numbers, and who writes to it.
#include <sys/statvfs.h>

#include <cstdlib>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/appliance_paths.h"
#include "base/directives.h"
#include "tools/backup/destination.h"
#include "tools/cli/display_text.h"
#include "tools/cli/saved_connection.h"
#include "tools/zafoldapserver/enable_checks.h"
#include "tools/zafoldapserver/server_checks.h"

namespace zafo::cli {

namespace {

constexpr unsigned long long kWarnPercent = 80;
constexpr unsigned long long kLeastFreePercent = 5;
constexpr std::uint64_t kLeastFreeNumbersPercent = 5;

// back-mdb's own default.
constexpr unsigned long long kDefaultMaxSize = 10ULL << 20;

std::optional<CheckStep> JudgeFileSystem() {
    struct statvfs space {};
    const std::string folder = ExistingFolder(kDatabaseFolder);
    if (statvfs(folder.c_str(), &space) != 0 || space.f_blocks == 0) return std::nullopt;
    const auto percent = static_cast<unsigned long long>(space.f_bavail) * 100 / space.f_blocks;
    const unsigned long long left =
        static_cast<unsigned long long>(space.f_bavail) * space.f_frsize;
    if (percent >= kLeastFreePercent) return std::nullopt;
    return Warned(fmt::format("the file system of {} is nearly full: {} are left", kDatabaseFolder,
                              SizeInWords(left)),
                  "free space there: the server stops accepting changes when it is full");
}

CheckStep CheckPool(CheckedServer &checked, const NumberCensus DatabaseCensus::*kind,
                    std::string_view which) {
    if (!checked.census) return Skipped("the database cannot be read");
    return JudgePool((*checked.census).*kind, which);
}

}  // namespace

CheckStep JudgeSpace(unsigned long long used, unsigned long long limit) {
    const std::string cause =
        fmt::format("{} of at most {}", SizeInWords(used), SizeInWords(limit));
    if (used * 100 < limit * kWarnPercent) return Good(cause);
    return Warned("the database is nearly full: " + cause,
                  fmt::format("raise maxsize in {} and in {}, then zafoldapserver restart",
                              kSlapdTemplate, kSlapdConf));
}

CheckStep CheckDatabaseSpace(CheckedServer &) {
    if (std::optional<CheckStep> full = JudgeFileSystem()) return *full;
    const std::optional<std::uint64_t> used = backup::AllocatedSize(kDatabaseFile);
    if (!used) return Wrong("there is no database", "zafoldapserver enable creates it");
    const std::string limit = DirectiveOf(kSlapdConf, "maxsize");
    return JudgeSpace(*used,
                      limit.empty() ? kDefaultMaxSize : std::strtoull(limit.c_str(), nullptr, 10));
}

CheckStep JudgePool(const NumberCensus &numbers, std::string_view which) {
    if (!numbers.lowest || !numbers.highest)
        return Wrong(fmt::format("the directory has no pool of {} numbers", which),
                     "zafoldapserver enable adds what is missing");
    const std::string bounds = fmt::format("{} to {}", *numbers.lowest, *numbers.highest);
    if (*numbers.highest < *numbers.lowest)
        return Wrong(fmt::format("the limits make no sense: {}", bounds),
                     "correct cn=MinID and cn=MaxID below cn=zafoconf");
    const std::uint64_t size = *numbers.highest - *numbers.lowest + 1;
    const std::uint64_t left = size - numbers.UsedInPool();
    const std::string cause = fmt::format("{} of {} numbers are free, {}", left, size, bounds);
    const char *fix = "raise the highest number in cn=MaxID,cn=zafoconf, or delete accounts";
    if (left == 0) return Wrong("no number is left: " + cause, fix);
    if (left * 100 < size * kLeastFreeNumbersPercent)
        return Warned("the numbers are nearly used up: " + cause, fix);
    return Good(cause);
}

CheckStep CheckUidPool(CheckedServer &checked) {
    return CheckPool(checked, &DatabaseCensus::uids, "uid");
}

CheckStep CheckGidPool(CheckedServer &checked) {
    return CheckPool(checked, &DatabaseCensus::gids, "gid");
}

// The pool's counters are only safe with a single writable server.
CheckStep CheckWriters(CheckedServer &checked) {
    constexpr const char *kFix =
        "add accounts on only one server, or two of them may get the same number: zafoldap id "
        "check";
    const std::optional<Connection> saved = FindConnection(kOwnConnection);
    if (saved && saved->servers.size() > 1)
        return Warned(fmt::format("the saved connection \"root\" writes to several servers: {}",
                                  saved->Servers()),
                      kFix);
    if (!checked.census) return Skipped("the database cannot be read");
    if (checked.census->server_ids.size() > 1)
        return Warned(fmt::format("entries were written by several servers: {}",
                                  fmt::join(checked.census->server_ids, ", ")),
                      kFix);
    return Good("one server");
}

// Such an entry has its own password, which slapd would accept as the administrator's.
CheckStep CheckAdministratorDn(CheckedServer &checked) {
    if (!checked.census) return Skipped("the database cannot be read");
    const EntriesFound &found = checked.census->administrators;
    if (found.count == 0) return Good("no entry has the administrator's DN");
    return Wrong(
        fmt::format("the database has an entry with the administrator's DN, {}: anyone who knows "
                    "its password is the directory administrator",
                    OneLine(found.first)),
        fmt::format(
            "find out who made it (creatorsName), then delete it: zafoldap entry delete '{}'",
            OneLine(found.first)));
}

CheckStep JudgePasswords(const DatabaseCensus &census) {
    struct Row {
        const EntriesFound &found;
        const char *what;
        const char *fix;
    };
    const Row rows[] = {{census.clear_passwords, "have a password in clear text",
                         "set it again, which stores a hash"},
                        {census.costly_passwords,
                         "have a password hash that would take long to check; they cannot log in",
                         "set the password again"},
                        {census.several_passwords, "have several passwords",
                         "set the password again, which leaves one"}};
    std::string cause;
    std::string fix;
    for (const Row &row : rows) {
        if (row.found.count == 0) continue;
        cause += fmt::format("{}{} accounts {} (the first: {})", cause.empty() ? "" : "; ",
                             row.found.count, row.what, OneLine(row.found.first));
        if (fix.empty()) fix = fmt::format("{}: zafoldap user passwd NAME", row.fix);
    }
    return cause.empty() ? Good("every stored password is one hash of moderate cost")
                         : Warned(cause, fix);
}

CheckStep CheckPasswords(CheckedServer &checked) {
    if (!checked.census) return Skipped("the database cannot be read");
    return JudgePasswords(*checked.census);
}

}  // namespace zafo::cli
