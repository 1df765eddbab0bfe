// SPDX-License-Identifier: Apache-2.0
//
// Compare-and-swap, and counters built on it.
#include "platform/error.h"
#include "tests/accounts/accounts_fixture.h"
#include "tests/core/without_tool.h"

namespace zafo::core_test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char *kDN = "cn=CurID,cn=zafoconf,dc=example,dc=com";

std::string Swapped(const std::string &from, const std::string &to) {
    return "dn: cn=CurID,cn=zafoconf,dc=example,dc=com\nchangetype: modify\ndelete: uidNumber\n"
           "uidNumber: " +
           from + "\n-\nadd: uidNumber\nuidNumber: " + to + "\n";
}

class AtomicRemoveAdd : public AccountsTest {
  protected:
    int Swap(const char *from = "41", const char *to = "42") {
        return ZAFOLDAPAtomicRemoveAdd(&host_, kDN, "uidNumber", from, to);
    }
};

TEST_F(AtomicRemoveAdd, WritesExactlyTheseLines) {
    EXPECT_EQ(Swap(), 0);
    EXPECT_THAT(Changes(), ElementsAre("dn: cn=CurID,cn=zafoconf,dc=example,dc=com\n"
                                       "changetype: modify\n"
                                       "delete: uidNumber\n"
                                       "uidNumber: 41\n"
                                       "-\n"
                                       "add: uidNumber\n"
                                       "uidNumber: 42\n"));
    EXPECT_EQ(CallsOf("ldapmodify").at(0).at(0), "-x") << "not as new entries";
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(AtomicRemoveAdd, TextsAreNotFormatsAndKeepALeadingBlank) {
    EXPECT_EQ(Swap("%n%s%%", " 42"), 0);
    EXPECT_THAT(Changes(), ElementsAre("dn: cn=CurID,cn=zafoconf,dc=example,dc=com\n"
                                       "changetype: modify\ndelete: uidNumber\n"
                                       "uidNumber: %n%s%%\n-\nadd: uidNumber\n"
                                       "uidNumber:: IDQy\n"));
}

TEST_F(AtomicRemoveAdd, MissingValueIsTheServersError) {
    tools_.On("ldapmodify").Exit(16);
    EXPECT_EQ(Swap(), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 16);
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
    EXPECT_THAT(log_.Messages(), IsEmpty()) << "logged while debugging only";
}

TEST_F(AtomicRemoveAdd, ToolThatCannotBeStartedIsAFailure) {
    const WithoutTool without("ldapmodify");
    EXPECT_EQ(Swap(), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
}

class AtomicIncr : public AccountsTest {
  protected:
    int Increase(ZAFOLDAP_ATOMIC_CHECK check = nullptr, void *truck = nullptr) {
        return ZAFOLDAPAtomicIncr(&host_, kDN, "uidNumber", &value_, check, truck);
    }
    void ExpectLost(const std::string &from, const std::string &to) {
        EXPECT_EQ(value_, 77u) << "left alone";
        EXPECT_THAT(Changes(), testing::AllOf(SizeIs(10), Each(Swapped(from, to))));
        EXPECT_THAT(CallsOf("ldapsearch"), SizeIs(10));
        EXPECT_THAT(LoggedTexts(), ElementsAre("replace [uidNumber] from [" + from + "] -> [" + to +
                                               "] failed. "));
    }

    uint64_t value_ = 77;
};

TEST_F(AtomicIncr, CounterGoesUpByOneAndTheOldValueIsReported) {
    Answer({Entry1("uidNumber", "41")});
    EXPECT_EQ(Increase(), 0);
    EXPECT_EQ(value_, 41u);
    EXPECT_THAT(Changes(), ElementsAre(Swapped("41", "42")));
    EXPECT_THAT(CallsOf("ldapsearch"), ElementsAre(Searched({"-b", kDN, "uidNumber"})));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(AtomicIncr, NumbersHave64Bits) {
    Answer({Entry1("uidNumber", "18446744073709551614")});
    EXPECT_EQ(Increase(), 0);
    EXPECT_EQ(value_, 18446744073709551614u);
    EXPECT_THAT(Changes(), ElementsAre(Swapped("18446744073709551614", "18446744073709551615")));
}

TEST_F(AtomicIncr, LostSwapReadsAgainUpToTenTimes) {
    for (int lost = 0; lost <= 9; ++lost) {
        SCOPED_TRACE(lost);
        tools_.Reset();
        for (int i = 0; i <= lost; ++i)
            Answer({Entry1("uidNumber", std::to_string(41 + i))});
        for (int i = 0; i < lost; ++i)
            tools_.On("ldapmodify").Exit(16);
        tools_.On("ldapmodify").Exit(0);
        EXPECT_EQ(Increase(), 0);
        EXPECT_EQ(value_, 41u + static_cast<unsigned>(lost));
        EXPECT_THAT(Changes(), SizeIs(lost + 1));
        EXPECT_EQ(Changes().back(), Swapped(std::to_string(41 + lost), std::to_string(42 + lost)));
    }
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(AtomicIncr, TenthLostSwapIsAFailure) {
    Answer({Entry1("uidNumber", "41")});
    tools_.On("ldapmodify").Exit(16);
    EXPECT_EQ(Increase(), -1);
    ExpectLost("41", "42");
    EXPECT_EQ(ZAFOLDAPErrGet(), 16);
}

// The server compares its stored text with the number as printed.
TEST_F(AtomicIncr, CounterThatIsNotCanonicalIsNeverMatched) {
    for (const char *text : {"041", "+41", "41 "}) {
        SCOPED_TRACE(text);
        log_.Clear();
        tools_.Reset();
        Answer({Entry1("uidNumber", text)});
        tools_.On("ldapmodify").Exit(16);
        EXPECT_EQ(Increase(), -1);
        ExpectLost("41", "42");
    }
}

TEST_F(AtomicIncr, EntryWithoutTheAttributeReadsAsZeroAndFails) {
    Answer({"dn: cn=entry\n\n"});
    tools_.On("ldapmodify").Exit(16);
    EXPECT_EQ(Increase(), -1);
    ExpectLost("0", "1");
}

TEST_F(AtomicIncr, FailedReadIsNotRepeated) {
    Refuse(32);
    EXPECT_EQ(Increase(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("get [uidNumber] failed."));
    EXPECT_THAT(tools_.Calls(), SizeIs(1));
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
    EXPECT_EQ(value_, 77u);
}

struct Decision {
    int result;
    uint64_t seen = 0;
    const ZAFOLDAP_HOST *host = nullptr;
};

// Returns twice the value and sets the counter to 100.
int Decide(const ZAFOLDAP_HOST *host, uint64_t *value, uint64_t *next, void *truck) {
    auto *decision = static_cast<Decision *>(truck);
    decision->host = host;
    decision->seen = *value;
    *value *= 2;
    *next = 100;
    return decision->result;
}

TEST_F(AtomicIncr, CheckFunctionChoosesWhatIsReportedAndWhatIsNext) {
    for (int result : {0, 1}) {
        tools_.Reset();
        Answer({Entry1("uidNumber", "41")});
        Decision decision{result};
        EXPECT_EQ(Increase(Decide, &decision), 0);
        EXPECT_EQ(decision.host, &host_);
        EXPECT_EQ(decision.seen, 41u);
        EXPECT_EQ(value_, 82u);
        EXPECT_THAT(Changes(), ElementsAre(Swapped("41", "100"))) << "the value read goes";
    }
}

TEST_F(AtomicIncr, CheckFunctionThatGivesUpEndsTheCall) {
    Answer({Entry1("uidNumber", "41")});
    Decision decision{-1};
    EXPECT_EQ(Increase(Decide, &decision), -1);
    EXPECT_THAT(Changes(), IsEmpty());
    EXPECT_EQ(value_, 77u);
    EXPECT_THAT(log_.Messages(), IsEmpty()) << "logged while debugging only";
}

}  // namespace
}  // namespace zafo::core_test
