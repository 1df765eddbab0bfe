// SPDX-License-Identifier: Apache-2.0
//
// Changes that stop half-way: the exit code, the reported state, and that the command in the
// message completes the work.
#include <filesystem>

#include "tests/rig/system_log.h"
#include "tests/tools/account_fixture.h"
#include "tests/tools/server_fixture.h"

namespace {

using namespace zafo::rig;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Lets the first N calls of a tool through, then runs `script` instead.
std::string AfterCalls(int calls, const std::string &script) {
    std::filesystem::remove("/tmp/calls");
    return "echo x >>/tmp/calls\nif [ $(wc -l </tmp/calls) -le " + std::to_string(calls) +
           " ]; then exec $real \"$@\"; fi\n" + script;
}

constexpr const char *kDenied = "echo 'ldap_modify: Insufficient access (50)' >&2; exit 50";

class HalfWay : public AccountCommand {
  protected:
    HalfWay() { EXPECT_EQ(Line("group add staff").exit_code, 0); }

    // Runs a command whose work is interrupted by a tool.
    static ProgramRun HalfDone(const std::string &line, const std::string &tool,
                               const std::string &script) {
        const ReplacedTool broken(tool, script);
        const ProgramRun run = Line(line);
        EXPECT_EQ(run.exit_code, 7) << run.err;
        return run;
    }

    // Runs the commands of a message, which are joined by "&&".
    static void Finish(const ProgramRun &run) {
        std::string rest = FinishOf(run);
        for (;;) {
            const size_t at = rest.find(" && zafoldap ");
            const ProgramRun step =
                Line(rest.substr(0, at) + (rest.find("passwd") == 5 ? " --password-stdin" : ""));
            EXPECT_EQ(step.exit_code, 0) << rest << "\n" << step.err;
            if (at == std::string::npos) return;
            rest.erase(0, at + 13);
        }
    }
};

TEST_F(HalfWay, AUserWhosePasswordTheServerRefusesExists) {
    const ProgramRun run = HalfDone("user add anna --password-stdin --groups staff", "ldappasswd",
                                    "echo 'Result: Constraint violation (19)' >&2; exit 1");
    EXPECT_THAT(run.err, HasSubstr("the user anna was added with the number "));
    EXPECT_THAT(run.err, HasSubstr("but its password could not be set\n  Result: Constraint"));
    EXPECT_THAT(Values(GroupDN("staff"), "memberUid"), ElementsAre("anna"));
    Finish(run);
    EXPECT_TRUE(directory_.Binds(UserDN("anna"), kPassword));
}

TEST_F(HalfWay, AUserWhoCouldNotJoinItsGroupsExists) {
    ASSERT_EQ(Line("group add other").exit_code, 0);
    // number, SID and entry succeed; then one request for all groups and one for each
    const ProgramRun run = HalfDone("user add anna --password-stdin --groups staff,other --json",
                                    "ldapmodify", AfterCalls(3, kDenied));
    const Json error = ErrorOf(run);
    EXPECT_EQ(error["key"], "zafoldap.partly_done");
    EXPECT_THAT(error["message"],
                HasSubstr("but it is not in the group staff; it is not in the group other"));
    EXPECT_EQ(Json::parse(run.out)["data"]["name"], "anna");
    EXPECT_EQ(Json::parse(run.out)["ok"], false);
    const std::string hint = error["hint"];
    EXPECT_EQ(hint, "to finish: zafoldap member add staff anna && zafoldap member add other anna");
}

// Home folders are published on a server that does not have that export yet.
class HalfWayHome : public HalfWay {
  protected:
    HalfWayHome() {
        directory_.Change(
            "dn: automountMapName=auto_home,dc=example,dc=com\nchangetype: add\nobjectClass: "
            "automountMap\nautomountMapName: auto_home\n\n"
            "dn: automountKey=*,automountMapName=auto_home,dc=example,dc=com\nchangetype: add\n"
            "objectClass: automount\nautomountKey: *\nautomountInformation: -fstype=nfs "
            "server:/vol\\ 1/&\n");
    }
    ~HalfWayHome() override {
        std::filesystem::remove_all(kExports.parent_path());
        directory_.Change(
            "dn: automountKey=*,automountMapName=auto_home,dc=example,dc=com\nchangetype: "
            "delete\n\n"
            "dn: automountMapName=auto_home,dc=example,dc=com\nchangetype: delete\n");
    }

    static bool HasHome(const char *name) { return std::filesystem::exists(kExports / name); }

