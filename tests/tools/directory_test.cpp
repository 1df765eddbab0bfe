// SPDX-License-Identifier: Apache-2.0
//
// The program with a real directory.
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/program.h"

namespace {

using namespace zafo::rig;
using testing::HasSubstr;

class Directory : public testing::Test {
  protected:
    Directory() : directory_(ExampleDirectory::Get()) {
        ForgetConnections();
        Save("root", {"--uri", "localhost"}, directory_.Password());
    }

    void Save(const std::string &name, std::vector<std::string> more, const std::string &password) {
        std::vector<std::string> line = {"connection",
                                         "add",
                                         name,
                                         "--base",
                                         "dc=example,dc=com",
                                         "--bind-dn",
                                         directory_.BindDN(),
                                         "--password-stdin"};
        line.insert(line.end(), more.begin(), more.end());
        const ProgramRun run = Zafoldap(line, password + "\n");
        ASSERT_EQ(run.exit_code, 0) << run.err;
    }

    ExampleDirectory &directory_;
};

TEST_F(Directory, EveryTransportIsCheckedToTheEnd) {
    Save("plain", {"--uri", "127.0.0.1", "--ssl", "off"}, directory_.Password());
    Save("ldaps", {"--uri", "ldaps://localhost"}, directory_.Password());
    Save("second", {"--uri", "127.0.0.1:1", "--uri", "localhost"}, directory_.Password());
    for (const char *name : {"root", "plain", "ldaps", "second"}) {
        SCOPED_TRACE(name);
        const Json document = ZafoldapJson({"connection", "check", name}, 0);
        for (const Json &step : document["data"])
            EXPECT_THAT(step["result"], testing::AnyOf("ok", "warning", "skipped")) << step;
        EXPECT_EQ(document["data"][10]["detail"], "a general LDAP server");
    }
    EXPECT_THAT(Zafoldap({"connection", "check"}).out,
                HasSubstr("signed by O = Example, CN = Example CA (until "));
}

TEST_F(Directory, WrongPasswordNameAndAuthorityAreDistinguished) {
    Save("wrong", {"--uri", "localhost"}, "wrong");
    EXPECT_EQ(Zafoldap({"-c", "wrong", "search"}).exit_code, 4);
    Save("nowhere", {"--uri", "nosuch.invalid"}, directory_.Password());
    EXPECT_EQ(Zafoldap({"-c", "nowhere", "search"}).exit_code, 6);
    EXPECT_THAT(Zafoldap({"connection", "check", "nowhere"}).out, HasSubstr("failed   resolve"));
    const std::string authority = ReadFile("/usr/zafo/etc/ssl/ca.pem");
    RunProgram({"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Other",
                "-keyout", "/dev/null", "-out", "/usr/zafo/etc/ssl/ca.pem"});
    const ProgramRun untrusted = Zafoldap({"search"});
    const ProgramRun check = Zafoldap({"connection", "check"});
    WriteFile("/usr/zafo/etc/ssl/ca.pem", authority, 0644);
    EXPECT_EQ(untrusted.exit_code, 6);
    EXPECT_THAT(untrusted.err, HasSubstr("cannot establish an encrypted connection to localhost"));
    EXPECT_THAT(check.out, HasSubstr("failed   tls"));
    EXPECT_THAT(check.err, HasSubstr("certificate of O = Example, CN = zafo: "));
}

TEST_F(Directory, ReferencesToOtherServersAreNotRows) {
    constexpr const char *kReference = "ou=elsewhere,dc=example,dc=com";
    const std::string count = Zafoldap({"search", "--count"}).out;
    const std::string rows = Zafoldap({"search", "--format", "csv", "", "1.1"}).out;
    const ProgramRun added = directory_.Client(
        "ldapadd", {},
        std::string("dn: ") + kReference +
            "\nobjectClass: referral\nobjectClass: extensibleObject\nou: elsewhere\n"
            "ref: ldap://other.example.com/dc=x\n");
    ASSERT_EQ(added.exit_code, 0) << added.err;
    EXPECT_EQ(Zafoldap({"search", "--count"}).out, count);
    EXPECT_EQ(Zafoldap({"search", "--format", "csv", "", "1.1"}).out, rows);
    for (const Json &entry : ZafoldapJson({"search"}, 0)["data"])
        ASSERT_NE(entry["dn"], "") << entry;
    EXPECT_EQ(directory_.Client("ldapdelete", {"-M", kReference}).exit_code, 0);
}

TEST_F(Directory, SearchAgreesWithTheSystemsOwnClient) {
    const auto entries = directory_.Read("dc=example,dc=com");
    EXPECT_EQ(Zafoldap({"search", "--count"}).out, std::to_string(entries.size()) + "\n");
    const Json document = ZafoldapJson({"search"}, 0);
    EXPECT_EQ(document["data"].size(), entries.size());
    EXPECT_EQ(document["complete"], true);
}

// Another LDIF reader accepts the program's LDIF: every text value arrives.
TEST_F(Directory, LdifIsReadByTheSystemsOwnTools) {
    const ProgramRun run = Zafoldap({"search", "(&(objectClass=posixAccount)(!(jpegPhoto=*)))",
                                     "cn", "sn", "--format", "ldif", "--limit", "300"});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    std::string changes;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) {
        changes += line + "\n";
        if (line.starts_with("dn:")) changes += "changetype: add\nobjectClass: person\n";
    }
    const ProgramRun modify = directory_.Client("ldapmodify", {"-n"}, changes);
    EXPECT_EQ(modify.exit_code, 0) << modify.err;
}

TEST_F(Directory, FiltersThatTheServerRefusesAreRefusedHere) {
    for (const char *filter : {"(uid=a", "(uid=a))", "()", "(&(a=b)(c=d)", "(a=\\zz)", "(!a=b)"}) {
        SCOPED_TRACE(filter);
        EXPECT_NE(
            directory_.Client("ldapsearch", {"-LLL", "-b", "dc=example,dc=com", filter, "1.1"})
                .exit_code,
            0);
        EXPECT_EQ(Zafoldap({"search", filter}).exit_code, 2);
    }
    for (const char *filter :
         {"uid=a", "(&)", "( & (uid=a) (cn=b) )", "(cn;lang-de=x)", "(cn:caseExactMatch:=a)",
          "(cn=a*b*c)", "(cn=\\c3\\ab)", "(!(uid=a))", "(a>=1)"}) {
        SCOPED_TRACE(filter);
        EXPECT_EQ(
            directory_.Client("ldapsearch", {"-LLL", "-b", "dc=example,dc=com", filter, "1.1"})
                .exit_code,
            0);
        EXPECT_EQ(Zafoldap({"search", filter}).exit_code, 0);
    }
}

TEST_F(Directory, EntryShowKnowsOperationalAttributes) {
    const Json document = ZafoldapJson({"entry", "show", "dc=example,dc=com", "--fields", "+"}, 0);
    EXPECT_TRUE(document["data"]["attributes"].contains("entryUUID"));
    EXPECT_FALSE(document["data"]["attributes"].contains("dc"));
    EXPECT_EQ(Zafoldap({"entry", "show", "uid=nobody-here,dc=example,dc=com"}).exit_code, 3);
}

TEST_F(Directory, AServerThatIsDownIsUnreachable) {
    directory_.Stop();
    const ProgramRun run = Zafoldap({"search"});
    directory_.Start();
    EXPECT_EQ(run.exit_code, 6);
    EXPECT_THAT(run.err, HasSubstr("localhost cannot be reached"));
}

}  // namespace
