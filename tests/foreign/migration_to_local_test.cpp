// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

namespace zafo::foreign::migration_to_local_test {

// The attribute that names the entry comes first.
using Attributes = std::vector<std::pair<std::string, std::string>>;

class ToLocal : public AccountsTest {
  protected:
    explicit ToLocal(std::string container) : container_(std::move(container)) {}

    std::string DnOf(const std::pair<std::string, std::string> &named) const {
        return named.first + "=" + named.second + ",cn=" + container_ + "," + kBase;
    }
    // Scripts a directory with these users, or groups.
    void Has(const std::vector<Attributes> &accounts) {
        std::string list;
        for (const Attributes &account : accounts) {
            const std::string dn = DnOf(account[0]);
            list += Entry(dn, {account[0]});
            platform()
                .On("ldapsearch",
                    [dn](const Strings &argv) { return argv.at(argv.size() - 2) == dn; })
                .Prints(Entry(dn, account));
        }
        platform()
            .On("ldapsearch", [name = accounts.at(0)[0].first](
                                  const Strings &argv) { return argv.back() == name; })
            .Prints(list);
    }
    std::vector<Strings> ArgumentsOf(const std::string &function) {
        std::vector<Strings> all;
        for (const Call &call : platform().CallsOf(function))
            all.push_back(call.arguments);
        return all;
    }
    Strings FirstArguments(const std::string &function, size_t index = 0) {
        Strings all;
        for (const Strings &arguments : ArgumentsOf(function))
            all.push_back(arguments.at(index));
        return all;
    }