    inline static const std::filesystem::path kExports = "/var/lib/exports/server/vol 1";
};

TEST_F(HalfWayHome, AHomeFolderThatCannotBeMadeIsReported) {
    const ProgramRun run = Line("user add anna --password-stdin");
    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(run.err, HasSubstr("but its home folder could not be created"));
    EXPECT_EQ(FinishOf(run), "user home create anna");
}

TEST_F(HalfWayHome, MissingHomeFoldersAreMadeByTheCommandsForThem) {
    std::filesystem::create_directories(kExports);
    if (chown(kExports.c_str(), 1, 1) != 0)
        GTEST_SKIP() << "an ordinary user's root cannot change owners";
    std::filesystem::rename(kExports, "/var/lib/exports/server/away");
    const ProgramRun run = Line("user add anna --password-stdin");
    std::filesystem::rename("/var/lib/exports/server/away", kExports);
    Finish(run);
    EXPECT_TRUE(HasHome("anna"));
    EXPECT_EQ(Line("user add bob --password-stdin").exit_code, 0);
    EXPECT_TRUE(HasHome("bob"));
    std::filesystem::remove_all(kExports / "bob");
    EXPECT_EQ(Line("user home create-all").exit_code, 0);
    EXPECT_TRUE(HasHome("bob"));
}

TEST_F(HalfWay, ARenameThatGroupsDidNotFollowIsFinishedByTheCommandsItPrints) {
    ASSERT_EQ(Line("user add anna --password-stdin --groups staff").exit_code, 0);
    const ProgramRun run = HalfDone("user rename anna bea", "ldapmodify", AfterCalls(1, kDenied));
    EXPECT_THAT(run.err,
                HasSubstr("the user anna is now called bea, but the group staff still lists anna"));
    Finish(run);
    EXPECT_THAT(Values(GroupDN("staff"), "memberUid"), ElementsAre("bea"));
}

TEST_F(HalfWay, ADeletionThatLeftMembershipsIsFinishedByTheCommandItPrints) {
    ASSERT_EQ(Line("user add anna --password-stdin --groups staff").exit_code, 0);
    const ProgramRun run = HalfDone("user delete anna -y", "ldapmodify", AfterCalls(1, kDenied));
    EXPECT_THAT(run.err,
                HasSubstr("the user anna was deleted, but the group staff still lists anna"));
    Finish(run);
    EXPECT_THAT(Values(GroupDN("staff"), "memberUid"), IsEmpty());
}

TEST_F(HalfWay, SeveralDeletionsStopAtTheFirstThatFails) {
    for (const char *name : {"a1", "a2", "a3"})
        ASSERT_EQ(Line(std::string("user add ") + name + " --password-stdin").exit_code, 0);
    const ProgramRun run =
        HalfDone("user delete a1 a2 a3 -y", "ldapmodify", AfterCalls(1, kDenied));
    EXPECT_THAT(run.err, HasSubstr("deleted: a1, but then a2: "));
    EXPECT_EQ(FinishOf(run), "user delete a2 a3");
    EXPECT_EQ(Line("user list").out, "a2\na3\n");
}

// Like Ctrl-C while the first is being deleted. The front is between the program and the tool.
TEST_F(HalfWay, AnInterruptionStopsBetweenDeletionsAndSaysTheState) {
    for (const char *name : {"a1", "a2"})
        ASSERT_EQ(Line(std::string("user add ") + name + " --password-stdin").exit_code, 0);
    const ReplacedTool slow("ldapmodify",
                            "$real \"$@\"; set -- $(cat /proc/$PPID/stat); kill -INT $4; exit 0");
    const ProgramRun run = Line("user delete a1 a2 -y");
    EXPECT_EQ(run.exit_code, 130);
    EXPECT_THAT(run.err, HasSubstr("deleted: a1, but then a2: interrupted"));
    EXPECT_EQ(FinishOf(run), "user delete a2");
    EXPECT_EQ(Line("user list").out, "a2\n");
}

TEST_F(HalfWay, APasswordThatOnlySambaTookIsReported) {
    ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
    const ReplacedTool broken("ldappasswd", "echo 'Result: Constraint violation (19)' >&2; exit 1");
    const ProgramRun run = Line("user passwd anna --password-stdin", "another-Word-2");
    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(run.err, HasSubstr("the server did not accept it as the Unix password"));
    EXPECT_EQ(FinishOf(run), "user passwd anna");
}

// Nothing was created: the failure is reported directly.
TEST_F(HalfWay, AnAddThatTheServerRefusesLeavesNothing) {
    const ReplacedTool broken("ldapmodify", AfterCalls(2, kDenied));
    const ProgramRun run = Line("user add anna --password-stdin");
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_THAT(run.err, HasSubstr("does not allow cn=admin,dc=example,dc=com to do this"));
    EXPECT_EQ(Line("user list").out, "");
}

TEST_F(HalfWay, AToolThatDiesAfterItsWorkHasMadeTheEntry) {
    const ReplacedTool broken("ldapmodify", AfterCalls(2, "$real \"$@\"; kill -9 $$"));
    const ProgramRun run = Line("user add anna --password-stdin");
    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(run.err, HasSubstr("the user anna was added"));
    EXPECT_EQ(Line("user list").out, "anna\n");
}

TEST_F(HalfWay, AToolThatDiesBeforeItsWorkHasMadeNothing) {
    const ReplacedTool broken("ldapmodify", AfterCalls(2, "kill -9 $$"));
    EXPECT_EQ(Line("user add anna --password-stdin").exit_code, 1);
    EXPECT_EQ(Line("user list").out, "");
}

TEST_F(HalfWay, TheResultIsUnknownWhenTheServerIsGone) {
    const ReplacedTool gone("ldapsearch",
                            "[ -e /tmp/gone ] || exec $real \"$@\"\n"
                            "echo \"ldap_bind: Can't contact LDAP server (-1)\" >&2; exit 255");
    const ReplacedTool broken("ldapmodify", AfterCalls(2, ": >/tmp/gone; exit 255"));
    const ProgramRun run = Line("user add anna --password-stdin");
    std::filesystem::remove("/tmp/gone");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, HasSubstr("cannot be asked for the outcome"));
    EXPECT_THAT(run.err, HasSubstr("zafoldap user show anna"));
}

