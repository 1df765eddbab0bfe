// SPDX-License-Identifier: Apache-2.0
//
// Facts read from the server's files, and the findings derived from numbers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/zafoldapserver/server_checks.h"
#include "tools/zafoldapserver/stored_password.h"

namespace {

using namespace zafo::cli;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(Listen, UrlsHaveTheirHostAndPort) {
    struct Case {
        const char *url, *host;
        int port;
        bool tls;
    };
    constexpr Case kCases[] = {
        {"ldap:///", "", 389, false},
        {"ldaps:///", "", 636, true},
        {"ldap://*:1389", "", 1389, false},
        {"ldap://127.0.0.1/", "127.0.0.1", 389, false},
        {"ldaps://[::1]:6360/", "::1", 6360, true},
        {"ldap://[::1]", "::1", 389, false},
    };
    for (const Case &one : kCases) {
        SCOPED_TRACE(one.url);
        const auto address = ParseListenUrl(one.url);
        ASSERT_TRUE(address.has_value());
        EXPECT_EQ(address->url, one.url);
        EXPECT_EQ(address->host, one.host);
        EXPECT_EQ(address->port, one.port);
        EXPECT_EQ(address->tls, one.tls);
    }
}

TEST(Listen, SocketsWithoutAPortAreLeftOut) {
    EXPECT_FALSE(ParseListenUrl("ldapi:///").has_value());
    EXPECT_FALSE(ParseListenUrl("nonsense").has_value());
}

TEST(SlapdConf, IsTheSameWhateverThePassword) {
    EXPECT_TRUE(SameConfiguration("a b\nrootpw one\nc d\n", "a b\nrootpw two\nc d\n"));
    EXPECT_FALSE(SameConfiguration("a b\nrootpw one\n", "a c\nrootpw one\n"));
    EXPECT_FALSE(SameConfiguration("# hand\na b\n", "a b\n"));
}

DatabaseCensus CensusOf(std::string_view ldif, std::set<std::string, std::less<>> wanted = {}) {
    CensusTaker taker({.dns = std::move(wanted), .administrator = "CN=Boss, dc=x"});
    while (!ldif.empty()) {
        const size_t end = ldif.find('\n');
        taker.Line(ldif.substr(0, end));
        ldif.remove_prefix(end + 1);
    }
    return taker.Finish();
}

constexpr std::string_view kLdif =
    "dn: cn=MinID,cn=zafoconf,dc=x\ncn: MinID\nobjectClass: organizationalRole\nobjectClass: "
    "sambaUnixIdPool\nuidNumber: 10\ngidNumber: 20\n\n"
    "dn: cn=MaxID,cn=zafoconf,dc=x\ncn: MaxID\nobjectClass: sambaUnixIdPool\nuidNumber: "
    "13\ngidNumber: 29\n\n"
    "dn: uid=ann,dc=x\nobjectClass: posixAccount\nuidNumber: 11\ngidNumber: 20\nentryCSN: "
    "20261121113111.123456Z#000000#001#000000\n\n"
    "dn:: dWlkPXpvw6ssZGM9eA==\nobjectClass: POSIXACCOUNT\nuidNumber: 9\ngidNumber: 20\nentryCSN: "
    "20261121113111.123456Z#0000\n 00#002#000000\n\n"
    "dn: cn=users,dc=x\nobjectClass: posixGroup\ngidNumber: 20\n";

TEST(Census, CountsAccountsAndTheirNumbers) {
    const DatabaseCensus census = CensusOf(kLdif);
    EXPECT_EQ(census.users, 2U);
    EXPECT_EQ(census.groups, 1U);
    EXPECT_THAT(census.uids.used, ElementsAre(9, 11));
    EXPECT_THAT(census.gids.used, ElementsAre(20));
    EXPECT_EQ(census.uids.lowest, 10U);
    EXPECT_EQ(census.gids.highest, 29U);
    EXPECT_EQ(census.uids.UsedInPool(), 1U);
}

TEST(Census, ReadsFoldedAndEncodedLines) {
    const DatabaseCensus census = CensusOf(kLdif, {"uid=zoë,dc=x", "uid=bob,dc=x"});
    EXPECT_THAT(census.server_ids, ElementsAre("001", "002"));
    EXPECT_THAT(census.found, ElementsAre("uid=zoë,dc=x"));
}

TEST(Census, FindsAnEntryAtTheAdministratorsDnHoweverItIsWritten) {
    EXPECT_EQ(CensusOf(kLdif).administrators.count, 0U);
    const DatabaseCensus census = CensusOf("dn: cn=boss,DC=x\ncn: boss\n\n");
    EXPECT_EQ(census.administrators.count, 1U);
    EXPECT_EQ(census.administrators.first, "cn=boss,DC=x");
}

TEST(Census, FindsPasswordsThatAreNotOneHash) {
    const DatabaseCensus census = CensusOf(
        "dn: uid=a,dc=x\nuserPassword: secret\n\n"
        "dn: uid=b,dc=x\nuserPassword:: c2VjcmV0\n\n"
        "dn: uid=c,dc=x\nuserPassword: {SSHA}x\nuserPassword: {SSHA}y\n\n"
        "dn: uid=d,dc=x\nuserPassword: {CRYPT}$6$rounds=2000000$a$b\n\n"
        "dn: uid=e,dc=x\nuserPassword: {CRYPT}$6$rounds=20000$a$b\n\n");
    EXPECT_EQ(census.clear_passwords.count, 2U);
    EXPECT_EQ(census.clear_passwords.first, "uid=a,dc=x");
    EXPECT_EQ(census.several_passwords.first, "uid=c,dc=x");
    EXPECT_EQ(census.costly_passwords.first, "uid=d,dc=x");
    EXPECT_EQ(census.costly_passwords.count, 1U);
    EXPECT_EQ(JudgePasswords(census).result, StepResult::kWarning);
    EXPECT_THAT(JudgePasswords(census).detail,
                HasSubstr("2 accounts have a password in clear text"));
    EXPECT_EQ(JudgePasswords({}).result, StepResult::kOk);
}

struct PasswordRow {
    const char *value;
    StoredPassword kind;
};

class PasswordValue : public testing::TestWithParam<PasswordRow> {};

TEST_P(PasswordValue, IsInterpretedAsSlapdDoes) {
    EXPECT_EQ(KindOf(GetParam().value), GetParam().kind) << GetParam().value;
}

INSTANTIATE_TEST_SUITE_P(
    StoredPassword, PasswordValue,
    testing::Values(PasswordRow{"", StoredPassword::kClear},
                    PasswordRow{"secret", StoredPassword::kClear},
                    PasswordRow{"{NONE}secret", StoredPassword::kClear},
                    PasswordRow{"{ssha}x", StoredPassword::kHash},
                    PasswordRow{"{CRYPT}*", StoredPassword::kHash},
                    PasswordRow{"{CRYPT}ab1234567890.", StoredPassword::kHash},
                    PasswordRow{"{CRYPT}$1$ab$x", StoredPassword::kHash},
                    PasswordRow{"{CRYPT}$6$ab$x", StoredPassword::kHash},
                    PasswordRow{"{CRYPT}$6$rounds=99999$ab$x", StoredPassword::kHash},
                    PasswordRow{"{crypt}$5$rounds=100000$ab$x", StoredPassword::kCostly},
                    PasswordRow{"{CRYPT}$y$j9T$ab$x", StoredPassword::kHash},
                    PasswordRow{"{CRYPT}$y$jAT$ab$x", StoredPassword::kCostly},
                    PasswordRow{"{CRYPT}$y$", StoredPassword::kCostly},
                    PasswordRow{"{CRYPT}$2b$10$x", StoredPassword::kHash},
                    PasswordRow{"{CRYPT}$2b$11$x", StoredPassword::kCostly},
                    PasswordRow{"{CRYPT}$7$x", StoredPassword::kCostly}));

TEST(Judgement, SpaceIsShortFromFourFifthsOn) {
    EXPECT_EQ(JudgeSpace(79, 100).result, StepResult::kOk);
    EXPECT_EQ(JudgeSpace(80, 100).result, StepResult::kWarning);
    EXPECT_THAT(JudgeSpace(80, 100).hint, HasSubstr("maxsize"));
}

TEST(Judgement, APoolIsNearlyUsedUpWithFewerThanOneTwentiethFree) {
    NumberCensus numbers{.lowest = 1, .highest = 100};
    for (std::uint64_t i = 1; i <= 95; ++i)
        numbers.used.push_back(i);
    EXPECT_EQ(JudgePool(numbers, "uid").result, StepResult::kOk);
    numbers.used.push_back(96);
    EXPECT_EQ(JudgePool(numbers, "uid").result, StepResult::kWarning);
    for (std::uint64_t i = 97; i <= 100; ++i)
        numbers.used.push_back(i);
    EXPECT_EQ(JudgePool(numbers, "uid").result, StepResult::kFailed);
}

TEST(Judgement, NumbersGivenTwiceAreUsedOnce) {
    const NumberCensus numbers{.lowest = 1, .highest = 2, .used = {1, 1, 1}};
    EXPECT_EQ(numbers.UsedInPool(), 1U);
}

TEST(Judgement, AMissingOrSenselessPoolIsAnError) {
    EXPECT_EQ(JudgePool({}, "uid").result, StepResult::kFailed);
    EXPECT_EQ(JudgePool({.lowest = 5, .highest = 4}, "uid").result, StepResult::kFailed);
}

TEST(Judgement, CrashesAreAWarningForAWeek) {
    constexpr std::time_t day = 24 * 3600, now = 1000 * day;
    ServiceFacts facts{.known = true};
    EXPECT_EQ(JudgeCrashes(facts, now).result, StepResult::kOk);
    facts.ends = 3;
    facts.how = "signal 11 (Segmentation fault)";
    facts.first = now - 20 * day;
    facts.last = now - 7 * day;
    EXPECT_EQ(JudgeCrashes(facts, now).result, StepResult::kWarning);
    EXPECT_THAT(JudgeCrashes(facts, now).detail,
                testing::AllOf(HasSubstr("3 times"), HasSubstr("by signal 11")));
    EXPECT_EQ(JudgeCrashes(facts, now + 1).result, StepResult::kOk);
    facts.known = false;
    EXPECT_EQ(JudgeCrashes(facts, now).result, StepResult::kSkipped);
}

TEST(Judgement, SystemdSaysHowOftenItStartedAUnitAgain) {
    const ServiceFacts facts = FactsOfUnit("LoadState=loaded\nRestart=on-failure\nNRestarts=4\n");
    EXPECT_TRUE(facts.StartsAgain());
    EXPECT_EQ(facts.ends, 4);
    EXPECT_EQ(JudgeCrashes(facts, 0).result, StepResult::kWarning);
    EXPECT_FALSE(FactsOfUnit("LoadState=loaded\nRestart=no\nNRestarts=0\n").StartsAgain());
}

TEST(Judgement, CertificatesEndWithAWarningThirtyDaysBefore) {
    constexpr std::time_t day = 24 * 3600, now = 1000 * day;
    const auto judged = [](std::time_t ends) {
        return JudgeEnd("certificate", "CN = x", ends, now).result;
    };
    EXPECT_EQ(judged(now + 30 * day), StepResult::kOk);
    EXPECT_EQ(judged(now + 30 * day - 1), StepResult::kWarning);
    EXPECT_EQ(judged(now + 1), StepResult::kWarning);
    EXPECT_EQ(judged(now), StepResult::kFailed);
}

}  // namespace
