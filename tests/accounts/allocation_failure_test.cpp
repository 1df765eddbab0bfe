// SPDX-License-Identifier: Apache-2.0
//
// The calls of the account functions.
#include "tests/core/allocation_failure.h"

#include "tests/accounts/allocation_failure_reading.h"
#include "tests/accounts/home_fixture.h"

namespace zafo::core_test {
namespace {

void Answer(rig::FakeTools &tools, std::initializer_list<const char *> answers) {
    for (const char *ldif : answers)
        tools.On("ldapsearch").IgnoreSignals().Output(ldif);
}

void ScriptHash(rig::FakeTools &tools) {
    tools.On("slappasswd").IgnoreSignals().Output("{CRYPT}$1$ab$digest\n");
}

void RunEncryptPasswd(Outcome &outcome) {
    char hash[64] = "";
    outcome.result = ZAFOLDAPEncryptPasswd("secret", hash, sizeof hash);
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note("%s", hash);
}

void RunPasswd(Outcome &outcome) {
    outcome.result = ZAFOLDAPPasswd(&kHost, "uid=ann,dc=a", "new");
    FailingAllocator::StopFailing();
}

void ScriptCounter(rig::FakeTools &tools) {
    Answer(tools, {"dn: cn=c\nuidNumber: 41\n\n"});
}

void RunAtomicIncr(Outcome &outcome) {
    uint64_t value = 0;
    outcome.result = ZAFOLDAPAtomicIncr(&kHost, "cn=c", "uidNumber", &value, nullptr, nullptr);
    FailingAllocator::StopFailing();
    outcome.Note("%d", static_cast<int>(value));
}

// An unreadable bound is not a failure, but the following answers then belong to other questions:
// they contain no number.
void ScriptPool(rig::FakeTools &tools) {
    Answer(tools, {"dn: cn=MinID\nuidNumber: 1000\n\n", "dn: cn=MaxID\nuidNumber: 2000\n\n",
                   "dn: cn=CurID\nuidNumber: 1500\n\n", "dn: uid=somebody\n\n",
                   "dn: uid=a\nuidNumber: 1500\n\ndn: uid=b\nuidNumber: 1501\n\n"});
}

void RunUIDGen(Outcome &outcome) {
    outcome.result = ZAFOLDAPSambaUIDGen(&kHost);
    FailingAllocator::StopFailing();
}

void ScriptDomain(rig::FakeTools &tools) {
    Answer(tools, {"dn: sambaDomainName=example\nsambaSID: S-1-5-21-1-2-3\n\n",
                   "dn: sambaDomainName=example\nsambaSID: S-1-5-21-1-2-3\n\n",
                   "dn: sambaDomainName=example\nsambaNextUserRid: 1000\n\n"});
}

void RunSIDGen(Outcome &outcome) {
    char sid[64] = "";
    outcome.result = ZAFOLDAPSambaSIDGen(&kHost, sid, sizeof sid);
    FailingAllocator::StopFailing();
    outcome.Note("%s", sid);
}

void ScriptNumbers(rig::FakeTools &tools) {
    Answer(tools, {"dn: uid=a\nuidNumber: 5000\n\ndn: uid=b\nuidNumber: 70\n\n"});
}

void RunSuggestUid(Outcome &outcome) {
    outcome.result = ZAFOLDAPBrowserSuggestUid(&kHost);
    FailingAllocator::StopFailing();
}

void ScriptContexts(rig::FakeTools &tools) {
    Answer(tools, {"dn:\nnamingContexts: dc=a\nnamingContexts: dc=b\n\n"});
}

void RunSuggestBaseDN(Outcome &outcome) {
    QLIBSZLIST *list = nullptr;
    InOrder(
        outcome, [&] { return (list = QLIBCSzListAlloc(1)) != nullptr ? 0 : -1; },
        [&] { return ZAFOLDAPBrowserSuggestBaseDN(&kHost, &list); });
    FailingAllocator::StopFailing();
    if (outcome.result == 0) outcome.Note(list);
    QLIBCSzListFree(list);
}

constexpr const char *kHomes = "/var/lib/exports/server/homes";

// When memory runs out for good, umount(8) cannot be run; whatever stays mounted is logged, and
// unmounted here.
void EndHomes(Outcome &outcome, const char *folder) {
    FailingAllocator::StopFailing();
    const std::string point = test::Exports::MountPoint();
    if (std::filesystem::exists(point)) ZAFOLDAPNFSUMount();
    if (std::filesystem::exists(point)) outcome.result = -99;
    struct stat status {};
    const bool made = stat((std::string(kHomes) + folder).c_str(), &status) == 0;
    if (outcome.result == 0 && made) outcome.Note("%o", status.st_mode);
    std::filesystem::remove_all(std::string(kHomes) + "/ann");
}

void ScriptHome(rig::FakeTools &tools) {
    std::filesystem::create_directories(kHomes);
    Answer(tools, {"dn: cn=k\nautomountInformation: -fstype=nfs server:/homes/&\n\n"});
}

void RunHomeCreate(Outcome &outcome) {
    char name[] = "ann";
    ZAFOUSER user{};
    user.szName = name;
    outcome.result = ZAFOLDAPBrowserUserHomeCreate(&kHost, &user);
    EndHomes(outcome, "/ann");
}

void ScriptUsers(rig::FakeTools &tools) {
    std::filesystem::create_directories(kHomes);
    Answer(tools, {"dn: uid=ann\nuid: ann\n\n", "dn: uid=ann\nuid: ann\nuidNumber: 0\n\n"});
}

// A user whose folder cannot be created is skipped, so only the export is checked.
void RunHomeCreateAll(Outcome &outcome) {
    ZAFOLDAP_HOST host = kHost;
    host.szLoginSuffix = "example.com";
    outcome.result = ZAFOLDAPBrowserUserHomeCreateAll(&host, "server", "/homes");
    EndHomes(outcome, "");
}

const Calls &PasswordCalls() {
    static const std::vector<int> kStart = {0x0200, 0x0900};
    static const Calls kCalls = {
        {"EncryptPasswd", ScriptHash, RunEncryptPasswd, {-1}, kStart},
        {"Passwd",
         NoScript,
         RunPasswd,
         {-1},
         kStart,
         {kStaleLdapCode},
         {"Failed to alloc arg (Cannot allocate memory)"}},
    };
    return kCalls;
}

const Calls &NumberCalls() {
    static const std::vector<int> kStart = {0x0200, 0x0900};
    static const Calls kCalls = {
        {"AtomicIncr", ScriptCounter, RunAtomicIncr, {-1}, kStart},
        {"SambaUIDGen", ScriptPool, RunUIDGen, {-1}, kStart},
        {"SambaSIDGen", ScriptDomain, RunSIDGen, {-1}, kStart},
        {"BrowserSuggestUid", ScriptNumbers, RunSuggestUid, {-1}, kStart},
        {"BrowserSuggestBaseDN", ScriptContexts, RunSuggestBaseDN, {-1}, kStart},
    };
    return kCalls;
}

const Calls &HomeCalls() {
    static const std::vector<int> kCodes = {0x0200, 0x0900, 0x0B00};
    static const Calls kCalls = {
        {"BrowserUserHomeCreate", ScriptHome, RunHomeCreate, {-1}, kCodes},
        {"BrowserUserHomeCreateAll", ScriptUsers, RunHomeCreateAll, {-1}, kCodes},
    };
    return kCalls;
}

// Failing to generate a SID for lack of memory is not an error; it has its own row.
ZAFOLDAP_HOST WritingHost() {
    ZAFOLDAP_HOST host = kHost;
    host.szLoginSuffix = "example.com";
    host.nSchema = ~static_cast<unsigned>(ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT |
                                          ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING);
    return host;
}

char *Writable(const char *text) {
    return const_cast<char *>(text);  // records are read-only here
}

void RunUserCreate(Outcome &outcome) {
    const ZAFOLDAP_HOST host = WritingHost();
    ZAFOUSER user{};
    user.szName = Writable("ann");
    user.szPasswd = Writable("secret");
    outcome.result = ZAFOLDAPBrowserUserCreate(&host, &user, nullptr, nullptr);
    FailingAllocator::StopFailing();
    if (user.szPasswd == nullptr || std::strcmp(user.szPasswd, "secret") != 0) outcome.result = -99;
}

void RunGroupCreate(Outcome &outcome) {
    const ZAFOLDAP_HOST host = WritingHost();
    char *members[] = {Writable("ann"), nullptr};
    const ZAFOGROUP group{Writable("staff"), 1000, members, 0};
    outcome.result = ZAFOLDAPBrowserGroupCreate(&host, &group, "all", nullptr, nullptr);
    FailingAllocator::StopFailing();
}

constexpr const char *kAnnAnswer =
    "dn: uid=ann,dc=a\nobjectClass: posixAccount\nuid: ann\nuidNumber: 5\ncn: ann\n\n";
constexpr const char *kStaffAnswer = "dn: cn=staff,dc=a\ncn: staff\ngidNumber: 5\n\n";

void ScriptUserEdit(rig::FakeTools &tools) {
    ScriptHash(tools);
    Answer(tools, {kAnnAnswer, kAnnAnswer, "", "", kStaffAnswer});
}

void RunUserEdit(Outcome &outcome) {
    const ZAFOLDAP_HOST host = WritingHost();
    ZAFOUSER user{};
    user.szName = Writable("bob");
    user.szPasswd = Writable("secret");
    user.pw_uid = 6;
    user.pw_gid = GID_ERR;
    user.pw_shell = Writable("/bin/sh");
    outcome.result =
        ZAFOLDAPBrowserUserEdit(&host, "uid=ann,ou=people,dc=a", &user, nullptr, nullptr);
    FailingAllocator::StopFailing();
}

void ScriptGroupEdit(rig::FakeTools &tools) {
    Answer(tools, {kStaffAnswer, ""});
}

void RunGroupEdit(Outcome &outcome) {
    const ZAFOLDAP_HOST host = WritingHost();
    const unsigned gid = 6;
    outcome.result = ZAFOLDAPBrowserGroupEdit(&host, "cn=staff,dc=a", "crew", "all", &gid);
    FailingAllocator::StopFailing();
}

void ScriptDeleteUser(rig::FakeTools &tools) {
    Answer(tools, {kAnnAnswer, kStaffAnswer});
}

void RunDeleteUser(Outcome &outcome) {
    const ZAFOLDAP_HOST host = WritingHost();
    outcome.result = ZAFOLDAPBrowserDeleteUser(&host, "ann");
    FailingAllocator::StopFailing();
}

// What cannot be looked up for lack of memory counts as taken.
const Calls &WritingCalls() {
    static const std::vector<int> kCodes = {0x0200, 0x0900, 0x0B00};
    static const Calls kCalls = {
        {"BrowserUserCreate",
         ScriptHash,
         RunUserCreate,
         {-1},
         kCodes,
         {kStaleLdapCode, -65538, -65540}},
        {"BrowserGroupCreate",
         NoScript,
         RunGroupCreate,
         {-1},
         kCodes,
         {kStaleLdapCode, -65539, -65541}},
        {"BrowserUserEdit",
         ScriptUserEdit,
         RunUserEdit,
         {-1},
         kCodes,
         {kStaleLdapCode, -65538, -65540},
         {"out of memory"}},
        {"BrowserGroupEdit",
         ScriptGroupEdit,
         RunGroupEdit,
         {-1},
         kCodes,
         {kStaleLdapCode, -65539, -65541},
         {"out of memory"}},
        {"BrowserDeleteUser", ScriptDeleteUser, RunDeleteUser, {-1}, kCodes},
    };
    return kCalls;
}

// An account that cannot be copied for lack of memory is skipped: the test only checks that nothing
// leaks and that the call returns.
void ScriptLocalAccounts(rig::FakeTools &) {
    for (const auto &[file, line] :
         {std::pair{"/etc/passwd", "ann:x:2001:2001:Ann:/home/ann:/bin/sh\n"},
          {"/etc/shadow", "ann:$6$salt$digest:19000:0:99999:7:::\n"},
          {"/etc/group", "staff:x:2001:ann\n"}}) {
        const std::string text = ContentOf(file);
        const std::string name = std::string(line).substr(0, std::string(line).find(':') + 1);
        if (text.find("\n" + name) == std::string::npos) std::ofstream(file) << text << line;
    }
}

ZAFOLDAP_HOST MigratingHost() {
    ZAFOLDAP_HOST host = WritingHost();
    host.nSchema = ~0U & ~static_cast<unsigned>(ZAFOLDAP_CLASS_SAMBA_GROUP_MAPPING);
    return host;
}

template <int (*Migrate)(const ZAFOLDAP_HOST *)>
void RunMigration(Outcome &outcome) {
    const ZAFOLDAP_HOST host = MigratingHost();
    outcome.result = Migrate(&host);
    FailingAllocator::StopFailing();
}

void ScriptDirectoryUsers(rig::FakeTools &tools) {
    ScriptLocalAccounts(tools);
    ScriptHash(tools);
    Answer(tools, {"dn: uid=ann,dc=a\nuid: ann\n\n", kAnnAnswer});
}

void ScriptDirectoryGroups(rig::FakeTools &tools) {
    ScriptLocalAccounts(tools);
    Answer(tools, {"dn: cn=staff,dc=a\ncn: staff\n\n", kStaffAnswer});
}

const Calls &MigrationCalls() {
    static const std::vector<int> kCodes = {0x0200, 0x0900, 0x0A00, 0x0B00};
    static const Calls kCalls = {
        {"BrowserMigrateUserToLDAP",
         ScriptLocalAccounts,
         RunMigration<ZAFOLDAPBrowserMigrateUserToLDAP>,
         {-1},
         kCodes},
        {"BrowserMigrateGroupToLDAP",
         ScriptLocalAccounts,
         RunMigration<ZAFOLDAPBrowserMigrateGroupToLDAP>,
         {-1},
         kCodes},
        {"BrowserMigrateUserToLocal",
         ScriptDirectoryUsers,
         RunMigration<ZAFOLDAPBrowserMigrateUserToLocal>,
         {-1},
         kCodes},
        {"BrowserMigrateGroupToLocal",
         ScriptDirectoryGroups,
         RunMigration<ZAFOLDAPBrowserMigrateGroupToLocal>,
         {-1},
         kCodes},
    };
    return kCalls;
}

}  // namespace

const Calls &AllCalls() {
    static const Calls kCalls = [] {
        Calls all;
        for (const Calls *group : {&PasswordCalls(), &NumberCalls(), &HomeCalls(), &ReadingCalls(),
                                   &WritingCalls(), &MigrationCalls()})
            all.insert(all.end(), group->begin(), group->end());
        return all;
    }();
    return kCalls;
}

}  // namespace zafo::core_test
