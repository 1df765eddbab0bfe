// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/accounts.h"

#include <cstring>

namespace zafo::foreign::group_get_test {

class GroupGet : public AccountsTest {
  protected:
    void TearDown() override {
        Release();
        AccountsTest::TearDown();
    }
    void Release() {
        if (group_ != nullptr) ZAFOGroupFree(group_);
        group_ = nullptr;
    }
    int Get(const std::string &dn = kStaff) {
        return ZAFOLDAPBrowserGroupGet(host, dn.c_str(), &group_, text_, sizeof text_);
    }
    Strings Members() const {
        Strings members;
        for (char **member = group_->pszMembers; member != nullptr && *member != nullptr; ++member)
            members.emplace_back(*member);
        return members;
    }
    ZAFOGROUP *group_ = nullptr;
    char text_[64] = "before";
};
ZAFO_FOREIGN_SUITE(GroupGet);

TEST_P(GroupGet, SearchesAtTheDnForAllAttributes) {
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "100"}}));
    EXPECT_EQ(Get(), 1);
    EXPECT_EQ(Searches(), std::vector<Strings>{At(kStaff, kGroups)});
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    ExpectAllClosed();
}

TEST_P(GroupGet, FillsEveryField) {
    Finds(Entry(kStaff, {{"cn", "staff"},
                         {"cn", "crew"},
                         {"gidNumber", "100"},
                         {"description", "All of us"},
                         {"memberUid", "zoe"},
                         {"MEMBERUID", "ann"},
                         {"memberUid", "bob"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(TextOf(group_->szName), "staff");
    EXPECT_EQ(group_->nGid, 100u);
    EXPECT_EQ(Members(), (Strings{"zoe", "ann", "bob"}));
    EXPECT_EQ(group_->nType, 8);
    EXPECT_STREQ(text_, "All of us");
}

TEST_P(GroupGet, WithoutMembersHasAnEmptyArray) {
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "100"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(Members(), Strings{});
    const std::vector<Call> calls = platform().CallsOf("ZAFOGroupAlloc");
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].arguments, (Strings{"staff", "100", ""}));
}

TEST_P(GroupGet, WithoutANumberIsAGroupAndALine) {
    Finds(Entry(kStaff, {{"cn", "staff"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_EQ(group_->nGid, GID_ERR);
    EXPECT_EQ(Log(), Strings{"get gid failed"});
}

TEST_P(GroupGet, ReadsTheNumberAsTheLeadingDecimals) {
    struct {
        const char *text;
        uint32_t number;
    } const rows[] = {{"0", 0},   {"007", 7},      {"12abc", 12},
                      {"abc", 0}, {"-1", GID_ERR}, {"2147483647", 2147483647u}};
    for (const auto &row : rows) {
        Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", row.text}, {"gidNumber", "9"}}));
        ASSERT_EQ(Get(), 1);
        EXPECT_EQ(group_->nGid, row.number) << row.text;
        Release();
    }
}

TEST_P(GroupGet, LeavesTheBufferWithoutADescription) {
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "100"}}));
    ASSERT_EQ(Get(), 1);
    EXPECT_STREQ(text_, "before");
}

TEST_P(GroupGet, CutsTheDescriptionToTheBuffer) {
    for (const size_t room : {1u, 2u, 10u, 14u, 15u}) {
        char text[64];
        std::memset(text, '#', sizeof text);
        Finds(Entry(kStaff,
                    {{"cn", "staff"}, {"gidNumber", "1"}, {"description", "fourteen bytes"}}));
        ASSERT_EQ(ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &group_, text, room), 1);
        EXPECT_EQ(std::string(text), std::string("fourteen bytes").substr(0, room - 1)) << room;
        EXPECT_EQ(text[room], '#') << room;
        Release();
    }
}

TEST_P(GroupGet, NeedsNoBufferForTheDescription) {
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}, {"description", "text"}}));
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &group_, nullptr, 0), 1);
    Release();
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}, {"description", "text"}}));
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &group_, text_, 0), 1);
    EXPECT_STREQ(text_, "before");
}

TEST_P(GroupGet, DecodesTheDescription) {
    Finds("dn: " + kStaff + "\ncn: staff\ngidNumber: 1\ndescription:: " +
          Base64("Gr\xC3\xB6\xC3\x9F"
                 "e") +
          "\n\n");
    ASSERT_EQ(Get(), 1);
    EXPECT_STREQ(text_,
                 "Gr\xC3\xB6\xC3\x9F"
                 "e");
}

TEST_P(GroupGet, TakesTheFirstOfSeveral) {
    Finds(Entry("cn=b,dc=x", {{"cn", "b"}, {"gidNumber", "1"}}) +
          Entry("cn=a,dc=x", {{"cn", "a"}, {"gidNumber", "2"}}));
    ASSERT_EQ(Get("dc=x"), 1);
    EXPECT_EQ(TextOf(group_->szName), "b");
}

