// SPDX-License-Identifier: Apache-2.0
//
// A program that calls the library sees nothing but failures on its standard error: every exported
// function that runs a tool is called successfully, on the appliance's own server and on others.
#include <filesystem>
#include <memory>
#include <set>

#include "platform/group.h"
#include "platform/service.h"
#include "platform/user.h"
#include "tests/accounts/home_fixture.h"
#include "tests/integration/server_fixture.h"
#include "tests/integration/standard_error.h"
#include "tests/rig/source_tree.h"

namespace zafo::test {
namespace {

constexpr const char *kBackupFolder = "/var/quiet-backups";

// The functions that were called without output.
std::set<std::string> &Called() {
    static std::set<std::string> called;
    return called;
}

// Calls a library function and returns its result.
#define CALL(function, ...) (Called().insert(#function), function(__VA_ARGS__))

struct FreeAccount {
    void operator()(ZAFOUSER *user) const { ZAFOUserFree(user); }
    void operator()(ZAFOGROUP *group) const { ZAFOGroupFree(group); }
};
using UserRecord = std::unique_ptr<ZAFOUSER, FreeAccount>;
using GroupRecord = std::unique_ptr<ZAFOGROUP, FreeAccount>;

UserRecord Person(const char *name, const char *password, uint32_t uid = 7777) {
    ZAFOUSER *user = nullptr;
    ZAFOUserAlloc(&user, name, password, uid, uid, "Quiet Person", nullptr, nullptr, -1, 0,
                  "quiet@example.com");
    return UserRecord(user);
}

std::string InTheTree(const char *rdn, const ZAFOLDAP_HOST &host) {
    return std::string(rdn) + "," + host.szBaseDN;
}

// --- calls made to every server --------------------------------------------

void ExpectConnectionIsQuiet(ZAFOLDAP_HOST &host) {
    char text[1024] = "";
    EXPECT_EQ(CALL(ZAFOLDAPBrowserCheckServerType, &host), 0);
    EXPECT_EQ(CALL(ZAFOLDAPHostGetSchemaDN, &host, text, sizeof text), 0);
    host.nSchema = 0;
    EXPECT_EQ(CALL(ZAFOLDAPHostGetSupportedSchema, &host), 0);
    EXPECT_EQ(CALL(ZAFOLDAPPosixCheckEnumUser, &host), 0);
    EXPECT_EQ(CALL(ZAFOLDAPClientCheckBindInfo, &host), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserCheckBindInfo, &host, nullptr), 0);
    StringList bases;
    EXPECT_EQ(CALL(ZAFOLDAPBrowserSuggestBaseDN, &host, bases.Slot()), 0);
}

void ExpectNumbersAreQuiet(const ZAFOLDAP_HOST &host) {
    EXPECT_GT(CALL(ZAFOLDAPBrowserSuggestUid, &host), 0);
    EXPECT_GT(CALL(ZAFOLDAPBrowserSuggestGid, &host), 0);
    for (int type = ZAFOLDAP_XID_MAX_NUM_UID; type <= ZAFOLDAP_XID_DOMAIN_SID; ++type) {
        char text[1024] = "";
        uint64_t number = 0;
        if (type == ZAFOLDAP_XID_DOMAIN_SID &&
            (host.nSchema & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) == 0) {
            // Such a server reports that the DN does not exist; this too must be quiet.
            EXPECT_EQ(ZAFOLDAPSambaXidGet(&host, text, sizeof text, type), -1);
            continue;
        }
        EXPECT_EQ(CALL(ZAFOLDAPSambaXidGet, &host, text, sizeof text, type), 0) << type;
        EXPECT_EQ(CALL(ZAFOLDAPSambaGetIDFromDB, &host, &number, type), 0) << type;
    }
}

int CountEntry(const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *, const ZAFOLDAP_RESULT *,
               void *count) {
    ++*static_cast<int *>(count);
    return 0;
}

void ExpectSearchesAreQuiet(const ZAFOLDAP_HOST &host, const std::string &dn) {
    ZAFOLDAP_SEARCH_REQUEST request;
    ZAFOLDAP_RESULT result;
    ZAFOLDAPSearchRequestInit(&request, 1);
    request.szFilter = "(objectClass=posixAccount)";
    int count = 0;
    EXPECT_EQ(CALL(ZAFOLDAPSearchResultGet, &host, &request, CountEntry, &count), 0);
    StringList dns, names;
    EXPECT_EQ(CALL(ZAFOLDAPSearchEachValue, &host, &request, "uid", dns.Slot(), names.Slot()), 0);
    EXPECT_EQ(CALL(ZAFOLDAPSearchMultiValue, &host, &request, "uid", names.Slot()), 0);
    EXPECT_EQ(CALL(ZAFOLDAPSearchInit, &host, &request, &result), 0);
    EXPECT_EQ(CALL(ZAFOLDAPSearchGetNext, &request, &result), count > 0 ? 1 : 0);
    EXPECT_EQ(CALL(ZAFOLDAPSearchFree, &request, &result), 0);  // before its end
    char text[1024] = "";
    unsigned schema = 0;
    EXPECT_EQ(
        CALL(ZAFOLDAPSearchGetValueByDN, &host, dn.c_str(), nullptr, "uid", text, sizeof text), 1);
    EXPECT_EQ(CALL(ZAFOLDAPSearchObjectClasses, &host, dn.c_str(), nullptr, &schema), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGetFirstDN, &host, "(uid=nobody-at-all)", text, sizeof text), 0);
}

