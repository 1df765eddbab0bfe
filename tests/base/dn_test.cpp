// SPDX-License-Identifier: Apache-2.0
#include "base/dn.h"

#include <cstring>
#include <utility>

#include <gtest/gtest.h>

namespace zafo::dn_test {
namespace {

// "attribute=value|…" for each RDN, its pairs joined by "+", values unescaped; or the error.
std::string Parsed(std::string_view text) {
    DnError error{};
    const auto rdns = ParseDn(text, &error);
    if (!rdns) return std::to_string(error.position) + ": " + error.reason;
    std::string parsed;
    for (const Rdn &rdn : *rdns) {
        parsed += parsed.empty() ? "" : "|";
        for (const DnPair &pair : rdn.pairs) {
            parsed += &pair == rdn.pairs.data() ? "" : "+";
            parsed.append(pair.attribute).append("=").append(pair.Value());
        }
    }
    return parsed;
}

bool IsDn(std::string_view text) {
    return ParseDn(text).has_value();
}

using Rows = std::pair<const char *, const char *>;

TEST(Dn, ReadsTheExamplesOfRfc4514) {
    const Rows kRows[] = {
        {"UID=jsmith,DC=example,DC=net", "UID=jsmith|DC=example|DC=net"},
        {"OU=Sales+CN=J.  Smith,DC=example,DC=net", "OU=Sales+CN=J.  Smith|DC=example|DC=net"},
        {"CN=James \\\"Jim\\\" Smith\\, III,DC=example,DC=net",
         "CN=James \"Jim\" Smith, III|DC=example|DC=net"},
        {"CN=Before\\0dAfter,DC=example,DC=net", "CN=Before\rAfter|DC=example|DC=net"},
        {"1.3.6.1.4.1.1466.0=#04024869", "1.3.6.1.4.1.1466.0=#04024869"},
        {"CN=Lu\\C4\\8Di\\C4\\87", "CN=Lu\xC4\x8Di\xC4\x87"},
    };
    for (const auto &[text, parsed] : kRows)
        EXPECT_EQ(Parsed(text), parsed) << text;
}

TEST(Dn, ReadsWhatRfc2253AsksReadersToAccept) {
    const Rows kRows[] = {
        {"CN=Steve Kille ; O = Isode Limited,\n C=GB", "CN=Steve Kille|O=Isode Limited|C=GB"},
        {"CN=\"L. Eagle\" , O=\"Sue, Grabbit and Runn\"+C=GB",
         "CN=L. Eagle|O=Sue, Grabbit and Runn+C=GB"},
        {"O=\"a\\\"b\\\\c\\2C;+<>= #\"", "O=a\"b\\c,;+<>= #"},
        {"O=\"\",O=\" \"", "O=|O= "},
        {"OID.2.5.4.3=a,oid.2.5.4.10=b", "OID.2.5.4.3=a|oid.2.5.4.10=b"},
    };
    for (const auto &[text, parsed] : kRows)
        EXPECT_EQ(Parsed(text), parsed) << text;
}

TEST(Dn, OfTheRootIsEmpty) {
    EXPECT_EQ(ParseDn("").value().size(), 0U);
}

TEST(Dn, SaysWhereAndWhyATextIsInvalid) {
    const struct {
        std::string_view text;
        std::size_t position;
        const char *reason;
    } kRows[] = {
        {" ", 1, "attribute name"},
        {"example.com", 11, "missing \"=\""},
        {"dc", 2, "missing \"=\""},
        {"a_b=x", 1, "missing \"=\""},
        {"cn;lang-de=x", 2, "missing \"=\""},
        {"=x", 0, "attribute name"},
        {"dc=a,", 5, "attribute name"},
        {",dc=a", 0, "attribute name"},
        {"dc=a,,dc=b", 5, "attribute name"},
        {"cn=a+,dc=b", 5, "attribute name"},
        {"-a=x", 0, "attribute name"},
        {"a.b=x", 0, "attribute name"},
        {"2=x", 0, "attribute name"},
        {"2..5=x", 0, "attribute name"},
        {"2.05=x", 0, "attribute name"},
        {"dc=b,2.5.=x", 5, "attribute name"},
        {"OID.x=x", 0, "attribute name"},
        {"cn=a\"b", 4, "be escaped with \\"},
        {"cn=a<b", 4, "be escaped with \\"},
        {"cn=a>b", 4, "be escaped with \\"},
        {{"cn=a\0b", 6}, 4, "be escaped with \\"},
        {"cn=#x", 3, "be escaped with \\"},
        {"cn=#", 3, "be escaped with \\"},
        {"cn=#0402x", 8, "after the value"},
        {"cn=\"a\"b", 6, "after the value"},
        {"cn=\"a", 3, "unterminated quotation mark"},
        {"cn=a\\zb", 4, "after \\"},
        {"cn=a\\", 4, "after \\"},
        {"cn=a\\4", 4, "after \\"},
        {"cn=\"a\\z\"", 5, "after \\"},
    };
    for (const auto &row : kRows) {
        SCOPED_TRACE(row.text);
        DnError error{99, ""};
        EXPECT_FALSE(ParseDn(row.text, &error).has_value());
        EXPECT_EQ(error.position, row.position);
        EXPECT_NE(std::strstr(error.reason, row.reason), nullptr) << error.reason;
    }
}

TEST(Dn, KeepsRdnsAndValuesAsTheyAreWritten) {
    const auto rdns =
        ParseDn(" cn = Lee\\, Zo\\C3\\AB\\   , ou=a + ou=\"b,c\" ,dc= ,DC=#04 ").value();
    ASSERT_EQ(rdns.size(), 4U);
    EXPECT_EQ(rdns[0].written, "cn = Lee\\, Zo\\C3\\AB\\ ");
    EXPECT_EQ(rdns[0].pairs[0].written, "Lee\\, Zo\\C3\\AB\\ ");
    EXPECT_EQ(rdns[1].written, "ou=a + ou=\"b,c\"");
    EXPECT_EQ(rdns[2].written, "dc=");
    EXPECT_EQ(rdns[3].pairs[0].written, "#04");
}

TEST(Dn, KnowsTheAttributesOfRfc4514ByAllTheirNames) {
    const auto rdns =
        ParseDn("domainComponent=a+0.9.2342.19200300.100.1.25=b+DC=c+oid.2.5.4.3=d+dcx=e");
    std::string found;
    for (const DnPair &pair : rdns.value()[0].pairs)
        found += pair.Is("dc") ? 'y' : 'n';
    EXPECT_EQ(found, "yyynn");
    EXPECT_TRUE(rdns->front().pairs[3].Is("cn"));
}

// Cases that several readers and writers of DNs once treated differently, decided as in RFC 4514
// and slapd.
TEST(Dn, DecisionsOnReading) {
    const Rows kRows[] = {
        {"cn=a=b", "cn=a=b"},          // "=" needs no escape …
        {"cn=a\\=b", "cn=a=b"},        // … but may have one
        {"cn=a#b", "cn=a#b"},          // "#" needs one only at the start
        {"cn=\ta\t", "cn=a"},          // a tab at either end is a blank …
        {"cn=\\09a\\09", "cn=\ta\t"},  // … unless it is escaped
        {"cn=a\\ ", "cn=a "},
        {"cn=a\\\\ ", "cn=a\\"},  // the second backslash is the escaped one
        {"cn=a\\20 ,dc=b", "cn=a |dc=b"},
        {"cn=", "cn="},  // rejecting empty values is left to the schema
        {"cn=a;dc=b", "cn=a|dc=b"},
        {"cn=\"a,dc=no\",dc=com", "cn=a,dc=no|dc=com"},
    };
    for (const auto &[text, parsed] : kRows)
        EXPECT_EQ(Parsed(text), parsed) << text;
    EXPECT_FALSE(IsDn("  "));
}

TEST(Dn, DecisionsOnWriting) {
    const std::pair<std::string_view, const char *> kRows[] = {
        {"anna", "anna"},
        {"", ""},
        {"a=b", "a=b"},
        {" a b ", "\\ a b\\ "},
        {"  ", "\\ \\ "},
        {"#a#", "\\#a#"},
        {"\ta\tb\t", "\\09a\tb\\09"},
        {"\na\r", "\\0Aa\\0D"},
        {{"a\0b", 3}, "a\\00b"},
        {"a,b+c\"d\\e<f>g;h", "a\\,b\\+c\\\"d\\\\e\\<f\\>g\\;h"},
        {"Zo\xC3\xAB", "Zo\xC3\xAB"},
    };
    for (const auto &[value, escaped] : kRows) {
        EXPECT_EQ(EscapedForDn(value), escaped);
        const std::string dn = std::string("cn=") + escaped + " , dc=x";
        const auto rdns = ParseDn(dn);
        ASSERT_TRUE(rdns.has_value()) << escaped;
        EXPECT_EQ(rdns->front().pairs.front().Value(), value);
    }
}

TEST(Dn, IsTheSameInAnyForm) {
    const Rows kSame[] = {
        {"dc=example,dc=com", "DC=Example,DC=COM"},
        {"dc=example,dc=com", " dc = example ; dc = com "},
        {"o=a\\,b", "o=a\\2Cb"},
        {"o=a\\,b", "o=\"a,b\""},
        {"o=a\\2cb", "O=A\\2CB"},
        {"o=M\\C3\\BCller", "o=M\xC3\xBCller"},
        {"o=\\41bc", "o=abc"},
        {"cn=a+sn=b,o=x", "SN=b + CN = A, o=x"},
        {"o=a\\ ", "o=a"},  // slapd ignores leading and trailing blanks, escaped or not
        {"o=a  b", "o=a b"},
        {"o=\\ ", "o=\\20\\20"},
        {"2.5.4.10=a,domainComponent=b", "o=a,dc=b"},
        {"x=#0A", "X=#0a"},
        {"", ""},
        {"no dn", "No DN"},
    };
    for (const auto &[a, b] : kSame)
        EXPECT_TRUE(SameDn(a, b)) << a << " | " << b;
}

TEST(Dn, ComparableFormIsItsOwn) {
    for (const char *dn :
         {"o=\\0A\\20\\20", "o=\\09a", "o=a\\0D", "o=\\20", "o=\\2C\\#", "o= A  b "}) {
        const std::string comparable = ComparableDn(dn);
        EXPECT_NE(comparable, "") << dn;
        EXPECT_EQ(ComparableDn(comparable), comparable) << dn;
    }
}

TEST(Dn, IsNotTheSameAsOthers) {
    const Rows kOthers[] = {
        {"dc=example,dc=com", "dc=example,dc=org"},
        {"o=a\\,b", "o=a,b"},
        {"o=a\\,dc=b", "o=a,dc=b"},
        {"o=a\\+dc\\=b", "o=a+dc=b"},
        {"o=ab", "o=a b"},
        {"o=\\ ", "o="},
        {"o=\\5c", "o=\\5c\\5c"},
        {"o=\\#0a", "o=#0a"},
        {"o=a", ""},
        {"o=a", "cn=a"},
        {"o=a,", "o=b,"},
        {"dc=example,dc=com\\", "dc=example,dc=com"},
    };
    for (const auto &[a, b] : kOthers)
        EXPECT_FALSE(SameDn(a, b)) << a << " | " << b;
}

TEST(Dn, IsBelowItsAncestorsOnly) {
    EXPECT_TRUE(IsBelow("cn=x, DC=a,dc=b", "dc=A,dc=b"));
    EXPECT_TRUE(IsBelow("cn=x,ou=y,dc=b", "dc=b"));
    const Rows kNot[] = {
        {"dc=a,dc=b", "dc=a,dc=b"}, {"cn=xdc=a", "dc=a"}, {"cn=x\\,dc=a", "dc=a"},
        {"cn=\"x,dc=a\"", "dc=a"},  {"dc=a", ""},         {"cn=x,dc=a\\", "dc=a\\"}};
    for (const auto &[dn, ancestor] : kNot)
        EXPECT_FALSE(IsBelow(dn, ancestor)) << dn;
}

TEST(Dn, EndsItsFirstRdnAtASeparatorThatCounts) {
    const std::pair<const char *, std::size_t> kRows[] = {{"cn=a,dc=b", 4},
                                                          {"cn=a\\,b,dc=b", 7},
                                                          {"cn=\"a,b\" ,dc=c", 9},
                                                          {"cn=a+ou=b;dc=c", 9},
                                                          {"cn=a\\2C\\\\,dc=b", 9},
                                                          {"cn=a", 4},
                                                          {"", 0},
                                                          {"cn=a,", 4},
                                                          {"no dn", 5}};
    for (const auto &[dn, end] : kRows)
        EXPECT_EQ(EndOfRdn(dn), end) << dn;
}

TEST(Dn, StandsInAUrlAsOnePart) {
    EXPECT_EQ(EscapedForUrl("dc=a-b.c,o=x (y)*\\2C?%"), "dc=a-b.c,o=x%20%28y%29%2A%5C2C%3F%25");
    EXPECT_EQ(EscapedForUrl("o=\xC3\xAB"), "o=%C3%AB");
}

}  // namespace
}  // namespace zafo::dn_test
