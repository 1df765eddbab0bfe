// SPDX-License-Identifier: Apache-2.0
//
// Refused input: the exit code, and that nothing was changed; the output of dry runs; JSON of every
// command.
#include <map>
#include <set>

#include "tests/tools/account_fixture.h"
#include "tools/zafoldap/commands.h"

namespace {

using namespace zafo::rig;
using testing::HasSubstr;

class AccountInput : public AccountCommand {
  protected:
    AccountInput() {
        EXPECT_EQ(Line("group add staff --gid 1500001").exit_code, 0);
        EXPECT_EQ(Line("user add anna --password-stdin --uid 1500001 --groups staff").exit_code, 0);
    }
};

struct Refusal {
    int exit_code;
    const char *line;
    const char *message;
    const char *input = kPassword;
};

constexpr Refusal kRefusals[] = {
    // names
    {2, "user add Anna2 --password-stdin", "\"Anna2\" is not a valid account name"},
    {2, "user add 1anna --password-stdin", "it does not start with a letter or \"_\""},
    {2, "user add 4711 --password-stdin", "only digits"},
    {2, "user add 4711 --any-name --password-stdin", "only digits"},
    {2, "user add 'a b' --password-stdin", "contains a character that is not allowed"},
    {2, "user add 'a*' --any-name --password-stdin", "one of * ( ) \\"},
    {2, "user add a/b --any-name --password-stdin", "\":\" or \"/\""},
    {2, "user add .. --any-name --password-stdin", "a special folder name"},
    {2, "user add '' --password-stdin", "it is empty"},
    {2, "user add a234567890b234567890c234567890d23 --password-stdin", "longer than 32"},
    {5, "user add games --password-stdin", "a local account of this system"},
    {5, "user add anna --password-stdin", "the user name anna is taken"},
    {5, "group add staff", "the group name staff is taken"},
    {5, "group rename staff users", "the group name users is taken"},
    {2, "group rename staff STAFF --any-name", "differs only in letter case"},
    {2, "user rename anna 'b c'", "contains a character that is not allowed"},
    {2, "user delete 'an*' -y", "* ( ) \\"},
    // numbers
    {2, "user add bob --uid 0 --password-stdin", "it is reserved"},
    {2, "user add bob --uid 65534 --password-stdin", "it is reserved"},
    {2, "user add bob --uid 65535 --password-stdin", "it is reserved"},
    {2, "user add bob --uid 4294967295 --password-stdin", "it is reserved"},
    {2, "user add bob --uid 99999999999999999999 --password-stdin", "not a number in that range"},
    {2, "user add bob --uid -1 --password-stdin", "not a number in that range"},
    {2, "user add bob --uid ten --password-stdin", "not a number in that range"},
    {2, "user add bob --uid 70000 --password-stdin", "outside the directory's pool, 1000000 to"},
    {5, "user add bob --uid 5 --password-stdin", "belongs to the local account games"},
    {5, "user add bob --uid 1500001 --password-stdin", "the user number 1500001 is taken"},
    {5, "user edit anna --uid 5", "belongs to the local account games"},
    {2, "user edit anna --uid 70000", "outside the directory's pool"},
    {5, "group add other --gid 1500001", "the group number 1500001 is taken"},
    {2, "group edit staff --gid 70000", "outside the directory's pool"},
    // groups, places and connections
    {3, "user add bob --groups staff,none,nil --password-stdin", "there is no group none, nil"},
    {3, "user add bob --gid none --password-stdin", "there is no group none"},
    {3, "user add bob --gid 77777 --password-stdin", "there is no group with the number 77777"},
    {3, "user add bob --container ou=no --password-stdin", "ou=no,dc=example,dc=com, where new"},
    {2, "user add bob --container nonsense --password-stdin", "is not a DN"},
    {3, "user show nobody-here", "there is no user nobody-here"},
    {3, "user list --group none", "there is no group none"},
    {3, "member add none anna", "there is no group none"},
    {3, "group delete none -y", "there is no group none"},
    {3, "user edit none --mail a@b", "there is no user none"},
    {3, "user passwd none --password-stdin", "there is no user none"},
    {3, "user home create anna", "publishes no home folders"},
    {3, "-c none user list", "there is no saved connection \"none\""},
    // texts and dates
    {2, "user add bob --expires 2026-02-30 --password-stdin", "\"2026-02-30\" is not a date"},
    {2, "user add bob --expires 31.12.2027 --password-stdin", "is not a date"},
    {2, "user edit anna --expires 1970-01-01", "is not a date"},
    {2, "user add bob --full-name a:b --password-stdin", "it contains \":\""},
    {2, "user add bob --full-name 'a\nb' --password-stdin", "control characters"},
    {2, "user add bob --shell zsh --password-stdin", "does not start with \"/\""},
    {2, "user edit anna --home ''", "does not start with \"/\""},
    {2, "user add bob --mail nobody --password-stdin", "it is not an address"},
    {2, "user add bob --set title --password-stdin", "is not ATTRIBUTE=VALUE"},
    {2, "user add bob --set uidNumber=0 --password-stdin", "use --uid"},
    {2, "user add bob --set userpassword=x --password-stdin", "use zafoldap user passwd"},
    {2, "user edit anna --set 'title=a\nuidNumber: 0'", "control characters"},
    {2, "group edit staff --description 'a\nb'", "control characters"},
    {2, "user edit anna", "nothing to change"},
    {2, "group edit staff", "nothing to change"},
    {2, "user edit anna --password-change --no-password-change", "cannot be used together"},
    {2, "user list --group staff --not-in-group staff", "cannot be used together"},
    {2, "user list --limit 0", "--limit must be at least 1"},
    {2, "user home create anna --export nas", "is not HOST:/PATH"},
    // passwords
    {2, "user add bob --password-stdin", "it has fewer than 8 characters", "seven77\n"},
    {2, "user add bob --password-stdin", "it is empty", ""},
    {2, "user add bobbobbob --password-stdin", "it is the user's name", "BobBobBob\n"},
    {2, "user passwd anna --password-stdin", "it has fewer than 8 characters", "äöüäöüä\n"},
    {2, "user add bob", "a password is needed, but the program cannot prompt for it"},
    {2, "user passwd anna --no-input", "a password is needed"},
    {2, "user passwd anna --password-stdin --random-password", "cannot be used together"},
    {2, "user add bob --password-file /nowhere", "cannot be read"},
    // confirmations
    {2, "user delete anna", "needs confirmation"},
    {2, "group delete staff --no-input", "needs confirmation"},
    {2, "entry delete uid=anna,cn=users,dc=example,dc=com", "needs confirmation"},
};

TEST_F(AccountInput, BadInputIsRefusedWithItsCodeAndChangesNothing) {
    const std::string before = Tree();
    for (const Refusal &row : kRefusals) {
        SCOPED_TRACE(row.line);
        const ProgramRun run = Line(row.line, row.input);
        EXPECT_EQ(run.exit_code, row.exit_code) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, HasSubstr(row.message));
        EXPECT_THAT(run.err, HasSubstr("\nhint: "));
    }
    EXPECT_EQ(Tree(), before);
}

