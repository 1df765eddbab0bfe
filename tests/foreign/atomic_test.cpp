// SPDX-License-Identifier: Apache-2.0
//
// Counters changed by compare-and-swap.
#include <cstdint>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::atomic_test {

const std::string kDN = "cn=CurID,dc=x";

std::string Swap(const std::string &old_value, const std::string &new_value) {
    return "dn: " + kDN + "\nchangetype: modify\ndelete: uidNumber\nuidNumber: " + old_value +
           "\n-\nadd: uidNumber\nuidNumber: " + new_value + "\n";
}

class Atomic : public ChangeTest {
  protected:
    void Holds(const std::string &value) {
        platform().On("ldapsearch").Prints(Entry(kDN, {{"uidNumber", value}})).Always();
    }
    int Increase(ZAFOLDAP_ATOMIC_CHECK check = nullptr, void *context = nullptr) {
        return ZAFOLDAPAtomicIncr(host_, kDN.c_str(), "uidNumber", &value_, check, context);
    }
    int Replace(const char *old_value, const char *new_value) {
        return ZAFOLDAPAtomicRemoveAdd(host_, kDN.c_str(), "uidNumber", old_value, new_value);
    }
    uint64_t value_ = 99;
    Host host_;
};
ZAFO_FOREIGN_SUITE(Atomic);

TEST_P(Atomic, SwapsInOneRequest) {
    EXPECT_EQ(Replace("41", "42"), 0);
    EXPECT_EQ(Changes(), Strings{Swap("41", "42")});
    EXPECT_EQ(platform().Runs().at(0).argv.at(0), "-x");
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Atomic, TakesTextsThatLookLikeFormatsAsTheyAre) {
    EXPECT_EQ(ZAFOLDAPAtomicRemoveAdd(host_, "cn=%s,dc=x", "a%n", "%d", "%s%%"), 0);
    EXPECT_EQ(Changes(), Strings{"dn: cn=%s,dc=x\nchangetype: modify\ndelete: a%n\na%n: %d\n-\n"
                                 "add: a%n\na%n: %s%%\n"});
}