  private:
    std::string container_;
};

class UsersToLocal : public ToLocal {
  protected:
    UsersToLocal() : ToLocal("users") {}
    std::string UserDn(const std::string &name) const { return DnOf({"uid", name}); }
    static Attributes User(const std::string &name, const std::string &uid,
                           const std::string &password = "{crypt}$1$hash") {
        Attributes attributes{{"uid", name}, {"uidNumber", uid}, {"gidNumber", "100"}};
        if (!password.empty()) attributes.emplace_back("userPassword", password);
        return attributes;
    }
    int Migrate() { return ZAFOLDAPBrowserMigrateUserToLocal(host); }
    // The stored hashes: name, crypt, LM, NT of each.
    std::vector<Strings> Imported() { return ArgumentsOf("QLIBUserImportPasswd"); }
    static LocalUser Local(const std::string &name, uint32_t uid) {
        LocalUser user;
        user.name = name;
        user.uid = uid;
        return user;
    }
    static std::string Reset(const std::string &name) {
        return "Password for user " + name +
               " is not in crypt form. Reset it to random. Please change it as soon as possible.";
    }
};
ZAFO_FOREIGN_SUITE(UsersToLocal);

TEST_P(UsersToLocal, AreListedAndReadOneByOne) {
    Has({User("zoe", "1001"), User("ann", "1002")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{Below(kUsers, {"dn", "uid"}), At(UserDn("zoe"), kUsers),
                                    At(UserDn("ann"), kUsers)}));
    EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 1), (Strings{"zoe", "ann"}));
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(UsersToLocal, AreCheckedCreatedAndGivenTheirHashInOrder) {
    Has({User("ann", "1002")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(platform().Order({"ZAFOUserGetLocal", "ZAFOUserGetLocalByUID", "QLIBUserNumRemained",
                                "ZAFOUserSetOne", "QLIBUserImportPasswd"}),
              (Strings{"ZAFOUserGetLocal", "ZAFOUserGetLocalByUID", "QLIBUserNumRemained",
                       "ZAFOUserSetOne", "QLIBUserImportPasswd"}));
    EXPECT_EQ(FirstArguments("ZAFOUserGetLocal"), Strings{"ann"});
    EXPECT_EQ(FirstArguments("ZAFOUserGetLocalByUID"), Strings{"1002"});
}

TEST_P(UsersToLocal, BringTheirFields) {
    Attributes ann = User("ann", "1002");
    for (const auto &pair : Attributes{{"gecos", "Ann A"},
                                       {"homeDirectory", "/home/ann"},
                                       {"loginShell", "/bin/sh"},
                                       {"shadowExpire", "20000"},
                                       {"mail", "ann@x"}})
        ann.push_back(pair);
    Has({ann});
    EXPECT_EQ(Migrate(), 0);
    const std::vector<Call> calls = platform().CallsOf("ZAFOUserSetOne");
    ASSERT_EQ(calls.size(), 1u);
    Strings arguments = calls[0].arguments;
    ASSERT_EQ(arguments.size(), 11u);
    arguments.erase(arguments.begin() + 2);
    EXPECT_EQ(arguments, (Strings{"0x0", "ann", "1002", "100", "Ann A", "/home/ann", "/bin/sh",
                                  "20000", "0", "ann@x"}));
}

TEST_P(UsersToLocal, KeepACryptHashWithoutItsPrefix) {
    for (const char *password : {"{crypt}$1$hash", "{CRYPT}$1$hash", "{CrYpT}$1$hash"}) {
        platform().Forget();
        platform().users.clear();
        Has({User("ann", "1002", password)});
        EXPECT_EQ(Migrate(), 0);
        EXPECT_EQ(Imported(), (std::vector<Strings>{{"ann", "$1$hash", "", "", "1"}})) << password;
        EXPECT_EQ(platform().RunsOf("slappasswd").size(), 0u);
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(UsersToLocal, WithAnyOtherPasswordGetARandomOne) {
    for (const char *password :
         {"{SSHA}abc", "{crypt", "crypt$1$hash", "plain", "{MD5}{crypt}x", ""}) {
        platform().Forget();
        platform().users.clear();
        TakeLog();
        Has({User("ann", "1002", password)});
        platform().On("slappasswd").Prints("{CRYPT}$1$ab$random\n");
        EXPECT_EQ(Migrate(), 0);
        EXPECT_EQ(Log(), Strings{Reset("ann")}) << password;
        EXPECT_EQ(Imported(), std::vector<Strings>{}) << password;
        EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 2), Strings{"{CRYPT}$1$ab$random"}) << password;
    }
}

TEST_P(UsersToLocal, HashANumberAndTheTimeForTheRandomOne) {
    Has({User("ann", "1002", "plain")});
    platform().On("slappasswd").Prints("{CRYPT}$1$ab$random\n");
    EXPECT_EQ(Migrate(), 0);
    const Strings argv = platform().RunsOf("slappasswd").at(0).argv;
    ASSERT_EQ(argv.size(), 6u);
    const size_t dash = argv[3].find('-');
    ASSERT_NE(dash, std::string::npos) << argv[3];
    EXPECT_EQ(argv[3].find_first_not_of("0123456789-"), std::string::npos) << argv[3];
    EXPECT_GT(dash, 0u);
    EXPECT_GT(argv[3].size(), dash + 1);
}

TEST_P(UsersToLocal, WhoseNameIsTakenAreSkipped) {
    platform().users = {Local("zoe", 9)};
    Has({User("zoe", "1001"), User("ann", "1002")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{"user name [zoe] is occupied in local DB."});
    EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 1), Strings{"ann"});
    EXPECT_EQ(Imported().size(), 1u);
}

TEST_P(UsersToLocal, WhoseNumberIsTakenAreSkipped) {
    platform().users = {Local("bob", 1001)};
    Has({User("zoe", "1001"), User("ann", "1002")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{"user uid [1001] is occupied by [bob] in local DB."});
    EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 1), Strings{"ann"});
}

TEST_P(UsersToLocal, PrintTheNumberUnsigned) {
    platform().users = {Local("bob", UID_ERR)};
    Has({{{"uid", "zoe"}, {"userPassword", "{crypt}x"}}});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{"user uid [4294967295] is occupied by [bob] in local DB."});
}

TEST_P(UsersToLocal, ThatCannotBeLookedUpLocallyAreSkipped) {
    Has({User("zoe", "1001"), User("ann", "1002"), User("eve", "1003")});
    platform().Fail("ZAFOUserGetLocal", 1, -1, 0x0900);
    platform().Fail("ZAFOUserGetLocalByUID", 1, -1, 0x0900);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{"ZAFOUserGetLocal failed. [zoe] [0x0900]",
                              "ZAFOUserGetLocalByUID failed. [1002] [0x0900]"}));
    EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 1), Strings{"eve"});
}

TEST_P(UsersToLocal, ANameThatIsTakenIsLookedUpAfterThePassword) {
    platform().users = {Local("zoe", 9)};
    Has({User("zoe", "1001", "plain")});
    platform().On("slappasswd").Prints("{CRYPT}$1$ab$random\n");
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{Reset("zoe"), "user name [zoe] is occupied in local DB."}));
}

