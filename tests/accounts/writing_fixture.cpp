// SPDX-License-Identifier: Apache-2.0
#include "tests/accounts/writing_fixture.h"

#include <sys/resource.h>

#include <csignal>
#include <fstream>

#include "platform/crypt.h"

namespace zafo::accounts_test {

namespace {

constexpr const char *kGoldenFolder = "/mnt/src/tests/accounts/golden/";

char *Pointer(Text &text) {
    return text ? text->data() : nullptr;
}

}  // namespace

Person Anna() {
    return {.password = "secret",
            .full_name = "Anna Smith",
            .home = "/homes/anna",
            .shell = "/bin/bash",
            .expire = 20000,
            .disallow = 1,
            .mail = "anna@example.com"};
}

Person Nobody() {
    return {.name = {}, .uid = UID_ERR, .gid = GID_ERR};
}

UserRecord::UserRecord(Person person) : ZAFOUSER{}, texts_(std::move(person)) {
    szName = Pointer(texts_.name);
    szPasswd = Pointer(texts_.password);
    pw_uid = texts_.uid;
    pw_gid = texts_.gid;
    szFullname = Pointer(texts_.full_name);
    pw_dir = Pointer(texts_.home);
    pw_shell = Pointer(texts_.shell);
    nExpire = texts_.expire;
    blDisallowChangePasswd = texts_.disallow;
    szMail = Pointer(texts_.mail);
}

GroupRecord::GroupRecord(const Text &name, uint32_t gid, const std::optional<Texts> &members)
    : ZAFOGROUP{}, name_(name), members_(members.value_or(Texts{})) {
    szName = Pointer(name_);
    nGid = gid;
    for (std::string &member : members_)
        pointers_.push_back(member.data());
    pointers_.push_back(nullptr);
    pszMembers = members ? pointers_.data() : nullptr;
}

Golden::Golden(const std::string &file) {
    std::ifstream in(kGoldenFolder + file);
    EXPECT_TRUE(in.is_open()) << file;
    std::string *section = nullptr;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("# ")) {
            const auto [place, is_new] = sections_.try_emplace(line.substr(2));
            EXPECT_TRUE(is_new) << line;
            section = &place->second;
        } else if (section != nullptr) {
            section->append(line).append("\n");
        }
    }
    for (auto &[title, text] : sections_) {
        if (text.ends_with("\n\n")) text.pop_back();
        if (text == "\n") text.clear();
    }
}

std::string Golden::Take(const std::string &title) {
    const auto found = sections_.find(title);
    if (found == sections_.end()) return "(no such title: " + title + ")";
    std::string text = std::move(found->second);
    sections_.erase(found);
    return Replaced(text, "878D8014606CDA29677A44EFA1353FC7", NtHashOfSecret());
}

Texts Golden::Left() const {
    Texts titles;
    for (const auto &[title, text] : sections_)
        titles.push_back(title);
    return titles;
}

std::string Frozen(const std::string &ldif, time_t start) {
    std::string frozen = ldif;
    const time_t end = std::time(nullptr);
    const auto freeze = [&](const std::string &attribute, time_t unit, const char *token) {
        for (time_t value = start / unit; value <= end / unit; ++value) {
            const std::string line = "\n" + attribute + ": ";
            frozen = Replaced(frozen, line + std::to_string(value) + "\n", line + token + "\n");
        }
    };
    freeze("shadowLastChange", 86400, "TODAY");
    freeze("sambaPwdLastSet", 1, "NOW");
    return frozen;
}

std::string Replaced(std::string text, const std::string &what, const std::string &with) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
    return text;
}

std::string NtHashOfSecret() {
    char hash[33] = "";
    const int earlier = QLIBCErrGet();
    QLIBSmbNtEncrypt("secret", hash, sizeof hash);
    QLIBCErrSet(earlier);
    return hash;
}

WritingTest::WritingTest() {
    host_.szBindDN = "cn=admin,dc=example,dc=com";
    host_.szBindPasswd = "geheim";
    host_.szLoginSuffix = "example.com";
}

void WritingTest::Answer(const std::string &ldif) {
    tools_.On("ldapsearch").IgnoreSignals().Output(ldif);
}

void WritingTest::Prepare(const std::vector<Step> &steps, size_t failing, int code) {
    tools_.Reset();
    for (size_t i = 0; i < steps.size(); ++i) {
        rig::FakeScript script = tools_.On(steps[i].tool);
        if (i != failing) {
            script.IgnoreSignals().Output(steps[i].output);
        } else if (code == 0) {
            script.Die(SIGKILL);
        } else {
            script.Exit(code);
        }
    }
    log_.Clear();
    SetStaleCodes();
}

