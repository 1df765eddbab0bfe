// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/user_edit.h"

namespace zafo::foreign::user_edit_test {

ZAFO_FOREIGN_SUITE(UserEdit);

TEST_P(UserEdit, ReadsTheEntryAndItsClassesFirst) {
    Is();
    change_.pw_dir = Set("/srv/ann");
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{At(kAnn, kUsers), At(kAnn, kUsers, {"objectClass"})}));
    EXPECT_EQ(Changes(), Strings{Record({"replace: homeDirectory", "homeDirectory: /srv/ann"})});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(UserEdit, TextsAreReplacedRemovedOrLeft) {
    struct Row {
        char *ZAFOUSER::*field;
        const char *attribute;
        std::optional<std::string> current;
        const char *wanted;
        Strings expected;
    };
    const auto replace = [](const std::string &name, const std::string &text) {
        return Strings{"replace: " + name, name + ": " + text};
    };
    std::vector<Row> rows;
    const std::pair<char * ZAFOUSER::*, const char *> fields[] = {
        {&ZAFOUSER::pw_shell, "loginShell"},
        {&ZAFOUSER::szFullname, "gecos"},
        {&ZAFOUSER::szMail, "mail"}};
    for (const auto &[field, name] : fields) {
        rows.push_back({field, name, "old", "new", replace(name, "new")});
        rows.push_back({field, name, "old", "Old", replace(name, "Old")});
        rows.push_back({field, name, std::nullopt, "new", replace(name, "new")});
        rows.push_back({field, name, "old", "old", {}});
        rows.push_back({field, name, "old", "", {"delete: " + std::string(name)}});
        rows.push_back({field, name, std::nullopt, "", {}});
    }
    rows.push_back(
        {&ZAFOUSER::pw_dir, "homeDirectory", "/old", "/new", replace("homeDirectory", "/new")});
    rows.push_back({&ZAFOUSER::pw_dir, "homeDirectory", std::nullopt, "/new",
                    replace("homeDirectory", "/new")});
    rows.push_back(
        {&ZAFOUSER::pw_dir, "homeDirectory", "/old", "/OLD", replace("homeDirectory", "/OLD")});
    rows.push_back({&ZAFOUSER::pw_dir, "homeDirectory", "/old", "/old", {}});
    rows.push_back({&ZAFOUSER::pw_dir, "homeDirectory", "/old", "", replace("homeDirectory", "")});
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.attribute) + " " + row.current.value_or("(none)") + " -> " +
                     row.wanted);
        platform().Forget();
        change_ = Nothing();
        Attributes attributes{{"uid", "ann"}};
        if (row.current) attributes.emplace_back(row.attribute, *row.current);
        Is(attributes, {"inetOrgPerson"});
        change_.*row.field = Set(row.wanted);
        EXPECT_EQ(Edit(), 0);
        EXPECT_EQ(Changes(), row.expected.empty() ? Strings{} : Strings{Record(row.expected)});
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(UserEdit, MailNeedsItsClassOnServerAndEntry) {
    for (const bool server : {false, true}) {
        for (const bool entry : {false, true}) {
            platform().Forget();
            host->nSchema = server ? 0xffffffffu : ~0x80u;
            Is({{"uid", "ann"}},
               entry ? Strings{"inetorgperson"} : Strings{"shadowAccount", "sambaSamAccount"});
            change_.szMail = Set("ann@x.example");
            EXPECT_EQ(Edit(), 0);
            EXPECT_EQ(Changes(), server && entry
                                     ? Strings{Record({"replace: mail", "mail: ann@x.example"})}
                                     : Strings{});
            EXPECT_EQ(Log(), Strings{});
        }
    }
}

TEST_P(UserEdit, ReplacesTheNumberThatIsFree) {
    Is({{"uid", "ann"}, {"uidNumber", "1027"}});
    FindsNothing();
    change_.pw_uid = 4294967294u;
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{At(kAnn, kUsers), At(kAnn, kUsers, {"objectClass"}),
                                    Below(And(kUsers, "uidNumber=4294967294"), {"dn"})}));
    EXPECT_EQ(Changes(), Strings{Record({"replace: uidNumber", "uidNumber: 4294967294"})});
}

TEST_P(UserEdit, GivesANumberToAUserWithout) {
    Is({{"uid", "ann"}});
    FindsNothing();
    change_.pw_uid = 0;
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: uidNumber", "uidNumber: 0"})});
}

TEST_P(UserEdit, DoesNotAskForTheCurrentNumber) {
    Is({{"uid", "ann"}, {"uidNumber", "1027"}});
    change_.pw_uid = 1027;
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(UserEdit, ReplacesThePrimaryGroupWithoutAskingForIt) {
    Is({{"uid", "ann"}, {"gidNumber", "100"}});
    change_.pw_gid = 4294967294u;
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: gidNumber", "gidNumber: 4294967294"})});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapmodify"}));
}