TEST_F(AccountInput, SwitchesWidenTheRules) {
    for (const char *line : {"user add 'Anna von B., jr.' --any-name --password-stdin",
                             "user add games --any-name "
                             "--password-stdin",
                             "group add 'Die \"Großen\"' --any-name"})
        EXPECT_EQ(Line(line).exit_code, 0) << line;
    EXPECT_EQ(Line("user add bob --weak-password --password-stdin", "bob").exit_code, 0);
    EXPECT_TRUE(directory_.Binds(UserDN("bob"), "bob"));
    EXPECT_EQ(LineJson("user show 'Anna von B., jr.'")["data"]["dn"],
              "uid=Anna von B.\\2C jr.,cn=users,dc=example,dc=com");
    EXPECT_EQ(Line("member add 'Die \"Großen\"' 'Anna von B., jr.'").exit_code, 0);
    EXPECT_EQ(Line("user rename 'anna von b., jr.' anna.b").exit_code, 0);
    EXPECT_EQ(Line("member list 'Die \"Großen\"'").out, "anna.b\n");
}

TEST_F(AccountInput, AServerWithoutTheSchemaIsReported) {
    directory_.Change(
        "dn: cn=other,dc=example,dc=com\nchangetype: add\nobjectClass: "
        "organizationalRole\ncn: other\n");
    WriteFile("/tmp/bare.conf",
              "include /etc/ldap/schema/core.schema\npidfile /tmp/bare.pid\n"
              "modulepath /usr/lib/ldap\nmoduleload back_ldif.la\n"
              "access to * by * read\n");
    directory_.Change("dn: cn=other,dc=example,dc=com\nchangetype: delete\n");
    const ProgramRun server =
        RunProgram({"slapd", "-f", "/tmp/bare.conf", "-h", "ldap://127.0.0.1:1999"});
    if (server.exit_code != 0) GTEST_SKIP() << "no second server: " << server.err;
    Zafoldap({"connection", "add", "bare", "--uri", "127.0.0.1:1999", "--ssl", "off", "--base",
              "dc=example"});
    ProgramRun run{};
    for (int i = 0; i < 50; ++i) {
        run = Line("-c bare user add bob --password-stdin");
        if (run.exit_code != 6) break;
        usleep(20'000);
    }
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("lacks the object class posixAccount"));
    RunProgram({"/bin/sh", "-c", "kill $(cat /tmp/bare.pid)"});
}

