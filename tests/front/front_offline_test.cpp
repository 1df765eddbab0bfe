// SPDX-License-Identifier: Apache-2.0
//
// The front's work around the tools that open the database themselves.
#include <pwd.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/front/front_fixture.h"

namespace zafo {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

const std::filesystem::path kFolder = "/usr/zafo/etc/openldap/data";
const std::filesystem::path kMarker = kFolder / "dn2id.bdb";

class OfflineFront : public FrontTest {
  protected:
    void SetUp() override {
        std::filesystem::remove_all(kFolder);
        std::filesystem::create_directories(kFolder);
    }

    void TearDown() override {
        std::filesystem::remove_all(kFolder);
        std::filesystem::create_directories(kFolder);
        FrontTest::TearDown();
    }

    // The output of a slapcat that writes `text`, as it passes through the front.
    std::string Slapcat(const Texts &arguments, const std::string &text) {
        tools_.Reset();
        tools_.On("slapcat").Output(text);
        const rig::ToolOutcome outcome = rig::RunTool(Texts{Front("slapcat")} + arguments);
        EXPECT_EQ(outcome.status, 0);
        return outcome.output;
    }

    std::string Probe(const std::string &text) { return Slapcat({"-a", "(cn=a)"}, text); }
};

struct DnRow {
    const char *name;
    std::string written;
    std::string read;
};

class ProbedDn : public OfflineFront, public testing::WithParamInterface<DnRow> {};

TEST_P(ProbedDn, IsReadAsText) {
    EXPECT_EQ(Probe(GetParam().written), GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(
    Front, ProbedDn,
    testing::Values(DnRow{"Plain", "dn: o=x\no: x\n\n", "dn: o=x\no: x\n\n"},
                    DnRow{"Encoded", "dn:: bz1Nw7xsbGVy\no:: TcO8bGxlcg==\n\n",
                          "dn: o=M\303\274ller\no:: TcO8bGxlcg==\n\n"},
                    DnRow{"SecondEntry", "dn: o=x\n\ndn:: bz1Nw7xsbGVy\n\n",
                          "dn: o=x\n\ndn: o=M\303\274ller\n\n"},
                    DnRow{"WithoutLineBreak", "dn:: bz1Nw7xsbGVy", "dn: o=M\303\274ller"},
                    DnRow{"WithLineBreakInside", "dn:: bz1hCmI=\n", "dn:: bz1hCmI=\n"},
                    DnRow{"WithNulInside", "dn:: bz1hAGI=\n", "dn:: bz1hAGI=\n"},
                    DnRow{"Damaged", "dn:: bz1h!\n", "dn:: bz1h!\n"},
                    DnRow{"Empty", "dn:: \n\n", "dn:: \n\n"},
                    DnRow{"Beginning", "dn\ndn:\ndn::", "dn\ndn:\ndn::"},
                    DnRow{"OtherAttribute", "xdn:: bz1h\ndnx:: bz1h\n", "xdn:: bz1h\ndnx:: bz1h\n"},
                    DnRow{"Nothing", "", ""}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(OfflineFront, ProbeReadsLinesOfAnyLengthCutAnywhere) {
    std::string written;
    std::string read;
    for (size_t size = 1; size < 3000; size += 7) {
        const std::string value = "description: " + std::string(size * 9, 'd') + "\n\n";
        written += "dn:: bz1Nw7xsbGVy\n" + value;
        read += "dn: o=M\303\274ller\n" + value;
    }
    EXPECT_TRUE(Probe(written) == read);
}

TEST_F(OfflineFront, ExportKeepsItsEncoding) {
    const std::string text = "dn:: bz1Nw7xsbGVy\n\n";
    EXPECT_EQ(Slapcat({}, text), text);
    EXPECT_EQ(Slapcat({"-b", "o=x", "-a", "(cn=a)"}, text), text);
}

TEST_F(OfflineFront, ProbeEndsAsItsToolEnds) {
    for (int code = 0; code < 256; code += 15)
        tools_.On("slapcat").Output("dn: o=x\n").Exit(code);
    for (int code = 0; code < 256; code += 15)
        EXPECT_EQ(rig::RunTool({Front("slapcat"), "-a", "x"}).status, code << 8);
    tools_.Reset();
    tools_.On("slapcat").Die(SIGSEGV);
    EXPECT_EQ(rig::RunTool({Front("slapcat"), "-a", "x"}).status, SIGSEGV);
}

// Waits for that many bytes, which may arrive in pieces.
bool ReadBytes(const rig::RunningTool &tool, size_t size) {
    char byte = 0;
    while (size > 0 && read(tool.Reader(), &byte, 1) == 1)
        size--;
    return size == 0;
}

class Slapcat : public OfflineFront, public testing::WithParamInterface<Texts> {
  protected:
    Texts Command() const { return Texts{Front("slapcat")} + GetParam(); }
};

TEST_P(Slapcat, EndsWithItsReaderEvenIfItIgnoresSignals) {
    tools_.On("slapcat").IgnoreSignals().Output("dn: o=x\n\n").Hang();
    rig::RunningTool front(Command());
    ASSERT_TRUE(ReadBytes(front, 9));
    const pid_t backend = tools_.Calls().at(0).pid;
    const auto start = steady_clock::now();
    front.CloseReader();
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_LT(steady_clock::now() - start, seconds(2));
    EXPECT_EQ(status, SIGPIPE);
    EXPECT_EQ(kill(backend, 0), -1) << "the tool must be reaped before its front ends";
}

TEST_P(Slapcat, GetsSigtermBeforeSigkill) {
    tools_.On("slapcat").Output("dn: o=x\n\n").Hang();
    rig::RunningTool front(Command());
    ASSERT_TRUE(ReadBytes(front, 9));
    const auto start = steady_clock::now();
    front.CloseReader();
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_LT(steady_clock::now() - start, milliseconds(150));
    EXPECT_EQ(status, SIGPIPE);
}

TEST_P(Slapcat, ThatFloodsEndsWithItsReader) {
    tools_.On("slapcat").IgnoreSignals().Flood("dn: o=x\n\n").Hang();
    rig::RunningTool front(Command());
    ASSERT_TRUE(ReadBytes(front, 1));
    front.CloseReader();
    int status = 0;
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_EQ(status, SIGPIPE);
}

INSTANTIATE_TEST_SUITE_P(Front, Slapcat, testing::Values(Texts{}, Texts{"-a", "(cn=a)"}),
                         [](const auto &row) { return row.param.empty() ? "Export" : "Probe"; });

TEST_F(OfflineFront, LoaderGetsTheSignalThatEndsItsFront) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        tools_.Reset();
        tools_.On("slapadd").Hang();
        rig::RunningTool front({Front("slapadd")});
        ASSERT_TRUE(tools_.WaitForCalls(1));
        kill(front.Pid(), number);
        int status = 0;
        ASSERT_TRUE(front.FinishWithin(seconds(10), status));
        EXPECT_EQ(status, number);
    }
}

TEST_F(OfflineFront, LoaderEndsAsItsToolEnds) {
    tools_.On("slapadd").Exit(0);
    tools_.On("slapadd").Exit(1);
    tools_.On("slapadd").Exit(80);
    tools_.On("slapadd").Die(SIGABRT);
    for (const int status : {0, 1 << 8, 80 << 8, SIGABRT})
        EXPECT_EQ(rig::RunTool({Front("slapadd")}).status, status);
}

TEST_F(OfflineFront, LoaderContinuesWithoutAReader) {
    const std::string go = "/tmp/front-test-go";
    tools_.On("slapadd").WaitForFile(go).Exit(3);
    rig::RunningTool front({Front("slapadd")});
    ASSERT_TRUE(tools_.WaitForCalls(1));
    front.CloseReader();
    int status = 0;
    EXPECT_FALSE(front.FinishWithin(milliseconds(100), status));
    WriteFile(go, "");
    ASSERT_TRUE(front.FinishWithin(seconds(10), status));
    EXPECT_EQ(status, 3 << 8);
    std::filesystem::remove(go);
}

TEST_F(OfflineFront, LoaderMakesTheFolder) {
    std::filesystem::remove_all(kFolder);
    Call("slapadd", {});
    EXPECT_TRUE(std::filesystem::is_directory(kFolder));
}

TEST_F(OfflineFront, LoaderGivesTheFolderToTheServersUser) {
    const passwd *account = getpwnam("openldap");
    if (geteuid() != 0 || account == nullptr) GTEST_SKIP() << "needs root and the user openldap";
    for (const bool missing : {true, false}) {
        SCOPED_TRACE(missing ? "missing" : "of another");
        std::filesystem::remove_all(kFolder);
        if (!missing) std::filesystem::create_directory(kFolder);
        Call("slapadd", {});
        struct stat facts {};
        ASSERT_EQ(stat(kFolder.c_str(), &facts), 0);
        EXPECT_EQ(facts.st_uid, account->pw_uid);
        EXPECT_EQ(facts.st_gid, account->pw_gid);
        EXPECT_EQ(facts.st_mode & 07777, 0700U);
    }
}

struct MarkerRow {
    const char *name;
    bool database;  // the database file exists
    bool before;    // the marker exists before
    std::string entries;
    int exit_code;  // of slapcat
    bool after;
};

class Marker : public OfflineFront, public testing::WithParamInterface<MarkerRow> {};

TEST_P(Marker, TellsWhetherTheDatabaseHoldsAnEntry) {
    const MarkerRow &row = GetParam();
    if (row.database) WriteFile(kFolder / "data.mdb", "x", 0666);
    if (row.before) WriteFile(kMarker, "");
    tools_.On("slapcat").Output(row.entries).Exit(row.exit_code);
    EXPECT_EQ(rig::RunTool({Front("slapadd")}).status, 0);
    EXPECT_EQ(std::filesystem::exists(kMarker), row.after);
}

INSTANTIATE_TEST_SUITE_P(
    Front, Marker,
    testing::Values(MarkerRow{"NoDatabase", false, false, "", 1, false},
                    MarkerRow{"DatabaseGone", false, true, "", 1, false},
                    MarkerRow{"Empty", true, false, "", 0, false},
                    MarkerRow{"Emptied", true, true, "", 0, false},
                    MarkerRow{"Filled", true, false, "dn: o=x\n\n", 0, true},
                    MarkerRow{"StillFilled", true, true, "dn: o=x\n\n", 0, true},
                    // What cannot be determined changes nothing.
                    MarkerRow{"Unreadable", true, true, "", 1, true},
                    MarkerRow{"UnreadableUnmarked", true, false, "", 1, false}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(OfflineFront, MarkerThatIsALinkIsReplacedAndNotFollowed) {
    WriteFile(kFolder / "data.mdb", "entries", 0666);
    std::filesystem::create_symlink("data.mdb", kMarker);
    tools_.On("slapcat").Output("dn: o=x\n\n");
    EXPECT_EQ(rig::RunTool({Front("slapadd")}).status, 0);
    EXPECT_FALSE(std::filesystem::is_symlink(kMarker));
    EXPECT_TRUE(std::filesystem::exists(kMarker));
    EXPECT_EQ(std::filesystem::file_size(kFolder / "data.mdb"), 7U);
}

}  // namespace
}  // namespace zafo
