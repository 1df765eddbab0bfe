// SPDX-License-Identifier: Apache-2.0
//
// The object classes in a server's schema.
#include <cctype>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::schema_test {

class Schema : public ChangeTest {
  protected:
    void AnswerClasses(const Strings &definitions) {
        platform()
            .On("ldapsearch", "subschemaSubentry")
            .Prints(Entry("", {{"subschemaSubentry", "cn=Subschema"}}));
        std::vector<std::pair<std::string, std::string>> values;
        for (const std::string &definition : definitions)
            values.emplace_back("objectClasses", definition);
        platform().On("ldapsearch", "objectclasses").Prints(Entry("cn=Subschema", values));
    }
    unsigned BitsOf(const Strings &definitions) {
        AnswerClasses(definitions);
        Host host;
        EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(host), 0);
        return host->nSchema;
    }
    Host asked_;
};
ZAFO_FOREIGN_SUITE(Schema);

TEST_P(Schema, ReadsTheNameOfTheSubschemaFromTheRootEntry) {
    char name[64] = "before";
    platform()
        .On("ldapsearch")
        .Prints(
            Entry("", {{"subschemaSubentry", "cn=Schema,cn=x"}, {"subschemaSubentry", "cn=2"}}));
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, sizeof name), 0);
    EXPECT_STREQ(name, "cn=Schema,cn=x");
    EXPECT_EQ(Searches(),
              std::vector<Strings>{SearchVector({"-s", "baseObject", "subschemaSubentry"})});
    ExpectSlotsUntouched();
}

TEST_P(Schema, CutsTheNameToTheBuffer) {
    char name[] = "before";
    platform().On("ldapsearch").Prints(Entry("", {{"subschemaSubentry", "cn=Subschema"}})).Always();
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, 4), 0);
    EXPECT_STREQ(name, "cn=");
    EXPECT_EQ(name[4], 'r');
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, 1), 0);
    EXPECT_STREQ(name, "");
}

TEST_P(Schema, FailsWithoutTheName) {
    char name[64] = "before";
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, sizeof name), -1);
    platform().On("ldapsearch").Prints(Entry("", {{"objectClass", "top"}}));
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, sizeof name), -1);
    platform().On("ldapsearch").Exits(53);
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, sizeof name), -1);
    EXPECT_EQ(LibraryError(), 53);
    for (int nth = 1; nth <= 2; ++nth) {
        platform().Fail("QLIBCSzListAlloc", nth, -1, 0x0200);
        EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, sizeof name), -1) << nth;
    }
}

TEST_P(Schema, RefusesNoRecordAndNoBuffer) {
    char name[8];
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPHostGetSchemaDN(nullptr, name, sizeof name); });
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, nullptr, sizeof name), -1);
    EXPECT_EQ(ZAFOLDAPHostGetSchemaDN(asked_, name, 0), -1);
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(nullptr) < 0, true);
}

TEST_P(Schema, KnowsEveryQuotedClassAndItsCase) {
    Strings all;
    for (const auto &[name, bit] : kSchemaClasses) {
        const std::string text = name;
        std::string upper = text;
        for (char &letter : upper)
            letter = static_cast<char>(toupper(letter));
        EXPECT_EQ(BitsOf({"( 1.2 NAME '" + text + "' STRUCTURAL )"}), bit) << name;
        EXPECT_EQ(BitsOf({"'" + text + "'"}), bit) << name;
        EXPECT_EQ(BitsOf({"( 1.2 NAME '" + upper + "' )"}), 0U) << name;
        EXPECT_EQ(BitsOf({"( 1.2 NAME 'x' SUP " + text + " )"}), 0U) << name;
        EXPECT_EQ(BitsOf({"( 1.2 NAME 'x" + text + "' )"}), 0U) << name;
        EXPECT_EQ(BitsOf({"( 1.2 NAME '" + text + "x' )"}), 0U) << name;
        all.push_back("( 1.2 NAME '" + text + "' )");
    }
    EXPECT_EQ(BitsOf(all), 0x1fffU);
}

