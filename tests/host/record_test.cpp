// SPDX-License-Identifier: Apache-2.0
//
// The records of users and groups.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/group.h"
#include "platform/user.h"

namespace {

using testing::ElementsAre;

class AccountRecord : public testing::Test {
  protected:
    ~AccountRecord() override {
        ZAFOUserFree(user_);
        ZAFOGroupFree(group_);
    }

    // The original texts no longer exist when the record is examined.
    int MakeUser() {
        char texts[6][8] = {"alice", "secret", "Alice", "/home", "/bin/sh", "a@b"};
        const int result = ZAFOUserAlloc(&user_, texts[0], texts[1], 1000, 100, texts[2], texts[3],
                                         texts[4], 20000, 1, texts[5]);
        for (auto &text : texts)
            text[0] = '?';
        return result;
    }

    std::vector<std::string> Members() const {
        std::vector<std::string> members;
        for (char **psz = group_->pszMembers; psz != nullptr && *psz != nullptr; ++psz)
            members.emplace_back(*psz);
        return members;
    }

    ZAFOUSER *user_ = nullptr;
    ZAFOGROUP *group_ = nullptr;
};

TEST_F(AccountRecord, OfAUserHoldsCopiesOfEverything) {
    ASSERT_EQ(MakeUser(), 0);
    EXPECT_STREQ(user_->szName, "alice");
    EXPECT_STREQ(user_->szPasswd, "secret");
    EXPECT_EQ(user_->pw_uid, 1000U);
    EXPECT_EQ(user_->pw_gid, 100U);
    EXPECT_STREQ(user_->szFullname, "Alice");
    EXPECT_STREQ(user_->pw_dir, "/home");
    EXPECT_STREQ(user_->pw_shell, "/bin/sh");
    EXPECT_EQ(user_->nExpire, 20000);
    EXPECT_EQ(user_->blDisallowChangePasswd, 1);
    EXPECT_STREQ(user_->szMail, "a@b");
    EXPECT_EQ(user_->nType, ZAFO_ACCOUNT_LOCAL);
}

TEST_F(AccountRecord, OfAUserKeepsTextsThatAreNotGivenNull) {
    ASSERT_EQ(ZAFOUserAlloc(&user_, "alice", nullptr, UID_ERR, GID_ERR, nullptr, nullptr, nullptr,
                            0, 0, nullptr),
              0);
    for (const char *sz :
         {user_->szPasswd, user_->szFullname, user_->pw_dir, user_->pw_shell, user_->szMail}) {
        EXPECT_EQ(sz, nullptr);
    }
    EXPECT_EQ(user_->pw_uid, UID_ERR);
}

TEST_F(AccountRecord, OfAUserReplacesItselfFromItsOwnTexts) {
    ASSERT_EQ(MakeUser(), 0);
    ASSERT_EQ(ZAFOUserAlloc(&user_, user_->szName, nullptr, 2, 3, user_->szName, user_->pw_dir,
                            nullptr, 0, 0, user_->szMail),
              0);
    EXPECT_STREQ(user_->szName, "alice");
    EXPECT_STREQ(user_->szFullname, "alice");
    EXPECT_STREQ(user_->pw_dir, "/home");
    EXPECT_STREQ(user_->szMail, "a@b");
    EXPECT_EQ(user_->szPasswd, nullptr);
}

TEST_F(AccountRecord, OfAGroupHoldsCopiesOfItsMembersInOrder) {
    char first[] = "bob";
    const char *const members[] = {first, "alice", "bob", nullptr};
    ASSERT_EQ(ZAFOGroupAlloc(&group_, "team", 100, members), 0);
    first[0] = '?';
    EXPECT_STREQ(group_->szName, "team");
    EXPECT_EQ(group_->nGid, 100U);
    EXPECT_EQ(group_->nType, ZAFO_ACCOUNT_LOCAL);
    EXPECT_THAT(Members(), ElementsAre("bob", "alice", "bob"));
}

TEST_F(AccountRecord, OfAGroupDistinguishesNoMembersFromAnEmptyList) {
    const char *const none[] = {nullptr};
    ASSERT_EQ(ZAFOGroupAlloc(&group_, "team", GID_ERR, none), 0);
    ASSERT_NE(group_->pszMembers, nullptr);
    EXPECT_EQ(*group_->pszMembers, nullptr);
    ASSERT_EQ(ZAFOGroupAlloc(&group_, "team", GID_ERR, nullptr), 0);
    EXPECT_EQ(group_->pszMembers, nullptr);
}

TEST_F(AccountRecord, OfAGroupReplacesItselfFromItsOwnTexts) {
    const char *const members[] = {"alice", "bob", nullptr};
    ASSERT_EQ(ZAFOGroupAlloc(&group_, "team", 100, members), 0);
    ASSERT_EQ(ZAFOGroupAlloc(&group_, group_->szName, 101, group_->pszMembers), 0);
    EXPECT_STREQ(group_->szName, "team");
    EXPECT_EQ(group_->nGid, 101U);
    EXPECT_THAT(Members(), ElementsAre("alice", "bob"));
}

TEST_F(AccountRecord, WithoutANameIsRefusedAndTheOldOneStays) {
    ASSERT_EQ(MakeUser(), 0);
    ASSERT_EQ(ZAFOGroupAlloc(&group_, "team", 100, nullptr), 0);
    QLIBCErrSet(QLIB_ERR_NONE);
    EXPECT_EQ(ZAFOUserAlloc(&user_, nullptr, "x", 1, 1, "x", "x", "x", 0, 0, "x"), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_STREQ(user_->szName, "alice");
    QLIBCErrSet(QLIB_ERR_NONE);
    EXPECT_EQ(ZAFOGroupAlloc(&group_, nullptr, 1, nullptr), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
    EXPECT_STREQ(group_->szName, "team");
    EXPECT_EQ(ZAFOUserAlloc(nullptr, "x", nullptr, 1, 1, nullptr, nullptr, nullptr, 0, 0, nullptr),
              -1);
    EXPECT_EQ(ZAFOGroupAlloc(nullptr, "x", 1, nullptr), -1);
}

TEST_F(AccountRecord, CanBeFreedWhenItIsNull) {
    ZAFOUserFree(nullptr);
    ZAFOGroupFree(nullptr);
}

}  // namespace
