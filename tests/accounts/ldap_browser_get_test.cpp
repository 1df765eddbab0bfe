// SPDX-License-Identifier: Apache-2.0
//
// Reading a user or group into the platform's record.
#include <ctime>
#include <utility>

#include "tests/accounts/reading_fixture.h"

namespace zafo::accounts_test {
namespace {

std::string OrNull(const char *text) {
    return text == nullptr ? "(null)" : text;
}

class UserGet : public ReadingTest {
  protected:
    ~UserGet() override { Free(); }

    int Run(const std::string &entry) {
        Free();
        Answer(entry);
        return ZAFOLDAPBrowserUserGet(&host_, "uid=ann,dc=x", &user_, nullptr);
    }
    void Free() { ZAFOUserFree(std::exchange(user_, nullptr)); }

    // All fields in declaration order.
    Texts Fields() const {
        return {OrNull(user_->szName),
                OrNull(user_->szPasswd),
                std::to_string(user_->pw_uid),
                std::to_string(user_->pw_gid),
                OrNull(user_->szFullname),
                OrNull(user_->pw_dir),
                OrNull(user_->pw_shell),
                std::to_string(user_->nExpire),
                std::to_string(user_->blDisallowChangePasswd),
                OrNull(user_->szMail),
                std::to_string(user_->nType)};
    }

    // The flag when the password was changed that many days ago.
    int FlagAfter(long days, const char *min) {
        const long changed = static_cast<long>(time(nullptr) / 86400) - days;
        EXPECT_EQ(Run("dn: uid=ann,dc=x\nuid: ann\nshadowMin: " + std::string(min) +
                      "\nshadowLastChange: " + std::to_string(changed) + "\n\n"),
                  1);
        return user_->blDisallowChangePasswd;
    }

