// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"

namespace zafo::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

struct Transport {
    const char *name;
    const char *uri;
    int ssl_type;
};

constexpr Transport kTransports[] = {
    {"Plain", "127.0.0.1:389", 0},         {"PlainWithoutPort", "127.0.0.1", 0},
    {"PlainOverIPv6", "[::1]:389", 0},     {"LdapsByAddress", "127.0.0.1:636", 1},
    {"LdapsByLocalhost", "localhost", 1},  {"LdapsByHostName", "zafo:636", 1},
    {"StartTLSByAddress", "127.0.0.1", 2}, {"StartTLSByLocalhost", "localhost:389", 2},
    {"StartTLSByHostName", "zafo:389", 2},
};

bool HasIPv6() {
    return !FileContent("/proc/net/if_inet6").empty();
}

class SearchOver : public testing::TestWithParam<Transport> {
  protected:
    void SetUp() override {
        if (GetParam().uri[0] == '[' && !HasIPv6()) GTEST_SKIP() << "no IPv6 on loopback";
    }
};

TEST_P(SearchOver, EveryEntryEqualsWhatTheRealClientSays) {
    for (const char *base : {rig::kExampleBase, rig::kExampleSecondBase}) {
        SCOPED_TRACE(base);
        std::vector<LdifEntry> expected;
        for (LdifEntry &entry : ExampleDirectory::Get().Read(base))
            expected.push_back(AsText(entry));
        Connection connection(GetParam().uri, GetParam().ssl_type, base);
        const SearchOutcome outcome = Search(connection, {});
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.ldap_error, 0);
        ASSERT_EQ(outcome.entries.size(), expected.size());
        for (size_t at = 0; at < expected.size(); ++at) {
            SCOPED_TRACE(expected[at].dn);
            ASSERT_EQ(outcome.entries[at].dn, expected[at].dn);
            ASSERT_EQ(outcome.entries[at].values, expected[at].values);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Transports, SearchOver, testing::ValuesIn(kTransports),
                         [](const auto &row) { return std::string(row.param.name); });

std::vector<std::vector<std::pair<std::string, std::string>>> SortedValues(
    const std::vector<LdifEntry> &entries) {
    std::vector<std::vector<std::pair<std::string, std::string>>> all;
    for (const LdifEntry &entry : entries) {
        auto values = AsText(entry).values;
        std::sort(values.begin(), values.end());
        all.push_back(std::move(values));
    }
    std::sort(all.begin(), all.end());
    return all;
}

// Ignores DNs: the server escapes them in its own way.
TEST(Search, EveryValueOfTheExampleComesBack) {
    std::vector<LdifEntry> model;
    for (LdifEntry &entry : rig::ExampleEntries({})) {
        if (entry.dn.ends_with(rig::kExampleBase)) model.push_back(std::move(entry));
    }
    ASSERT_GT(model.size(), 1000U);
    const auto expected = SortedValues(model);
    const auto read = SortedValues(Search(Connection(), {}).entries);
    ASSERT_EQ(read.size(), expected.size());
    for (size_t at = 0; at < expected.size(); ++at) {
        SCOPED_TRACE(expected[at].empty() ? "" : expected[at].front().second);
        ASSERT_EQ(read[at], expected[at]);
    }
}

// Names as the server writes them: RFC 4514 escapes as two hexadecimal digits, the rest in UTF-8.
TEST(Search, EscapedAndForeignNamesAreWhole) {
    const SearchOutcome outcome =
        Search(Connection(), {.base = rig::kSpecimenBase, .scope = "one"});
    EXPECT_EQ(outcome.result, 0);
    const std::string parent = std::string(",") + rig::kSpecimenBase;
    for (const char *rdn :
         {"cn=Smith\\2C John", "cn=Doe\\2C Jane", "cn=C\\2B\\2B Developer", "cn=\\22The Boss\\22",
          "cn=back\\5Cslash", "cn=\\20blanks outside\\20", "cn=Lučić", "cn=Größe Straße",
          "cn=山田太郎", "cn=محمد الحسن", "cn=🚀 launch", "cn=two parts+sn=Specimen",
          "ou=Größe\\2C Süd \\2B Nord"}) {
        EXPECT_THAT(outcome.DNs(), Contains(rdn + parent));
    }
}

// Every name that was read is used as a base.
TEST(Search, EveryNameReadIsAcceptedAsABase) {
    Connection connection;
    const SearchOutcome all =
        Search(connection, {.base = rig::kSpecimenBase, .attributes = {"1.1"}});
    ASSERT_GT(all.entries.size(), 20U);
    for (const std::string &dn : all.DNs()) {
        SCOPED_TRACE(dn);
        const SearchOutcome one =
            Search(connection, {.base = dn, .scope = "base", .attributes = {"1.1"}});
        EXPECT_EQ(one.result, 0);
        EXPECT_THAT(one.DNs(), ElementsAre(dn));
    }
}

TEST(Search, ValuesOfAnAttributeWithOptionsKeepTheirOptions) {
    const SearchOutcome outcome =
        Search(Connection(), {.filter = "(cn=languages)", .attributes = {"description"}});
    ASSERT_THAT(outcome.entries, SizeIs(1));
    EXPECT_THAT(outcome.entries[0].All("description;lang-de"),
                ElementsAre("auf Deutsch", "noch einmal, größer"));
    EXPECT_THAT(outcome.entries[0].All("description;lang-fr"), ElementsAre("en français"));
}

TEST(Search, EmptyValuesAreEmptyText) {
    const SearchOutcome outcome = Search(Connection(), {.filter = "(uid=empty)"});
    ASSERT_THAT(outcome.entries, SizeIs(1));
    EXPECT_THAT(outcome.entries[0].All("homeDirectory"), ElementsAre(""));
    EXPECT_THAT(outcome.entries[0].All("userPassword"), ElementsAre(""));
}

TEST(Search, OnlyTheAttributesAskedForCome) {
    const SearchOutcome outcome =
        Search(Connection(), {.filter = "(uid=reader)", .attributes = {"uidNumber", "sn"}});
    ASSERT_THAT(outcome.entries, SizeIs(1));
    EXPECT_THAT(outcome.entries[0].values,
                testing::UnorderedElementsAre(testing::Pair("sn", "Reader"),
                                              testing::Pair("uidNumber", "19999")));
}

TEST(Search, ALargeGroupKeepsAllMembersInOrder) {
    const SearchOutcome outcome = Search(
        Connection(), {.base = rig::kLargestGroup, .scope = "base", .attributes = {"memberUid"}});
    ASSERT_THAT(outcome.entries, SizeIs(1));
    const std::vector<std::string> members = outcome.entries[0].All("memberUid");
    ASSERT_THAT(members, SizeIs(rig::kLargestGroupMembers));
    for (unsigned index = 0; index < rig::kLargestGroupMembers; ++index) {
        ASSERT_EQ(members[index], rig::ExampleLogin(index));
    }
}

TEST(Search, ARelativeBaseStandsBeforeTheConnectionsBase) {
    Connection connection;
    const Query query = {.scope = "one", .attributes = {"1.1"}};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    request.szBase = "ou=appliance";
    ZAFOLDAP_RESULT result;
    ASSERT_EQ(ZAFOLDAPSearchInit(connection, &request, &result), 0);
    std::vector<std::string> dns;
    while (ZAFOLDAPSearchGetNext(&request, &result) == 1)
        dns.push_back(EntryOf(result).dn);
    ZAFOLDAPSearchFree(&request, &result);
    EXPECT_THAT(dns,
                testing::UnorderedElementsAre(std::string("cn=users,") + rig::kApplianceBase,
                                              std::string("cn=groups,") + rig::kApplianceBase,
                                              std::string("cn=zafoconf,") + rig::kApplianceBase));
}

TEST(Search, AFilterThatMatchesNothingIsASuccessWithoutEntries) {
    const SearchOutcome outcome = Search(Connection(), {.filter = "(uid=nobody-of-that-name)"});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.entries, IsEmpty());
}