namespace {

// An outcome's log lines when the tool exited with `code`; 0: was killed.
Texts ExpectedTexts(const Outcome &outcome, const std::string &tool, int code, int platform_code) {
    Texts texts = outcome.logged;
    if (code == 0 && tool == "ldapmodify") {
        texts.insert(texts.begin(), "ldapmodify terminate abnormal 9");
    }
    const int ldap_code = code == 0 ? kStaleLdapCode : code;
    char platform[16];
    snprintf(platform, sizeof platform, "[0x%04X]", static_cast<unsigned>(platform_code));
    for (std::string &text : texts) {
        text = Replaced(text, "$KEY", ZAFOLDAPErrGetString(ldap_code, nullptr));
        text = Replaced(text, "$CODE", std::to_string(ldap_code));
        text = Replaced(text, "$ERR", std::to_string(code == 0 ? 128 + SIGKILL : code));
        text = Replaced(text, "[0x1234]", platform);
    }
    return texts;
}

}  // namespace

void WritingTest::ExpectOutcomes(const std::vector<Step> &steps,
                                 const std::vector<Outcome> &outcomes,
                                 const std::function<int()> &operation) {
    ASSERT_EQ(steps.size(), outcomes.size());
    for (size_t i = 0; i < steps.size(); ++i) {
        for (const int code : {0, 1, 16, 20, 32, 49, 50, 53, 68, 80}) {
            const Outcome &outcome = outcomes[i];
            if (code == outcome.except) continue;
            SCOPED_TRACE(testing::Message()
                         << "step " << i << ", " << steps[i].tool << ", " << code);
            Prepare(steps, i, code);
            EXPECT_EQ(operation(), outcome.result);
            const int platform_code = QLIBCErrGet();
            // On a platform without NT hashes the slot says so.
            if (platform_code != QLIB_ERR_NOT_SUPPORTED || !NtHashOfSecret().empty()) {
                EXPECT_EQ(platform_code, kStalePlatformCode);
            }
            EXPECT_EQ(ZAFOLDAPErrGet(), outcome.ldap.value_or(code == 0 ? kStaleLdapCode : code));
            EXPECT_EQ(tools_.Calls().size(), outcome.tools);
            EXPECT_EQ(LoggedTexts(), ExpectedTexts(outcome, steps[i].tool, code, platform_code));
        }
    }
}

void WritingTest::ExpectNothingSentFromAFullDisk(const std::function<int()> &operation) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit little{65'536, before.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &little);
    const int result = operation();
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(result, -1);
    ExpectSlots(kStaleLdapCode, 0x0B00);
    EXPECT_THAT(Changes(), IsEmpty());
}

Texts WritingTest::Commands() const {
    Texts commands;
    for (const rig::FakeCall &call : tools_.Calls()) {
        std::string command = call.tool;
        for (size_t i = 1; i < call.argv.size(); ++i)
            command.append(" ").append(call.files.contains(call.argv[i]) ? "FILE" : call.argv[i]);
        commands.push_back(command);
    }
    return commands;
}

Texts WritingTest::Changes() const {
    Texts changes;
    for (const rig::FakeCall &call : tools_.Calls()) {
        for (const auto &[path, file] : call.files)
            changes.push_back(file.content);
    }
    return changes;
}

std::string WritingTest::LastChange() const {
    const Texts changes = Changes();
    return changes.empty() ? "(no change)" : changes.back();
}

void WritingTest::ExpectSlots(int ldap_code, int platform_code) {
    EXPECT_EQ(ZAFOLDAPErrGet(), ldap_code);
    EXPECT_EQ(QLIBCErrGet(), platform_code);
}

std::string SearchCommand(const std::string &base, const std::string &rest) {
    return "ldapsearch -LLL -x -H ldap://server -D cn=admin,dc=example,dc=com -w geheim -b " +
           base + (rest.empty() ? "" : " ") + rest;
}

std::string ModifyCommand() {
    return "ldapmodify -x -H ldap://server -D cn=admin,dc=example,dc=com -f FILE -w geheim";
}

std::string PasswdCommand(const std::string &password, const std::string &dn) {
    return "ldappasswd -x -H ldap://server -D cn=admin,dc=example,dc=com -w geheim -s " + password +
           " " + dn;
}

std::string HashCommand(const std::string &password) {
    return "slappasswd -h {CRYPT} -s " + password + " -c $1$%.2s";
}

}  // namespace zafo::accounts_test
