// SPDX-License-Identifier: Apache-2.0
//
// Suffixes and administrators with awkward names: each passes through the configuration, the access
// rules, the offline tools and the clients.
#include "tests/integration/server_fixture.h"
#include "tests/rig/ldif_reader.h"

namespace zafo::test {
namespace {

using testing::SizeIs;

constexpr int kInsufficientAccess = 50;
constexpr int kNameRefused = 1;  // slapadd's exit code

struct NamesRow {
    const char *name;
    const char *suffix;
    const char *admin;  // relative to the suffix
    bool found;         // whether the offline tools find the suffix's entries again
    bool operators;     // whether members of Directory Operators have their rights
};

constexpr NamesRow kRows[] = {
    {"BlanksApostrophesUmlauts", "dc=home,o=Müller & Söhne's own firm", "cn=Jörg O'Brien", true,
     true},
    {"LongAndEscapedComma",
     "dc=home,ou=A department whose name is as long as that of departments often is,"
     "o=A firm whose name is not much shorter than that of its department",
     "cn=Doe\\, John", true, true},
    {"QuotedAdministrator", "dc=home,dc=example", "cn=The \\\"Boss\\\"", true, true},
    {"QuotedSuffix", "dc=home,o=The \\\"Firm\\\"", "cn=admin", false, false},
    {"Parentheses", "dc=home,o=A firm (a small one)", "cn=admin", false, true},
    {"BackslashInSuffix", "dc=home,o=This\\, and that", "cn=admin", false, false},
};

void PrintTo(const NamesRow &row, std::ostream *out) {
    *out << row.suffix << " and " << row.admin;
}

class AwkwardNames : public NewMachineTest, public testing::WithParamInterface<NamesRow> {
  protected:
    const ServerSettings names_{
        .suffix = GetParam().suffix,
        .admin = std::string(GetParam().admin) + "," + GetParam().suffix,
    };
};

rig::ProgramRun As(const std::string &dn, const std::string &tool, std::string_view input = "") {
    return rig::RunProgram(
        {tool, "-x", "-ZZ", "-H", "ldap://localhost", "-D", dn, "-w", "correct horse"}, input);
}

// The default administrator is an ordinary entry, and so has rights as an operator only.
int WritesAsOperator(const std::string &suffix) {
    return As("uid=admin,cn=users," + suffix, "ldapmodify",
              "dn: cn=users,cn=groups," + suffix +
                  "\nchangetype: modify\nreplace: displayName\ndisplayName: users\n")
        .exit_code;
}

TEST_P(AwkwardNames, MakeAServer) {
    ASSERT_EQ(Enable(names_), 0) << testing::PrintToString(LastCodes());
    EXPECT_EQ(As(names_.admin, "ldapwhoami").exit_code, 0);
    EXPECT_EQ(WritesAsOperator(names_.suffix), GetParam().operators ? 0 : kInsufficientAccess);
    const std::vector<rig::LdifEntry> made = rig::ParseLdif(Slapcat());
    EXPECT_THAT(made, SizeIs(DirectoryDNs(names_.suffix).size()));

    // Nothing is added twice: either the entry is found or slapadd refuses it.
    EXPECT_EQ(Enable(names_), GetParam().found ? 0 : -1);
    EXPECT_EQ(LastCodes().library, GetParam().found ? 0 : kNameRefused);
    EXPECT_EQ(rig::ParseLdif(Slapcat()), made);
}

INSTANTIATE_TEST_SUITE_P(Server, AwkwardNames, testing::ValuesIn(kRows),
                         [](const auto &row) { return row.param.name; });

}  // namespace
}  // namespace zafo::test