TEST(Search, AFilterInUTF8Matches) {
    const SearchOutcome outcome =
        Search(Connection(), {.filter = "(cn=山田*)", .attributes = {"1.1"}});
    EXPECT_THAT(outcome.entries, SizeIs(1));
}

TEST(Search, TheFirstOfTwoServersMayBeDead) {
    const SearchOutcome outcome = Search(Connection("127.0.0.1:1 ldap://127.0.0.1:389"),
                                         {.filter = "(uid=reader)", .attributes = {"uid"}});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.DNs(), ElementsAre(rig::kReaderDN));
}

TEST(Search, TheFirstOfTwoServersMayBeDeadWithStartTLS) {
    const SearchOutcome outcome = Search(Connection("127.0.0.1:1 ldap://127.0.0.1:389", 2),
                                         {.filter = "(uid=reader)", .attributes = {"uid"}});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.DNs(), ElementsAre(rig::kReaderDN));
}

struct Window {
    int offset;
    int count;
};

// The library implements the window: it must be the same slice of the full answer. Three entries,
// with references to other servers between them.
class SearchReferences : public testing::Test {
  protected:
    SearchReferences() {
        std::string records = "dn: " + base_ + "\nobjectClass: organizationalUnit\n\n";
        for (const char *name : {"a", "r1", "b", "r2", "c"}) {
            records += std::string("dn: ou=") + name + "," + base_ + "\nou: " + name + "\n";
            records += name[0] == 'r' ? "objectClass: referral\nobjectClass: extensibleObject\n"
                                        "ref: ldap://other.example.com/ou=a-name-so-long,dc=that,"
                                        "dc=its,dc=comment,dc=is,dc=folded\n\n"
                                      : "objectClass: organizationalUnit\n\n";
        }
        const auto run = ExampleDirectory::Get().Client("ldapadd", {}, records);
        EXPECT_EQ(run.exit_code, 0) << run.err;
    }
    ~SearchReferences() override {
        ExampleDirectory::Get().Client("ldapdelete", {"-M", "-r", base_});
    }

