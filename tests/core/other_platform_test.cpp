// SPDX-License-Identifier: Apache-2.0
//
// The directory core on a platform that is not ours.
#include "tests/core/other_platform.h"

#include <functional>
#include <iterator>
#include <utility>

#include "platform/error.h"
#include "tests/core/connection_fixture.h"
#include "tests/rig/cipher.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CoreOnAnotherPlatform : public ConnectionTest {
  protected:
    void FillRecord() {
        ASSERT_EQ(ZAFOLDAPHostInit(&record_), 0);
        const char *values[] = {"ldap://server", "dc=com", "cn=admin", "secret", "example.com"};
        for (int attr = 0; attr < LDAP_HOST_ATTR_MAX; ++attr)
            ASSERT_EQ(ZAFOLDAPHostSet(&record_, attr, values[attr]), 0);
    }

    // Reads every entry of a search, and looks at none.
    int ReadToTheEnd() {
        Request request({"cn", "sn"});
        ZAFOLDAP_RESULT result;
        int next = ZAFOLDAPSearchInit(&host_, &request, &result);
        if (next == 0) {
            do
                next = ZAFOLDAPSearchGetNext(&request, &result);
            while (next == 1);
        }
        ZAFOLDAPSearchFree(&request, &result);
        return next;
    }

    OtherPlatform platform_;
};

// The connection record -------------------------------------------------------------------------

TEST_F(CoreOnAnotherPlatform, ConnectionTakesAFieldOfItsOwnAsAValue) {
    platform_->wipes_before_copying = true;
    FillRecord();
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_URI, record_.szUri + 7), 0);
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BASEDN, record_.szBaseDN), 0);
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BINDDN, record_.szLoginSuffix), 0);
    EXPECT_THAT(FieldsOf(record_),
                ElementsAre("server", "dc=com", "example.com", "secret", "example.com"));
    EXPECT_EQ(record_.plistBuffer->nItem, 5);
}

TEST_F(CoreOnAnotherPlatform, SchemeIsCutOffTheAddressOfTheBinding) {
    platform_->wipes_before_copying = true;
    Write(kNslcdConf, "uri ldap://host1\nbase dc=a\n");
    ScriptWholeServer();
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&record_), 1);
    EXPECT_STREQ(record_.szUri, "host1");
}

TEST_F(CoreOnAnotherPlatform, ConnectionStaysAsItWasWhenAValueFindsNoRoom) {
    FillRecord();
    const Texts before = FieldsOf(record_);
    platform_->failing_inserts = 1;
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BINDDN, "cn=other"), -1);
    EXPECT_EQ(FieldsOf(record_), before);
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BINDDN, "cn=other"), 0);
    EXPECT_STREQ(record_.szBindDN, "cn=other");
}

TEST_F(CoreOnAnotherPlatform, ConnectionIsEmptyWhenTheOldValueFindsNoRoomEither) {
    FillRecord();
    platform_->failing_inserts = 2;
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_BINDDN, "cn=other"), -1);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("-", "-", "-", "-", "-"));
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_LOGIN_SUFFIX, "suffix"), 0);
    EXPECT_EQ(ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_URI, "server"), 0);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("server", "-", "-", "-", "suffix"));
    EXPECT_EQ(record_.plistBuffer->nItem, 5);
}

TEST_F(CoreOnAnotherPlatform, EmptyRecordsFreeNothing) {
    ZAFOLDAP_RESULT result{};
    ZAFOLDAP_SEARCH_REQUEST request{};
    EXPECT_EQ(ZAFOLDAPHostFree(&record_), 0);
    EXPECT_EQ(ZAFOLDAPResultFree(&result), 0);
    EXPECT_EQ(ZAFOLDAPSearchRequestFree(&request), 0);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request, &result), 0);
    EXPECT_THAT(platform_->given_null, IsEmpty());
}

// Values in base64 --------------------------------------------------------------------------------

struct DecodingCase {
    const char *name;
    Decoding decoding;
};

void PrintTo(const DecodingCase &value, std::ostream *out) {
    *out << value.name;
}

class Base64Value : public CoreOnAnotherPlatform,
                    public testing::WithParamInterface<DecodingCase> {};