void ExpectListsAreQuiet(const ZAFOLDAP_HOST &host, const std::string &user,
                         const std::string &group) {
    char text[1024] = "";
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGetDNByUserUID, &host, "quiet", text, sizeof text), 1);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGetDNByUserUIDEx, &host, "quiet", text, sizeof text, nullptr), 1);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGetDNByGroupCN, &host, "calm", text, sizeof text), 1);
    EXPECT_EQ(CALL(ZAFOLDAPPosixGetUserUID, &host, user.c_str(), text, sizeof text), 1);
    EXPECT_EQ(CALL(ZAFOLDAPPosixGetGroupCN, &host, group.c_str(), text, sizeof text), 1);
    StringList list, other;
    EXPECT_GE(CALL(ZAFOLDAPBrowserUserEnumAll, &host, list.Slot(), other.Slot()), 1);
    EXPECT_GE(CALL(ZAFOLDAPBrowserGroupEnumAll, &host, list.Slot(), other.Slot()), 1);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserEnumByUIDNumber, &host, 7777, list.Slot()), 1);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEnumByGIDNumber, &host, 7778, list.Slot()), 1);
    EXPECT_GE(CALL(ZAFOLDAPBrowserStatUGNum, &host, "user"), 1);
    EXPECT_GE(CALL(ZAFOLDAPBrowserStatUGNum, &host, "group"), 1);
}

void ExpectMembershipsAreQuiet(const ZAFOLDAP_HOST &host, const std::string &user,
                               const std::string &group) {
    StringList groups, names;
    QLIBCSzListPush(groups.Slot(), group.c_str());
    QLIBCSzListPush(names.Slot(), "quiet");
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEditByUserUID, &host, "quiet", *groups.Slot(), nullptr), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEditByUserDN, &host, user.c_str(), nullptr, *groups.Slot()),
              0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserEditByGroupDN, &host, group.c_str(), *names.Slot(), nullptr),
              0);
    StringList found, other;
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEnumByUserUID, &host, "quiet", found.Slot(), other.Slot()),
              1);
    EXPECT_EQ(
        CALL(ZAFOLDAPBrowserGroupEnumByUserDN, &host, user.c_str(), found.Slot(), other.Slot()), 1);
    EXPECT_GE(
        CALL(ZAFOLDAPBrowserUserEnumByPrimaryGroup, &host, group.c_str(), nullptr, found.Slot()),
        0);
    EXPECT_GE(CALL(ZAFOLDAPBrowserUserEnumByGroupDN, &host, group.c_str(), found.Slot()), 0);
    EXPECT_GE(CALL(ZAFOLDAPBrowserUserEnumNotInGroupDN, &host, group.c_str(), found.Slot()), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEditWhenUserUIDChange, &host, "quiet", "quieter"), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEditWhenUserUIDChange, &host, "quieter", "quiet"), 0);
    const unsigned from = 7778, to = 7779;
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEditWhenUserGIDChange, &host, "quiet", &from, &to), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN, &host, user.c_str(), nullptr),
              0);
}