    ZAFOUSER *user_ = nullptr;
};

TEST_F(UserGet, AsksForUsersAtTheWholeDN) {
    Run("");
    EXPECT_THAT(Commands(), ElementsAre(SearchWords("uid=ann,dc=x", {"objectClass=posixAccount"})));
}

TEST_F(UserGet, FillsEveryFieldFromTheFirstValue) {
    EXPECT_EQ(Run("dn: uid=ann,dc=x\nobjectClass: posixAccount\nuid: ann\nuid: anna\n"
                  "cn: Ann A.\nuserPassword:: e0NSWVBUfXg=\nuidNumber: 1027\ngidNumber: 1000001\n"
                  "gecos: Ann, Example\nhomeDirectory: /home/ann\nloginShell: /bin/sh\n"
                  "shadowExpire: 20000\nmail: ann@example.com\nmail: other@example.com\n\n"),
              1);
    EXPECT_THAT(Fields(),
                ElementsAre("ann", "{CRYPT}x", "1027", "1000001", "Ann, Example", "/home/ann",
                            "/bin/sh", "20000", "0", "ann@example.com", "8"));
    ExpectSlotsUntouched();
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(UserGet, MissingAttributesAreReported) {
    EXPECT_EQ(Run("dn: uid=ann,dc=x\nuid: ann\n\n"), 1);
    EXPECT_THAT(Fields(), ElementsAre("ann", "(null)", "4294967295", "4294967295", "(null)",
                                      "(null)", "(null)", "0", "0", "(null)", "8"));
}

TEST_F(UserGet, AttributeNamesMayBeInAnyCase) {
    EXPECT_EQ(Run("dn: uid=ann,dc=x\nUID: ann\nUIDNUMBER: 7\nGecos: A\n\n"), 1);
    EXPECT_STREQ(user_->szName, "ann");
    EXPECT_EQ(user_->pw_uid, 7u);
    EXPECT_STREQ(user_->szFullname, "A");
}

struct Number {
    const char *text;
    uint32_t number;
};

TEST_F(UserGet, NumbersAreReadAsDecimal) {
    for (const auto &[text, number] : {Number{"0", 0},
                                       {"00012", 12},
                                       {"12abc", 12},
                                       {"2147483648", 2147483648u},
                                       {"4294967294", 4294967294u},
                                       {"-2", 4294967294u}}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Run(std::string("dn: x\nuid: ann\nuidNumber: ") + text + "\ngidNumber: " + text +
                      "\n\n"),
                  1);
        EXPECT_EQ(user_->pw_uid, number);
        EXPECT_EQ(user_->pw_gid, number);
    }
}

// Truncated to 32 bits, 4294967296 would be the superuser's number.
TEST_F(UserGet, NumbersBeyond32BitsAreInvalid) {
    for (const char *text : {"4294967296", "-2147483649", "99999999999999999999"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Run(std::string("dn: x\nuid: ann\nuidNumber: ") + text + "\n\n"), 1);
        EXPECT_EQ(user_->pw_uid, UID_ERR);
    }
}

TEST_F(UserGet, ExpiryMayBeNegative) {
    EXPECT_EQ(Run("dn: x\nuid: ann\nshadowExpire: -1\n\n"), 1);
    EXPECT_EQ(user_->nExpire, -1);
}

TEST_F(UserGet, YoungPasswordMayNotBeChanged) {
    EXPECT_EQ(FlagAfter(0, "2"), 1);
    EXPECT_EQ(FlagAfter(5, "100000"), 1) << "the value that forbids changes for good";
    EXPECT_EQ(FlagAfter(-3, "0"), 1) << "changed in the future";
}

TEST_F(UserGet, OldPasswordMayBeChanged) {
    EXPECT_EQ(FlagAfter(0, "0"), 0);
    EXPECT_EQ(FlagAfter(10, "3"), 0);
    EXPECT_EQ(FlagAfter(10, "-1"), 0);
}

TEST_F(UserGet, FlagNeedsBothDays) {
    for (const char *line : {"shadowMin: 100000", "shadowLastChange: 99999999"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(Run(std::string("dn: x\nuid: ann\n") + line + "\n\n"), 1);
        EXPECT_EQ(user_->blDisallowChangePasswd, 0);
    }
}

TEST_F(UserGet, AbsurdDaysDoNoHarm) {
    for (const char *last : {"-99999999999999999999", "99999999999999999999"}) {
        SCOPED_TRACE(last);
        EXPECT_EQ(
            Run(std::string("dn: x\nuid: ann\nshadowMin: 1\nshadowLastChange: ") + last + "\n\n"),
            1);
        EXPECT_EQ(user_->blDisallowChangePasswd, last[0] == '-' ? 0 : 1);
    }
}

TEST_F(UserGet, NoEntryIsZeroAndLeavesTheRecord) {
    EXPECT_EQ(Run(""), 0);
    EXPECT_EQ(user_, nullptr);
    ExpectSlotsUntouched();
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(UserGet, OfSeveralEntriesTheFirstIsRead) {
    EXPECT_EQ(Run("dn: uid=ann,ou=a\nuid: ann\n\ndn: uid=bob,ou=a\nuid: bob\n\n"), 1);
    EXPECT_STREQ(user_->szName, "ann");
}

// The old content is not a record: it is neither read nor freed.
TEST_F(UserGet, PointerIsOverwrittenOnSuccessOnly) {
    ZAFOUSER nobody{};
    ZAFOUSER *user = &nobody;
    const auto read = [&](const std::string &entry) {
        Answer(entry);
        return ZAFOLDAPBrowserUserGet(&host_, "uid=ann,dc=x", &user, nullptr);
    };
    EXPECT_EQ(read("dn: x\ncn: nameless\n\n"), -1);
    EXPECT_EQ(read(""), 0);
    tools_.On("ldapsearch").Exit(32);
    EXPECT_EQ(ZAFOLDAPBrowserUserGet(&host_, "uid=ann,dc=x", &user, nullptr), -1);
    EXPECT_EQ(user, &nobody);
    for (const std::string name : {"ann", "bob"}) {
        EXPECT_EQ(read("dn: x\nuid: " + name + "\n\n"), 1);
        EXPECT_EQ(user->szName, name);
        ZAFOUserFree(user);  // leaves the pointer dangling
    }
}

TEST_F(UserGet, EntryWithoutANameFails) {
    EXPECT_EQ(Run("dn: x\ncn: nameless\n\n"), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get name failed"));
    EXPECT_EQ(user_, nullptr);
    ExpectSlotsUntouched();
}

class UserGetEx : public UserGet {
  protected:
    UserGetEx() { ZAFOLDAPResultInit(&result_); }
    ~UserGetEx() override { ZAFOLDAPResultFree(&result_); }

    int RunEx(const std::string &entry, const ZAFOLDAP_BROWSER_OPTIONS *options) {
        Free();
        Answer(entry);
        return ZAFOLDAPBrowserUserGetEx(&host_, "dc=x", &user_, &result_, options);
    }

    ZAFOLDAP_RESULT result_{};
};

TEST_F(UserGetEx, OptionsReplaceFilterAndNameOneByOne) {
    const ZAFOLDAP_BROWSER_OPTIONS none{}, filter{"(objectClass=person)", nullptr},
        name{nullptr, "cn"};
    const std::string entry = "dn: x\nuid: login\ncn: common\n\n";
    for (const auto *options : {&none, &filter, &name}) {
        EXPECT_EQ(RunEx(entry, options), 1);
        EXPECT_STREQ(user_->szName, options == &name ? "common" : "login");
    }
    EXPECT_THAT(Commands(), ElementsAre(SearchWords("dc=x", {"objectClass=posixAccount"}),
                                        SearchWords("dc=x", {"(objectClass=person)"}),
                                        SearchWords("dc=x", {"objectClass=posixAccount"})));
}

TEST_F(UserGetEx, HandsOutTheWholeEntry) {
    EXPECT_EQ(RunEx("dn: uid=ann,dc=x\nuid: ann\nsn: Example\nmemberOf:: YQ==\n\n", nullptr), 1);
    EXPECT_THAT(core_test::PairsOf(result_),
                ElementsAre(core_test::Pair("dn", "uid=ann,dc=x"), core_test::Pair("uid", "ann"),
                            core_test::Pair("sn", "Example"), core_test::Pair("memberOf", "a")));
    EXPECT_EQ(result_.pFile, nullptr) << "the copy does not own the search";
}

TEST_F(UserGetEx, EntryThatCannotBeCopiedFails) {
    ZAFOLDAP_RESULT not_initialised{};
    Answer("dn: x\nuid: ann\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserUserGetEx(&host_, "dc=x", &user_, &not_initialised, nullptr), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(testing::StartsWith("Invaild Argument"), "clone result failed. "));
    EXPECT_EQ(user_, nullptr);
}

class GroupGet : public ReadingTest {
  protected:
    ~GroupGet() override { Free(); }

    int Run(const std::string &entry) {
        Free();
        Answer(entry);
        return ZAFOLDAPBrowserGroupGet(&host_, "cn=staff,dc=x", &group_, description_,
                                       sizeof description_);
    }
    void Free() { ZAFOGroupFree(std::exchange(group_, nullptr)); }

    Texts Members() const {
        Texts members;
        for (char **name = group_->pszMembers; *name != nullptr; ++name)
            members.emplace_back(*name);
        return members;
    }

    ZAFOGROUP *group_ = nullptr;
    char description_[16] = "untouched";
};

TEST_F(GroupGet, AsksForGroupsAtTheWholeDN) {
    Run("");
    EXPECT_THAT(Commands(), ElementsAre(SearchWords("cn=staff,dc=x", {"objectClass=posixGroup"})));
}

TEST_F(GroupGet, FillsNameNumberMembersAndDescription) {
    EXPECT_EQ(Run("dn: cn=staff,dc=x\ncn: staff\ncn: other\ngidNumber: 3000000000\n"
                  "memberUid: ann\nMEMBERUID: bob\nmemberUid:: w6Q=\ndescription: All of us\n\n"),
              1);
    EXPECT_STREQ(group_->szName, "staff");
    EXPECT_EQ(group_->nGid, 3000000000u);
    EXPECT_THAT(Members(), ElementsAre("ann", "bob", "ä"));
    EXPECT_EQ(group_->nType, 8);
    EXPECT_STREQ(description_, "All of us");
    ExpectSlotsUntouched();
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(GroupGet, WithoutMembersTheArrayIsEmpty) {
    EXPECT_EQ(Run("dn: x\ncn: staff\ngidNumber: 1\n\n"), 1);
    ASSERT_NE(group_->pszMembers, nullptr);
    EXPECT_THAT(Members(), IsEmpty());
}

TEST_F(GroupGet, TenThousandMembersAreAllThere) {
    std::string entry = "dn: x\ncn: staff\ngidNumber: 1\n";
    for (int i = 0; i < 10'000; ++i)
        entry += "memberUid: user" + std::to_string(i) + "\n";
    EXPECT_EQ(Run(entry + "\n"), 1);
    EXPECT_EQ(Members().size(), 10'000u);
    EXPECT_EQ(Members().back(), "user9999");
}

TEST_F(GroupGet, MissingNumberIsLoggedAndNoFailure) {
    EXPECT_EQ(Run("dn: x\ncn: staff\n\n"), 1);
    EXPECT_EQ(group_->nGid, GID_ERR);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get gid failed"));
    ExpectSlotsUntouched();
}

TEST_F(GroupGet, WithoutADescriptionTheBufferIsLeftAlone) {
    EXPECT_EQ(Run("dn: x\ncn: staff\ngidNumber: 1\n\n"), 1);
    EXPECT_STREQ(description_, "untouched");
}

TEST_F(GroupGet, DescriptionIsCutToTheBuffer) {
    EXPECT_EQ(Run("dn: x\ncn: staff\ngidNumber: 1\ndescription: 0123456789abcdefgh\n\n"), 1);
    EXPECT_STREQ(description_, "0123456789abcde");
}

TEST_F(GroupGet, DescriptionBufferMayBeLeftOut) {
    Answer("dn: x\ncn: staff\ngidNumber: 1\ndescription: d\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(&host_, "dc=x", &group_, nullptr, 16), 1);
    Free();
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(&host_, "dc=x", &group_, description_, 0), 1);
    EXPECT_STREQ(description_, "untouched");
}

TEST_F(GroupGet, NoEntryIsZeroAndLeavesTheRecord) {
    EXPECT_EQ(Run(""), 0);
    EXPECT_EQ(group_, nullptr);
    EXPECT_STREQ(description_, "untouched");
    ExpectSlotsUntouched();
}

TEST_F(GroupGet, PointerIsOverwrittenOnSuccessOnly) {
    ZAFOGROUP nobody{};
    ZAFOGROUP *group = &nobody;
    const auto read = [&](const std::string &entry) {
        Answer(entry);
        return ZAFOLDAPBrowserGroupGet(&host_, "cn=staff,dc=x", &group, nullptr, 0);
    };
    EXPECT_EQ(read("dn: x\ngidNumber: 2\n\n"), -1);
    EXPECT_EQ(read(""), 0);
    EXPECT_EQ(group, &nobody);
    for (const std::string name : {"staff", "crew"}) {
        EXPECT_EQ(read("dn: x\ncn: " + name + "\ngidNumber: 1\n\n"), 1);
        EXPECT_EQ(group->szName, name);
        ZAFOGroupFree(group);  // leaves the pointer dangling
    }
}

TEST_F(GroupGet, EntryWithoutANameFails) {
    EXPECT_EQ(Run("dn: x\ngidNumber: 1\ndescription: d\n\n"), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get name failed"));
    EXPECT_STREQ(description_, "untouched");
    ExpectSlotsUntouched();
}

}  // namespace
}  // namespace zafo::accounts_test
