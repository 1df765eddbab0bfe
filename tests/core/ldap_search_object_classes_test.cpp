// SPDX-License-Identifier: Apache-2.0
#include "platform/error.h"
#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

using testing::ElementsAre;

struct ClassBit {
    const char *name;
    unsigned int bit;
};

constexpr ClassBit kClasses[] = {
    {"top", 0x0001},
    {"domain", 0x0002},
    {"extensibleObject", 0x0004},
    {"organizationalPerson", 0x0008},
    {"person", 0x0010},
    {"posixAccount", 0x0020},
    {"posixGroup", 0x0040},
    {"inetOrgPerson", 0x0080},
    {"shadowAccount", 0x0100},
    {"apple-user", 0x0200},
    {"apple-group", 0x0400},
    {"sambaSamAccount", 0x0800},
    {"sambaGroupMapping", 0x1000},
};

class ObjectClasses : public CoreTest {
  protected:
    // The schema bits of an entry with these lines.
    unsigned int BitsOf(const std::string &lines) {
        tools_.Reset();
        tools_.On("ldapsearch").IgnoreSignals().Output("dn: a\n" + lines + "\n");
        unsigned int bits = 0xFFFFFFFF;
        EXPECT_EQ(ZAFOLDAPSearchObjectClasses(&host_, "uid=a,dc=x", nullptr, &bits), 0);
        return bits;
    }
};

TEST_F(ObjectClasses, EachClassHasItsBitInAnyLetterCase) {
    for (const ClassBit &row : kClasses) {
        SCOPED_TRACE(row.name);
        std::string capitals = row.name;
        for (char &c : capitals)
            c = static_cast<char>(toupper(c));
        EXPECT_EQ(BitsOf(std::string("objectClass: ") + row.name + "\n"), row.bit);
        EXPECT_EQ(BitsOf("OBJECTCLASS: " + capitals + "\n"), row.bit);
    }
}

TEST_F(ObjectClasses, BitsOfSeveralClassesAreJoined) {
    EXPECT_EQ(BitsOf("objectClass: top\nobjectclass: PosixAccount\nobjectClass: shadowaccount\n"),
              0x0121u);
}

TEST_F(ObjectClasses, OnlyWholeNamesCount) {
    EXPECT_EQ(BitsOf("objectClass: person2\nobjectClass: 'top'\nobjectClass: op\n"
                     "objectClass: posix\nobjectClass: apple-user \n"),
              0u);
}

TEST_F(ObjectClasses, OtherAttributesDoNotCount) {
    EXPECT_EQ(BitsOf("structuralObjectClass: person\nobjectClass;x: top\ncn: domain\n"), 0u);
}

TEST_F(ObjectClasses, LooksAtTheFirstEntryOnly) {
    EXPECT_EQ(BitsOf("objectClass: top\n\ndn: b\nobjectClass: person\n"), 0x0001u);
}

TEST_F(ObjectClasses, NoEntryHasNone) {
    unsigned int bits = 0xFFFFFFFF;
    EXPECT_EQ(ZAFOLDAPSearchObjectClasses(&host_, "uid=a,dc=x", nullptr, &bits), 0);
    EXPECT_EQ(bits, 0u);
}

TEST_F(ObjectClasses, AsksForTheObjectClassesBelowTheWholeDN) {
    unsigned int bits = 0;
    EXPECT_EQ(ZAFOLDAPSearchObjectClasses(&host_, "uid=a,dc=x", "(uid=a)", &bits), 0);
    EXPECT_THAT(tools_.Calls().at(0).argv,
                ElementsAre("/usr/zafo/bin/ldapsearch", "-LLL", "-x", "-H", "ldap://server", "-b",
                            "uid=a,dc=x", "(uid=a)", "objectClass"));
}

TEST_F(ObjectClasses, FailingToolFailsWithNoBits) {
    tools_.On("ldapsearch").Exit(32);
    unsigned int bits = 0xFFFFFFFF;
    EXPECT_EQ(ZAFOLDAPSearchObjectClasses(&host_, "uid=a,dc=x", nullptr, &bits), -1);
    EXPECT_EQ(bits, 0u);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

}  // namespace
}  // namespace zafo::core_test