TEST_P(Schema, CountsAClassThatIsOnlyNamedAsASuperior) {
    EXPECT_EQ(BitsOf({"( 1.2 NAME ( 'x' 'inetOrgPerson' ) SUP 'organizationalPerson' )",
                      "( 1.3 NAME 'y' )", "( 1.4 NAME 'posixGroup' DESC 'top' )"}),
              0x0080U | 0x0008U | 0x0040U | 0x0001U);
}

TEST_P(Schema, ReadsDefinitionsThatAreFoldedOrInBase64) {
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints("dn:\nsubschemaSubentry: cn=Sub\n schema\n\n");
    platform()
        .On("ldapsearch", "objectclasses")
        .Prints("dn: cn=Subschema\nobjectClasses: ( 1.2 NAME 'posixAc\n count' DESC 'x\n y' )\n" +
                ("objectClasses:: " + Base64(" ( 1.3 NAME 'posixGroup' )")) +
                "\nOBJECTCLASSES: ( 1.4 NAME 'to\n p' )\n\n");
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), 0);
    EXPECT_EQ(asked_->nSchema, 0x61U);
    EXPECT_EQ(platform().Runs().at(1).argv.at(9), "cn=Subschema");
}

TEST_P(Schema, AsksTheSubschemaEntry) {
    AnswerClasses({"( 1.2 NAME 'top' )"});
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), 0);
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{
                  SearchVector({"-s", "baseObject", "subschemaSubentry"}),
                  SearchVector({"-b", "cn=Subschema", "-s", "baseObject", "objectclasses"})}));
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(Schema, OnlyAddsBits) {
    asked_.schema = 0x8020;
    AnswerClasses({"( 1.2 NAME 'top' )"});
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), 0);
    EXPECT_EQ(asked_->nSchema, 0x8021U);
}

TEST_P(Schema, HasNoBitForAnEntryWithoutClasses) {
    EXPECT_EQ(BitsOf({}), 0U);
}

TEST_P(Schema, CutsTheNameOfTheSubschemaTo1023Characters) {
    const std::string name = "cn=" + std::string(2000, 's');
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints(Entry("", {{"subschemaSubentry", name}}));
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), 0);
    EXPECT_EQ(platform().Runs().at(1).argv.at(9), name.substr(0, 1023));
}

TEST_P(Schema, DistinguishesItsFailures) {
    platform().On("ldapsearch", "subschemaSubentry").Exits(1);
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), -2);
    EXPECT_EQ(LibraryError(), 1);
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), -2);
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints(Entry("", {{"subschemaSubentry", "cn=Subschema"}}))
        .Always();
    platform().On("ldapsearch", "objectclasses").Exits(32);
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), -3);
    EXPECT_EQ(LibraryError(), 32);
    EXPECT_EQ(asked_->nSchema, 0U);
    Stale();
    platform().On("ldapsearch", "objectclasses").CannotStart();
    EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), -3);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(Schema, FailsNegativelyWheneverMemoryRunsOut) {
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints(Entry("", {{"subschemaSubentry", "cn=Subschema"}}))
        .Always();
    platform()
        .On("ldapsearch", "objectclasses")
        .Prints(Entry("cn=a", {{"objectClasses", "'top'"}}))
        .Always();
    platform().Forget();
    ASSERT_EQ(ZAFOLDAPHostGetSupportedSchema(asked_), 0);
    const auto lists = static_cast<int>(platform().CallsOf("QLIBCSzListAlloc").size());
    ASSERT_GT(lists, 0);
    int memory = 0;
    for (int nth = 1; nth <= lists; ++nth) {
        platform().Fail("QLIBCSzListAlloc", nth, -1, 0x0200);
        const int result = ZAFOLDAPHostGetSupportedSchema(asked_);
        EXPECT_LT(result, 0) << nth;
        memory += result == -1 ? 1 : 0;
    }
    // One of the lists is the call's own, for the values.
    EXPECT_GE(memory, 1);
}

}  // namespace zafo::foreign::schema_test