TEST_P(Base64Value, IsDecodedWhole) {
    platform_->decoding = GetParam().decoding;
    std::string text, folded, whole;
    for (int i = 0; i < 500; ++i) {
        text += "YWJj";
        folded += "\n YWJj";
        whole += "abc";
    }
    tools_.On("ldapsearch")
        .Output("dn: a\nuid:: YW5u\ncn:: aGVsbG8=\nsn:: YWIAY2Q=\nst:: \nl:: " + text +
                "\nou:: " + folded + "\n\n");
    const Search search = RunSearch(host_, Request());
    ASSERT_EQ(search.entries.size(), 1u);
    EXPECT_EQ(search.entries[0], (Entry{{"dn", "a"},
                                        {"uid", "ann"},
                                        {"cn", "hello"},
                                        {"sn", "ab"},
                                        {"st", ""},
                                        {"l", whole},
                                        {"ou", whole}}));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_P(Base64Value, ThatIsNoneFails) {
    platform_->decoding = GetParam().decoding;
    tools_.On("ldapsearch").IgnoreSignals().Output("dn: a\ncn:: !!!!\n\n");
    EXPECT_EQ(RunSearch(host_, Request()).last, -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("base64 decode failed: [!!!!], [0x0F00]"));
}

INSTANTIATE_TEST_SUITE_P(
    Decoders, Base64Value,
    testing::Values(DecodingCase{"Ours", Decoding::kOurs},
                    DecodingCase{"TouchesMoreThanTheText", Decoding::kTouches1024},
                    DecodingCase{"LeavesTheLengthAlone", Decoding::kLeavesTheLength},
                    DecodingCase{"TakesTheLengthForTheRoom", Decoding::kTakesARoom},
                    DecodingCase{"SetsALengthBeyondTheBuffer", Decoding::kLengthBeyond}),
    [](const auto &decoder) { return std::string(decoder.param.name); });

// Results -----------------------------------------------------------------------------------------

TEST_F(CoreOnAnotherPlatform, PositiveResultsAreSuccessWhereConnectionsAreSaved) {
    SKIP_WITHOUT_CIPHER();
    platform_->positive_success = true;
    FillRecord();
    record_.nSSLType = 2;
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&record_, "ann"), 0);
    EXPECT_EQ(Section("ann")["uri"], "ldap://server");
    EXPECT_EQ(Section("ann")["ssl"], "start_tls");
    ScriptWholeServer();
    ZAFOLDAPHostFree(&record_);
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, "ann"), 1);
    EXPECT_THAT(FieldsOf(record_),
                ElementsAre("ldap://server", "dc=com", "cn=admin", "secret", "example.com"));
    EXPECT_EQ(record_.nSchema, 0x0020u);
}

TEST_F(CoreOnAnotherPlatform, PositiveResultsAreSuccessWhereTheBindingIsRead) {
    platform_->positive_success = true;
    Write(kNslcdConf, "uri ldap://h\nbase dc=a\nbindpw p\n");
    ScriptWholeServer();
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&record_), 1);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("h", "dc=a", "-", "p", "a"));
}

TEST_F(CoreOnAnotherPlatform, PositiveResultsAreSuccessWhereEntriesAreRead) {
    platform_->positive_success = true;
    tools_.On("ldapsearch").Output("dn: a\ncn: x\n y\ncn:: aGk=\n\ndn: b\n\n");
    const Search search = RunSearch(host_, Request({"cn"}));
    EXPECT_THAT(search.entries,
                ElementsAre(Entry{{"dn", "a"}, {"cn", "xy"}, {"cn", "hi"}}, Entry{{"dn", "b"}}));
    tools_.On("ldapsearch").Output("dn: a\ncn: x\n\n");
    List dns, values;
    const Request request;
    EXPECT_EQ(ZAFOLDAPSearchEachValue(&host_, &request, "cn", dns.Address(), values.Address()), 0);
    EXPECT_THAT(dns.Items(), ElementsAre("a"));
    EXPECT_THAT(values.Items(), ElementsAre("x"));
}

TEST_F(CoreOnAnotherPlatform, DirectiveIsFoundByItsValue) {
    platform_->found_is_zero = true;
    Write(kNslcdConf, "uri ldap://h\nbase dc=a\n");
    ScriptWholeServer();
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&record_), 1);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("h", "dc=a", "-", "-", "a"));
}

TEST_F(CoreOnAnotherPlatform, DirectiveWithoutAValueIsFoundWhereThePlatformSaysSo) {
    Write(kNslcdConf, "uri ldap://h\nbase dc=a\nbinddn \"\"\n");
    ScriptWholeServer();
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&record_), 1);
    EXPECT_THAT(FieldsOf(record_), ElementsAre("h", "dc=a", "", "-", "a"));
}

// Lists that fail ---------------------------------------------------------------------------------

TEST_F(CoreOnAnotherPlatform, EntryStaysPairedWhenItsLastValueCannotBeTaken) {
    ZAFOLDAP_RESULT result;
    ASSERT_EQ(ZAFOLDAPResultInit(&result), 0);
    ZAFOLDAPResultSet(&result, "cn", "a");
    platform_->failing_pops = 1;
    EXPECT_EQ(ZAFOLDAPResultConcateAttr(&result, "b"), -1);
    EXPECT_EQ(PairsOf(result), (Entry{{"cn", "a"}}));
    EXPECT_EQ(result.plistValue->nItem, 1);
    ZAFOLDAPResultFree(&result);
}

