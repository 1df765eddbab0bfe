// SPDX-License-Identifier: Apache-2.0
//
// The argument vectors that a caller passes and that the tool receives.
#include <grp.h>

#include "tests/front/front_fixture.h"

namespace zafo {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char *kSystemTrust = "/etc/ssl/certs/ca-certificates.crt";

Texts ClientOptions(const std::string &trust = kSystemTrust, const std::string &answer = "60",
                    const std::string &network = "10") {
    return {"-o", "TLS_CACERT=" + trust, "-o", "TLS_REQCERT=demand",        "-o", "TLS_REQSAN=try",
            "-o", "TIMEOUT=" + answer,   "-o", "NETWORK_TIMEOUT=" + network};
}

const Texts kUnfolded = {"-o", "ldif-wrap=no"};

struct ClientRow {
    const char *name;
    const char *tool;
    Texts arguments;
    Texts expected;  // after the options that every client gets
    std::vector<std::string> secrets;
};

const ClientRow kClientRows[] = {
    {"SearchAnonymous",
     "ldapsearch",
     {"-LLL", "-x", "-H", "ldap://h"},
     {"-LLL", "-x", "-H", "ldap://h"},
     {}},
    {"SearchWithEverything",
     "ldapsearch",
     {"-LLL", "-x", "-H", "ldap://h", "-Z", "-D", "cn=a", "-w", "geheim", "-b", "o=x", "-z", "5",
      "-s", "sub", "(uid=ann)", "uid", "cn"},
     {"-LLL", "-x", "-H", "ldap://h", "-ZZ", "-D", "cn=a", "-y", "/dev/fd/3", "-b", "o=x", "-z",
      "5", "-s", "sub", "(uid=ann)", "uid", "cn"},
     {"geheim"}},
    {"SearchEmptySecret",
     "ldapsearch",
     {"-x", "-D", "cn=a", "-w", ""},
     {"-x", "-D", "cn=a", "-y", "/dev/fd/3"},
     {""}},
    {"SearchSecretWithLineBreak",
     "ldapsearch",
     {"-w", " a\nb\377 "},
     {"-y", "/dev/fd/3"},
     {" a\nb\377 "}},
    {"SearchValuesThatLookLikeOptions",
     "ldapsearch",
     {"-b", "-w", "-D", "-Z", "-w", "-w", "-H", ""},
     {"-b", "-w", "-D", "-Z", "-y", "/dev/fd/3", "-H", ""},
     {"-w"}},
    {"SearchAttachedValues",
     "ldapsearch",
     {"-xwgeheim", "-bo=x", "-xZHldap://h"},
     {"-x", "-y", "/dev/fd/3", "-bo=x", "-ZZ", "-xHldap://h"},
     {"geheim"}},
    {"SearchScopeIsNoSecret", "ldapsearch", {"-s", "base"}, {"-s", "base"}, {}},
    {"SearchStrictAlready", "ldapsearch", {"-ZZ", "-x"}, {"-ZZ", "-x"}, {}},
    {"SearchAfterTheOptions", "ldapsearch", {"-x", "--", "-w", "-Z"}, {"-x", "--", "-w", "-Z"}, {}},
    {"SearchEmptyAndDash", "ldapsearch", {"", "-", "-b", ""}, {"", "-", "-b", ""}, {}},
    {"SearchMissingSecret", "ldapsearch", {"-x", "-w"}, {"-x", "-w"}, {}},
    {"ModifyPlain",
     "ldapmodify",
     {"-x", "-H", "ldap://h", "-D", "cn=a", "-f", "/tmp/absent", "-w", "geheim"},
     {"-x", "-H", "ldap://h", "-D", "cn=a", "-f", "/tmp/absent", "-y", "/dev/fd/3"},
     {"geheim"}},
    {"ModifyAddByStartTls",
     "ldapmodify",
     {"-ax", "-ZH", "ldap://h", "-D", "", "-f", "/tmp/absent", "-w", ""},
     {"-ax", "-ZZ", "-H", "ldap://h", "-D", "", "-f", "/tmp/absent", "-y", "/dev/fd/3"},
     {""}},
    {"PasswordBoth",
     "ldappasswd",
     {"-x", "-H", "ldap://h", "-Z", "-D", "cn=a", "-w", "old secret", "-s", "new secret",
      "uid=ann,o=x"},
     {"-x", "-H", "ldap://h", "-ZZ", "-D", "cn=a", "-y", "/dev/fd/3", "-T", "/dev/fd/4",
      "uid=ann,o=x"},
     {"old secret", "new secret"}},
    {"PasswordAnonymous",
     "ldappasswd",
     {"-x", "-H", "ldaps://h", "-s", "", "uid=ann"},
     {"-x", "-H", "ldaps://h", "-T", "/dev/fd/3", "uid=ann"},
     {""}},
};

// The memory files passed to the call, in order.
std::vector<std::string> SecretsOf(const rig::FakeCall &call) {
    std::vector<std::string> secrets;
    for (const auto &[name, file] : call.files) {
        EXPECT_EQ(file.mode, 0600U) << name;
        secrets.push_back(file.content);
    }
    return secrets;
}

class ClientVector : public FrontTest, public testing::WithParamInterface<ClientRow> {};

TEST_P(ClientVector, IsMadeSafe) {
    const ClientRow &row = GetParam();
    const rig::FakeCall call = Call(row.tool, row.arguments);
    const Texts wrap = row.tool == std::string("ldapsearch") ? kUnfolded : Texts{};
    const Texts program = {"/usr/zafo/libexec/" + std::string(row.tool)};
    EXPECT_EQ(call.argv, program + wrap + ClientOptions() + row.expected);
    EXPECT_EQ(SecretsOf(call), row.secrets);
}

INSTANTIATE_TEST_SUITE_P(Front, ClientVector, testing::ValuesIn(kClientRows),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(FrontTest, TrustsTheAppliancesOwnAuthorityFirst) {
    WriteFile("/usr/zafo/etc/ssl/ca.pem", "");
    EXPECT_EQ(Call("ldapmodify", {}).argv,
              Texts{"/usr/zafo/libexec/ldapmodify"} + ClientOptions("/usr/zafo/etc/ssl/ca.pem"));
}

TEST_F(FrontTest, DemandsACertificateWithoutAnyTrustFile) {
    const std::string aside = "/etc/ssl/certs/aside";
    std::filesystem::rename(kSystemTrust, aside);
    EXPECT_EQ(Call("ldapmodify", {}).argv,
              (Texts{"/usr/zafo/libexec/ldapmodify", "-o", "TLS_REQCERT=demand", "-o",
                     "TLS_REQSAN=try", "-o", "TIMEOUT=60", "-o", "NETWORK_TIMEOUT=10"}));
    std::filesystem::rename(aside, kSystemTrust);
}

TEST_F(FrontTest, TakesTimeLimitsFromTheToolsFile) {
    struct Row {
        const char *text, *answer, *network;
    };
    for (const Row &row :
         {Row{"timeout 5\nnetwork_timeout 7\n", "5", "7"},
          Row{"# timeout 5\n\ttimeout\t 8", "8", "10"},
          Row{"timeout 0\nnetwork_timeout -3\n", "60", "10"},
          Row{"timeout 5x\nnetwork_timeout 99999999999\nother 3\n", "60", "10"},
          Row{"timeout 86400\nnetwork_timeout 86401\n", "86400", "10"}, Row{"", "60", "10"}}) {
        SCOPED_TRACE(row.text);
        WriteFile("/usr/zafo/etc/tools.conf", row.text);
        EXPECT_EQ(Call("ldapmodify", {}).argv,
                  Texts{"/usr/zafo/libexec/ldapmodify"} +
                      ClientOptions(kSystemTrust, row.answer, row.network));
    }
}

TEST_F(FrontTest, SlappasswdReadsTheSecretFromAMemoryFile) {
    const rig::FakeCall call =
        Call("slappasswd", {"-h", "{CRYPT}", "-s", "geheim", "-c", "$1$%.2s"});
    EXPECT_THAT(call.argv, ElementsAre("/usr/zafo/libexec/slappasswd", "-h", "{CRYPT}", "-T",
                                       "/dev/fd/3", "-c", "$1$%.2s"));
    EXPECT_EQ(SecretsOf(call), std::vector<std::string>{"geheim"});
}

TEST_F(FrontTest, OfflineToolsGetTheServersConfiguration) {
    for (const auto &[tool, arguments] :
         std::vector<std::pair<std::string, Texts>>{{"slapcat", {"-a", "(entryDN:=cn=-l)"}},
                                                    {"slapcat", {"-l", "/etc/passwd"}},
                                                    {"slapindex", {}}}) {
        SCOPED_TRACE(tool);
        Texts configured = {"/usr/zafo/libexec/" + tool, "-f", "/usr/zafo/etc/openldap/slapd.conf"};
        if (tool == "slapcat") configured = configured + Texts{"-o", "ldif-wrap=no"};
        EXPECT_EQ(Call(tool, arguments).argv, configured + arguments);
    }
}

TEST_F(FrontTest, SlapaddReadsAPrivateFileAsStandardInput) {
    WriteFile("/tmp/front-test.ldif", "dn: o=x\n\n");
    const rig::FakeCall call = Call("slapadd", {"-b", "o=x", "-l", "/tmp/front-test.ldif"});
    EXPECT_THAT(call.argv, ElementsAre("/usr/zafo/libexec/slapadd", "-f",
                                       "/usr/zafo/etc/openldap/slapd.conf", "-b", "o=x"));
    EXPECT_EQ(call.input, "dn: o=x\n\n");
    std::filesystem::remove("/tmp/front-test.ldif");
}

TEST_F(FrontTest, SlapaddReportsAMissingFileItself) {
    EXPECT_THAT(Call("slapadd", {"-l", "/absent"}).argv,
                ElementsAre("/usr/zafo/libexec/slapadd", "-f", "/usr/zafo/etc/openldap/slapd.conf",
                            "-l", "/absent"));
}

TEST_F(FrontTest, OpensslKeepsTheReadableFilesOfTheList) {
    struct Row {
        const char *list;
        Texts expected;
    };
    for (const Row &row :
         {Row{"file:/usr/zafo/etc/smb.conf:/etc/passwd:/etc/shadow:/etc/groups:/absent",
              {"-rand", "/etc/passwd:/etc/shadow"}},
          Row{"file:/etc/passwd", {"-rand", "/etc/passwd"}},
          Row{"/absent:file:/etc/passwd", {"-rand", "/etc/passwd"}},
          Row{"/dev/urandom", {"-rand", "/dev/urandom"}}, Row{"/absent", {}}, Row{"", {}},
          Row{"/etc::/tmp", {}}}) {
        SCOPED_TRACE(row.list);
        EXPECT_EQ(
            Call("openssl", {"rand", "-rand", row.list, "-hex", "4"}).argv,
            Texts({"/usr/zafo/libexec/openssl", "rand"}) + row.expected + Texts({"-hex", "4"}));
    }
}

TEST_F(FrontTest, OtherOpensslCallsPassThrough) {
    const Texts arguments = {"dgst", "-rand", "/absent", "-w", "x", "-Z"};
    EXPECT_EQ(Call("openssl", arguments).argv, Texts{"/usr/zafo/libexec/openssl"} + arguments);
    EXPECT_EQ(Call("openssl", {"rand", "-rand"}).argv,
              (Texts{"/usr/zafo/libexec/openssl", "rand", "-rand"}));
}

TEST_F(FrontTest, PassesHugeVectorsOn) {
    Texts arguments(20000, "attribute");
    arguments.push_back(std::string(100000, 'f'));
    EXPECT_EQ(Call("ldapsearch", arguments).argv,
              Texts{"/usr/zafo/libexec/ldapsearch"} + kUnfolded + ClientOptions() + arguments);
}

}  // namespace
}  // namespace zafo