void ExpectUserAndGroupAreQuiet(const ZAFOLDAP_HOST &host) {
    ASSERT_EQ(CALL(ZAFOLDAPBrowserUserCreate, &host, Person("quiet", "A secret 1").get(), nullptr,
                   nullptr),
              0);
    char group_name[] = "calm";
    ZAFOGROUP group{};
    group.szName = group_name;
    group.nGid = 7778;
    ASSERT_EQ(CALL(ZAFOLDAPBrowserGroupCreate, &host, &group, "Calm people", nullptr, nullptr), 0);
    const std::string user_dn = InTheTree("uid=quiet,cn=users", host);
    const std::string group_dn = InTheTree("cn=calm,cn=groups", host);

    ExpectSearchesAreQuiet(host, user_dn);
    ExpectListsAreQuiet(host, user_dn, group_dn);
    ZAFOUSER *user = nullptr;
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserGet, &host, user_dn.c_str(), &user, nullptr), 1);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserGetEx, &host, user_dn.c_str(), &user, nullptr, nullptr), 1);
    const UserRecord owner(user);
    ZAFOGROUP *found = nullptr;
    char description[256];
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupGet, &host, group_dn.c_str(), &found, description,
                   sizeof description),
              1);
    const GroupRecord group_owner(found);
    char full_name[] = "Quieter Person";
    ZAFOUSER wish{};
    wish.szFullname = full_name;
    wish.pw_uid = UID_ERR;
    wish.pw_gid = GID_ERR;
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserEdit, &host, user_dn.c_str(), &wish, nullptr, nullptr), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserGroupEdit, &host, group_dn.c_str(), nullptr, "Calm", nullptr), 0);
    EXPECT_EQ(CALL(ZAFOLDAPPasswd, &host, user_dn.c_str(), "Another secret 1"), 0);

    EXPECT_EQ(CALL(ZAFOLDAPBrowserDeleteGroup, &host, "calm"), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserDeleteUser, &host, "quiet"), 0);
    const UserRecord crypted = Person("quiet2", "$1$salt$HYYYwPKZ5sKRjvKkYcTmM.");
    EXPECT_EQ(
        CALL(ZAFOLDAPBrowserUserCreateWithCryptedPass, &host, crypted.get(), nullptr, nullptr), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserDeleteDN, &host, InTheTree("uid=quiet2,cn=users", host).c_str()),
              0);
}

void ExpectChangesAreQuiet(const ZAFOLDAP_HOST &host) {
    ZAFOLDAP_LDIF change;
    ZAFOLDAPLdifInit(&change, nullptr);
    ZAFOLDAPLdifTargetDN(&change, InTheTree("cn=users", host).c_str());
    ZAFOLDAPLdifChangeType(&change, "modify");
    ZAFOLDAPLdifAttrReplace(&change, "description", "%s", "changed");
    EXPECT_EQ(CALL(ZAFOLDAPModify, &host, &change, 0), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserNodeCreate, &host, "quiet-node"), 0);
    EXPECT_EQ(ZAFOLDAPBrowserDeleteDN(&host, InTheTree("cn=quiet-node", host).c_str()), 0);
    char hash[128];
    EXPECT_EQ(CALL(ZAFOLDAPEncryptPasswd, "a secret", hash, sizeof hash), 0);
}

// --- other servers --------------------------------------------------------

class QuietDirectory : public testing::TestWithParam<rig::Variant> {
  protected:
    StandardError words_;
};

TEST_P(QuietDirectory, GivesAnswersWithoutWords) {
    const ExampleDirectory &server = rig::VariantDirectory(GetParam().name);
    Connection connection(server);
    ZAFOLDAP_HOST &host = *connection.Record();
    EXPECT_EQ(words_.Take(), "") << "opening a connection";
    EXPECT_EQ(CALL(ZAFOLDAPBrowserCheckServerType, &host), 0);
    EXPECT_EQ(CALL(ZAFOLDAPPosixCheckEnumUser, &host), 0);
    EXPECT_EQ(words_.Take(), "") << "checking it";
    ExpectNumbersAreQuiet(host);
    EXPECT_EQ(words_.Take(), "") << "numbers";
    ExpectUserAndGroupAreQuiet(host);
    EXPECT_EQ(words_.Take(), "") << "users and groups";
    ExpectChangesAreQuiet(host);
    EXPECT_EQ(words_.Take(), "") << "changes";
}

INSTANTIATE_TEST_SUITE_P(Quiet, QuietDirectory, testing::ValuesIn(rig::kVariants),
                         [](const auto &row) { return std::string(row.param.name); });

