// SPDX-License-Identifier: Apache-2.0
//
// Whether the standard error of a tool is passed on: always on failure, never on an answer, and in
// full when the caller is interactive.
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>

#include <csignal>
#include <thread>

#include "tests/front/front_fixture.h"

namespace zafo {
namespace {

using std::chrono::seconds;

constexpr const char *kChangeFile = "/tmp/front-answer.ldif";
const std::string kEntry = "cn=zafoconf,dc=x";
const std::string kKey = "automountKey=*,automountMapName=auto_home,dc=x";
const Texts kClient = {"-LLL",          "-x", "-H",    "ldap://localhost", "-D",
                       "cn=admin,dc=x", "-w", "geheim"};

// The part of the tool's output that arrives, with the tool's own exit code.
std::string Heard(rig::FakeTools &tools, const std::string &tool, const Texts &arguments,
                  const std::string &words, int exit_code) {
    tools.Reset();
    tools.On(tool).Error(words).Exit(exit_code);
    const rig::ToolOutcome outcome = rig::RunTool(Texts{Front(tool)} + arguments);
    EXPECT_EQ(outcome.status, exit_code << 8);
    return outcome.output;
}

struct SearchRow {
    const char *name;
    Texts arguments;
    int exit_code;
    std::string words = "No such object (32)\nMatched DN: dc=x\n";
};

void PrintTo(const SearchRow &row, std::ostream *out) {
    *out << row.name;
}

class AnsweredSearch : public FrontTest, public testing::WithParamInterface<SearchRow> {};

TEST_P(AnsweredSearch, SaysNothing) {
    const SearchRow &row = GetParam();
    EXPECT_EQ(Heard(tools_, "ldapsearch", kClient + row.arguments, row.words, row.exit_code), "");
}

INSTANTIATE_TEST_SUITE_P(
    Front, AnsweredSearch,
    testing::Values(SearchRow{"EntryThatIsNotThere", {"-b", kEntry, "-s", "base", "dn"}, 32},
                    SearchRow{
                        "OtherWordForTheScope", {"-b", kEntry, "-s", "baseObject", "(cn=*)"}, 32},
                    SearchRow{"OptionsInOneArgument", {"-xb", kEntry, "-sbase", "dn"}, 32},
                    SearchRow{"AttributeOfANamedEntry", {"-b", kEntry, "uidNumber"}, 32},
                    SearchRow{"NamedEntryWithEverything", {"-b", kEntry}, 32},
                    SearchRow{"DnsOnly", {"-b", "dc=x", "-s", "sub", "(ou=a)", "dn"}, 32},
                    SearchRow{"KindThatTheServerDoesNotKnow",
                              {"-b", kKey, "automountInformation"},
                              34,
                              "Invalid DN syntax (34)\nAdditional information: invalid DN\n"},
                    SearchRow{"DomainThatTheServerDoesNotKnow",
                              {"-b", "sambadomainname=x,dc=x", "sambaSID"},
                              34,
                              "Invalid DN syntax (34)\n"},
                    SearchRow{"MoreThanTheOneAskedFor",
                              {"-b", "dc=x", "-z", "1", "(uid=*)"},
                              4,
                              "Size limit exceeded (4)\n"}),
    [](const auto &row) { return std::string(row.param.name); });

class FailedSearch : public FrontTest, public testing::WithParamInterface<SearchRow> {};

TEST_P(FailedSearch, SaysWhy) {
    const SearchRow &row = GetParam();
    EXPECT_EQ(Heard(tools_, "ldapsearch", kClient + row.arguments, row.words, row.exit_code),
              row.words);
}

INSTANTIATE_TEST_SUITE_P(
    Front, FailedSearch,
    testing::Values(
        SearchRow{"BaseOfAListIsNotThere", {"-b", "dc=y", "(objectClass=posixAccount)"}, 32},
        SearchRow{
            "AttributesOfAListWithoutABase", {"-b", "dc=y", "-s", "sub", "(uid=*)", "uid"}, 32},
        SearchRow{"NoBaseAtAll", {}, 32},
        SearchRow{"BindThatEndsWithTheSameCode",
                  {"-b", kEntry, "-s", "base", "dn"},
                  32,
                  "ldap_bind: No such object (32)\n"},
        SearchRow{"PasswordIsWrong",
                  {"-b", kEntry, "-s", "base", "dn"},
                  49,
                  "ldap_bind: Invalid credentials (49)\n"},
        SearchRow{"PasswordIsWrongAtTheRootEntry",
                  {"-b", "", "-s", "base", "namingContexts"},
                  49,
                  "ldap_bind: Invalid credentials (49)\n"},
        SearchRow{"ServerIsUnreachable",
                  {"-b", kEntry, "-s", "base", "dn"},
                  255,
                  "ldap_sasl_bind(SIMPLE): Can't contact LDAP server (-1)\n"},
        SearchRow{"FilterIsWrong",
                  {"-b", kEntry, "-s", "base", "(cn="},
                  249,
                  "ldap_search_ext: Bad search filter (-7)\n"},
        SearchRow{"DnIsMalformed",
                  {"-b", "zafoconf", "-s", "base", "dn"},
                  34,
                  "Invalid DN syntax (34)\n"},
        SearchRow{
            "MoreThanTheServerGives", {"-b", "dc=x", "(uid=*)"}, 4, "Size limit exceeded (4)\n"},
        SearchRow{"MoreThanAskedFor",
                  {"-b", "dc=x", "-z", "2", "(uid=*)"},
                  4,
                  "Size limit exceeded (4)\n"},
        SearchRow{"AccessIsRefused",
                  {"-b", kEntry, "-s", "base", "dn"},
                  50,
                  "Insufficient access (50)\n"},
        SearchRow{"Trace", {"-d", "1", "-b", kEntry, "-s", "base", "dn"}, 32, "a trace\n"},
        SearchRow{"ListOfFilters", {"-f", "/tmp/filters", "-b", kEntry, "uid"}, 32},
        SearchRow{"DnAfterTheEndOfOptions", {"-b", "dc=y", "--", "(uid=*)", "-s", "base"}, 32},
        SearchRow{"SuccessWithWords", {"-b", kEntry, "-s", "base", "dn"}, 0, "a warning\n"}),
    [](const auto &row) { return std::string(row.param.name); });

struct RefusalRow {
    int exit_code;
    bool answer;
};
class RefusedAnonymous : public FrontTest, public testing::WithParamInterface<RefusalRow> {};

// A server may hide exactly what was asked for from anonymous clients.
TEST_P(RefusedAnonymous, LookAtTheRootEntryIsAnswered) {
    const std::string words = "ldap_bind: Inappropriate authentication (48)\n";
    EXPECT_EQ(Heard(tools_, "ldapsearch",
                    {"-LLL", "-x", "-H", "ldap://x", "-b", "", "-s", "base", "namingContexts"},
                    words, GetParam().exit_code),
              GetParam().answer ? "" : words);
}

INSTANTIATE_TEST_SUITE_P(Front, RefusedAnonymous,
                         testing::Values(RefusalRow{46, false}, RefusalRow{47, true},
                                         RefusalRow{48, true}, RefusalRow{49, true},
                                         RefusalRow{50, true}, RefusalRow{51, false}),
                         [](const auto &row) {
                             return "Code" + std::to_string(row.param.exit_code);
                         });

struct ChangeRow {
    const char *name;
    std::string record;
    int exit_code;
    bool answer;
    Texts options = {};
};

void PrintTo(const ChangeRow &row, std::ostream *out) {
    *out << row.name;
}

class RefusedChange : public FrontTest, public testing::WithParamInterface<ChangeRow> {
  protected:
    ~RefusedChange() override { std::filesystem::remove(kChangeFile); }
};

TEST_P(RefusedChange, SpeaksUnlessItIsAnAnswer) {
    const ChangeRow &row = GetParam();
    WriteFile(kChangeFile, row.record);
    const std::string words = "ldap_modify: refused (" + std::to_string(row.exit_code) + ")\n";
    EXPECT_EQ(
        Heard(tools_, "ldapmodify",
              Texts{"-x", "-ZH", "ldap://x", "-D", "cn=admin", "-w", "geheim", "-f", kChangeFile} +
                  row.options,
              words, row.exit_code),
        row.answer ? "" : words);
}

const std::string kSwap =
    "dn: cn=CurID,dc=x\nchangetype: modify\ndelete: uidNumber\nuidNumber: 7\n-\nadd: "
    "uidNumber\nuidNumber: 8\n";
const std::string kMap =
    "dn: automountMapName=auto_home,dc=x\nautomountMapName: auto_home\nobjectClass: automountMap\n";
const std::string kJoin =
    "dn: cn=administrators,cn=groups,dc=x\nchangetype: modify\nadd: memberUid\nmemberUid: "
    "admin\n-\n"
    "add: member\nmember: uid=admin,cn=users,dc=x\n-\n";

INSTANTIATE_TEST_SUITE_P(
    Front, RefusedChange,
    testing::Values(
        ChangeRow{"LostSwap", kSwap, 16, true},
        ChangeRow{"LostSwapWithEmptyLines", kSwap + "\n\n", 16, true},
        ChangeRow{"SwapThatMayNotBe", kSwap, 50, false},
        ChangeRow{"SwapOfAnEntryThatIsNotThere", kSwap, 32, false},
        ChangeRow{"DeletionAlone",
                  "dn: cn=a\nchangetype: modify\ndelete: uidNumber\nuidNumber: 7\n", 16, false},
        ChangeRow{"TwoAttributes",
                  "dn: cn=a\nchangetype: modify\ndelete: uid\nuid: 7\n-\nadd: cn\ncn: 8\n", 16,
                  false},
        ChangeRow{"SwapAndMore", kSwap + "-\nreplace: cn\ncn: x\n", 16, false},
        ChangeRow{"TwoRecords", kSwap + "\n" + kSwap, 16, false},
        ChangeRow{"SwapAmongOthers", kSwap, 16, false, {"-c"}},
        ChangeRow{"MapThatIsThereAlready", kMap, 68, true},
        ChangeRow{"MapThatCannotBe", kMap, 32, false},
        ChangeRow{"UserThatIsThereAlready", "dn: uid=ann,dc=x\nuid: ann\n", 68, false},
        ChangeRow{"AdminThatHasJoinedAlready", kJoin, 20, true},
        ChangeRow{"AdminThatMayNotJoin", kJoin, 50, false},
        ChangeRow{"MemberThatIsOneAlready",
                  "dn: cn=administrators,cn=groups,dc=x\nchangetype: modify\nadd: memberUid\n"
                  "memberUid: ann\n-\nadd: member\nmember: uid=ann,cn=users,dc=x\n-\n",
                  20, false},
        ChangeRow{
            "AdminInAnotherGroupAlready",
            "dn: cn=staff,cn=groups,dc=x\nchangetype: modify\nadd: memberUid\nmemberUid: admin\n-\n"
            "add: member\nmember: uid=admin,cn=users,dc=x\n",
            20, false},
        ChangeRow{"LongRecord", kSwap + std::string(5000, '\n'), 16, false},
        ChangeRow{"Nothing", "", 16, false}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(FrontTest, ChangeFileThatIsAFifoIsNotWaitedFor) {
    const std::string fifo = "/tmp/front-answer.fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    tools_.On("ldapmodify").Error("why\n").Exit(16);
    rig::RunningTool front({Front("ldapmodify"), "-x", "-H", "ldap://x", "-f", fifo});
    int status = 0;
    // The fake tool does not read the FIFO itself: only the front could block on it.
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_EQ(front.Finish().output, "why\n");
    std::filesystem::remove(fifo);
}

TEST_F(FrontTest, WordsOfOtherToolsAreNeverHeld) {
    for (const char *tool : {"ldappasswd", "slappasswd", "slapadd", "slapindex"})
        EXPECT_EQ(Heard(tools_, tool, {"-v"}, "why\n", 32), "why\n") << tool;
}

TEST_F(FrontTest, LongWordsArriveWholeAndInOrder) {
    std::string words;
    for (int i = 0; i < 200000; ++i)
        words += std::to_string(i) + "\n";
    EXPECT_TRUE(Heard(tools_, "ldapsearch", {"-b", kEntry, "-s", "base", "dn"}, words, 32) ==
                words);
}

TEST_F(FrontTest, WordsOfAToolThatDiesArrive) {
    tools_.On("ldapsearch").Error("assertion failed\n").Die(SIGABRT);
    const rig::ToolOutcome outcome =
        rig::RunTool({Front("ldapsearch"), "-b", kEntry, "-s", "base", "dn"});
    EXPECT_EQ(outcome.status, SIGABRT);
    EXPECT_EQ(outcome.output, "assertion failed\n");
}

TEST_F(FrontTest, WordsOfAToolThatFallsSilentArriveBeforeTheFronts) {
    WriteFile("/usr/zafo/etc/tools.conf", "timeout 1\nnetwork_timeout 1\n");
    tools_.On("ldapsearch").Error("connecting\n").Hang();
    EXPECT_EQ(rig::RunTool({Front("ldapsearch"), "-b", kEntry, "-s", "base", "dn"}).output,
              "connecting\nldapsearch: no answer from the server\n");
}

// A tool that writes endlessly gets no extra time.
TEST_F(FrontTest, EndlessOutputIsNotAnAnswer) {
    WriteFile("/usr/zafo/etc/tools.conf", "timeout 1\nnetwork_timeout 1\nanswer_time 1\n");
    rig::FakeScript script = tools_.On("ldapsearch");
    for (int i = 0; i < 60; ++i)
        script.Error("word\n").Sleep(std::chrono::milliseconds(50));
    const rig::ToolOutcome outcome =
        rig::RunTool({Front("ldapsearch"), "-b", kEntry, "-s", "base", "dn"});
    EXPECT_EQ(outcome.status, 255 << 8);
    EXPECT_THAT(outcome.output,
                testing::EndsWith("ldapsearch: the answer takes longer than 1 seconds\n"));
}

// Runs a command with its standard error on a terminal, and its standard input too unless it shall
// read nothing; returns what it prints there.
std::string OnTerminal(const Texts &command, bool reads_nothing = false) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        std::vector<char *> argv;
        for (const std::string &word : command)
            argv.push_back(const_cast<char *>(word.c_str()));
        argv.push_back(nullptr);
        if (reads_nothing) dup2(open("/dev/null", O_RDWR), STDIN_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    std::string read_so_far;
    char bytes[256];
    for (ssize_t n = 0; (n = read(terminal, bytes, sizeof bytes)) > 0;)
        read_so_far.append(bytes, static_cast<size_t>(n));
    close(terminal);
    waitpid(child, nullptr, 0);
    return read_so_far;
}

TEST_F(FrontTest, AnInteractiveCallerReadsEverything) {
    tools_.On("ldapsearch").Error("No such object (32)\n").Exit(32);
    EXPECT_EQ(OnTerminal({Front("ldapsearch"), "-b", kEntry, "-s", "base", "dn"}),
              "No such object (32)\r\n");
    EXPECT_EQ(OnTerminal({"/bin/sh", "-c", Front("ldapsearch") + " -b " + kEntry + " | cat"}),
              "No such object (32)\r\n");
}

TEST_F(FrontTest, ToolOfAProgramBeforeATerminalIsHeld) {
    tools_.On("ldapsearch").Error("No such object (32)\n").Exit(32);
    EXPECT_EQ(OnTerminal({Front("ldapsearch"), "-b", kEntry, "-s", "base", "dn"}, true), "");
    tools_.Reset();
    tools_.On("ldapsearch").Error("ldap_bind: Invalid credentials (49)\n").Exit(49);
    EXPECT_EQ(OnTerminal({Front("ldapsearch"), "-b", kEntry, "-s", "base", "dn"}, true),
              "ldap_bind: Invalid credentials (49)\r\n");
}

// --- slapcat ------------------------------------------------------------------

const std::string kNoDatabase =
    "6561 mdb_db_open: database \"dc=x\" cannot be opened: No such file or directory (2). "
    "Restore from backup!\n"
    "6561 backend_startup_one (type=mdb, suffix=\"dc=x\"): bi_db_open failed! (2)\n"
    "slap_startup failed\n";

struct DatabaseRow {
    const char *name;
    bool configuration;
    bool file;
    std::string words;
    int exit_code;
    bool answer;
};

void PrintTo(const DatabaseRow &row, std::ostream *out) {
    *out << row.name;
}

class DatabaseWords : public FrontTest, public testing::WithParamInterface<DatabaseRow> {
  protected:
    const std::string folder_ = "/usr/zafo/etc/openldap/data";
    const std::string configuration_ = "/usr/zafo/etc/openldap/slapd.conf";

    void SetUp() override {
        Empty();
        if (GetParam().configuration) WriteFile(configuration_, "");
        if (GetParam().file) WriteFile(folder_ + "/data.mdb", "x", 0666);
    }
    ~DatabaseWords() override { Empty(); }
    void Empty() const {
        std::filesystem::remove(configuration_);
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
    }
};

TEST_P(DatabaseWords, ArePassedOnUnlessThereIsNoDatabaseYet) {
    const DatabaseRow &row = GetParam();
    for (const Texts &arguments : {Texts{}, Texts{"-a", "(entryDN:=dc=x)"}}) {
        EXPECT_EQ(Heard(tools_, "slapcat", arguments, row.words, row.exit_code),
                  row.answer ? "" : row.words);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Front, DatabaseWords,
    testing::Values(
        DatabaseRow{"NoDatabaseYet", true, false, kNoDatabase, 1, true},
        DatabaseRow{"FileThatCannotBeOpened", true, true, kNoDatabase, 1, false},
        DatabaseRow{"FolderThatMayNotBeEntered", true, false,
                    "backend_startup_one (type=mdb, suffix=\"dc=x\"): bi_db_open failed! (13)\n", 1,
                    false},
        DatabaseRow{"BadConfiguration", true, false, "slapcat: bad configuration file!\n", 1,
                    false},
        DatabaseRow{
            "DamagedDatabase", true, true,
            "backend_startup_one (type=mdb, suffix=\"dc=x\"): bi_db_open failed! (-30793)\n", 1,
            false},
        DatabaseRow{"NoServerAtAll", false, false, "slapcat: bad configuration file!\n", 1, true},
        DatabaseRow{"ConfigurationIsGone", false, true, "slapcat: bad configuration file!\n", 1,
                    false},
        DatabaseRow{"AnotherExitCode", true, false, kNoDatabase, 2, false}),
    [](const auto &row) { return std::string(row.param.name); });

}  // namespace
}  // namespace zafo