    const std::string base_ = std::string("ou=references,") + rig::kExampleBase;
};

TEST_F(SearchReferences, AreNotEntriesAndDoNotShiftTheWindow) {
    Connection connection;
    const auto dns = [&](int offset, int count) {
        const SearchOutcome outcome = Search(connection, {.base = base_,
                                                          .scope = "one",
                                                          .attributes = {"1.1"},
                                                          .offset = offset,
                                                          .count = count});
        EXPECT_EQ(outcome.result, 0);
        return outcome.DNs();
    };
    const std::string a = "ou=a," + base_, b = "ou=b," + base_, c = "ou=c," + base_;
    EXPECT_THAT(dns(0, 0), ElementsAre(a, b, c));
    EXPECT_THAT(dns(1, 1), ElementsAre(b));
    EXPECT_THAT(dns(2, -1), ElementsAre(c));
    EXPECT_THAT(dns(1, 2), ElementsAre(b, c));
}

TEST(SearchWindow, IsTheSliceOfTheWholeAnswer) {
    Connection connection("127.0.0.1", 0, rig::kExampleSecondBase);
    const std::vector<std::string> all = Search(connection, {.attributes = {"1.1"}}).DNs();
    const int n = static_cast<int>(all.size());
    ASSERT_GT(n, 20);
    for (const int offset : {0, 1, 2, 7, n - 1, n, n + 3}) {
        for (const int count : {-1, 0, 1, 2, 9, n - 1, n, n + 3}) {
            SCOPED_TRACE("offset " + std::to_string(offset) + " count " + std::to_string(count));
            const bool whole = count == -1 || (offset == 0 && count == 0);
            const int first = std::min(offset, n);
            const int last = whole ? n : std::min(offset + count, n);
            const std::vector<std::string> expected(all.begin() + first,
                                                    all.begin() + std::max(first, last));
            const SearchOutcome outcome =
                Search(connection, {.attributes = {"1.1"}, .offset = offset, .count = count});
            EXPECT_EQ(outcome.result, 0);
            EXPECT_EQ(outcome.DNs(), expected);
        }
    }
}

}  // namespace
}  // namespace zafo::test
