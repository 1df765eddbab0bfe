// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/missing_configuration.h"

#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/ldap.h"
#include "platform/szhash.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/entry_scan.h"
#include "tools/backup/problem.h"
#include "tools/restore/durable_file.h"
#include "tools/zafoldapbackup/configuration_copy.h"
#include "tools/zafoldapserver/server_paths.h"
#include "zafoldap/connection.h"
#include "zafoldap/server.h"

#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <system_error>

namespace zafo::backup {

namespace {

constexpr int kPairs = 64;
constexpr std::size_t kLongestPassword = 1024;
constexpr std::size_t kLongestValue = 4096;
constexpr std::size_t kLongestDn = 1023;  // the library's buffers
constexpr std::size_t kLongestHash = 512;
constexpr const char *kPasswordKey = "bindpw";

using Pairs = std::unique_ptr<QLIBSZHASH, decltype(&QLIBCSzHashFree)>;

// A folder of this process's own for texts that are only looked at; goes with its owner.
class WorkFolder {
  public:
    WorkFolder() {
        if (mkdtemp(path_.data()) == nullptr)
            throw RootProblem("cannot create a folder in /tmp", errno);
    }
    ~WorkFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;

    std::string Path(const char *name) const { return path_ + "/" + name; }

    // The path of a new file with that text.
    std::string Write(const char *name, std::string_view text) const {
        WriteDurably(Path(name), text);
        return Path(name);
    }

  private:
    std::string path_ = "/tmp/zafoldapbackup.XXXXXX";
};

bool Exists(const std::string &path) {
    return access(path.c_str(), F_OK) == 0;
}

std::optional<std::string> CopyOf(const Contents &backup, std::string_view member) {
    const std::string *text = backup.Config(member);
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::string ValueIn(const std::string &path, const char *key) {
    std::array<char, kLongestValue> value{};
    const int found = ZAFOLDAPInfoGetFromConf(path.c_str(), key, value.data(), value.size());
    return found == 1 ? value.data() : "";
}

void Set(const Pairs &pairs, const char *key, const std::string &value) {
    if (QLIBCSzHashSetValue(pairs.get(), key, value.c_str()) != 0) throw std::bad_alloc();
}

// What the server of this machine is configured with.
std::string FromTemplate(const WorkFolder &work, const std::string &suffix,
                         const std::string &admin_dn, const std::string &hash) {
    const Pairs pairs(QLIBCSzHashAlloc(kPairs), QLIBCSzHashFree);
    if (!pairs) throw std::bad_alloc();
    Set(pairs, "suffix", suffix);
    Set(pairs, "rootdn", admin_dn);
    if (!hash.empty()) Set(pairs, "rootpw", hash);
    const std::string path = work.Path("made.conf");
    if (ZAFOLDAPConfSet(path.c_str(), cli::kSlapdTemplate, pairs.get(), 0) != 0)
        throw Problem(Exit::kSystem,
                      fmt::format("cannot make a configuration from {}", cli::kSlapdTemplate));
    return ReadConfiguration(path).value_or("");
}

std::string RulesFor(const WorkFolder &work, const std::string &suffix) {
    ZAFOLDAP_SERVER_PARAM settings{};
    settings.szSuffix = suffix.c_str();
    const std::string path = work.Path("made-acls.conf");
    const auto rules = ZAFOLDAPServerWriteACL(path.c_str(), &settings) == 0
                           ? ReadConfiguration(path)
                           : std::nullopt;
    if (!rules || rules->empty())
        throw Problem(Exit::kSystem, "the access rules cannot be written to " + path);
    return *rules;
}

// The administrator is below the suffix.
bool IsAdminOf(const std::string &admin_dn, const std::string &suffix) {
    return IsPlainDn(admin_dn) && ComparableDn(admin_dn).ends_with("," + ComparableDn(suffix));
}

// Directives with the lines that continue them, blanks made one each.
std::set<std::string> DirectivesIn(std::string_view text) {
    std::set<std::string> found;
    std::string current;
    const auto take = [&] {
        if (!current.empty() && current.front() != '#') found.insert(current);
        current.clear();
    };
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.empty() || std::isspace(static_cast<unsigned char>(line.front())) == 0) take();
        for (const char c : line) {
            const bool blank = std::isspace(static_cast<unsigned char>(c)) != 0;
            if (!blank || (!current.empty() && current.back() != ' ')) current += blank ? ' ' : c;
        }
        if (!current.empty() && current.back() != ' ') current += ' ';
    }
    take();
    return found;
}

bool IsGiven(const std::string &key) {
    constexpr std::array kGiven = {"suffix", "rootdn", "rootpw"};
    return std::ranges::any_of(
        kGiven, [&](const char *given) { return strcasecmp(key.c_str(), given) == 0; });
}

// The pairs of a section of a file; nothing when there is none.
Pairs SectionOf(const std::string &file, const char *section) {
    Pairs pairs(QLIBCSzHashAlloc(kPairs), QLIBCSzHashFree);
    if (pairs && QLIBCFileGetSection(file.c_str(), section, pairs.get()) < 1) pairs.reset();
    return pairs;
}

// A password that was saved, enciphered with a key that does not leave its machine. Wiped with its owner.
class SavedPassword {
  public:
    explicit SavedPassword(const std::string &connections) {
        const WorkFolder work;
        const Pairs pairs =
            SectionOf(work.Write("connections.conf", connections), cli::kOwnConnection);
        const char *cipher = pairs ? QLIBCSzHashGetValue(pairs.get(), kPasswordKey) : nullptr;
        known_ = cipher != nullptr && QLIBCryptSzDecrypt(cipher, clear_.data(), clear_.size()) == 0;
    }
    ~SavedPassword() { explicit_bzero(clear_.data(), clear_.size()); }
    SavedPassword(const SavedPassword &) = delete;
    SavedPassword &operator=(const SavedPassword &) = delete;

