// SPDX-License-Identifier: Apache-2.0
//
// Reading a single user or group: what both have in common.
#pragma once

#include <utility>

#include "tests/foreign/accounts.h"

namespace zafo::foreign {

template <class Record>
class AccountGet : public AccountsTest {
  protected:
    void TearDown() override {
        Release();
        AccountsTest::TearDown();
    }

    // Reads the account at the given DN into record_.
    virtual int GetOne() = 0;
    virtual void Free(Record *record) = 0;
    // The minimum that counts as an account, as the server prints it.
    virtual std::string Least() const = 0;

    void Release() {
        if (record_ != nullptr) Free(record_);
        record_ = nullptr;
    }
    int GetAndRelease() {
        const int result = GetOne();
        Release();
        return result;
    }
    // Expects the call to fail with these log lines, and to leave neither a record nor an open
    // stream.
    void ExpectFailure(const Strings &log) {
        EXPECT_EQ(GetOne(), -1);
        EXPECT_EQ(Log(), log);
        EXPECT_EQ(record_, nullptr);
        ExpectAllClosed();
    }

    void ExpectOneSearch(const std::string &dn, const std::string &filter) {
        Finds(Least());
        EXPECT_EQ(GetOne(), 1);
        EXPECT_EQ(Searches(), std::vector<Strings>{At(dn, filter)});
        EXPECT_EQ(Log(), Strings{});
        ExpectSlotsUntouched();
        ExpectAllClosed();
    }
    void ExpectNotFound() {
        auto *const before = reinterpret_cast<Record *>(&record_);
        record_ = before;
        FindsNothing();
        EXPECT_EQ(GetOne(), 0);
        EXPECT_EQ(std::exchange(record_, nullptr), before);
        EXPECT_EQ(Log(), Strings{});
    }
    void ExpectOldPointerOverwritten(Record *old) {
        record_ = old;
        Finds(Least());
        EXPECT_EQ(GetOne(), 1);
        EXPECT_NE(record_, old);
        EXPECT_EQ(TextOf(old->szName), "old");
        Free(old);
    }
    void ExpectFailureWithTheTool() {
        SearchFails(32);
        ExpectFailure({kGetNextFailed});
        EXPECT_EQ(LibraryError(), 32);
        EXPECT_EQ(PlatformError(), kStalePlatformError);
    }
    void ExpectFailureWithoutTheTool() {
        Finds().CannotStart(0);
        EXPECT_EQ(GetOne(), -1);
        EXPECT_EQ(PlatformError(), 0x0900);
        EXPECT_EQ(record_, nullptr);
    }
    void ExpectFailureWithoutARecord(const char *allocator, const std::string &line) {
        Finds(Least());
        platform().Fail(allocator, 1, -1, 0x0200);
        ExpectFailure({line});
        EXPECT_EQ(PlatformError(), 0x0200);
    }
    void ExpectFailureAtEvery(const char *function) {
        platform().On("ldapsearch").Prints(Least()).Always();
        FailEach(
            function, [&] { return GetAndRelease(); }, [&](int result) { EXPECT_EQ(result, -1); });
    }

    Record *record_ = nullptr;
};

}  // namespace zafo::foreign
