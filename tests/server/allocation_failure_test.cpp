// SPDX-License-Identifier: Apache-2.0
//
// Allocation failures in the server's functions.
#include "tests/core/allocation_failure.h"

#include <filesystem>

#include "platform/error.h"
#include "tests/rig/build.h"
#include "tests/rig/source_tree.h"
#include "tests/server/backup_fixture.h"
#include "tests/server/skeleton.h"

namespace zafo::core_test {
namespace {

namespace fs = std::filesystem;
using server_test::kConf;
using server_test::kData;
using server_test::kRules;
using server_test::kSkeleton;
using server_test::Write;

constexpr const char *kOther = "/var/tmp/rules.conf";

const ZAFOLDAP_SERVER_PARAM kParms = [] {
    ZAFOLDAP_SERVER_PARAM parms{};
    parms.szSuffix = "dc=example,dc=com";
    parms.szRootDN = "cn=admin";
    parms.szRootPW = "secret";
    return parms;
}();

constexpr const char *kOld = "old\n";

// The file holds the old text or the complete new one; after a success the new one. By default the
// new text is that of the access rules.
void EndWithFile(Outcome &outcome, const char *path, const char *new_text) {
    FailingAllocator::StopFailing();
    const std::string whole =
        new_text != nullptr ? new_text : server_test::GoldenFile("access_rules.conf");
    const std::string content = ContentOf(path);
    const bool old = content == kOld || content.empty();
    if (content != whole && (outcome.result == 0 || !old)) outcome.result = -99;
}

// Configuration ------------------------------------------------------------------------------

void ScriptConf(rig::FakeTools &tools) {
    tools.On("slappasswd").IgnoreSignals().Output("{CRYPT}$1$ab$digest\n");
    Write(server_test::kTemplate, "database mdb\nsuffix none\n");
    Write(kConf, kOld);
}

void RunConfSet(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerConfSet(&kParms);
    EndWithFile(outcome, kConf,
                "database mdb\nsuffix dc=example,dc=com\nrootdn cn=admin\n"
                "rootpw {CRYPT}$1$ab$digest\n");
}

void RunConfSetOne(Outcome &outcome) {
    outcome.result = ZAFOLDAPSlapdConfSetOne("suffix", "dc=example,dc=com");
    EndWithFile(outcome, kConf, "old\nsuffix dc=example,dc=com\n");
}

void ScriptRules(rig::FakeTools &) {
    for (const auto &entry : fs::directory_iterator("/usr/zafo/etc/openldap")) {
        if (entry.path().string().starts_with(std::string(kRules) + ".")) fs::remove(entry.path());
    }
    Write(kRules, kOld);
    fs::remove(kOther);
}

void RunRules(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerACLConfGen(&kParms);
    EndWithFile(outcome, kRules, nullptr);
}

void RunWriteACL(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerWriteACL(kOther, &kParms);
    EndWithFile(outcome, kOther, nullptr);
}

// Database -----------------------------------------------------------------------------------

void ScriptSkeleton(rig::FakeTools &tools) {
    server_test::MakeService();
    Write(kConf, "suffix dc=example,dc=com\n");
    tools.On("slapcat").IgnoreSignals();
    for (size_t i = 1; i < kSkeleton.size(); ++i)
        tools.On("slapcat").IgnoreSignals().Output(server_test::Found(kSkeleton[i]));
    tools.On("openssl").IgnoreSignals().Output("0000002a\n");
}

void RunDBCreate(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerDBCreate(&kParms);
    FailingAllocator::StopFailing();
}

void ScriptDomain(rig::FakeTools &tools) {
    server_test::MakeService();
    Write(kConf, "suffix dc=example,dc=com\n");
    tools.On("openssl").IgnoreSignals().Output("0000002a\n");
}

void RunDomainCreate(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerSambaDomainCreate("dc=example,dc=com", &kParms);
    FailingAllocator::StopFailing();
}

void ScriptReset(rig::FakeTools &) {
    server_test::MakeService();
    Write(server_test::kSettings, "settings\n");
    Write(kConf, "suffix dc=example,dc=com\n");
    Write(kRules, "old\n");
    Write(std::string(kData) + "/data.mdb", "x");
}

void RunReset(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerDBReset();
    FailingAllocator::StopFailing();
    outcome.Note("%d %d", fs::exists(std::string(kData) + "/data.mdb"), fs::exists(kRules));
}

void RunSlapadd(Outcome &outcome) {
    ZAFOLDAP_LDIF ldif{};
    InOrder(
        outcome, [&] { return ZAFOLDAPLdifInit(&ldif, nullptr); },
        [&] { return ZAFOLDAPLdifTargetDN(&ldif, "dc=example,dc=com"); },
        [&] { return ZAFOLDAPLdifAttr(&ldif, "dc", "%s", "example"); },
        [&] { return ZAFOLDAPServerSlapadd(&ldif); });
    FailingAllocator::StopFailing();
    ZAFOLDAPLdifClose(&ldif);
    ZAFOLDAPLdifUnlink(&ldif);
}

void ScriptEntry(rig::FakeTools &tools) {
    tools.On("slapcat").IgnoreSignals().Output(server_test::Found("dc=example,dc=com"));
}

void RunDNIsExist(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerDNIsExist("dc=example,dc=com");
    FailingAllocator::StopFailing();
}

// Service ------------------------------------------------------------------------------------

void ScriptRunning(rig::FakeTools &) {
    server_test::MakeService();
    EXPECT_EQ(QLIBServiceStart("ldap-server", 0), 0);
}

// A server that someone starts by hand immediately after it was stopped: the start finds it and
// does not wait for its pid file.
void ScriptStubborn(rig::FakeTools &) {
    server_test::MakeService(
        {.settings = "program=/usr/bin/sleep\n", .stopped = "exec /var/lib/ldap-server/start"});
    EXPECT_EQ(QLIBServiceStart("ldap-server", 0), 0);
}

void RunStart(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerStart();
    FailingAllocator::StopFailing();
}

void RunStop(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerStop();
    FailingAllocator::StopFailing();
}

void RunIsStarted(Outcome &outcome) {
    int pid = 0;
    outcome.result = ZAFOLDAPServerIsStarted(&pid);
    FailingAllocator::StopFailing();
    outcome.Note("%d", outcome.result == 1 && pid > 0);
}

void RunEnable(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerEnable(nullptr);
    FailingAllocator::StopFailing();
}

// Through a running server ---------------------------------------------------------------------

void ScriptAccounts(rig::FakeTools &tools) {
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&kHost, nullptr), 0);
    for (const char *ldif :
         {"dn: cn=zafoconf,dc=x\n\n", "dn:\nsubschemaSubentry: cn=Subschema\n\n",
          "dn: cn=Subschema\nobjectClasses: ( 1 NAME 'top' )\n\n", "dn: cn=somebody\n\n"})
        tools.On("ldapsearch").IgnoreSignals().Output(ldif);
    tools.On("ldapmodify").Exit(20);
}