TEST_F(CoreOnAnotherPlatform, ListThatCannotBeEmptiedIsAFailure) {
    ZAFOLDAP_RESULT result, other;
    ASSERT_EQ(ZAFOLDAPResultInit(&result), 0);
    ASSERT_EQ(ZAFOLDAPResultInit(&other), 0);
    ZAFOLDAPResultSet(&result, "cn", "a");
    List values{"old"}, dns{"old"};
    const Request request;
    const std::function<int()> calls[] = {
        [&] { return ZAFOLDAPResultRemoveAll(&result); },
        [&] { return ZAFOLDAPResultClone(&other, &result); },
        [&] { return ZAFOLDAPResultGetAll(&result, "cn", values.Address()); },
        [&] { return ZAFOLDAPSearchMultiValue(&host_, &request, "cn", values.Address()); },
        [&] {
            return ZAFOLDAPSearchEachValue(&host_, &request, "cn", dns.Address(), values.Address());
        }};
    for (size_t i = 0; i < std::size(calls); ++i) {
        platform_->failing_empties = 1;
        EXPECT_EQ(calls[i](), -1) << i;
    }
    EXPECT_EQ(result.plistAttr->nItem, 1);
    EXPECT_EQ(result.plistValue->nItem, 0);
    EXPECT_TRUE(tools_.Calls().empty());
    ZAFOLDAPResultFree(&result);
    ZAFOLDAPResultFree(&other);
}

TEST_F(CoreOnAnotherPlatform, ItemThatAListDoesNotGiveCrashesNothing) {
    const std::string entry =
        "dn: a\nobjectClass: top\ncn:: aGVs\n bG8=\nsn: x\n y\n\ndn: b\ncn: z\n\n";
    List dns, values;
    const Request request;
    char text[16];
    unsigned classes = 0;
    const std::function<int()> calls[] = {
        [&] { return ReadToTheEnd(); },
        [&] {
            return ZAFOLDAPSearchEachValue(&host_, &request, "cn", dns.Address(), values.Address());
        },
        [&] { return ZAFOLDAPSearchGetValueByDN(&host_, "a", nullptr, "cn", text, sizeof text); },
        [&] { return ZAFOLDAPSearchObjectClasses(&host_, "a", nullptr, &classes); },
        [&] { return ZAFOLDAPHostSet(&record_, LDAP_HOST_ATTR_URI, "server"); }};
    FillRecord();
    for (size_t i = 0; i < std::size(calls); ++i) {
        tools_.On("ldapsearch").IgnoreSignals().Output(entry);
        const int whole = calls[i]();
        for (int nth = 1; nth < 100; ++nth) {
            platform_->lost_item = nth;
            EXPECT_LE(calls[i](), whole) << i << ", item " << nth;
            if (std::exchange(platform_->lost_item, 0) > 0) break;
        }
    }
}

TEST_F(CoreOnAnotherPlatform, SchemaWhoseItemsTheListDoesNotGiveIsNotRead) {
    for (int nth = 1; nth < 100; ++nth) {
        tools_.Reset();
        ScriptSchema("objectClasses: ( 1 NAME 'top' )\n");
        platform_->lost_item = nth;
        EXPECT_LE(ZAFOLDAPHostGetSupportedSchema(&host_), 0);
        if (std::exchange(platform_->lost_item, 0) > 0) break;
    }
}

TEST_F(CoreOnAnotherPlatform, NewSectionIsAddedWithTheMap) {
    host_.szBindPasswd = nullptr;
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, "ann"), 0);
    ASSERT_EQ(platform_->sections.size(), 1u);
    EXPECT_NE(platform_->sections[0], nullptr);
}

// Buffers -----------------------------------------------------------------------------------------

TEST_F(CoreOnAnotherPlatform, TextsOfTheBindingEndInTheirBuffers) {
    platform_->fills_buffers = true;
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(ZAFOLDAPHostInitByBindConfig(&record_), 0);
    const std::string whole(1023, 'x');
    EXPECT_THAT(FieldsOf(record_), ElementsAre(whole, whole, whole, whole, whole));
}

TEST_F(CoreOnAnotherPlatform, PasswordThatIsDecipheredEndsInItsBuffer) {
    Write(kBrowserConf, "[root]\nuri=h\nbindpw=any\n");
    platform_->fills_buffers = true;
    tools_.On("ldapsearch").Exit(255);
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, nullptr), 0);
    EXPECT_EQ(record_.szBindPasswd, std::string(1023, 'x'));
}

TEST_F(CoreOnAnotherPlatform, TextsThatAreSavedEndInTheirBuffers) {
    ZAFOLDAP_SERVER_PARAM parms{};
    parms.szSuffix = "dc=a";
    parms.szRootPW = "secret";
    platform_->fills_buffers = true;
    EXPECT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&parms), 0);
    EXPECT_EQ(Section("root")["bindpw"], std::string(1368, 'x'));
    EXPECT_EQ(Section("root")["ssl"], std::string(1023, 'x'));
    EXPECT_EQ(Section("root")["loginsuffix"], std::string(1023, 'x'));
}

}  // namespace
}  // namespace zafo::core_test
