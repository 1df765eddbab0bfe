// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/missing_configuration.h"

#include "platform/crypt.h"
#include "platform/file.h"
#include "platform/szhash.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/problem.h"
#include "tools/restore/durable_file.h"
#include "tools/zafoldapbackup/configuration_copy.h"
#include "tools/zafoldapserver/server_paths.h"

#include <unistd.h>

#include <fmt/format.h>

#include <array>
#include <cstring>
#include <memory>

namespace zafo::backup {

namespace {

constexpr int kPairs = 64;
constexpr std::size_t kLongestPassword = 1024;
constexpr const char *kPasswordKey = "bindpw";

using Pairs = std::unique_ptr<QLIBSZHASH, decltype(&QLIBCSzHashFree)>;

bool Exists(const std::string &path) {
    return access(path.c_str(), F_OK) == 0;
}

std::optional<std::string> CopyOf(const Contents &backup, std::string_view member) {
    const std::string *text = backup.Config(member);
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

// The pairs of a section of a file; nothing when there is none.
Pairs SectionOf(const std::string &file, const char *section) {
    Pairs pairs(QLIBCSzHashAlloc(kPairs), QLIBCSzHashFree);
    if (pairs && QLIBCFileGetSection(file.c_str(), section, pairs.get()) < 1) pairs.reset();
    return pairs;
}

// A password is enciphered with a key that does not leave its machine.
bool CanDecipher(const Pairs &connection) {
    const char *cipher = QLIBCSzHashGetValue(connection.get(), kPasswordKey);
    if (cipher == nullptr) return true;
    std::array<char, kLongestPassword> clear{};
    const bool done = QLIBCryptSzDecrypt(cipher, clear.data(), clear.size()) == 0;
    explicit_bzero(clear.data(), clear.size());
    return done;
}

}  // namespace

MissingConfiguration::MissingConfiguration(const Contents &backup, std::string browser_conf)
    : browser_conf_(std::move(browser_conf)) {
    if (auto own = ReadConfiguration(cli::kSlapdConf)) {
        slapd_conf_ = std::move(*own);
        suffix_ = ConfiguredSuffix();
        return;
    }
    const auto copy = CopyOf(backup, kSlapdConfMember);
    if (!copy)
        throw Problem(Exit::kSystem,
                      fmt::format("there is no {}, and the backup has none either: set the "
                                  "server up first",
                                  cli::kSlapdConf));
    missing_ = true;
    slapd_conf_ = *copy;
    suffix_ = backup.manifest.suffix;
    if (!Exists(cli::kAccessRules)) rules_ = CopyOf(backup, kAccessRulesMember);
    connection_ = CopyOf(backup, kConnectionMember);
}

void MissingConfiguration::Install() {
    if (!missing_) return;
    if (rules_) InstallFile(cli::kAccessRules, *rules_);
    InstallFile(cli::kSlapdConf, slapd_conf_);
}

void MissingConfiguration::InstallFile(const std::string &path, const std::string &text) {
    installed_.push_back(path);
    WriteConfigurationDurably(path, text);
}

void MissingConfiguration::Uninstall() noexcept {
    for (const std::string &path : installed_)
        unlink(path.c_str());
    installed_.clear();
}

// Read through a file of its own, as any section is.
std::string MissingConfiguration::InstallConnection() {
    if (!connection_ || SectionOf(browser_conf_, cli::kOwnConnection)) return {};
    const std::string copy = browser_conf_ + ".restored";
    try {
        WriteDurably(copy, *connection_);
    } catch (const Problem &problem) {
        return problem.what();
    }
    const Pairs pairs = SectionOf(copy, cli::kOwnConnection);
    unlink(copy.c_str());
    unlink((copy + ".lock").c_str());
    if (!pairs ||
        QLIBCFileAddSection(browser_conf_.c_str(), cli::kOwnConnection, pairs.get(), 0) != 0)
        return "the saved connection \"root\" could not be restored";
    if (CanDecipher(pairs)) return {};
    return "the password of the saved connection \"root\" was enciphered on another machine and "
           "cannot be read "
           "here: set it again with zafoldap connection edit root --ask-password";
}

}  // namespace zafo::backup
