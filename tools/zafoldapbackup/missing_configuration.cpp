// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/missing_configuration.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <set>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "base/directives.h"
#include "base/dn.h"
#include "base/server_account.h"
#include "base/work_folder.h"
#include "platform/crypt.h"
#include "platform/file.h"
#include "platform/ldap.h"
#include "platform/szhash.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/job_error.h"
#include "tools/restore/durable_file.h"
#include "tools/restore/server_probe.h"
#include "tools/zafoldapbackup/configuration_copy.h"
#include "zafoldap/connection.h"
#include "zafoldap/server.h"

namespace zafo::backup {

namespace {

constexpr int kPairs = 64;
constexpr std::size_t kLongestPassword = 1024;
constexpr std::size_t kLongestDn = 1023;  // size of the library's buffers
constexpr std::size_t kLongestHash = 512;
constexpr const char *kPasswordKey = "bindpw";

using Pairs = std::unique_ptr<QLIBSZHASH, decltype(&QLIBCSzHashFree)>;

// For texts that are only examined.
class TextFolder : public WorkFolder {
  public:
    TextFolder() : WorkFolder("zafoldapbackup") {
        if (Error() != 0) throw RootError("cannot create a folder in /tmp", Error());
    }

    // Writes the text to a new file and returns its path.
    std::string Write(const char *name, std::string_view text) const {
        WriteDurably(Path(name), text);
        return Path(name);
    }
};

std::optional<std::string> CopyOf(const Contents &backup, std::string_view member) {
    const std::string *text = backup.Config(member);
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

void Set(const Pairs &pairs, const char *key, const std::string &value) {
    if (QLIBCSzHashSetValue(pairs.get(), key, value.c_str()) != 0) throw std::bad_alloc();
}

// The configuration that this machine's template produces.
std::string FromTemplate(const WorkFolder &work, const std::string &suffix,
                         const std::string &admin_dn, const std::string &hash) {
    const Pairs pairs(QLIBCSzHashAlloc(kPairs), QLIBCSzHashFree);
    if (!pairs) throw std::bad_alloc();
    Set(pairs, "suffix", suffix);
    Set(pairs, "rootdn", admin_dn);
    if (!hash.empty()) Set(pairs, "rootpw", hash);
    const std::string path = work.Path("made.conf");
    if (ZAFOLDAPConfSet(path.c_str(), kSlapdTemplate, pairs.get(), 0) != 0)
        throw JobError(Exit::kSystem,
                       fmt::format("cannot make a configuration from {}", kSlapdTemplate));
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
        throw JobError(Exit::kSystem, "the access rules cannot be written to " + path);
    return *rules;
}

// Whether the administrator's DN is below the suffix.
bool IsAdminOf(const std::string &admin_dn, const std::string &suffix) {
    return IsPlainDn(admin_dn) && IsBelow(admin_dn, suffix);
}

// Keys and values, with blanks between words collapsed.
std::set<std::pair<std::string, std::string>> DirectivesIn(std::string_view text) {
    std::set<std::pair<std::string, std::string>> found;
    const Directives directives(text);
    for (const Directive &directive : directives.Lines()) {
        if (!directive.key.empty()) found.emplace(directive.key, directive.Squeezed());
    }
    return found;
}

bool IsGiven(std::string_view key) {
    constexpr std::array kGiven = {"suffix", "rootdn", "rootpw"};
    return std::ranges::any_of(kGiven,
                               [&](const char *given) { return EqualIgnoringCase(key, given); });
}

// The pairs in a section of a file; empty if there is none.
Pairs SectionOf(const std::string &file, const char *section) {
    Pairs pairs(QLIBCSzHashAlloc(kPairs), QLIBCSzHashFree);
    if (pairs && QLIBCFileGetSection(file.c_str(), section, pairs.get()) < 1) pairs.reset();
    return pairs;
}

// A saved password, encrypted with a key that never leaves its machine. Wiped on destruction.
class SavedPassword {
  public:
    explicit SavedPassword(const std::string &connections) {
        const TextFolder work;
        const Pairs pairs = SectionOf(work.Write("connections.conf", connections), kOwnConnection);
        const char *cipher = pairs ? QLIBCSzHashGetValue(pairs.get(), kPasswordKey) : nullptr;
        known_ = cipher != nullptr && QLIBCryptSzDecrypt(cipher, clear_.data(), clear_.size()) == 0;
    }
    ~SavedPassword() { explicit_bzero(clear_.data(), clear_.size()); }
    SavedPassword(const SavedPassword &) = delete;
    SavedPassword &operator=(const SavedPassword &) = delete;

    // nullptr: cannot be decrypted here.
    const char *Clear() const { return known_ ? clear_.data() : nullptr; }

  private:
    std::array<char, kLongestPassword> clear_{};
    bool known_ = false;
};

}  // namespace

bool IsPlainDn(std::string_view dn) {
    if (dn.size() > kLongestDn || dn.find_first_of("\"\\()*[];+#<>") != dn.npos ||
        std::ranges::any_of(dn, [](unsigned char c) { return c < ' ' || c == 0x7F; }))
        return false;
    const std::optional<std::vector<Rdn>> rdns = ParseDn(dn);
    return rdns && !rdns->empty() && std::ranges::none_of(*rdns, [](const Rdn &rdn) {
               return rdn.pairs.front().written.empty();
           });
}

bool IsPasswordHash(std::string_view text) {
    constexpr std::array kSchemes = {"{CRYPT}", "{SSHA}", "{SHA}", "{SMD5}", "{MD5}"};
    constexpr std::string_view kCharacters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789./$=,+-_";
    if (text.size() > kLongestHash) return false;
    for (const std::string_view scheme : kSchemes) {
        if (text.size() > scheme.size() && StartsWithIgnoringCase(text, scheme))
            return text.find_first_not_of(kCharacters, scheme.size()) == text.npos;
    }
    return false;
}

std::vector<std::string> DifferingDirectives(std::string_view text, std::string_view other) {
    const auto ones = DirectivesIn(text);
    const auto others = DirectivesIn(other);
    std::vector<std::pair<std::string, std::string>> differing;
    std::ranges::set_symmetric_difference(ones, others, std::back_inserter(differing));
    std::vector<std::string> keys;
    for (const auto &[name, value] : differing) {
        const std::string key = OneLine(name.substr(0, 40));
        if (!IsGiven(key) && std::ranges::find(keys, key) == keys.end()) keys.push_back(key);
    }
    return keys;
}

MissingConfiguration::MissingConfiguration(const Contents &backup, std::string browser_conf)
    : browser_conf_(std::move(browser_conf)) {
    if (auto own = ReadConfiguration(kSlapdConf)) {
        slapd_conf_ = std::move(*own);
        suffix_ = SuffixOf(kSlapdConf);
        admin_dn_ = DirectiveOf(kSlapdConf, "rootdn");
        return;
    }
    missing_ = true;
    MakeFrom(backup);
    connection_ = CopyOf(backup, kConnectionMember);
}

void MissingConfiguration::MakeFrom(const Contents &backup) {
    const auto copy = CopyOf(backup, kSlapdConfMember);
    if (!copy)
        throw JobError(
            Exit::kSystem,
            fmt::format("there is no {}, and the backup has none either: set up the server first "
                        "with zafoldapserver enable",
                        kSlapdConf));
    const TextFolder work;
    const std::string saved = work.Write("saved.conf", *copy);
    suffix_ = backup.manifest.suffix;
    admin_dn_ = DirectiveOf(saved, "rootdn");
    std::string hash = DirectiveOf(saved, "rootpw");
    if (!IsPlainDn(suffix_) || !IsAdminOf(admin_dn_, suffix_))
        throw JobError(Exit::kSystem,
                       "the suffix or the administrator's DN of the backup cannot be used in a "
                       "configuration: set up the server first with zafoldapserver enable");
    if (!IsPasswordHash(hash)) {
        hash.clear();
        notes_.push_back(
            "the administrator's password in the backup is not a hash and was not used: "
            "zafoldapserver enable sets a new one");
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
    if (access(kAccessRules, F_OK) != 0) rules_ = rules;
}

void MissingConfiguration::Install() {
    if (!missing_) return;
    if (rules_) InstallFile(kAccessRules, *rules_);
    InstallFile(kSlapdConf, slapd_conf_);
}

void MissingConfiguration::InstallFile(const std::string &path, const std::string &text) {
    installed_.push_back(path);
    WriteDurably(path, text, ServerGroup());
}

void MissingConfiguration::Uninstall() noexcept {
    for (const std::string &path : installed_)
        unlink(path.c_str());
    installed_.clear();
}

std::string MissingConfiguration::InstallConnection() {
    if (!connection_ || SectionOf(browser_conf_, kOwnConnection)) return {};
    try {
        const SavedPassword password(*connection_);
        ZAFOLDAP_SERVER_PARAM settings{};
        settings.szSuffix = suffix_.c_str();
        settings.szRootDN = admin_dn_.c_str();
        settings.szRootPW = password.Clear();
        if (ZAFOLDAPBrowserConfSetByServerParam(&settings) != 0)
            return "the saved connection \"root\" could not be restored";
        if (password.Clear() != nullptr) return {};
    } catch (const JobError &error) {
        return error.what();
    }
    return "the password of the saved connection \"root\" was enciphered on another machine and "
           "cannot be read here: set it again with zafoldap connection edit root --ask-password";
}

}  // namespace zafo::backup