TEST_P(UserEdit, LeavesTheCurrentPrimaryGroup) {
    Is({{"uid", "ann"}, {"gidNumber", "100"}});
    change_.pw_gid = 100;
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(UserEdit, ExpiryIsWrittenWhenItDiffers) {
    struct {
        std::optional<std::string> current;
        long wanted;
        Strings expected;
    } const rows[] = {
        {"100", 200, {"replace: shadowExpire", "shadowExpire: 200"}},
        {"100", -1, {"replace: shadowExpire", "shadowExpire: -1"}},
        {"100", 0, {"replace: shadowExpire", "shadowExpire: 0"}},
        {std::nullopt, 5, {"replace: shadowExpire", "shadowExpire: 5"}},
        {"100", 100, {}},
        {std::nullopt, 0, {}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.wanted);
        platform().Forget();
        Attributes attributes{{"uid", "ann"}};
        if (row.current) attributes.emplace_back("shadowExpire", *row.current);
        Is(attributes, {"shadowAccount"});
        EXPECT_EQ(Edit(nullptr, &row.wanted), 0);
        EXPECT_EQ(Changes(), row.expected.empty() ? Strings{} : Strings{Record(row.expected)});
    }
}

TEST_P(UserEdit, TheFlagIsWrittenAsTheLeastAgeWhenItDiffers) {
    const Attributes may{{"uid", "ann"}};
    const Attributes may_not{
        {"uid", "ann"}, {"shadowMin", "100000"}, {"shadowLastChange", "20000"}};
    struct {
        Attributes current;
        int wanted;
        Strings expected;
    } const rows[] = {
        {may, 1, {"replace: shadowMin", "shadowMin: 100000"}},
        {may, 0, {}},
        {may, 2, {"replace: shadowMin", "shadowMin: 0"}},
        {may_not, 0, {"replace: shadowMin", "shadowMin: 0"}},
        {may_not, 1, {}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.wanted);
        platform().Forget();
        Is(row.current, {"shadowAccount"});
        EXPECT_EQ(Edit(&row.wanted), 0);
        EXPECT_EQ(Changes(), row.expected.empty() ? Strings{} : Strings{Record(row.expected)});
    }
}

TEST_P(UserEdit, AgeingNeedsItsClassOnServerAndEntry) {
    const int flag = 1;
    const long expire = 7;
    for (const bool server : {false, true}) {
        for (const bool entry : {false, true}) {
            platform().Forget();
            host->nSchema = server ? 0xffffffffu : ~0x100u;
            Is({{"uid", "ann"}}, entry ? Strings{"SHADOWACCOUNT"} : Strings{"inetOrgPerson"});
            EXPECT_EQ(Edit(&flag, &expire), 0);
            EXPECT_EQ(Changes(),
                      server && entry
                          ? Strings{Record({"replace: shadowMin", "shadowMin: 100000", "-",
                                            "replace: shadowExpire", "shadowExpire: 7"})}
                          : Strings{});
        }
    }
}

TEST_P(UserEdit, WritesEveryChangeInItsOrder) {
    const int flag = 1;
    const long expire = 7;
    Is({{"uid", "ann"}}, {"inetOrgPerson", "shadowAccount"});
    change_.pw_uid = 5;
    change_.pw_gid = 6;
    change_.pw_dir = Set("/d");
    change_.pw_shell = Set("/s");
    change_.szFullname = Set("Ann A");
    change_.szMail = Set("m@x");
    EXPECT_EQ(Edit(&flag, &expire), 0);
    EXPECT_EQ(Changes(), Strings{Record({"replace: uidNumber",     "uidNumber: 5",      "-",
                                         "replace: gidNumber",     "gidNumber: 6",      "-",
                                         "replace: homeDirectory", "homeDirectory: /d", "-",
                                         "replace: loginShell",    "loginShell: /s",    "-",
                                         "replace: gecos",         "gecos: Ann A",      "-",
                                         "replace: mail",          "mail: m@x",         "-",
                                         "replace: shadowMin",     "shadowMin: 100000", "-",
                                         "replace: shadowExpire",  "shadowExpire: 7"})});
}

TEST_P(UserEdit, SeparatesRemovalsLikeReplacements) {
    Is({{"uid", "ann"}, {"loginShell", "/s"}, {"gecos", "g"}, {"mail", "m"}}, {"inetOrgPerson"});
    change_.pw_shell = Set("");
    change_.szFullname = Set("");
    change_.szMail = Set("");
    EXPECT_EQ(Edit(), 0);
    EXPECT_EQ(Changes(),
              Strings{Record({"delete: loginShell", "-", "delete: gecos", "-", "delete: mail"})});
}

TEST_P(UserEdit, ANumberThatIsTakenChangesNothing) {
    Is();
    Finds(Entry("uid=bob,dc=x", {}));
    change_.pw_uid = 4294967294u;
    change_.pw_dir = Set("/d");
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(Log(), Strings{"uid number 4294967294 exists in db."});
    EXPECT_EQ(LibraryError(), -65540);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(UserEdit, ANumberThatCannotBeLookedUpCountsAsTaken) {
    Is();
    SearchFails(51);
    change_.pw_uid = 7;
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "uid number 7 exists in db."}));
    EXPECT_EQ(LibraryError(), -65540);
}

