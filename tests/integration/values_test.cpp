// SPDX-License-Identifier: Apache-2.0
//
// The predefined searches, and what a server reports about itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST(SearchEachValue, KeepsNamesAndFirstValuesParallel) {
    const Connection connection;
    const Query query = {.base = rig::kSpecimenBase};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    StringList dns;
    StringList values;
    EXPECT_EQ(
        ZAFOLDAPSearchEachValue(connection, &request, "description", dns.Slot(), values.Slot()), 0);
    const std::vector<LdifEntry> expected = ExampleDirectory::Get().Read(rig::kSpecimenBase);
    ASSERT_THAT(dns.Content(), SizeIs(expected.size()));
    ASSERT_THAT(values.Content(), SizeIs(expected.size()));
    for (size_t at = 0; at < expected.size(); ++at) {
        EXPECT_EQ(dns.Content()[at], expected[at].dn);
        const auto described = expected[at].All("description");
        EXPECT_EQ(values.Content()[at], described.empty() ? "" : described.front());
    }
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchEachValue, OfDnFillsNamesAlone) {
    const Connection connection;
    const Query query = {.base = "cn=groups,dc=example,dc=com",
                         .filter = "(objectClass=posixGroup)"};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    StringList dns;
    EXPECT_EQ(ZAFOLDAPSearchEachValue(connection, &request, "dn", dns.Slot(), nullptr), 0);
    EXPECT_EQ(dns.Content(), Search(connection, query).DNs());
    EXPECT_THAT(dns.Content(), SizeIs(testing::Gt(10U)));
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchEachValue, LeavesTheRequestForAnotherSearch) {
    const Connection connection;
    const Query query = {.filter = "(uid=reader)", .attributes = {"sn", "mail"}};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    StringList dns;
    StringList values;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(ZAFOLDAPSearchEachValue(connection, &request, "sn", dns.Slot(), values.Slot()),
                  0);
        EXPECT_THAT(values.Content(), ElementsAre("Reader"));
    }
    EXPECT_EQ(request.plistAttr->nItem, 2);
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchEachValue, FailsWithTheServersCode) {
    const Connection connection;
    const Query query = {.base = "ou=nowhere,dc=example,dc=com"};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    StringList dns;
    ZAFOLDAPErrReset();
    EXPECT_EQ(ZAFOLDAPSearchEachValue(connection, &request, "dn", dns.Slot(), nullptr), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchMultiValue, GivesAllValuesOfTheFirstEntryOnly) {
    const Connection connection;
    const Query query = {.filter = "(objectClass=posixGroup)"};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    StringList values;
    EXPECT_EQ(ZAFOLDAPSearchMultiValue(connection, &request, "memberUid", values.Slot()), 0);
    EXPECT_EQ(values.Content(), ExampleDirectory::Get()
                                    .Read(rig::kExampleBase, "sub", {query.filter})
                                    .at(0)
                                    .All("memberUid"));
    EXPECT_THAT(values.Content(), SizeIs(testing::Gt(10U)));
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchMultiValue, OfTheLargestGroupGivesEveryMember) {
    const Connection connection;
    const Query query = {.base = rig::kLargestGroup};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    StringList values;
    EXPECT_EQ(ZAFOLDAPSearchMultiValue(connection, &request, "MEMBER", values.Slot()), 0);
    EXPECT_THAT(values.Content(), SizeIs(rig::kLargestGroupMembers));
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchMultiValue, OfAMissingAttributeIsAnEmptySuccess) {
    const Connection connection;
    const Query query = {.filter = "(uid=reader)"};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    StringList values;
    QLIBCSzListPush(values.Slot(), "left over");
    EXPECT_EQ(ZAFOLDAPSearchMultiValue(connection, &request, "jpegPhoto", values.Slot()), 0);
    EXPECT_THAT(values.Content(), IsEmpty());
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchGetValueByDN, CountsTheValuesAndCopiesTheFirst) {
    const Connection connection;
    const std::string dn = std::string("cn=many values,") + rig::kSpecimenBase;
    char value[64];
    EXPECT_EQ(ZAFOLDAPSearchGetValueByDN(connection, dn.c_str(), nullptr, "telephoneNumber", value,
                                         sizeof value),
              60);
    EXPECT_STREQ(value, "+41 44 555 1000");
}

TEST(SearchGetValueByDN, CutsTheValueAtTheBuffer) {
    const Connection connection;
    char value[4];
    EXPECT_EQ(
        ZAFOLDAPSearchGetValueByDN(connection, rig::kReaderDN, nullptr, "sn", value, sizeof value),
        1);
    EXPECT_STREQ(value, "Rea");
}

TEST(SearchGetValueByDN, OfAnEntryWithoutTheAttributeIs0AndEmpty) {
    const Connection connection;
    char value[8] = "before";
    EXPECT_EQ(ZAFOLDAPSearchGetValueByDN(connection, rig::kReaderDN, nullptr, "title", value,
                                         sizeof value),
              0);
    EXPECT_STREQ(value, "");
}

TEST(SearchGetValueByDN, TakesAFilterBelowTheName) {
    const Connection connection;
    char value[64];
    EXPECT_EQ(ZAFOLDAPSearchGetValueByDN(connection, rig::kExampleBase, "(cn=山田太郎)", "sn",
                                         value, sizeof value),
              1);
    EXPECT_STREQ(value, "Specimen");
}

TEST(SearchGetValueByDN, OfAMissingEntryIsAFailure) {
    const Connection connection;
    char value[8];
    ZAFOLDAPErrReset();
    EXPECT_EQ(ZAFOLDAPSearchGetValueByDN(connection, "cn=x,dc=example,dc=com", nullptr, "sn", value,
                                         sizeof value),
              -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

TEST(SearchObjectClasses, GivesTheBitsOfTheEntrysClasses) {
    struct Row {
        std::string dn;
        unsigned bits;
    };
    const Connection connection;
    // An entry does not list its superior classes.
    for (const Row &row : {
             Row{rig::kReaderDN, ZAFOLDAP_CLASS_INET_ORG_PERSON |
                                     ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON | ZAFOLDAP_CLASS_PERSON |
                                     ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_SHADOW_ACCOUNT},
             Row{rig::kLargestGroup, ZAFOLDAP_CLASS_POSIX_GROUP | ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT},
             Row{rig::kExampleBase, ZAFOLDAP_CLASS_DOMAIN},
             Row{rig::kSpecimenBase, 0},
         }) {
        SCOPED_TRACE(row.dn);
        unsigned bits = 0xFFFF;
        const char *filter = row.dn == rig::kReaderDN ? "(uid=reader)" : nullptr;
        EXPECT_EQ(ZAFOLDAPSearchObjectClasses(connection, row.dn.c_str(), filter, &bits), 0);
        EXPECT_EQ(bits, row.bits);
    }
}

TEST(SearchResultGet, StopsAtThePositiveAnswerOfTheHandler) {
    const Connection connection;
    const Query query = {.attributes = {"1.1"}};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    int seen = 0;
    const auto handler = [](const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                            const ZAFOLDAP_RESULT *,
                            void *data) { return ++*static_cast<int *>(data) == 3 ? 1 : 0; };
    EXPECT_EQ(ZAFOLDAPSearchResultGet(connection, &request, handler, &seen), 0);
    EXPECT_EQ(seen, 3);
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(SearchResultGet, GivesBackTheNegativeAnswerOfTheHandler) {
    const Connection connection;
    const Query query = {.attributes = {"1.1"}};
    ZAFOLDAP_SEARCH_REQUEST request = Request(query);
    const auto handler = [](const ZAFOLDAP_HOST *, const ZAFOLDAP_SEARCH_REQUEST *,
                            const ZAFOLDAP_RESULT *, void *) { return -42; };
    EXPECT_EQ(ZAFOLDAPSearchResultGet(connection, &request, handler, nullptr), -42);
    ZAFOLDAPSearchRequestFree(&request);
}

TEST(Schema, NameIsThatOfTheRootDSE) {
    Connection connection;
    char dn[64];
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(connection.Record(), dn, sizeof dn), 0);
    EXPECT_STREQ(dn, "cn=Subschema");
}

TEST(Schema, BitsAreThoseOfTheClassesTheServerDefines) {
    Connection connection;
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(connection.Record()), 0);
    // core, cosine, inetorgperson and nis, but neither Apple's nor Samba's classes.
    EXPECT_EQ(connection.Record()->nSchema, 0x01FFU);
}

TEST(Schema, OfAServerThatIsDownCannotBeNamed) {
    Connection connection("127.0.0.1:1");
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(connection.Record()), -2);
    EXPECT_EQ(connection.Record()->nSchema, 0U);
}

TEST(ServerType, FollowsTheMarkerBelowTheBase) {
    struct Row {
        const char *base;
        int type;
    };
    for (const Row &row : {Row{rig::kExampleBase, ZAFOLDAP_SERVER_GENERIC},
                           Row{"ou=people,dc=example,dc=org", ZAFOLDAP_SERVER_GENERIC},
                           Row{"dc=nowhere", ZAFOLDAP_SERVER_GENERIC},
                           Row{rig::kApplianceBase, ZAFOLDAP_SERVER_ZAFO},
                           Row{rig::kAppleBase, ZAFOLDAP_SERVER_APPLE},
                           Row{rig::kExampleSecondBase, ZAFOLDAP_SERVER_APPLE},
                           Row{rig::kBothMarkersBase, ZAFOLDAP_SERVER_ZAFO}}) {
        SCOPED_TRACE(row.base);
        Connection connection("127.0.0.1", 0, row.base);
        connection.Record()->nServerType = 77;
        EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(connection.Record()), 0);
        EXPECT_EQ(connection.Record()->nServerType, row.type);
    }
}

TEST(ServerType, OfAServerThatIsDownIsLeftAsItWas) {
    Connection connection("127.0.0.1:1");
    connection.Record()->nServerType = 77;
    EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(connection.Record()), -1);
    EXPECT_EQ(connection.Record()->nServerType, 77);
}

}  // namespace
}  // namespace zafo::test