    // nullptr: it cannot be deciphered here.
    const char *Clear() const { return known_ ? clear_.data() : nullptr; }

  private:
    std::array<char, kLongestPassword> clear_{};
    bool known_ = false;
};

}  // namespace

bool IsPlainDn(std::string_view dn) {
    if (dn.empty() || dn.ends_with(',') || dn.size() > kLongestDn ||
        dn.find_first_of("\"\\()*[];+#<>") != dn.npos)
        return false;
    if (std::ranges::any_of(dn, [](unsigned char c) { return c < ' ' || c == 0x7F; })) return false;
    while (!dn.empty()) {
        const std::string_view rdn = dn.substr(0, dn.find(','));
        const std::size_t equals = rdn.find('=');
        if (equals == rdn.npos || equals == 0 || equals + 1 == rdn.size()) return false;
        dn.remove_prefix(std::min(rdn.size() + 1, dn.size()));
    }
    return true;
}

bool IsPasswordHash(std::string_view text) {
    constexpr std::array kSchemes = {"{CRYPT}", "{SSHA}", "{SHA}", "{SMD5}", "{MD5}"};
    constexpr std::string_view kCharacters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789./$=,+-_";
    if (text.size() > kLongestHash) return false;
    for (const std::string_view scheme : kSchemes) {
        if (text.size() > scheme.size() &&
            strncasecmp(text.data(), scheme.data(), scheme.size()) == 0)
            return text.find_first_not_of(kCharacters, scheme.size()) == text.npos;
    }
    return false;
}

std::vector<std::string> DifferingDirectives(std::string_view text, std::string_view other) {
    const std::set<std::string> ones = DirectivesIn(text);
    const std::set<std::string> others = DirectivesIn(other);
    std::vector<std::string> differing;
    std::ranges::set_symmetric_difference(ones, others, std::back_inserter(differing));
    std::vector<std::string> keys;
    for (const std::string &directive : differing) {
        const std::string key =
            OneLine(directive.substr(0, std::min<std::size_t>(directive.find(' '), 40)));
        if (!IsGiven(key) && std::ranges::find(keys, key) == keys.end()) keys.push_back(key);
    }
    return keys;
}

MissingConfiguration::MissingConfiguration(const Contents &backup, std::string browser_conf)
    : browser_conf_(std::move(browser_conf)) {
    if (auto own = ReadConfiguration(cli::kSlapdConf)) {
        slapd_conf_ = std::move(*own);
        suffix_ = ConfiguredSuffix();
        admin_dn_ = ValueIn(cli::kSlapdConf, "rootdn");
        return;
    }
    missing_ = true;
    MakeFrom(backup);
    connection_ = CopyOf(backup, kConnectionMember);
}

void MissingConfiguration::MakeFrom(const Contents &backup) {
    const auto copy = CopyOf(backup, kSlapdConfMember);
    if (!copy)
        throw Problem(
            Exit::kSystem,
            fmt::format("there is no {}, and the backup has none either: set up the server first",
                        cli::kSlapdConf));
    const WorkFolder work;
    const std::string saved = work.Write("saved.conf", *copy);
    suffix_ = backup.manifest.suffix;
    admin_dn_ = ValueIn(saved, "rootdn");
    std::string hash = ValueIn(saved, "rootpw");
    if (!IsPlainDn(suffix_) || !IsAdminOf(admin_dn_, suffix_))
        throw Problem(Exit::kSystem,
                      "the suffix or the administrator's DN of the backup cannot be used in a "
                      "configuration: set up the server first");
    if (!IsPasswordHash(hash)) {
        hash.clear();
        notes_.push_back(
            "the administrator's password in the backup is not a hash and was not used: enabling "
            "the server sets one");
    }
    slapd_conf_ = FromTemplate(work, suffix_, admin_dn_, hash);
    const std::vector<std::string> differing = DifferingDirectives(*copy, slapd_conf_);
    if (!differing.empty())
        notes_.push_back(fmt::format("slapd.conf was rewritten; that of the backup differs in {}",
                                     fmt::join(differing, ", ")));
    const std::string rules = RulesFor(work, suffix_);
    const auto saved_rules = CopyOf(backup, kAccessRulesMember);
    if (saved_rules && *saved_rules != rules)
        notes_.emplace_back("the access rules were rewritten; those of the backup differ");
    if (!Exists(cli::kAccessRules)) rules_ = rules;
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

std::string MissingConfiguration::InstallConnection() {
    if (!connection_ || SectionOf(browser_conf_, cli::kOwnConnection)) return {};
    try {
        const SavedPassword password(*connection_);
        ZAFOLDAP_SERVER_PARAM settings{};
        settings.szSuffix = suffix_.c_str();
        settings.szRootDN = admin_dn_.c_str();
        settings.szRootPW = password.Clear();
        if (ZAFOLDAPBrowserConfSetByServerParam(&settings) != 0)
            return "the saved connection \"root\" could not be restored";
        if (password.Clear() != nullptr) return {};
    } catch (const Problem &problem) {
        return problem.what();
    }
    return "the password of the saved connection \"root\" was enciphered on another machine and "
           "cannot be read "
           "here: set it again with zafoldap connection edit root --ask-password";
}

}  // namespace zafo::backup
