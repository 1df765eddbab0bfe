// SPDX-License-Identifier: Apache-2.0
#include <ctime>

#include "tests/foreign/account_get.h"

namespace zafo::foreign::user_get_test {

class UserGet : public AccountGet<ZAFOUSER> {
  protected:
    int Get(const std::string &dn = kAnn) {
        return ZAFOLDAPBrowserUserGet(host, dn.c_str(), &record_, nullptr);
    }
    int GetOne() override { return Get(); }
    void Free(ZAFOUSER *user) override { ZAFOUserFree(user); }
    std::string Least() const override { return Entry(kAnn, {{"uid", "ann"}, {"uidNumber", "1"}}); }

    // The flag of a user whose password was changed `age` days ago and must be kept for at least
    // `least` days. Retries if the day changes meanwhile.
    int Flag(long least, long age) {
        for (;;) {
            const auto today = std::time(nullptr) / 86400;
            Finds(Entry(kAnn, {{"uid", "ann"},
                               {"shadowMin", std::to_string(least)},
                               {"shadowLastChange", std::to_string(today - age)}}));
            EXPECT_EQ(Get(), 1);
            const int flag = record_ == nullptr ? -1 : record_->blDisallowChangePasswd;
            Release();
            if (std::time(nullptr) / 86400 == today) return flag;
        }
    }
};
ZAFO_FOREIGN_SUITE(UserGet);

TEST_P(UserGet, SearchesAtTheDnForAllAttributes) {
    ExpectOneSearch(kAnn, kUsers);
}

TEST_P(UserGet, FillsEveryField) {
    Finds(Entry(kAnn, {{"objectClass", "posixAccount"},
                       {"uid", "ann"},
                       {"userPassword", "{CRYPT}$1$ab$c"},
                       {"uidNumber", "1027"},
                       {"gidNumber", "100"},
                       {"gecos", "Ann A"},
                       {"homeDirectory", "/home/ann"},
                       {"loginShell", "/bin/sh"},
                       {"shadowExpire", "20000"},
                       {"mail", "ann@x.example"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(TextOf(record_->szName), "ann");
    EXPECT_EQ(TextOf(record_->szPasswd), "{CRYPT}$1$ab$c");
    EXPECT_EQ(record_->pw_uid, 1027u);
    EXPECT_EQ(record_->pw_gid, 100u);
    EXPECT_EQ(TextOf(record_->szFullname), "Ann A");
    EXPECT_EQ(TextOf(record_->pw_dir), "/home/ann");
    EXPECT_EQ(TextOf(record_->pw_shell), "/bin/sh");
    EXPECT_EQ(record_->nExpire, 20000);
    EXPECT_EQ(record_->blDisallowChangePasswd, 0);
    EXPECT_EQ(TextOf(record_->szMail), "ann@x.example");
    EXPECT_EQ(record_->nType, 8);
}

TEST_P(UserGet, WhatTheEntryLacksIsUnset) {
    Finds(Entry(kAnn, {{"uid", "ann"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(TextOf(record_->szName), "ann");
    EXPECT_EQ(record_->szPasswd, nullptr);
    EXPECT_EQ(record_->pw_uid, UID_ERR);
    EXPECT_EQ(record_->pw_gid, GID_ERR);
    EXPECT_EQ(record_->szFullname, nullptr);
    EXPECT_EQ(record_->pw_dir, nullptr);
    EXPECT_EQ(record_->pw_shell, nullptr);
    EXPECT_EQ(record_->nExpire, 0);
    EXPECT_EQ(record_->blDisallowChangePasswd, 0);
    EXPECT_EQ(record_->szMail, nullptr);
    EXPECT_EQ(record_->nType, 8);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(UserGet, HandsTheFieldsOverInTheirOrder) {
    Finds(Entry(kAnn, {{"uid", "ann"},
                       {"userPassword", "p"},
                       {"uidNumber", "1"},
                       {"gidNumber", "2"},
                       {"gecos", "g"},
                       {"homeDirectory", "/h"},
                       {"loginShell", "/s"},
                       {"shadowExpire", "3"},
                       {"mail", "m"}}));
    ASSERT_EQ(Get(), 1);
    const std::vector<Call> calls = platform().CallsOf("ZAFOUserAlloc");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].arguments, (Strings{"ann", "p", "1", "2", "g", "/h", "/s", "3", "0", "m"}));
}

TEST_P(UserGet, TakesTheFirstValueWhateverTheCaseOfItsName) {
    Finds(Entry(kAnn, {{"UID", "ann"},
                       {"uid", "anna"},
                       {"UIDNUMBER", "7"},
                       {"uidNumber", "8"},
                       {"Mail", "a@x"},
                       {"mail", "b@x"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(TextOf(record_->szName), "ann");
    EXPECT_EQ(record_->pw_uid, 7u);
    EXPECT_EQ(TextOf(record_->szMail), "a@x");
}

TEST_P(UserGet, DecodesEncodedValues) {
    Finds("dn: " + kAnn + "\nuid: ann\nuserPassword:: " + Base64("{SSHA}xyz") +
          "\ngecos:: " + Base64("J\xC3\xB6rg") + "\nloginShell:: " + Base64("/bin/zsh") + "\n\n");
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(TextOf(record_->szPasswd), "{SSHA}xyz");
    EXPECT_EQ(TextOf(record_->szFullname), "J\xC3\xB6rg");
    EXPECT_EQ(TextOf(record_->pw_shell), "/bin/zsh");
}

TEST_P(UserGet, DecodesValuesOfEveryLength) {
    for (const size_t length : {1u, 2u, 3u, 766u, 767u, 768u, 769u, 1023u, 1024u, 1025u, 5000u}) {
        const std::string name(length, 'n');
        Finds("dn: " + kAnn + "\nuid: ann\ngecos:: " + Base64(name) + "\n\n");
        ASSERT_EQ(Get(), 1) << length;
        EXPECT_EQ(TextOf(record_->szFullname), name);
        Release();
    }
}

TEST_P(UserGet, ReadsNumbersAsTheLeadingDecimals) {
    struct {
        const char *text;
        uint32_t number;
    } const rows[] = {{"0", 0},
                      {"1027", 1027},
                      {"007", 7},
                      {"12abc", 12},
                      {"abc", 0},
                      {"-1", UID_ERR},
                      {"2147483647", 2147483647u},
                      {"+5", 5}};
    for (const auto &row : rows) {
        Finds(Entry(kAnn, {{"uid", "ann"}, {"uidNumber", row.text}, {"gidNumber", row.text}}));
        ASSERT_EQ(Get(), 1) << row.text;
        EXPECT_EQ(record_->pw_uid, row.number) << row.text;
        EXPECT_EQ(record_->pw_gid, row.number) << row.text;
        Release();
    }
}

TEST_P(UserGet, ReadsAnExpiryBeforeTheEpoch) {
    Finds(Entry(kAnn, {{"uid", "ann"}, {"shadowExpire", "-1"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(record_->nExpire, -1);
}

TEST_P(UserGet, MayNotChangeAPasswordThatIsTooYoung) {
    struct {
        long least;
        long age;
        int flag;
    } const rows[] = {{100000, 0, 1}, {0, 0, 0},  {1, 0, 1},  {5, 5, 0},   {6, 5, 1},
                      {5, 6, 0},      {10, 1, 1}, {0, -1, 1}, {0, 100, 0}, {-1, 0, 0}};
    for (const auto &row : rows)
        EXPECT_EQ(Flag(row.least, row.age), row.flag) << row.least << " " << row.age;
}

TEST_P(UserGet, MayChangeThePasswordUnlessBothDaysAreKnown) {
    for (const char *attribute : {"shadowMin", "shadowLastChange"}) {
        Finds(Entry(kAnn, {{"uid", "ann"}, {attribute, "100000"}}));
        ASSERT_EQ(Get(), 1);
        EXPECT_EQ(record_->blDisallowChangePasswd, 0) << attribute;
        Release();
    }
}

TEST_P(UserGet, TheFirstUserBelowAContainerIsTaken) {
    Finds(Entry("uid=zoe,cn=users,dc=x", {{"uid", "zoe"}}) + Entry(kAnn, {{"uid", "ann"}}));
    ASSERT_EQ(Get("cn=users,dc=x"), 1);
    EXPECT_EQ(TextOf(record_->szName), "zoe");
    ExpectAllClosed();
}

TEST_P(UserGet, NoUserIsNotFoundAndLeavesTheRecord) {
    ExpectNotFound();
}

TEST_P(UserGet, TheCallersOldPointerIsOnlyOverwritten) {
    ZAFOUSER *old = nullptr;
    ZAFOUserAlloc(&old, "old", nullptr, 1, 1, nullptr, nullptr, nullptr, 0, 0, nullptr);
    ExpectOldPointerOverwritten(old);
}

TEST_P(UserGet, FailsWithTheTool) {
    ExpectFailureWithTheTool();
}

TEST_P(UserGet, FailsWhenTheToolIsKilled) {
    Finds().Dies(9);
    ExpectFailure({kGetNextFailed});
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(UserGet, FailsWhenTheOutputCannotBeRead) {
    Finds().ReadFails();
    ExpectFailure({kGetNextFailed});
    EXPECT_EQ(PlatformError(), 0x0A00);
}

TEST_P(UserGet, FailsWhenTheToolCannotBeStarted) {
    ExpectFailureWithoutTheTool();
}

TEST_P(UserGet, FailsWithoutAName) {
    Finds(Entry(kAnn, {{"uidNumber", "1"}}));
    ExpectFailure({"get name failed"});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

TEST_P(UserGet, FailsWithoutARecord) {
    ExpectFailureWithoutARecord("ZAFOUserAlloc", "user alloc failed");
}

TEST_P(UserGet, FailsWithEveryListThatCannotBeFilled) {
    for (const char *function : {"QLIBCSzListAlloc", "QLIBCSzListPush"})
        ExpectFailureAtEvery(function);
}

TEST_P(UserGet, CopiesTheWholeEntry) {
    const std::vector<std::pair<std::string, std::string>> attributes{
        {"uid", "ann"}, {"sn", "A"}, {"memberOf", "b"}, {"memberOf", "a"}};
    ZAFOLDAP_RESULT entry;
    ASSERT_EQ(ZAFOLDAPResultInit(&entry), 0);
    ZAFOLDAPResultSet(&entry, "old", "gone");
    Finds(Entry(kAnn, attributes));
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(host, kAnn.c_str(), &record_, &entry), 1);
    EXPECT_EQ(Items(entry.plistAttr), (Strings{"dn", "uid", "sn", "memberOf", "memberOf"}));
    EXPECT_EQ(Items(entry.plistValue), (Strings{kAnn, "ann", "A", "b", "a"}));
    EXPECT_EQ(entry.pFile, nullptr);
    EXPECT_STREQ(entry.szErrFile, "");
    ZAFOLDAPResultFree(&entry);
}

TEST_P(UserGet, LeavesTheEntryWhenNoneIsFound) {
    ZAFOLDAP_RESULT entry;
    ASSERT_EQ(ZAFOLDAPResultInit(&entry), 0);
    ZAFOLDAPResultSet(&entry, "old", "kept");
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(host, kAnn.c_str(), &record_, &entry), 0);
    EXPECT_EQ(Items(entry.plistValue), Strings{"kept"});
    ZAFOLDAPResultFree(&entry);
}

TEST_P(UserGet, SaysThatTheEntryCouldNotBeCopied) {
    ZAFOLDAP_RESULT entry;
    ASSERT_EQ(ZAFOLDAPResultInit(&entry), 0);
    platform().On("ldapsearch").Prints(Entry(kAnn, {{"uid", "ann"}})).Always();
    int said = 0;
    FailEach(
        "QLIBCSzListPush",
        [&] {
            const int result = ZAFOLDAPBrowserUserGet(host, kAnn.c_str(), &record_, &entry);
            Release();
            return result;
        },
        [&](int result) {
            EXPECT_EQ(result, -1);
            if (Log() == Strings{"clone result failed. "}) ++said;
        });
    EXPECT_EQ(said, 4);
    ZAFOLDAPResultFree(&entry);
}

TEST_P(UserGet, OptionsReplaceFilterAndNameAttribute) {
    struct {
        ZAFOLDAP_BROWSER_OPTIONS options;
        std::string filter;
        const char *name;
    } const rows[] = {
        {{nullptr, nullptr}, kUsers, "ann"},
        {{"objectClass=user", nullptr}, "objectClass=user", "ann"},
        {{nullptr, "sAMAccountName"}, kUsers, "ann.a"},
        {{"objectClass=user", "SAMACCOUNTNAME"}, "objectClass=user", "ann.a"},
    };
    for (const auto &row : rows) {
        platform().Forget();
        Finds(Entry(kAnn, {{"uid", "ann"}, {"sAMAccountName", "ann.a"}}));
        ASSERT_EQ(ZAFOLDAPBrowserUserGetEx(host, kAnn.c_str(), &record_, nullptr, &row.options), 1);
        EXPECT_EQ(TextOf(record_->szName), row.name);
        EXPECT_EQ(Searches(), std::vector<Strings>{At(kAnn, row.filter)});
        Release();
    }
}

TEST_P(UserGet, FailsWithoutTheNameThatIsAskedFor) {
    const ZAFOLDAP_BROWSER_OPTIONS options{nullptr, "sAMAccountName"};
    Finds(Entry(kAnn, {{"uid", "ann"}}));
    EXPECT_EQ(ZAFOLDAPBrowserUserGetEx(host, kAnn.c_str(), &record_, nullptr, &options), -1);
    EXPECT_EQ(Log(), Strings{"get name failed"});
}

TEST_P(UserGet, WithoutOptionsIsTheDefault) {
    Finds(Entry(kAnn, {{"uid", "ann"}}));
    EXPECT_EQ(ZAFOLDAPBrowserUserGetEx(host, kAnn.c_str(), &record_, nullptr, nullptr), 1);
    EXPECT_EQ(Searches(), std::vector<Strings>{At(kAnn, kUsers)});
}

TEST_P(UserGet, ChecksItsArgumentsInOrder) {
    ExpectHostChecked("szLoginSuffix", &Host::login_suffix, [](ZAFOLDAP_HOST *record) {
        return ZAFOLDAPBrowserUserGet(record, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailureOn(
        "szUserDN", [&] { return ZAFOLDAPBrowserUserGet(host, nullptr, nullptr, nullptr); });
    ExpectArgumentFailureOn(
        "ppUser", [&] { return ZAFOLDAPBrowserUserGet(host, kAnn.c_str(), nullptr, nullptr); });
    ExpectArgumentFailureOn("szUserDN", [&] {
        return ZAFOLDAPBrowserUserGetEx(host, nullptr, nullptr, nullptr, nullptr);
    });
}

}  // namespace zafo::foreign::user_get_test