TEST_F(AccountInput, ADryRunShowsTheChangeAndMakesNone) {
    const std::pair<const char *, const char *> kRows[] = {
        {"user add bob --uid 1500002 --full-name Bob --groups staff --set 'title= x'",
         "# ok: the number 1500002 is free\n# ok: the primary group is users (1500000)\n# ok: "
         "these groups exist: staff\n# ok: no other group lists bob\n\ndn: "
         "uid=bob,cn=users,dc=example,dc=com\nchangetype: add\n"
         "uid: bob\ncn: bob\nuidNumber: 1500002\ngidNumber: 1500000\ngecos: Bob\nhomeDirectory: "
         "/home/bob\nloginShell: /bin/sh\nshadowExpire: -1\nshadowMin: 0\ntitle:: IHg=\n"},
        {"user edit anna --mail a@b --shell ''",
         "dn: uid=anna,cn=users,dc=example,dc=com\nchangetype: modify\ndelete: loginShell\n-\n"
         "replace: mail\nmail: a@b\n"},
        {"user rename anna bea",
         "changetype: modrdn\nnewrdn: uid=bea\ndeleteoldrdn: 1\n\ndn: "
         "cn=staff,cn=groups,dc=example,dc=com\nchangetype: modify\ndelete: memberUid\nmemberUid: "
         "anna\n-\ndelete: member\nmember: uid=anna,cn=users,dc=example,dc=com\n"},
        {"user delete anna", "dn: uid=anna,cn=users,dc=example,dc=com\nchangetype: delete\n"},
        {"user passwd anna", "# userPassword: set through the server"},
        {"group add more", "# gidNumber: the next free one"},
        {"group edit staff --gid 1500009", "replace: gidNumber\ngidNumber: 1500009\n"},
        {"group rename staff all", "newrdn: cn=all\n"},
        {"group delete staff", "# ok: staff (cn=staff,cn=groups,dc=example,dc=com) lists 1 member"},
        {"member add users anna",
         "add: memberUid\nmemberUid: anna\n-\nadd: member\nmember: uid=anna,cn=users"},
        {"member remove staff anna", "delete: memberUid\nmemberUid: anna\n"},
        {"entry delete uid=anna,cn=users,dc=example,dc=com", "changetype: delete\n"},
        {"id next gid", "\n"},
        {"user home create anna --export nas:/homes", "would create nas:/homes/anna\n"},
    };
    const std::string before = Tree();
    for (const auto &[line, shown] : kRows) {
        SCOPED_TRACE(line);
        const ProgramRun run = Line(std::string(line) + " -n");
        EXPECT_EQ(run.exit_code, 0) << run.err;
        EXPECT_THAT(run.out, HasSubstr(shown));
        LineJson(std::string(line) + " -n");
    }
    EXPECT_EQ(Tree(), before);
}