TEST_P(GroupGet, HandsOverThousandsOfMembers) {
    std::vector<std::pair<std::string, std::string>> attributes{{"cn", "staff"},
                                                                {"gidNumber", "1"}};
    for (int i = 0; i < 3000; ++i)
        attributes.emplace_back("memberUid", "user" + std::to_string(i));
    Finds(Entry(kStaff, attributes));
    ASSERT_EQ(Get(), 1);
    const Strings members = Members();
    ASSERT_EQ(members.size(), 3000u);
    EXPECT_EQ(members.front(), "user0");
    EXPECT_EQ(members.back(), "user2999");
}

TEST_P(GroupGet, NoGroupIsNotFoundAndLeavesTheRecord) {
    auto *const before = reinterpret_cast<ZAFOGROUP *>(&group_);
    ZAFOGROUP *group = before;
    FindsNothing();
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &group, text_, sizeof text_), 0);
    EXPECT_EQ(group, before);
    EXPECT_STREQ(text_, "before");
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(GroupGet, TheCallersOldPointerIsOnlyOverwritten) {
    ZAFOGROUP *old = nullptr;
    ZAFOGroupAlloc(&old, "old", 1, nullptr);
    group_ = old;
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}}));
    EXPECT_EQ(Get(), 1);
    EXPECT_NE(group_, old);
    EXPECT_EQ(TextOf(old->szName), "old");
    ZAFOGroupFree(old);
}

TEST_P(GroupGet, FailsWithTheTool) {
    SearchFails(32);
    EXPECT_EQ(Get(), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(Log(), Strings{kGetNextFailed});
    EXPECT_EQ(group_, nullptr);
    ExpectAllClosed();
}

TEST_P(GroupGet, FailsWhenTheToolCannotBeStarted) {
    Finds().CannotStart(0);
    EXPECT_EQ(Get(), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(GroupGet, FailsWithoutAName) {
    Finds(Entry(kStaff, {{"gidNumber", "1"}}));
    EXPECT_EQ(Get(), -1);
    EXPECT_EQ(Log(), Strings{"get name failed"});
    EXPECT_EQ(group_, nullptr);
    ExpectAllClosed();
}

TEST_P(GroupGet, FailsWithoutARecord) {
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}}));
    platform().Fail("ZAFOGroupAlloc", 1, -1, 0x0200);
    EXPECT_EQ(Get(), -1);
    EXPECT_EQ(PlatformError(), 0x0200);
    EXPECT_EQ(Log(), Strings{"ZAFOGroupAlloc failed. [" + kStaff + "]. [0x0200]"});
    EXPECT_EQ(group_, nullptr);
}

TEST_P(GroupGet, SaysThatTheMembersCouldNotBeListed) {
    platform()
        .On("ldapsearch")
        .Prints(Entry(
            kStaff,
            {{"cn", "staff"}, {"gidNumber", "1"}, {"memberUid", "ann"}, {"memberUid", "bob"}}))
        .Always();
    int said = 0;
    FailEach(
        "QLIBCSzListPush",
        [&] {
            const int result = Get();
            Release();
            return result;
        },
        [&](int result) {
            EXPECT_EQ(result, -1);
            if (Log() == Strings{"ZAFOLDAPResultGetAll memberUid failed. [0x0200]"}) ++said;
        });
    EXPECT_EQ(said, 2);
}

TEST_P(GroupGet, FailsWithEveryListThatCannotBeMade) {
    platform()
        .On("ldapsearch")
        .Prints(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}}))
        .Always();
    FailEach(
        "QLIBCSzListAlloc",
        [&] {
            const int result = Get();
            Release();
            return result;
        },
        [&](int result) { EXPECT_EQ(result, -1); });
}

TEST_P(GroupGet, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    nowhere.login_suffix.reset();
    Host without_suffix;
    without_suffix.login_suffix.reset();
    ExpectArgumentFailure("((void *)0) != pHost", [&] {
        return ZAFOLDAPBrowserGroupGet(nullptr, nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPBrowserGroupGet(nowhere, nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailureOn("pHost->szLoginSuffix", [&] {
        return ZAFOLDAPBrowserGroupGet(without_suffix, nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailureOn(
        "szGroupDN", [&] { return ZAFOLDAPBrowserGroupGet(host, nullptr, nullptr, nullptr, 0); });
    ExpectArgumentFailureOn("ppGroup", [&] {
        return ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), nullptr, nullptr, 0);
    });
}

}  // namespace zafo::foreign::group_get_test