TEST_P(UsersToLocal, StopAtTheLimitAndKeepThoseBefore) {
    platform().users_left = 1;
    Has({User("zoe", "1001"), User("ann", "1002"), User("eve", "1003")});
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(Log(), Strings{"The limit of local account has been reached."});
    EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 1), Strings{"zoe"});
    EXPECT_EQ(platform().users.size(), 1u);
    EXPECT_EQ(Imported().size(), 1u);
    EXPECT_EQ(Tools().size(), 3u);
    // Taken, so that no answer remains unused.
    ZAFOUSER *eve = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(host, UserDn("eve").c_str(), &eve, nullptr), 1);
    ZAFOUserFree(eve);
}

TEST_P(UsersToLocal, ThatAreTakenDoNotAskForTheLimit) {
    platform().users_left = 0;
    platform().users = {Local("zoe", 9)};
    Has({User("zoe", "1001")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(platform().CallsOf("QLIBUserNumRemained").size(), 0u);
}

TEST_P(UsersToLocal, StopWhenTheLimitIsNotKnown) {
    for (const int result : {-1, -7}) {
        platform().Forget();
        TakeLog();
        Has({User("zoe", "1001")});
        platform().Fail("QLIBUserNumRemained", 1, result, 0x0F00);
        EXPECT_EQ(Migrate(), -1);
        EXPECT_EQ(Log(), Strings{"QLIBUserNumRemained failed. [" + std::to_string(result) +
                                 "]. [0x0F00]"});
        EXPECT_EQ(platform().CallsOf("ZAFOUserSetOne").size(), 0u);
    }
}

TEST_P(UsersToLocal, ThatCannotBeCreatedAreSkipped) {
    for (const int result : {-1, 1}) {
        platform().Forget();
        platform().users.clear();
        TakeLog();
        Has({User("zoe", "1001"), User("ann", "1002")});
        platform().Fail("ZAFOUserSetOne", 1, result, 0x0D00);
        EXPECT_EQ(Migrate(), 0);
        EXPECT_EQ(Log(), Strings{"ZAFOUserSet failed. [zoe] [0x0D00]"});
        EXPECT_EQ(Imported(), (std::vector<Strings>{{"ann", "$1$hash", "", "", "1"}}));
    }
}

TEST_P(UsersToLocal, WhoseHashCannotBeStoredAreSkipped) {
    Has({User("zoe", "1001"), User("ann", "1002")});
    platform().Fail("QLIBUserImportPasswd", 1, -1, 0x0B00);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{"QLIBUserImportPasswd failed. [zoe] [0x0B00]"});
    EXPECT_EQ(Imported().size(), 2u);
}

TEST_P(UsersToLocal, WithSambaBringTheirHashes) {
    host->nSchema = 0x800;
    Attributes zoe = User("zoe", "1001");
    zoe.emplace_back("sambaNTPassword", "NT1");
    zoe.emplace_back("sambaNTPassword", "NT2");
    zoe.emplace_back("SAMBALMPASSWORD", "LM1");
    Has({zoe});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Imported(), (std::vector<Strings>{{"zoe", "$1$hash", "LM1", "NT1", "1"}}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UsersToLocal, WithSambaMayLackHashesAndDoNotGetThoseOfThePreviousOne) {
    host->nSchema = 0x800;
    Attributes zoe = User("zoe", "1001");
    zoe.emplace_back("sambaNTPassword", "NT1");
    zoe.emplace_back("sambaLMPassword", "LM1");
    Has({zoe, User("ann", "1002")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Imported(), (std::vector<Strings>{{"zoe", "$1$hash", "LM1", "NT1", "1"},
                                                {"ann", "$1$hash", "", "", "1"}}));
    EXPECT_EQ(Log(), (Strings{"get NT Hash failed. [ann] ", "get LM Hash failed. [ann] "}));
}

TEST_P(UsersToLocal, WithoutSambaOnTheServerBringNoHashes) {
    Attributes zoe = User("zoe", "1001");
    zoe.emplace_back("sambaNTPassword", "NT1");
    zoe.emplace_back("sambaLMPassword", "LM1");
    Has({zoe});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Imported(), (std::vector<Strings>{{"zoe", "$1$hash", "", "", "1"}}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UsersToLocal, WithARandomPasswordBringNoHashes) {
    host->nSchema = 0x800;
    Attributes zoe = User("zoe", "1001", "plain");
    zoe.emplace_back("sambaNTPassword", "NT1");
    zoe.emplace_back("sambaLMPassword", "LM1");
    Has({zoe});
    platform().On("slappasswd").Prints("{CRYPT}$1$ab$random\n");
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Imported(), std::vector<Strings>{});
    EXPECT_EQ(Log(), Strings{Reset("zoe")});
}

TEST_P(UsersToLocal, OfAnEmptyDirectoryAreNone) {
    FindsNothing();
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(platform().CallsOf("ZAFOUserSetOne").size(), 0u);
}

TEST_P(UsersToLocal, ThatCannotBeListedFail) {
    SearchFails(51);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(LibraryError(), 51);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "ZAFOLDAPBrowserUserEnumAll failed, [0x7777]"}));
}