void RunDefaultAdd(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerDefaultAdd();
    FailingAllocator::StopFailing();
}

void RunNode(Outcome &outcome) {
    outcome.result = ZAFOLDAPBrowserNodeCreate(&kHost, "staff");
    FailingAllocator::StopFailing();
}

void RunRootNode(Outcome &outcome) {
    outcome.result = ZAFOLDAPBrowserRootNodeCreate(&kHost);
    FailingAllocator::StopFailing();
}

// Backups ------------------------------------------------------------------------------------

constexpr const char *kBackup = "/var/lib/backup.tar.zst";

constexpr const char *kTask = "[backup]\nenabled=yes\nschedule=1,4,0,4,0,0\ndest_dir=/var/lib\n";

void ScriptTask(rig::FakeTools &) {
    Write(server_test::kBackupConf, kTask);
    Write(std::string(kData) + "/dn2id.bdb", "");
    Write(kBackup, "a backup");
    Write(server_test::kProgress, "operation=backup\ntask=backup\naction=reading\nstage=2\n");
    fs::remove(server_test::kConfLock);
}

void EndTask() {
    FailingAllocator::StopFailing();
    for (const std::string &path :
         {std::string(server_test::kConfLock), std::string(kData) + "/dn2id.bdb"})
        fs::remove(path);
}

// A section that cannot be read counts as missing, for whatever reason.
constexpr int kDefaults = 77;

void RunConfigGet(Outcome &outcome) {
    ZAFOLDAP_BACKUP_CONFIG config;
    outcome.result = ZAFOLDAPBackupConfigGet(&config, nullptr);
    EndTask();
    if (outcome.result == 0 && config.szDestDir == nullptr) {
        outcome.result = kDefaults;
    } else if (outcome.result == 0) {
        outcome.Note("%s %s %d", config.szTask, config.szDestDir, config.nMaxFile);
    }
    ZAFOLDAPBackupConfigFree(&config);
}