TEST_P(UserEdit, AMissingUserFails) {
    FindsNothing();
    change_.pw_dir = Set("/d");
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(Log(), Strings{"get user " + kAnn + " failed. "});
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    ExpectSlotsUntouched();
}

TEST_P(UserEdit, AUserThatCannotBeReadFails) {
    SearchFails(32);
    change_.pw_dir = Set("/d");
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(Log(), (Strings{kGetNextFailed, "get user " + kAnn + " failed. "}));
    EXPECT_EQ(LibraryError(), 32);
}

TEST_P(UserEdit, ClassesThatCannotBeReadFail) {
    Finds(Entry(kAnn, {{"uid", "ann"}}));
    SearchFails(50);
    change_.pw_dir = Set("/d");
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(LibraryError(), 50);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(UserEdit, AUserWithoutTheClassHasDisappeared) {
    for (const std::string &second : {std::string(), Entry(kAnn, {{"objectClass", "person"}})}) {
        TakeLog();
        Finds(Entry(kAnn, {{"uid", "ann"}}));
        Finds(second);
        change_.pw_dir = Set("/d");
        EXPECT_EQ(Edit(), -1);
        EXPECT_EQ(Log(), Strings{"user [" + kAnn + "] disapeared"});
        EXPECT_EQ(Changes(), Strings{});
    }
}

TEST_P(UserEdit, FailsWithTheTool) {
    Is();
    platform().On("ldapmodify").Exits(50);
    change_.pw_dir = Set("/d");
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(LibraryError(), 50);
    const Strings log = Log();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_TRUE(log[0].starts_with("ZAFOLDAPModify failed [")) << log[0];
    EXPECT_TRUE(log[0].ends_with("] [0x7777]")) << log[0];
}

TEST_P(UserEdit, NeedsTheLoginSuffixForReading) {
    host.login_suffix.reset();
    change_.pw_dir = Set("/d");
    EXPECT_EQ(Edit(), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    EXPECT_EQ(Tools(), Strings{});
}

TEST_P(UserEdit, KeepsNothingWhenAListCannotBeFilled) {
    const auto is_read = [](const Strings &argv) { return argv.back() == kUsers; };
    platform()
        .On("ldapsearch", is_read)
        .Prints(Entry(kAnn, {{"uid", "ann"}, {"loginShell", "/s"}}))
        .Always();
    platform()
        .On("ldapsearch", "objectClass")
        .Prints(Entry(kAnn, {{"objectClass", "posixAccount"}}))
        .Always();
    change_.pw_shell = Set("/new");
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush", "ZAFOUserAlloc"})
        FailEach(
            function, [&] { return Edit(); }, [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(UserEdit, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    const char *const condition =
        "pUser->szName || UID_ERR != pUser->pw_uid || GID_ERR != pUser->pw_gid || pUser->pw_dir || "
        "pUser->pw_shell || pUser->szFullname || pUser->szPasswd || pUser->szMail || "
        "pBlDisallowChPasswd || plExpire";
    ExpectArgumentFailure("((void *)0) != pHost", [&] {
        return ZAFOLDAPBrowserUserEdit(nullptr, nullptr, &change_, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPBrowserUserEdit(nowhere, nullptr, &change_, nullptr, nullptr);
    });
    ExpectArgumentFailureOn("szUserDN", [&] {
        return ZAFOLDAPBrowserUserEdit(host, nullptr, &change_, nullptr, nullptr);
    });
    ExpectArgumentFailure(condition, [&] { return Edit(); });
    change_.nExpire = 5;
    change_.blDisallowChangePasswd = 1;
    ExpectArgumentFailure(condition, [&] { return Edit(); });
}

TEST_P(UserEdit, WithoutAUserFailsCleanly) {
    const int flag = 1;
    for (const int *pointer : {static_cast<const int *>(nullptr), &flag})
        ExpectArgumentFailureOn("", [&] {
            return ZAFOLDAPBrowserUserEdit(host, kAnn.c_str(), nullptr, pointer, nullptr);
        });
}

}  // namespace zafo::foreign::user_edit_test