TEST_P(UsersToLocal, WithoutAListFail) {
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(Log(), Strings{"QLIBCSzListAlloc failed.[0x0200]"});
}

TEST_P(UsersToLocal, WithoutAResultRecordFail) {
    platform().On("ldapsearch").Prints(Entry(UserDn("ann"), {{"uid", "ann"}})).Always();
    platform().Fail("QLIBCMResultAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(platform().CallsOf("ZAFOUserSetOne").size(), 0u);
}

TEST_P(UsersToLocal, ThatAreGoneOrRefusedAreSkipped) {
    platform()
        .On("ldapsearch", [](const Strings &argv) { return argv.back() == "uid"; })
        .Prints(Entry(UserDn("eve"), {{"uid", "eve"}}) + Entry(UserDn("bob"), {{"uid", "bob"}}) +
                Entry(UserDn("zoe"), {{"uid", "zoe"}}));
    platform().On("ldapsearch", "uid=eve").Exits(32);
    platform().On("ldapsearch", "uid=bob");
    platform().On("ldapsearch", "uid=zoe").Prints(Entry(UserDn("zoe"), User("zoe", "1")));
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed,
                              "ZAFOLDAPBrowserUserGet failed. [" + UserDn("eve") + "]. [0x7777]",
                              "ZAFOLDAPBrowserUserGet failed. [" + UserDn("bob") + "]. [0x7777]"}));
    EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 1), Strings{"zoe"});
}

TEST_P(UsersToLocal, SurviveLocalRecordsThatDoNotExist) {
    Has({User("zoe", "1001"), User("ann", "1002")});
    platform().Fail("ZAFOUserGetLocal", 1, 0);
    platform().Fail("ZAFOUserGetLocalByUID", 1, 0);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(FirstArguments("ZAFOUserSetOne", 1), Strings{}) << "they are found, so taken";
}

class GroupsToLocal : public ToLocal {
  protected:
    GroupsToLocal() : ToLocal("groups") {}
    std::string GroupDn(const std::string &name) const { return DnOf({"cn", name}); }
    static Attributes Group(const std::string &name, const std::string &gid,
                            const Strings &members = {}) {
        Attributes attributes{{"cn", name}, {"gidNumber", gid}, {"description", "text"}};
        for (const std::string &member : members)
            attributes.emplace_back("memberUid", member);
        return attributes;
    }
    int Migrate() { return ZAFOLDAPBrowserMigrateGroupToLocal(host); }
    std::vector<Strings> Created() { return ArgumentsOf("ZAFOGroupSet"); }
    static LocalGroup Local(const std::string &name, uint32_t gid) {
        LocalGroup group;
        group.name = name;
        group.gid = gid;
        return group;
    }
};
ZAFO_FOREIGN_SUITE(GroupsToLocal);