// --- the own server -----------------------------------------------------------

// In the order of an appliance's life, on one machine.
class QuietServer : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_CIPHER();
        SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY();
        if (!words_) words_ = std::make_unique<StandardError>();
        words_->Take();
    }
    void TearDown() override { EXPECT_EQ(words_ ? words_->Take() : "", ""); }
    static void TearDownTestSuite() {
        words_.reset();
        ZAFOLDAPHostFree(&host_);
        ForgetServer();
    }

    static inline std::unique_ptr<StandardError> words_;
    static inline ZAFOLDAP_HOST host_{};
    const ServerSettings settings_{};
    const ZAFOLDAP_SERVER_PARAM record_ = settings_.Record();
};

TEST_F(QuietServer, IsQueriedBeforeItExists) {
    EXPECT_EQ(CALL(ZAFOLDAPServerDNIsExist, settings_.suffix.c_str()), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerDBIsEmpty), 1);
    EXPECT_EQ(CALL(ZAFOLDAPServerIsStarted, nullptr), 0);
}

TEST_F(QuietServer, IsEnabled) {
    ASSERT_EQ(QLIBServiceEnable(kService), 0);
    ASSERT_EQ(CALL(ZAFOLDAPServerEnable, &record_), 0);
}

TEST_F(QuietServer, IsEnabledAgain) {
    EXPECT_EQ(ZAFOLDAPServerEnable(&record_), 0);
    EXPECT_EQ(words_->Take(), "") << "with settings";
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerDefaultAdd), 0);
}

TEST_F(QuietServer, IsConfigured) {
    EXPECT_EQ(CALL(ZAFOLDAPServerConfSet, &record_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerACLConfGen, &record_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerWriteACL, "/tmp/quiet-rules", &record_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerDBCreate, &record_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerSambaDomainCreate, settings_.suffix.c_str(), &record_), 0);
}

TEST_F(QuietServer, StopsAndStarts) {
    EXPECT_EQ(CALL(ZAFOLDAPServerStop), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerStart), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerDNIsExist, settings_.suffix.c_str()), 1);
    EXPECT_EQ(CALL(ZAFOLDAPServerDNIsExist, ("cn=nobody," + settings_.suffix).c_str()), 0);
}

TEST_F(QuietServer, IsConnectedTo) {
    ASSERT_EQ(CALL(ZAFOLDAPHostInitByBrowserConfig, &host_, nullptr), 1);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserConfSet, &host_, "other"), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserConfSetByServerParam, &record_), 0);
    ExpectConnectionIsQuiet(host_);
    WriteFile("/usr/zafo/etc/nslcd.conf", "uri ldap://localhost\nbase " + settings_.suffix +
                                              "\nbinddn " + settings_.admin + "\nbindpw " +
                                              settings_.password + "\nssl start_tls\n");
    ZAFOLDAP_HOST bound{};
    EXPECT_EQ(CALL(ZAFOLDAPSSLGetByBindConfig, &bound), 0);
    EXPECT_EQ(CALL(ZAFOLDAPHostInitByBindConfig, &bound), 1);
    ZAFOLDAPHostFree(&bound);
}

TEST_F(QuietServer, HandsOutNumbers) {
    ExpectNumbersAreQuiet(host_);
    char sid[256];
    EXPECT_GT(CALL(ZAFOLDAPSambaUIDGen, &host_), 0);
    EXPECT_GT(CALL(ZAFOLDAPSambaGIDGen, &host_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPSambaSIDGen, &host_, sid, sizeof sid), 0);
    uint64_t number = 0;
    const std::string counter = InTheTree("cn=CurID,cn=zafoconf", host_);
    EXPECT_EQ(
        CALL(ZAFOLDAPAtomicIncr, &host_, counter.c_str(), "uidNumber", &number, nullptr, nullptr),
        0);
    const std::string from = std::to_string(number + 1), to = std::to_string(number + 2);
    EXPECT_EQ(CALL(ZAFOLDAPAtomicRemoveAdd, &host_, counter.c_str(), "uidNumber", from.c_str(),
                   to.c_str()),
              0);
    // Another caller was quicker.
    EXPECT_EQ(
        ZAFOLDAPAtomicRemoveAdd(&host_, counter.c_str(), "uidNumber", from.c_str(), to.c_str()),
        -1);
}

