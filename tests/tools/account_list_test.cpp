// SPDX-License-Identifier: Apache-2.0
//
// Lists of accounts in all output forms, and the completions derived from them.
#include "tests/tools/account_fixture.h"
#include "tests/tools/on_terminal.h"
#include "tests/tools/shells.h"

namespace {

using namespace zafo::rig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AccountList : public AccountCommand {
  protected:
    AccountList() {
        std::string ldif;
        int number = 1500010;
        for (const char *name : {"anna", "anton", "bob"}) {
            ldif += "dn: " + UserDN(name) +
                    "\nchangetype: add\nobjectClass: inetOrgPerson\nobjectClass: posixAccount\n"
                    "uid: " +
                    name + "\ncn: x\nsn: x\nuidNumber: " + std::to_string(++number) +
                    "\ngidNumber: 1500000\nhomeDirectory: /home/" + name + "\n\n";
        }
        ldif +=
            "dn: " + UserDN("anna") +
            "\nchangetype: modify\nadd: gecos\ngecos: Zoë\n-\nadd: mail\nmail: a@x\nmail: b@x\n\n"
            "dn: " +
            GroupDN("staff") +
            "\nchangetype: add\nobjectClass: posixGroup\ncn: staff\ngidNumber: 1500001\n"
            "memberUid: anna\nmemberUid: gone\n";
        directory_.Change(ldif);
    }
};

TEST_F(AccountList, FormsAndFields) {
    const std::pair<const char *, const char *> kRows[] = {
        {"user list", "anna\nanton\nbob\n"},
        {"user list --format table",
         "NAME   UID      GID      FULL NAME\nanna   1500011  1500000  Zoë\n"
         "anton  1500012  1500000  -\nbob    1500013  1500000  -\n"},
        {"user list anna --format csv",
         "name,uid,gid,full_name,mail,home,shell,expires,dn\nanna,1500011,1500000,Zoë,a@x "
         "b@x,/home/anna,,,\"uid=anna,cn=users,dc=example,dc=com\"\n"},
        {"user list bob --format plain",
         "bob\t1500013\t1500000\t\t\t/home/bob\t\t\tuid=bob,cn=users,"
         "dc=example,dc=com\n"},
        {"user list --fields uid,name 'an*'", "UID      NAME\n1500011  anna\n1500012  anton\n"},
        {"user list --format plain --fields dn 'b*'", "uid=bob,cn=users,dc=example,dc=com\n"},
        {"user list '*nn*'", "anna\n"},
        {"user list 'a(*'", ""},
        {"user list ANNA", "anna\n"},
        {"user list --group staff", "anna\n"},
        {"user list --group users", "anna\nanton\nbob\n"},
        {"user list --not-in-group staff", "anton\nbob\n"},
        {"user list --not-in-group staff 'b*'", "bob\n"},
        {"user list --not-in-group users", ""},
        {"group list", "users\nstaff\n"},
        {"group list --format plain --fields name,members s*", "staff\tanna gone\n"},
        {"member list staff", "anna\ngone\n"},
        {"member list users", ""},
        {"stat users", "3\n"},
        {"stat groups", "2\n"},
    };
    for (const auto &[line, out] : kRows) {
        SCOPED_TRACE(line);
        const ProgramRun run = Line(line);
        EXPECT_EQ(run.exit_code, 0) << run.err;
        EXPECT_EQ(run.out, out);
    }
}

TEST_F(AccountList, JsonHasNumbersArraysAndNulls) {
    EXPECT_EQ(
        LineJson("user list anna")["data"][0].dump(),
        R"({"dn":"uid=anna,cn=users,dc=example,dc=com","expires":null,"full_name":"Zoë",)"
        R"("gid":1500000,"home":"/home/anna","mail":["a@x","b@x"],"name":"anna","shell":null,)"
        R"("uid":1500011})");
    EXPECT_EQ(LineJson("user list nobody-here")["data"], Json::array());
    EXPECT_EQ(LineJson("group list users")["data"][0]["members"], Json::array());
}

TEST_F(AccountList, ALimitSaysThatThereIsMore) {
    const Json cut = LineJson("user list --limit 2");
    EXPECT_EQ(cut["data"].size(), 2U);
    EXPECT_EQ(cut["complete"], false);
    EXPECT_THAT(Line("user list --limit 2").err, HasSubstr("there are more"));
    EXPECT_EQ(LineJson("user list --limit 3")["complete"], true);
}

TEST_F(AccountList, ATerminalGetsATable) {
    OnTerminal list({"user", "list"});
    EXPECT_EQ(list.Finish(), 0);
    EXPECT_THAT(list.Seen(), HasSubstr("NAME   UID      GID      FULL NAME"));
}

TEST_F(AccountList, RawShowsTheEntryAsItIs) {
    EXPECT_THAT(Line("user show anna --raw").out, HasSubstr("  objectClass    inetOrgPerson\n"));
    EXPECT_THAT(Line("user show anna --format ldif").out,
                HasSubstr("dn: uid=anna,cn=users,dc=example,dc=com\nobjectClass: inetOrgPerson\n"));
    EXPECT_EQ(Line("group show staff --raw --fields cn,gidNumber --format csv").out,
              "cn,gidNumber\nstaff,1500001\n");
}

TEST_F(AccountList, ShowOfANameWithFilterCharactersFindsNoOtherUser) {
    EXPECT_EQ(Line("user show '*'").exit_code, 3);
    EXPECT_EQ(Line("user show 'anna)(uid=*'").exit_code, 3);
    EXPECT_EQ(Line("group show '*'").exit_code, 3);
}

TEST_F(AccountList, ANameWithFilterCharactersIsShownWithItsGroups) {
    directory_.Change(
        "dn: uid=a*(b\\29,cn=users,dc=example,dc=com\nchangetype: add\nobjectClass: "
        "account\nobjectClass: posixAccount\nuid: a*(b)\ncn: x\nuidNumber: 1500097\n"
        "gidNumber: 1500001\nhomeDirectory: /\n\ndn: " +
        GroupDN("users") + "\nchangetype: modify\nadd: memberUid\nmemberUid: a*(b)\n");
    const Json user = LineJson("user show 'a*(b)'")["data"];
    EXPECT_EQ(user["groups"], Json{"users"});
    EXPECT_EQ(user["primary_group"], "staff");
    EXPECT_EQ(Line("user groups 'a*(b)' --format plain --fields name,primary,listed").out,
              "users\tno\tyes\nstaff\tyes\tno\n");
    EXPECT_EQ(Line("user rename 'a*(b)' ab").exit_code, 2);
}

TEST_F(AccountList, TwoEntriesOfOneNameAreDistinguishedByTheirDNs) {
    directory_.Change(
        "dn: cn=other,dc=example,dc=com\nchangetype: add\nobjectClass: account\n"
        "objectClass: posixAccount\nobjectClass: extensibleObject\nuid: bob\ncn: other\n"
        "uidNumber: 1500099\ngidNumber: 1500000\nhomeDirectory: /\n");
    for (const char *line :
         {"user show bob", "user delete bob -y", "user passwd bob --random-password"}) {
        SCOPED_TRACE(line);
        const ProgramRun run = Line(line);
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_THAT(run.err, HasSubstr("bob is the name of several entries"));
        EXPECT_THAT(run.err, HasSubstr("cn=other,dc=example,dc=com"));
    }
    directory_.Change("dn: cn=other,dc=example,dc=com\nchangetype: delete\n");
}

class Completion : public AccountList, public testing::WithParamInterface<const char *> {};
INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "zsh", "fish"),
                         [](const auto &row) { return std::string(row.param); });