// A "/tmp" with room for a small change file only, or for none once filled.
class SmallFolder : public HalfWay {
  protected:
    static void ExpectRefusal(const ProgramRun &run, std::string_view reason) {
        EXPECT_EQ(run.exit_code, 1);
        EXPECT_THAT(run.err,
                    HasSubstr("cannot write the change file in /tmp: " + std::string(reason)));
    }
};

TEST_F(SmallFolder, CutsNoChangeOfSetShort) {
    ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
    const std::string before = Tree(), value(20'000, 'x');
    const MountedOver small("/tmp", "size=8k");
    if (!small.Mounted()) GTEST_SKIP() << "no file system can be mounted here";
    ExpectRefusal(Line("user edit anna --set title=x --set description=" + value),
                  "No space left on device");
    WriteFile("/tmp/filler", value);
    ExpectRefusal(Line("user edit anna --set title=x"), "No space left on device");
    EXPECT_EQ(Tree(), before);
}

TEST_F(SmallFolder, CutsNoRemovalOfManyMembersShort) {
    std::string members, names;
    for (int i = 0; i < 110; ++i) {
        const std::string name = "somebody_who_is_gone_long_ago" + std::to_string(i);
        members += "memberUid: " + name + "\n";
        names += " " + name;
    }
    directory_.Change("dn: " + GroupDN("staff") + "\nchangetype: modify\nadd: memberUid\n" +
                      members);
    const std::string before = Tree();
    const MountedOver small("/tmp", "size=4k");
    if (!small.Mounted()) GTEST_SKIP() << "no file system can be mounted here";
    ExpectRefusal(Line("member remove staff" + names), "No space left on device");
    EXPECT_EQ(Tree(), before);
}

// The group lists members by name only, which the server reports on the first attempt.
TEST_F(SmallFolder, ThatIsFullAtTheSecondAttemptChangesNoGroupOfNames) {
    ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
    const std::string before = Tree();
    const MountedOver small("/tmp", "size=8k");
    if (!small.Mounted()) GTEST_SKIP() << "no file system can be mounted here";
    const ReplacedTool filling("ldapmodify",
                               "$real \"$@\"; code=$?; rm /tmp/*.ldif\n"
                               "head -c 20000 /dev/zero >/tmp/filler; exit $code");
    ExpectRefusal(Line("member add users anna"), "No space left on device");
    EXPECT_EQ(Tree(), before);
}

TEST_F(SmallFolder, AUsersFileSizeLimitIsReportedToo) {
    ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
    const std::string before = Tree();
    ExpectRefusal(RunProgram({"sh", "-c", "ulimit -f 100; exec zafoldap \"$@\"", "limited", "user",
                              "edit", "anna", "--set", "description=" + std::string(100'000, 'x')}),
                  "File too large");
    EXPECT_EQ(Tree(), before);
}

// Someone else takes the number between its choice and its use.
TEST_F(HalfWay, ANumberTakenInBetweenIsReplacedByTheNext) {
    const std::string next = Value("cn=CurID,cn=zafoconf,dc=example,dc=com", "uidNumber");
    WriteFile("/tmp/rival.ldif",
              "dn: uid=rival,cn=users,dc=example,dc=com\nobjectClass: account\nobjectClass: "
              "posixAccount\nuid: rival\ncn: rival\nuidNumber: " +
                  next + "\ngidNumber: 1500000\nhomeDirectory: /\n");
    const ReplacedTool rival("ldapmodify",
                             "$real \"$@\" || exit $?\n[ -e /tmp/rival.ldif ] || exit 0\n"
                             "ldapadd -x -H ldap://" +
                                 directory_.Uri() + " -D " + directory_.BindDN() + " -w " +
                                 directory_.Password() +
                                 " -f /tmp/rival.ldif && rm /tmp/rival.ldif");
    const Json added = LineJson("user add anna --password-stdin");
    EXPECT_EQ(Value(UserDN("rival"), "uidNumber"), next);
    EXPECT_GT(added["data"]["uid"].get<int>(), std::stoi(next));
}

TEST_F(HalfWay, AWantedNumberThatIsTakenAtTheSameMomentIsReported) {
    WriteFile("/tmp/rival.ldif",
              "dn: uid=rival,cn=users,dc=example,dc=com\nobjectClass: account\nobjectClass: "
              "posixAccount\nuid: rival\ncn: rival\nuidNumber: 1500500\ngidNumber: 1500000\n"
              "homeDirectory: /\n");
    ProgramRun run{};
    {
        const ReplacedTool rival("slappasswd", "ldapadd -x -H ldap://" + directory_.Uri() + " -D " +
                                                   directory_.BindDN() + " -w " +
                                                   directory_.Password() +
                                                   " -f /tmp/rival.ldif >&2\nexec $real \"$@\"");
        run = Line("user add anna --uid 1500500 --password-stdin");
    }
    EXPECT_EQ(run.exit_code, 7);
    EXPECT_THAT(run.err, HasSubstr("somebody else took its number at the same moment"));
    EXPECT_EQ(FinishOf(run), "user edit anna --uid $(zafoldap id next uid)");
}

TEST_F(HalfWay, NoToolIsGivenASecretOnItsCommandLineOrInItsEnvironment) {
    const std::string record = "echo \"$0 $*\" >>/tmp/seen; env >>/tmp/seen; exec $real \"$@\"";
    std::filesystem::remove("/tmp/seen");
    {
        const ReplacedTool search("ldapsearch", record), modify("ldapmodify", record),
            passwd("ldappasswd", record), hash("slappasswd", record);
        ASSERT_EQ(Line("user add anna --password-stdin").exit_code, 0);
        ASSERT_EQ(Line("user passwd anna --password-stdin", "another-Word-2").exit_code, 0);
    }
    const std::string seen = ReadFile("/tmp/seen");
    for (const char *tool : {"ldapsearch", "ldapmodify", "ldappasswd", "slappasswd"})
        EXPECT_THAT(seen, HasSubstr("/usr/zafo/libexec/" + std::string(tool)));
    for (const std::string &secret :
         {std::string(kPassword), std::string("another-Word-2"), directory_.Password()})
        EXPECT_EQ(seen.find(secret), std::string::npos);
}

struct ListEnding {
    const char *line;
    int tool_exit;
    const char *words;
    int exit_code;
};

TEST_F(HalfWay, ListsAreNeverASuccessWhenTheyWereCut) {
    for (const char *name : {"anna", "bob"})
        ASSERT_EQ(Line(std::string("user add ") + name + " --password-stdin").exit_code, 0);
    const ReplacedTool cut("ldapsearch",
                           "$real \"$@\"; echo 'Size limit exceeded (4)' >&2; exit 4");
    const Json list = LineJson("user list", 1);
    EXPECT_EQ(list["data"].size(), 2U);
    EXPECT_EQ(list["complete"], false);
    const ProgramRun names = Line("user list");
    EXPECT_EQ(names.exit_code, 1);
    EXPECT_EQ(names.out, "anna\nbob\n");
    EXPECT_THAT(names.err, HasSubstr("the answer is incomplete"));
    for (const char *line :
         {"group list", "stat users", "user list --not-in-group users", "id check"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(Line(line).exit_code, 1);
    }
}

TEST_F(HalfWay, EveryEndingOfAToolHasItsExitCode) {
    const ListEnding kRows[] = {
        {"user list", 49, "ldap_bind: Invalid credentials (49)", 4},
        {"user list", 255, "ldap_sasl_bind(SIMPLE): Can't contact LDAP server (-1)", 6},
        {"user show anna", 251, "ldap_result: Timed out (-5)", 6},
        {"group add more", 51, "Server is busy (51)", 8},
        {"stat users", 50, "Insufficient access (50)", 4},
        {"id check", 52, "Server is unavailable (52)", 6},
        {"member list staff", 32, "No such object (32)", 3},
    };
    for (const ListEnding &row : kRows) {
        SCOPED_TRACE(row.words);
        const ReplacedTool broken(
            "ldapsearch",
            "echo \"" + std::string(row.words) + "\" >&2; exit " + std::to_string(row.tool_exit));
        EXPECT_EQ(Line(row.line).exit_code, row.exit_code);
    }
}

}  // namespace