TEST_P(Atomic, FailsToSwapWithTheTool) {
    platform().On("ldapmodify").Exits(16);
    EXPECT_EQ(Replace("41", "42"), -1);
    EXPECT_EQ(LibraryError(), 16);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(TakeLog(), Strings{});
    Stale();
    platform().On("ldapmodify").CannotStart();
    EXPECT_EQ(Replace("41", "42"), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(TakeLog(), Strings{"Execute [] failed!"});
}

TEST_P(Atomic, FailsWithoutAChangeFile) {
    const NoDescriptors none;
    EXPECT_EQ(Replace("41", "42"), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(platform().Runs().size(), 0U);
}

TEST_P(Atomic, ChecksTheArgumentsOfASwapInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost", [] {
        return ZAFOLDAPAtomicRemoveAdd(nullptr, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPAtomicRemoveAdd(nowhere, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szDN", [&] {
        return ZAFOLDAPAtomicRemoveAdd(host_, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szAttr", [&] {
        return ZAFOLDAPAtomicRemoveAdd(host_, "dc=x", nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szRemoveVal", [&] {
        return ZAFOLDAPAtomicRemoveAdd(host_, "dc=x", "a", nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != szAddVal", [&] {
        return ZAFOLDAPAtomicRemoveAdd(host_, "dc=x", "a", "1", nullptr);
    });
}

TEST_P(Atomic, MovesOnByOneAndReportsWhatWasRead) {
    Holds("41");
    EXPECT_EQ(Increase(), 0);
    EXPECT_EQ(value_, 41U);
    EXPECT_EQ(Changes(), Strings{Swap("41", "42")});
    EXPECT_EQ(Searches(), std::vector<Strings>{SearchVector({"-b", kDN.c_str(), "uidNumber"})});
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify"}));
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Atomic, CountsWith64Bits) {
    Holds("18446744073709551614");
    EXPECT_EQ(Increase(), 0);
    EXPECT_EQ(value_, UINT64_C(18446744073709551614));
    EXPECT_EQ(Changes(), Strings{Swap("18446744073709551614", "18446744073709551615")});
}

TEST_P(Atomic, TakesTheFirstOfSeveralValues) {
    platform().On("ldapsearch").Prints(Entry(kDN, {{"uidNumber", "5"}, {"uidNumber", "9"}}));
    EXPECT_EQ(Increase(), 0);
    EXPECT_EQ(value_, 5U);
}

TEST_P(Atomic, ReadsAgainAfterALostSwap) {
    for (const char *value : {"41", "42", "43"})
        platform().On("ldapsearch").Prints(Entry(kDN, {{"uidNumber", value}}));
    platform().On("ldapmodify").Exits(16);
    platform().On("ldapmodify").Dies(9);
    EXPECT_EQ(Increase(), 0);
    EXPECT_EQ(value_, 43U);
    EXPECT_EQ(Changes(), (Strings{Swap("41", "42"), Swap("42", "43"), Swap("43", "44")}));
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapmodify", "ldapsearch", "ldapmodify",
                                "ldapsearch", "ldapmodify"}));
}

TEST_P(Atomic, WinsWithTheTenthAttempt) {
    Holds("41");
    for (int i = 0; i < 9; ++i)
        platform().On("ldapmodify").Exits(16);
    EXPECT_EQ(Increase(), 0);
    EXPECT_EQ(value_, 41U);
    EXPECT_EQ(Changes().size(), 10U);
}

TEST_P(Atomic, GivesUpAfterTenLostSwaps) {
    Holds("41");
    platform().On("ldapmodify").Exits(16).Always();
    EXPECT_EQ(Increase(), -1);
    EXPECT_EQ(value_, 99U);
    EXPECT_EQ(Changes(), Strings(10, Swap("41", "42")));
    EXPECT_EQ(Searches().size(), 10U);
    EXPECT_EQ(LibraryError(), 16);
    EXPECT_EQ(Log(), Strings{"replace [uidNumber] from [41] -> [42] failed. "});
}

TEST_P(Atomic, NamesTheLastValuesWhenItGivesUp) {
    for (int i = 1; i <= 10; ++i)
        platform().On("ldapsearch").Prints(Entry(kDN, {{"uidNumber", std::to_string(i)}}));
    platform().On("ldapmodify").Exits(16).Always();
    EXPECT_EQ(Increase(), -1);
    EXPECT_EQ(Log(), Strings{"replace [uidNumber] from [10] -> [11] failed. "});
}

struct Stored {
    const char *text;
    const char *printed;
    const char *next;
};
constexpr Stored kStored[] = {
    {"0041", "41", "42"}, {"+41", "41", "42"}, {" 41", "41", "42"},
    {"41x", "41", "42"},  {"x", "0", "1"},     {"", "0", "1"},
};

TEST_P(Atomic, SwapsThePrintedFormOfWhatItRead) {
    for (const Stored &stored : kStored) {
        platform().Forget();
        platform().On("ldapsearch").Prints(Entry(kDN, {{"uidNumber", stored.text}}));
        EXPECT_EQ(Increase(), 0) << stored.text;
        EXPECT_EQ(Changes(), Strings{Swap(stored.printed, stored.next)});
    }
}

TEST_P(Atomic, ReadsAnAbsentValueAsZero) {
    platform().On("ldapsearch").Prints(Entry(kDN, {{"gidNumber", "7"}})).Always();
    platform().On("ldapmodify").Exits(16).Always();
    EXPECT_EQ(Increase(), -1);
    EXPECT_EQ(Changes(), Strings(10, Swap("0", "1")));
    EXPECT_EQ(value_, 99U);
    EXPECT_EQ(Log(), Strings{"replace [uidNumber] from [0] -> [1] failed. "});
}

TEST_P(Atomic, DoesNotTryAgainWhenItCannotRead) {
    platform().On("ldapsearch").Exits(32);
    EXPECT_EQ(Increase(), -1);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(value_, 99U);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    EXPECT_EQ(Log(), Strings{"get [uidNumber] failed."});
}

struct Check {
    uint64_t seen = 0;
    int calls = 0;
    uint64_t value = 0;
    uint64_t next = 0;
    int result = 0;
    const ZAFOLDAP_HOST *host = nullptr;
};

int Decide(const ZAFOLDAP_HOST *host, uint64_t *value, uint64_t *next, void *context) {
    auto *check = static_cast<Check *>(context);
    check->seen = *value;
    ++check->calls;
    check->host = host;
    *value = check->value;
    *next = check->next;
    return check->result;
}

TEST_P(Atomic, LetsTheCheckChooseValueAndNext) {
    for (const int result : {0, 1, 7}) {
        platform().Forget();
        platform().On("ldapsearch").Prints(Entry(kDN, {{"uidNumber", "1000"}}));
        Check check;
        check.value = 1002;
        check.next = 1003;
        check.result = result;
        EXPECT_EQ(Increase(Decide, &check), 0) << result;
        EXPECT_EQ(value_, 1002U);
        EXPECT_EQ(check.seen, 1000U);
        EXPECT_EQ(check.calls, 1);
        EXPECT_EQ(check.host, static_cast<ZAFOLDAP_HOST *>(host_));
        EXPECT_EQ(Changes(), Strings{Swap("1000", "1003")});
    }
}

TEST_P(Atomic, AsksTheCheckAgainWithEveryAttempt) {
    Holds("1000");
    platform().On("ldapmodify").Exits(16).Always();
    Check check;
    check.value = 7;
    check.next = 8;
    EXPECT_EQ(Increase(Decide, &check), -1);
    EXPECT_EQ(check.calls, 10);
    EXPECT_EQ(check.seen, 1000U);
    EXPECT_EQ(value_, 99U);
    EXPECT_EQ(Log(), Strings{"replace [uidNumber] from [1000] -> [8] failed. "});
}

TEST_P(Atomic, EndsWithACheckThatGivesUp) {
    for (const int result : {-1, -9}) {
        platform().Forget();
        platform().On("ldapsearch").Prints(Entry(kDN, {{"uidNumber", "1000"}}));
        Check check;
        check.result = result;
        EXPECT_EQ(Increase(Decide, &check), -1);
        EXPECT_EQ(check.calls, 1);
        EXPECT_EQ(value_, 99U);
        EXPECT_EQ(Tools(), Strings{"ldapsearch"});
        EXPECT_EQ(Log(), Strings{});
    }
}

TEST_P(Atomic, ChecksTheArgumentsOfAnIncrementInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost", [] {
        return ZAFOLDAPAtomicIncr(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] {
        return ZAFOLDAPAtomicIncr(nowhere, nullptr, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szDN", [&] {
        return ZAFOLDAPAtomicIncr(host_, nullptr, nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("((void *)0) != szAttr", [&] {
        return ZAFOLDAPAtomicIncr(host_, "dc=x", nullptr, nullptr, nullptr, nullptr);
    });
    ExpectArgumentFailure("NULL != pValue", [&] {
        return ZAFOLDAPAtomicIncr(host_, "dc=x", "a", nullptr, nullptr, nullptr);
    });
}

}  // namespace zafo::foreign::atomic_test