TEST_P(GroupsToLocal, BringTheirMembers) {
    Has({Group("staff", "101", {"zoe", "ann"}), Group("crew", "102")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{Below(kGroups, {"dn", "cn"}), At(GroupDn("staff"), kGroups),
                                    At(GroupDn("crew"), kGroups)}));
    EXPECT_EQ(Created(), (std::vector<Strings>{{"0x0", "staff", "101", "zoe,ann"},
                                               {"0x0", "crew", "102", ""}}));
    EXPECT_EQ(platform().CallsOf("QLIBUserNumRemained").size(), 0u);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(GroupsToLocal, AreCheckedThenCreated) {
    Has({Group("staff", "101")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(platform().Order({"ZAFOGroupGetLocal", "ZAFOGroupGetLocalByGID", "ZAFOGroupSet"}),
              (Strings{"ZAFOGroupGetLocal", "ZAFOGroupGetLocalByGID", "ZAFOGroupSet"}));
    EXPECT_EQ(FirstArguments("ZAFOGroupGetLocal"), Strings{"staff"});
    EXPECT_EQ(FirstArguments("ZAFOGroupGetLocalByGID"), Strings{"101"});
}

TEST_P(GroupsToLocal, WhoseNameOrNumberIsTakenAreSkipped) {
    platform().groups = {Local("staff", 9), Local("other", 102)};
    Has({Group("staff", "101"), Group("crew", "102"), Group("new", "103")});
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{"group name [staff] is occupied in local DB.",
                              "group gid [102] is occupied by [other] in local DB."}));
    EXPECT_EQ(FirstArguments("ZAFOGroupSet", 1), Strings{"new"});
}

TEST_P(GroupsToLocal, ThatCannotBeLookedUpLocallyAreSkipped) {
    Has({Group("staff", "101"), Group("crew", "102"), Group("new", "103")});
    platform().Fail("ZAFOGroupGetLocal", 1, -1, 0x1D00);
    platform().Fail("ZAFOGroupGetLocalByGID", 1, -1, 0x1D00);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{"ZAFOGroupGetLocal failed. [staff] [0x1D00]",
                              "ZAFOGroupGetLocalByGID failed. [102] [0x1D00]"}));
    EXPECT_EQ(FirstArguments("ZAFOGroupSet", 1), Strings{"new"});
}

TEST_P(GroupsToLocal, ThatCannotBeCreatedAreSkipped) {
    for (const int result : {-1, 1}) {
        platform().Forget();
        platform().groups.clear();
        TakeLog();
        Has({Group("staff", "101"), Group("crew", "102")});
        platform().Fail("ZAFOGroupSet", 1, result, 0x0B00);
        EXPECT_EQ(Migrate(), 0);
        EXPECT_EQ(Log(), Strings{"ZAFOGroupSet failed. [staff] [0x0B00]"});
        EXPECT_EQ(Created().size(), 2u);
    }
}

TEST_P(GroupsToLocal, ThatAreGoneOrRefusedAreSkipped) {
    platform()
        .On("ldapsearch", [](const Strings &argv) { return argv.back() == "cn"; })
        .Prints(Entry(GroupDn("a"), {{"cn", "a"}}) + Entry(GroupDn("b"), {{"cn", "b"}}) +
                Entry(GroupDn("c"), {{"cn", "c"}}));
    platform().On("ldapsearch", "cn=a,").Exits(32);
    platform().On("ldapsearch", "cn=b,");
    platform().On("ldapsearch", "cn=c,").Prints(Entry(GroupDn("c"), Group("c", "1")));
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed,
                              "ZAFOLDAPBrowserGroupGet failed. [" + GroupDn("a") + "]. [0x7777]",
                              "ZAFOLDAPBrowserGroupGet failed. [" + GroupDn("b") + "]. [0x7777]"}));
    EXPECT_EQ(FirstArguments("ZAFOGroupSet", 1), Strings{"c"});
}

TEST_P(GroupsToLocal, OfAnEmptyDirectoryAreNone) {
    FindsNothing();
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(Created(), std::vector<Strings>{});
}

TEST_P(GroupsToLocal, ThatCannotBeListedFail) {
    SearchFails(51);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(LibraryError(), 51);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "ZAFOLDAPBrowserGroupEnumAll failed, [0x7777]"}));
}

TEST_P(GroupsToLocal, WithoutAListFail) {
    platform().Fail("QLIBCSzListAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Migrate(), -1);
    EXPECT_EQ(Log(), Strings{"QLIBCSzListAlloc failed.[0x0200]"});
}

TEST_P(GroupsToLocal, SurviveLocalRecordsThatDoNotExist) {
    Has({Group("staff", "101"), Group("crew", "102")});
    platform().Fail("ZAFOGroupGetLocal", 1, 0);
    platform().Fail("ZAFOGroupGetLocalByGID", 1, 0);
    EXPECT_EQ(Migrate(), 0);
    EXPECT_EQ(FirstArguments("ZAFOGroupSet", 1), Strings{}) << "they are found, so taken";
}

}  // namespace zafo::foreign::migration_to_local_test