// The file holds the old settings or the complete new ones; after a success the new ones.
void RunConfigSet(Outcome &outcome) {
    ZAFOLDAP_BACKUP_CONFIG config{};
    config.blEnabled = 1;
    const int kDaily[] = {1, 4, 0, 4, 0, 0};
    std::copy(std::begin(kDaily), std::end(kDaily), config.schedule.rgField);
    config.nMaxFile = 5;
    outcome.result = ZAFOLDAPBackupConfigSet(&config);
    EndTask();
    const std::string now = ContentOf(server_test::kBackupConf);
    if (now != kTask + std::string("max_file=5\n") && (outcome.result == 0 || now != kTask))
        outcome.result = -99;
}

// Successful calls report the environment that the program saw.
void NoteEnvironment(Outcome &outcome, const rig::FakeTools &tools) {
    const std::vector<rig::FakeCall> calls = tools.Calls();
    if (calls.empty()) return;
    bool blDefaults = true;
    for (const std::string &variable : calls[0].environment) {
        outcome.Note("%s;", variable.c_str());
        blDefaults = blDefaults && !variable.starts_with("LDAP_BKP_DEST_DIR=");
    }
    if (blDefaults && calls[0].argv.size() == 1) outcome.result = kDefaults;
}

rig::FakeTools *g_tools = nullptr;

// The C library never frees a value that a variable once had.
void HaveTheDefaultsKept() {
    static bool kept = false;
    if (std::exchange(kept, true)) return;
    ZAFOLDAP_BACKUP_CONFIG defaults{};
    defaults.nMaxFile = 10;
    ZAFOLDAPServerBackupSetEnv(&defaults);
    for (const char *variable : {"LDAP_BROWSER_CONF", "LDAP_BKP_PROGRESS_FILE", "LDAP_BKP_PREFIX",
                                 "LDAP_BKP_SCHEDULE_ENABLED", "LDAP_BKP_MAX_BACKUP_FILE"})
        unsetenv(variable);
}

void ScriptRun(rig::FakeTools &tools) {
    HaveTheDefaultsKept();
    ScriptTask(tools);
    g_tools = &tools;
}

void RunBackup(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerBackup();
    EndTask();
    NoteEnvironment(outcome, *g_tools);
}

void RunRestore(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerRestore(kBackup);
    EndTask();
    NoteEnvironment(outcome, *g_tools);
}

void RunSchedule(Outcome &outcome) {
    outcome.result = ZAFOLDAPServerBackupSchedule(1);
    EndTask();
    const std::string table = ContentOf("/etc/cron.d/zafo");
    if (outcome.result == 0 && table.find(server_test::kCommand) == std::string::npos) {
        outcome.result = kDefaults;
    } else if (outcome.result == 0) {
        outcome.Note("%s", table.c_str());
    }
    fs::remove("/etc/cron.d/zafo");
}

// Without memory it cannot tell what is running.
void RunSetError(Outcome &outcome) {
    ZAFOLDAPServerBackupSetError(1);
    FailingAllocator::StopFailing();
    outcome.result = ZAFOLDAPErrGet();
    EndTask();
}

void RunProgressGet(Outcome &outcome) {
    ZAFOLDAP_PROGRESS progress;
    outcome.result = ZAFOLDAPServerProgressGet(&progress);
    EndTask();
    if (outcome.result == 1)
        outcome.Note("%s %s %s %d", progress.szOperation, progress.szTask, progress.szAction,
                     progress.nStage);
    ZAFOLDAPServerProgressFree(&progress);
}

}  // namespace

