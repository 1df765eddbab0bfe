// SPDX-License-Identifier: Apache-2.0
#include "tools/cli/leftover_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <ctime>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "base/proc_file.h"
#include "zafoldap/debug.h"

namespace zafo::cli {

namespace {

// A name such as "PREFIX PID SEPARATOR NUMBER SUFFIX"; without a separator there is no number.
struct Pattern {
    std::string_view prefix;
    std::string_view separator;
    std::string_view suffix;
    mode_t type;
};

constexpr Pattern kTemporaryFiles[] = {{"", "_", ".ldif", S_IFREG},
                                       {"ldapsearch.err.", ".", "", S_IFREG}};
constexpr Pattern kMountPoints[] = {{"zafoldaphomefolder.", "", "", S_IFDIR}};

// Anyone can fill "/tmp", and starting a program must not take long because of that. More names
// than these can at worst keep a leftover file from being found.
constexpr int kMaxNames = 200'000;
constexpr int kMaxMatches = 10'000;

// A file that seems older than a process by less than this may still be its own: the kernel's times
// are coarse.
constexpr time_t kDoubt = 2;

bool Take(std::string_view &text, std::string_view word) {
    if (!text.starts_with(word)) return false;
    text.remove_prefix(word.size());
    return true;
}

// A number as the library writes it: no leading zeros.
std::optional<int> TakeNumber(std::string_view &text) {
    int number = -1;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    const size_t digits = static_cast<size_t>(parsed.ptr - text.data());
    if (parsed.ec != std::errc() || number < 0 || (text[0] == '0' && digits > 1)) return {};
    text.remove_prefix(digits);
    return number;
}

std::optional<pid_t> ProcessOf(std::string_view name, const Pattern &pattern) {
    if (!Take(name, pattern.prefix)) return {};
    const std::optional<int> pid = TakeNumber(name);
    if (!pid || *pid == 0) return {};
    if (!pattern.separator.empty() && (!Take(name, pattern.separator) || !TakeNumber(name)))
        return {};
    return name == pattern.suffix ? pid : std::nullopt;
}

bool IsLeftOver(const struct stat &status, pid_t pid) {
    if (kill(pid, 0) != 0 && errno == ESRCH) return true;
    const std::optional<time_t> start = StartTimeOf(pid);
    return start && status.st_ctime + kDoubt < *start;
}

void RemoveIfLeftOver(int folder, const char *name, mode_t type, pid_t pid) {
    struct stat status {};
    if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return;
    if ((status.st_mode & S_IFMT) != type || status.st_uid != geteuid()) return;
    if (IsLeftOver(status, pid)) unlinkat(folder, name, type == S_IFDIR ? AT_REMOVEDIR : 0);
}

void RemoveFrom(const char *path, std::span<const Pattern> patterns) {
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(opendir(path), closedir);
    if (folder == nullptr) return;
    int matches = 0;
    for (int names = 0; names < kMaxNames && matches < kMaxMatches; ++names) {
        const dirent *entry = readdir(folder.get());
        if (entry == nullptr) return;
        for (const Pattern &pattern : patterns) {
            const std::optional<pid_t> pid = ProcessOf(entry->d_name, pattern);
            if (!pid) continue;
            ++matches;
            RemoveIfLeftOver(dirfd(folder.get()), entry->d_name, pattern.type, *pid);
        }
    }
}

}  // namespace

void RemoveLeftoverFiles() {
    if (ZAFOLDAPDebugEnabled() != 0) return;
    RemoveFrom("/tmp", kTemporaryFiles);
    if (geteuid() == 0) RemoveFrom("/", kMountPoints);
}

}  // namespace zafo::cli
