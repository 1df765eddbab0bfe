// SPDX-License-Identifier: Apache-2.0
//
// Valid names, numbers, dates, texts and passwords, and the parsing of other arguments.
#include "tools/zafoldap/account_checks.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/cli/display_text.h"
#include "tools/cli/ldap_filter.h"
#include "tools/cli/secret.h"
#include "tools/zafoldap/account_change.h"
#include "tools/zafoldap/account_directory.h"
#include "tools/zafoldap/user/home.h"

namespace {

using namespace zafo::cli;
using testing::ElementsAre;

template <typename Check>
std::string KeyOf(Check check) {
    try {
        check();
    } catch (const Failure &failure) {
        return std::string(failure.Key());
    }
    return "accepted";
}

TEST(AccountName, FollowsTheRulesOrTheWiderOnes) {
    struct Row {
        const char *name;
        bool usual, any;
    };
    const Row kRows[] = {
        {"a", true, true},
        {"_svc", true, true},
        {"anna.smith-2", true, true},
        {"a2345678901234567890123456789012", true, true},
        {"a23456789012345678901234567890123", false, true},
        {"Anna", false, true},
        {"2anna", false, true},
        {"anna smith", false, true},
        {"anna$", false, true},
        {"zoë", false, true},
        {"-anna", false, false},
        {"123", false, false},
        {"", false, false},
        {".", false, false},
        {"a/b", false, false},
        {"a:b", false, false},
        {"a*", false, false},
        {"a(b", false, false},
        {"a\\b", false, false},
        {" a", false, false},
        {"a\nb", false, false},
        {"a\x7f", false, false},
        {"\xff", false, false},
    };
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(KeyOf([&] { CheckNewName(row.name, false); }),
                  row.usual ? "accepted" : "account_name");
        EXPECT_EQ(KeyOf([&] { CheckNewName(row.name, true); }),
                  row.any ? "accepted" : "account_name");
    }
}

TEST(AccountNumber, IsInRangeAndNotReserved) {
    for (const char *text : {"1", "65533", "65536", "4294967294"})
        EXPECT_EQ(std::to_string(ParseAccountNumber("--uid", text)), text);
    for (const char *text : {"", "0", "00", "65534", "65535", "4294967295", "4294967296", "-1",
                             "+5", " 5", "5 ", "0x10", "1e3", "99999999999999999999999"})
        EXPECT_EQ(KeyOf([&] { ParseAccountNumber("--uid", text); }), "account_number") << text;
}

TEST(Date, IsReadAndWrittenAsDays) {
    const std::pair<const char *, long> kRows[] = {
        {"1971-01-01", 365}, {"2024-02-29", 19782}, {"2027-12-31", 21183}, {"9999-12-31", 2932896}};
    for (const auto &[text, days] : kRows) {
        EXPECT_EQ(ParseDate(text), days);
        EXPECT_EQ(DateOf(days), text);
    }
    EXPECT_EQ(ParseDate("never"), -1);
    for (const long days : {-1L, 0L, 2932897L})
        EXPECT_EQ(DateOf(days), std::nullopt);
    for (const char *text : {"", "2027", "2027-13-01", "2027-02-29", "2027-1-1", "27-01-01",
                             "2027-01-01 ", "2027-+1-01", "2027/01/01", "Never", "1970-01-01"})
        EXPECT_EQ(KeyOf([&] { ParseDate(text); }), "bad_date") << text;
}

TEST(Password, IsStrongEnoughOrRefused) {
    const std::pair<const char *, bool> kRows[] = {
        {"12345678", true},  {"1234567", false},  {"äöüäöüä", false}, {"äöüäöüäö", true},
        {"annaanna", false}, {"AnnaAnna", false}, {"annaanna1", true}};
    for (const auto &[password, good] : kRows) {
        EXPECT_EQ(KeyOf([&] { CheckStrength(password, "annaanna"); }),
                  good ? "accepted" : "password_weak")
            << password;
    }
    EXPECT_EQ(KeyOf([] { CheckStrength("\xff\xff\xff\xff\xff\xff\xff", "x"); }), "password_weak");
    EXPECT_EQ(KeyOf([] { CheckStrength("\xff\u00e4\u00f6\u00fc\u00e4", "x"); }), "password_weak")
        << "9 bytes, 5 characters";
}

TEST(RandomPassword, IsLongPlainAndNeverTheSame) {
    std::set<std::string> seen;
    std::string all;
    for (int i = 0; i < 200; ++i) {
        const std::string password = RandomPassword();
        EXPECT_EQ(password.size(), 20U);
        EXPECT_TRUE(seen.insert(password).second);
        all += password;
    }
    EXPECT_EQ(all.find_first_of("0O1lI"), std::string::npos);
    EXPECT_EQ(std::set<char>(all.begin(), all.end()).size(), 57U);
}

TEST(Filter, HoldsValuesThatMatchThemselvesOnly) {
    EXPECT_EQ(EscapedForFilter("a*(b)\\c"), "a\\2a\\28b\\29\\5cc");
    EXPECT_EQ(EscapedForFilter(std::string("a\0b", 3)), "a\\00b");
    EXPECT_EQ(EscapedForFilter("zoë"), "zoë");
    EXPECT_EQ(PatternForFilter("a*(b"), "a*\\28b");
    EXPECT_EQ(PatternForFilter("***"), "*");
    EXPECT_EQ(PatternForFilter("a**b*"), "a*b*");
    for (const char *pattern : {"a*", "*", "**", "(", "\\", ")(uid=*"})
        EXPECT_FALSE(FilterFault("(uid=" + PatternForFilter(pattern) + ")").has_value()) << pattern;
}

TEST(Dn, HasPercentsDoubledForTheLibrary) {
    EXPECT_EQ(PercentsDoubled("100% %% done"), "100%% %%%% done");
}

TEST(Names, AreSplitAtCommas) {
    EXPECT_THAT(SplitNames({"a,b", "", "b,c,,"}), ElementsAre("a", "b", "c"));
    EXPECT_EQ(Enumerated({}), "");
    EXPECT_EQ(Enumerated({"a"}), "a");
    EXPECT_EQ(Enumerated({"a", "b", "c"}), "a, b and c");
}

TEST(AutomountValue, GivesTheExport) {
    const auto shown = [](const char *value) {
        const auto place = ParseAutomountValue(value);
        return place ? place->host + "|" + place->path : "none";
    };
    EXPECT_EQ(shown("-fstype=nfs nas:/homes/&"), "nas|/homes");
    EXPECT_EQ(shown("-fstype=nfs   nas:/a\\ b\\$c\\&d\\e/& \t"), "nas|/a b$c&d\\e");
    for (const char *odd :
         {"", "nas:/homes/&", "-fstype=nfs nas:/homes", "-fstype=nfs -rw nas:/h/&",
          "-fstype=nfs nas/&", "-fstype=nfs :/h/&", "-fstype=nfs /&"})
        EXPECT_EQ(shown(odd), "none") << odd;
}

TEST(ChangePlan, NamesTheAttributesThatChange) {
    ChangePlan plan;
    plan.Record("uid=a", "modrdn");
    plan.Line("newrdn", "uid=b");
    plan.Line("deleteoldrdn", "1");
    plan.Record("uid=a", "modify");
    plan.Replace("title", "x");
    plan.Replace("mail", "");
    plan.Remark("more");
    plan.Member("cn=g", "delete", "a", "dc=x");
    EXPECT_THAT(plan.Attributes(), ElementsAre("uid", "title", "mail", "memberUid", "member"));
}

}  // namespace