const Calls &AllCalls() {
    static const std::vector<int> kStart = {0x0200, 0x0900, 0x0B00};
    // Failing to open a file for writing may leave the slot alone.
    static const std::vector<int> kRulesCodes = {0x0200, 0x0900, kStalePlatformCode};
    static const std::vector<int> kServiceCodes = {0x0200, 0x0900, 0xD100, 0xD200,
                                                   kStalePlatformCode};
    static const std::vector<int> kAccountCodes = {kStaleLdapCode, 0, 32, -65541, -65540};
    static const Calls kCalls = {
        {"ServerConfSet", ScriptConf, RunConfSet, {-1}, kStart},
        {"SlapdConfSetOne", ScriptConf, RunConfSetOne, {-1}, kStart},
        {"ServerACLConfGen", ScriptRules, RunRules, {-1}, kRulesCodes},
        {"ServerWriteACL", ScriptRules, RunWriteACL, {-1}, kRulesCodes},
        {"ServerDBCreate", ScriptSkeleton, RunDBCreate, {-1}, kStart},
        {"ServerSambaDomainCreate", ScriptDomain, RunDomainCreate, {-1}, kStart},
        {"ServerDBReset", ScriptReset, RunReset, {-1}, kServiceCodes},
        {"ServerSlapadd", ScriptDomain, RunSlapadd, {-1}, kStart},
        {"ServerDNIsExist", ScriptEntry, RunDNIsExist, {0}, kStart},
        {"ServerStart", ScriptRunning, RunStart, {-1}, kServiceCodes},
        {"ServerStop", ScriptRunning, RunStop, {-1}, kServiceCodes},
        {"ServerIsStarted", ScriptRunning, RunIsStarted, {0}, kServiceCodes},
        {"ServerEnable", ScriptStubborn, RunEnable, {-1}, kServiceCodes},
        {"ServerDefaultAdd",
         ScriptAccounts,
         RunDefaultAdd,
         {-1},
         {0x0200, 0x0900, 0x0B00, 0x2200},
         kAccountCodes},
        {"BrowserNodeCreate", NoScript, RunNode, {-1}, kStart},
        {"BrowserRootNodeCreate", NoScript, RunRootNode, {-1}, kStart},
        {"BackupConfigGet", ScriptTask, RunConfigGet, {-1, kDefaults}, kStart},
        {"BackupConfigSet", ScriptTask, RunConfigSet, {-1}, kStart},
        {"ServerBackup", ScriptRun, RunBackup, {-1, kDefaults}, kStart, {kStaleLdapCode, -65536}},
        {"ServerRestore", ScriptRun, RunRestore, {-1}, kStart, {kStaleLdapCode, -65536}},
        {"ServerBackupSchedule", ScriptTask, RunSchedule, {-1, kDefaults}, kStart},
        {"ServerBackupSetError", ScriptTask, RunSetError, {-65542}, kStart, {-65542}},
        {"ServerProgressGet", ScriptTask, RunProgressGet, {-1, 0}, kStart},
    };
    return kCalls;
}

namespace {

TEST(AllocationFailureTable, HoldsEveryFunctionOfTheServer) {
    std::set<std::string> rows = {"ZAFOLDAPServerDBIsEmpty", "ZAFOLDAPBackupConfigFree",
                                  "ZAFOLDAPServerProgressFree",
                                  "ZAFOLDAPBackupIsValidDest"};  // allocate nothing
    // Never fails.
    rows.insert("ZAFOLDAPServerBackupSetEnv");
    for (const Call &call : AllCalls())
        rows.insert(std::string("ZAFOLDAP") + call.name);
    for (const auto &declaration : meta::ExportedDeclarations()) {
        const fs::path family = fs::path(declaration.header).stem();
        if (family == "server" || family == "backup") {
            EXPECT_TRUE(rows.contains(declaration.function)) << declaration.function;
        }
    }
}

class RulesAllocationFailure : public server_test::ServerTest {};

// Failing to create a stream is the only way in which a new temporary file cannot be written.
TEST_F(RulesAllocationFailure, FileThatCannotBeWrittenIsLogged) {
    if (rig::IsSanitized()) GTEST_SKIP() << "the sanitizer replaces the allocator";
    ZAFOLDAPServerACLConfGen(&kParms);  // allocations made once per process
    std::set<std::string> logged;
    for (long nth = 1; nth < 1000; ++nth) {
        ScriptRules(tools_);
        log_.Clear();
        FailingAllocator::Begin(nth, FailingAllocator::Mode::kOnce);
        ZAFOLDAPServerACLConfGen(&kParms);
        FailingAllocator::End();
        for (const std::string &text : LoggedTexts())
            logged.insert(text);
        if (!FailingAllocator::HasFailed()) break;
    }
    ScriptRules(tools_);
    EXPECT_THAT(logged,
                testing::Contains(testing::MatchesRegex(
                    "write acl rules into "
                    "/usr/zafo/etc/openldap/slapd-acls\\.conf\\.[A-Za-z0-9]{6} failed\\.")));
}

}  // namespace

}  // namespace zafo::core_test
