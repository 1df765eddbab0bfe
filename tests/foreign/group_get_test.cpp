// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "tests/foreign/account_get.h"

namespace zafo::foreign::group_get_test {

class GroupGet : public AccountGet<ZAFOGROUP> {
  protected:
    int Get(const std::string &dn = kStaff) {
        return ZAFOLDAPBrowserGroupGet(host, dn.c_str(), &record_, text_, sizeof text_);
    }
    int GetOne() override { return Get(); }
    void Free(ZAFOGROUP *group) override { ZAFOGroupFree(group); }
    std::string Least() const override {
        return Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "100"}});
    }
    Strings Members() const {
        Strings members;
        for (char **member = record_->pszMembers; member != nullptr && *member != nullptr; ++member)
            members.emplace_back(*member);
        return members;
    }
    char text_[64] = "before";
};
ZAFO_FOREIGN_SUITE(GroupGet);

TEST_P(GroupGet, SearchesAtTheDnForAllAttributes) {
    ExpectOneSearch(kStaff, kGroups);
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
    EXPECT_EQ(TextOf(record_->szName), "staff");
    EXPECT_EQ(record_->nGid, 100u);
    EXPECT_EQ(Members(), (Strings{"zoe", "ann", "bob"}));
    EXPECT_EQ(record_->nType, 8);
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
    EXPECT_EQ(record_->nGid, GID_ERR);
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
        EXPECT_EQ(record_->nGid, row.number) << row.text;
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
        ASSERT_EQ(ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &record_, text, room), 1);
        EXPECT_EQ(std::string(text), std::string("fourteen bytes").substr(0, room - 1)) << room;
        EXPECT_EQ(text[room], '#') << room;
        Release();
    }
}

TEST_P(GroupGet, NeedsNoBufferForTheDescription) {
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}, {"description", "text"}}));
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &record_, nullptr, 0), 1);
    Release();
    Finds(Entry(kStaff, {{"cn", "staff"}, {"gidNumber", "1"}, {"description", "text"}}));
    EXPECT_EQ(ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &record_, text_, 0), 1);
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
    EXPECT_EQ(TextOf(record_->szName), "b");
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
    ExpectNotFound();
    EXPECT_STREQ(text_, "before");
}

TEST_P(GroupGet, TheCallersOldPointerIsOnlyOverwritten) {
    ZAFOGROUP *old = nullptr;
    ZAFOGroupAlloc(&old, "old", 1, nullptr);
    ExpectOldPointerOverwritten(old);
}

TEST_P(GroupGet, FailsWithTheTool) {
    ExpectFailureWithTheTool();
}

TEST_P(GroupGet, FailsWhenTheToolCannotBeStarted) {
    ExpectFailureWithoutTheTool();
}

TEST_P(GroupGet, FailsWithoutAName) {
    Finds(Entry(kStaff, {{"gidNumber", "1"}}));
    ExpectFailure({"get name failed"});
}

TEST_P(GroupGet, FailsWithoutARecord) {
    ExpectFailureWithoutARecord("ZAFOGroupAlloc",
                                "ZAFOGroupAlloc failed. [" + kStaff + "]. [0x0200]");
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
    ExpectFailureAtEvery("QLIBCSzListAlloc");
}

TEST_P(GroupGet, ChecksItsArgumentsInOrder) {
    ExpectHostChecked("szLoginSuffix", &Host::login_suffix, [](ZAFOLDAP_HOST *record) {
        return ZAFOLDAPBrowserGroupGet(record, nullptr, nullptr, nullptr, 0);
    });
    ExpectArgumentFailureOn(
        "szGroupDN", [&] { return ZAFOLDAPBrowserGroupGet(host, nullptr, nullptr, nullptr, 0); });
    ExpectArgumentFailureOn("ppGroup", [&] {
        return ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), nullptr, nullptr, 0);
    });
}

}  // namespace zafo::foreign::group_get_test