TEST_F(QuietServer, KeepsUsersAndGroups) {
    ExpectUserAndGroupAreQuiet(host_);
    ExpectChangesAreQuiet(host_);
}

TEST_F(QuietServer, KeepsMemberships) {
    ASSERT_EQ(
        ZAFOLDAPBrowserUserCreate(&host_, Person("quiet", "A secret 1").get(), nullptr, nullptr),
        0);
    char name[] = "calm";
    ZAFOGROUP group{};
    group.szName = name;
    group.nGid = 7778;
    ASSERT_EQ(ZAFOLDAPBrowserGroupCreate(&host_, &group, nullptr, nullptr, nullptr), 0);
    char other_name[] = "calmer";
    group.szName = other_name;
    group.nGid = 7779;
    ASSERT_EQ(ZAFOLDAPBrowserGroupCreate(&host_, &group, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(ZAFOLDAPPosixCheckEnumUser(&host_), 0);  // asks for one of two users
    ExpectMembershipsAreQuiet(host_, InTheTree("uid=quiet,cn=users", host_),
                              InTheTree("cn=calm,cn=groups", host_));
    EXPECT_EQ(ZAFOLDAPBrowserDeleteUser(&host_, "quiet"), 0);
}

TEST_F(QuietServer, PublishesHomes) {
    const Exports exports;
    Exports::Add();
    EXPECT_EQ(CALL(ZAFOLDAPServerAutomountCreate, "server", "/homes"), 0);
    EXPECT_EQ(words_->Take(), "") << "the first time";
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("server", "/homes"), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserHomeCreateAll, &host_, "server", "/homes"), 0);
    const User user;
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserHomeCreate, &host_, &user), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserUserHomeCreateEx, "server:/homes", &user), 0);
    EXPECT_EQ(CALL(ZAFOLDAPNFSMount, "server:/homes"), 0);
    EXPECT_EQ(CALL(ZAFOLDAPNFSUMount), 0);
}

TEST_F(QuietServer, TakesAndGivesLocalAccounts) {
    ZAFOGROUP *staff = nullptr;
    ASSERT_EQ(ZAFOGroupAlloc(&staff, "localgroup", 3001, nullptr), 0);
    const GroupRecord group(staff);
    ASSERT_EQ(ZAFOGroupSet(0, staff), 0);
    const UserRecord user = Person("localuser", "$1$salt$HYYYwPKZ5sKRjvKkYcTmM.", 3001);
    QLIBCMRESULT *outcome = QLIBCMResultAlloc();
    ASSERT_EQ(ZAFOUserSetOne(0, user.get(), outcome), 0);
    QLIBCMResultFree(outcome);
    words_->Take();
    EXPECT_EQ(CALL(ZAFOLDAPBrowserMigrateUserToLDAP, &host_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserMigrateGroupToLDAP, &host_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserMigrateUserToLocal, &host_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserMigrateGroupToLocal, &host_), 0);
}

TEST_F(QuietServer, LoadsEntriesOffline) {
    ZAFOLDAP_LDIF entries;
    ZAFOLDAPLdifInit(&entries, nullptr);
    ZAFOLDAPLdifTargetDN(&entries, ("cn=loaded," + settings_.suffix).c_str());
    ZAFOLDAPLdifAttr(&entries, "cn", "%s", "loaded");
    ZAFOLDAPLdifAttr(&entries, "objectClass", "%s", "organizationalRole");
    EXPECT_EQ(CALL(ZAFOLDAPServerSlapadd, &entries), 0);
}

TEST_F(QuietServer, IsSavedAndRestored) {
    std::filesystem::create_directories(kBackupFolder);
    ZAFOLDAP_BACKUP_CONFIG config{};
    config.szDestDir = kBackupFolder;
    config.nMaxFile = 3;
    ASSERT_EQ(ZAFOLDAPBackupConfigSet(&config), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerBackupSchedule, 1), 0);
    EXPECT_EQ(CALL(ZAFOLDAPServerBackupSchedule, 0), 0);
    ASSERT_EQ(CALL(ZAFOLDAPServerBackup), 0);
    std::string file;
    for (const auto &entry : std::filesystem::directory_iterator(kBackupFolder)) {
        if (entry.is_regular_file() && entry.file_size() > 0) file = entry.path();
    }
    EXPECT_EQ(words_->Take(), "") << "saving";
    EXPECT_EQ(CALL(ZAFOLDAPServerRestore, file.c_str()), 0);
}