TEST_P(Completion, OffersNamesFromTheDirectoryAndNoCode) {
    if (!HasShell(GetParam())) GTEST_SKIP() << GetParam() << " is not installed";
    const auto offered = [](const std::string &line) { return Offered(GetParam(), line); };
    EXPECT_THAT(offered("zafoldap user show an"), ElementsAre("anna", "anton"));
    EXPECT_THAT(offered("zafoldap user rm anna an"), ElementsAre("anna", "anton"));
    EXPECT_THAT(offered("zafoldap -c root member add st"), ElementsAre("staff"));
    EXPECT_THAT(offered("zafoldap member add staff bo"), ElementsAre("bob"));
    EXPECT_THAT(offered("zafoldap user list --group st"), ElementsAre("staff"));
    EXPECT_THAT(offered("zafoldap user list --group=st"), ElementsAre(testing::EndsWith("staff")));
    EXPECT_THAT(offered("zafoldap --connection=root user list --group st"), ElementsAre("staff"));
    EXPECT_THAT(offered("zafoldap user home creat"), ElementsAre("create", "create-all"));
    EXPECT_THAT(offered("zafoldap user home create bo"), ElementsAre("bob"));
    EXPECT_THAT(offered("zafoldap -c none user show an"), IsEmpty());
    EXPECT_THAT(offered("zafoldap --connection=none user show an"), IsEmpty());
    directory_.Change(
        "dn: uid=an$(touch /tmp/ran),cn=users,dc=example,dc=com\nchangetype: add\n"
        "objectClass: account\nobjectClass: posixAccount\nuid: an$(touch /tmp/ran)\n"
        "cn: x\nuidNumber: 1500098\ngidNumber: 1500000\nhomeDirectory: /\n");
    EXPECT_THAT(offered("zafoldap user show an"), ElementsAre("anna", "anton"));
    EXPECT_NE(access("/tmp/ran", F_OK), 0);
}

// For an ordinary account the server itself truncates the list.
TEST(SizeLimit, OfTheServerCutsTheList) {
    ExampleDirectory &directory = ExampleDirectory::Get();
    ForgetConnections();
    ASSERT_EQ(Zafoldap({"connection", "add", "root", "--uri", directory.Uri(), "--ssl", "off",
                        "--base", "dc=example,dc=com", "--bind-dn", kReaderDN, "--password-stdin"},
                       kExampleUserPassword)
                  .exit_code,
              0);
    const Json list = LineJson("user list", 1);
    EXPECT_EQ(list["data"].size(), 500U);
    EXPECT_EQ(list["complete"], false);
    EXPECT_EQ(LineJson("user list --group everyone", 1)["complete"], false);
    EXPECT_EQ(Line("stat users").exit_code, 1);
}

}  // namespace