struct JsonRow {
    const char *command;
    const char *line;     // succeeds; in the order of the table below
    const char *failure;  // fails
    int exit_code;
};

constexpr JsonRow kJsonRows[] = {
    {"connection list", "connection list", "connection list --fields x", 2},
    {"connection show", "connection show root", "connection show none", 3},
    {"connection add", "connection add x --uri h --base dc=x",
     "connection add x --uri h --base dc=x", 5},
    {"connection edit", "connection edit x --ssl off", "connection edit x", 2},
    {"connection delete", "connection delete x -y", "connection delete x -y", 3},
    {"connection check", "connection check", "connection check none", 3},
    {"connection suggest", "connection suggest 127.0.0.1:1393 --ssl off",
     "connection suggest 127.0.0.1:1 --ssl off", 6},
    {"user add", "user add bob --password-stdin", "user add bob --password-stdin", 5},
    {"user list", "user list", "user list --group none", 3},
    {"user show", "user show bob", "user show none", 3},
    {"user groups", "user groups bob", "user groups none", 3},
    {"user edit", "user edit bob --mail b@example.com", "user edit none --mail b@example.com", 3},
    {"user passwd", "user passwd bob --password-stdin", "user passwd bob", 2},
    {"user rename", "user rename bob bea", "user rename bob bea", 3},
    {"user home create", "user home create bea --export h:/p -n", "user home create bea", 3},
    {"user home create-all", "user home create-all --export h:/p -n", "user home create-all", 3},
    {"group add", "group add more", "group add more", 5},
    {"group list", "group list 'm*'", "group list --limit 0", 2},
    {"group show", "group show more", "group show none", 3},
    {"group edit", "group edit more --description x", "group edit more", 2},
    {"group rename", "group rename more less", "group rename more less", 3},
    {"member add", "member add less bea", "member add less none", 3},
    {"member list", "member list less --primary", "member list none", 3},
    {"member remove", "member remove less bea", "member remove none bea", 3},
    {"group delete", "group delete less -y", "group delete less -y", 3},
    {"id next", "id next gid", "id next x", 2},
    {"id pool show", "id pool show", "-c none id pool show", 3},
    {"id check", "id check", "-c none id check", 3},
    {"stat", "stat groups", "stat x", 2},
    {"search", "search uid=bea", "search (bad", 2},
    {"entry show", "entry show uid=bea,cn=users,dc=example,dc=com", "entry show dc=none", 3},
    {"user delete", "user delete bea -y", "user delete bea -y", 3},
    {"entry delete", "entry delete uid=anna,cn=users,dc=example,dc=com -y", "entry delete x", 2},
    {"migrate", "migrate groups --to directory -n", "migrate groups --to nowhere", 2},
    {"completion", "completion bash", "completion ksh", 2},
};

TEST_F(AccountInput, EveryCommandOfTheTableHasJsonAlsoForFailures) {
    std::set<std::string> seen;
    for (const JsonRow &row : kJsonRows) {
        SCOPED_TRACE(row.command);
        seen.insert(row.command);
        const Json document = LineJson(row.line);
        EXPECT_FALSE(document["data"].is_null());
        EXPECT_EQ(document["complete"], true);
        LineJson(row.failure, row.exit_code);
    }
    for (const zafo::cli::Command &command : zafo::cli::Zafoldap().commands)
        EXPECT_TRUE(seen.contains(zafo::cli::FullName(command))) << zafo::cli::FullName(command);
}

}  // namespace