TEST_F(QuietServer, IsResetAndBegunByItsClients) {
    EXPECT_EQ(CALL(ZAFOLDAPServerDBReset), 0);
    EXPECT_EQ(words_->Take(), "") << "resetting";
    ASSERT_EQ(ZAFOLDAPServerConfSet(&record_), 0);
    EXPECT_EQ(CALL(ZAFOLDAPSlapdConfSetOne, "loglevel", "stats"), 0);
    ASSERT_EQ(ZAFOLDAPServerACLConfGen(&record_), 0);
    EXPECT_EQ(ZAFOLDAPServerDNIsExist(settings_.suffix.c_str()), 0);
    EXPECT_EQ(words_->Take(), "") << "looking for entries before there is a database";
    ASSERT_EQ(ZAFOLDAPServerStart(), 0);
    // The base does not exist yet, which is not a failure.
    ZAFOLDAP_HOST host{};
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, nullptr), 1);
    EXPECT_EQ(CALL(ZAFOLDAPBrowserRootNodeCreate, &host), 0);
    ZAFOLDAPHostFree(&host);
}

// Functions that run no tool: the library's own records, lists, files and slots.
const std::set<std::string> kWithoutTool = {"ZAFOLDAPBackupConfigFree",
                                            "ZAFOLDAPBackupConfigGet",
                                            "ZAFOLDAPBackupConfigSet",
                                            "ZAFOLDAPBackupIsValidDest",
                                            "ZAFOLDAPBrowserGroupEnumRequestInit",
                                            "ZAFOLDAPBrowserUserEnumRequestInit",
                                            "ZAFOLDAPDNParserParentDN",
                                            "ZAFOLDAPDebugEnabled",
                                            "ZAFOLDAPErrGet",
                                            "ZAFOLDAPErrGetString",
                                            "ZAFOLDAPErrReset",
                                            "ZAFOLDAPErrSet",
                                            "ZAFOLDAPHostClone",
                                            "ZAFOLDAPHostFree",
                                            "ZAFOLDAPHostInit",
                                            "ZAFOLDAPHostSet",
                                            "ZAFOLDAPLdifAttr",
                                            "ZAFOLDAPLdifAttr64",
                                            "ZAFOLDAPLdifAttrDelete",
                                            "ZAFOLDAPLdifAttrReplace",
                                            "ZAFOLDAPLdifChangeType",
                                            "ZAFOLDAPLdifClose",
                                            "ZAFOLDAPLdifInit",
                                            "ZAFOLDAPLdifIsEmpty",
                                            "ZAFOLDAPLdifLine",
                                            "ZAFOLDAPLdifSepAttr",
                                            "ZAFOLDAPLdifTargetDN",
                                            "ZAFOLDAPLdifUnlink",
                                            "ZAFOLDAPLdifVAttr",
                                            "ZAFOLDAPLdifVAttr64",
                                            "ZAFOLDAPLock",
                                            "ZAFOLDAPResultClone",
                                            "ZAFOLDAPResultConcateAttr",
                                            "ZAFOLDAPResultFree",
                                            "ZAFOLDAPResultGetAll",
                                            "ZAFOLDAPResultGetAt",
                                            "ZAFOLDAPResultGetAttrCount",
                                            "ZAFOLDAPResultGetFirst",
                                            "ZAFOLDAPResultInit",
                                            "ZAFOLDAPResultRemoveAll",
                                            "ZAFOLDAPResultSet",
                                            "ZAFOLDAPSearchBuildRequestCmd",
                                            "ZAFOLDAPSearchRequestClone",
                                            "ZAFOLDAPSearchRequestFree",
                                            "ZAFOLDAPSearchRequestInit",
                                            "ZAFOLDAPServerBackupSetEnv",
                                            "ZAFOLDAPServerBackupSetError",
                                            "ZAFOLDAPServerProgressFree",
                                            "ZAFOLDAPServerProgressGet",
                                            "ZAFOLDAPUnLock"};

TEST(QuietFunctions, AreAllThatRunATool) {
    if (Called().size() < 80) GTEST_SKIP() << "must run after all other tests of this binary";
    for (const std::string &line : meta::Lines(meta::kSourceDir / "tests/meta/exports.txt"))
        EXPECT_TRUE(Called().contains(line) || kWithoutTool.contains(line)) << line;
}

}  // namespace
}  // namespace zafo::test
