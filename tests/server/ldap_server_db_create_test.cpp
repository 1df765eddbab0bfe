// SPDX-License-Identifier: Apache-2.0
//
// The skeleton of a new database: the tools that run and their arguments, the entries written, what
// is left alone, and the effect of each possible failure.
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>

#include "tests/core/without_tool.h"
#include "tests/server/skeleton.h"

namespace zafo::server_test {
namespace {

using core_test::WithoutTool;
namespace fs = std::filesystem;

class DBCreate : public CreationTest {};

TEST_F(DBCreate, AddsTheseEntries) {
    Script();
    EXPECT_EQ(Create(), 0);
    std::string written;
    for (const std::string &entry : Changes())
        written += (written.empty() ? "" : "\n") + entry;
    EXPECT_EQ(written, GoldenFile("skeleton.ldif"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(DBCreate, RunsTheseToolsInThisOrder) {
    Script();
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Commands(), CreationCommands());
}

TEST_F(DBCreate, ToolsStandInTheAppliancesOwnFolder) {
    Script();
    EXPECT_EQ(Create(), 0);
    for (const rig::FakeCall &call : tools_.Calls())
        EXPECT_EQ(call.argv.at(0), "/usr/zafo/bin/" + call.tool);
}

TEST_F(DBCreate, EntriesAreReadFromPrivateFiles) {
    Script();
    EXPECT_EQ(Create(), 0);
    for (const rig::FakeCall &call : tools_.Calls()) {
        for (const auto &[path, file] : call.files)
            EXPECT_EQ(file.mode & 07777, 0600u) << path;
    }
}

TEST_F(DBCreate, EachEntryThatExistsIsLeftAlone) {
    for (size_t i = 0; i < kSkeleton.size(); ++i) {
        Script({i});
        EXPECT_EQ(Create(), 0);
        EXPECT_EQ(Commands(), CreationCommands({i})) << kSkeleton[i];
    }
}

TEST_F(DBCreate, EachEntryThatAloneIsMissingIsAdded) {
    for (size_t i = 0; i < kSkeleton.size(); ++i) {
        std::set<size_t> others;
        for (size_t k = 0; k < kSkeleton.size(); ++k) {
            if (k != i) others.insert(k);
        }
        Script(others);
        EXPECT_EQ(Create(), 0);
        EXPECT_EQ(Commands(), CreationCommands(others)) << kSkeleton[i];
        ASSERT_THAT(Changes(), SizeIs(1));
        EXPECT_TRUE(Changes().at(0).starts_with("dn: " + kSkeleton[i] + "\n"));
    }
}

TEST_F(DBCreate, WholeDatabaseIsOnlyIndexed) {
    const std::set<size_t> everything = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    Script(everything);
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Commands(), CreationCommands(everything));
    EXPECT_EQ(Tools().back(), "slapindex");
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(DBCreate, NumbersAreUnsigned) {
    parms_.nMinUid = parms_.nMaxGid = 4294967295u;
    parms_.nCurUid = 0;
    Script();
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(Changes().at(4), HasSubstr("uidNumber: 4294967295\n"));
    EXPECT_THAT(Changes().at(5), HasSubstr("gidNumber: 4294967295\n"));
    EXPECT_THAT(Changes().at(6), HasSubstr("uidNumber: 0\n"));
}

TEST_F(DBCreate, StringsOfTheRecordAreNotRead) {
    parms_.szSuffix = parms_.szRootDN = parms_.szRootPW = nullptr;
    Script();
    EXPECT_EQ(Create(), 0);
    EXPECT_TRUE(Changes().at(0).starts_with("dn: " + kBase + "\n"));
}

TEST_F(DBCreate, SuffixIsThatOfTheConfiguration) {
    WriteConf("ou=all of it,dc=Big,dc=com");
    Script();
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Changes().at(0), "dn: ou=all of it,dc=Big,dc=com\ndc: Big\nobjectClass: domain\n");
    EXPECT_TRUE(
        Changes().at(8).starts_with("dn: sambaDomainName=Big,ou=all of it,dc=Big,dc=com\n"));
}

TEST_F(DBCreate, FailedIndexIsNotAFailure) {
    for (const int code : {0, 1}) {
        Script();
        code == 0 ? tools_.On("slapindex").Die(SIGKILL) : tools_.On("slapindex").Exit(code);
        EXPECT_EQ(Create(), 0);
    }
    const WithoutTool none("slapindex");
    Script();
    EXPECT_EQ(Create(), 0);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(DBCreate, NeedsASuffix) {
    const std::string text =
        "ZAFOLDAPInfoGetFromConf [/usr/zafo/etc/openldap/slapd.conf] [suffix] failed. ";
    const std::tuple<std::optional<std::string>, int, std::string> kCases[] = {
        {std::nullopt, 0x0900, "[0x0900]"},
        {"", kStalePlatformCode, "[0x1234]"},
        {"dc=" + std::string(1021, 'x'), 0x0E00, "[0x0E00]"},
    };
    for (const auto &[suffix, code, shown] : kCases) {
        fs::remove(kConf);
        if (suffix) WriteConf(*suffix);
        Script();
        EXPECT_EQ(Create(), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre(text + shown));
        ExpectSlots(kStaleLdapCode, code);
        EXPECT_THAT(tools_.Calls(), IsEmpty());
    }
}

TEST_F(DBCreate, SuffixWithoutADomainComponentTouchesNothing) {
    WriteConf("o=company");
    Script();
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("ZAFOLDAPDNFirstDomainComponent [o=company] failed. [0x0F00]"));
    ExpectSlots(kStaleLdapCode, 0x0F00);
    EXPECT_THAT(Commands(), ElementsAre("slapcat -a (entryDN:=o=company)"));
}

TEST_F(DBCreate, DNThatIsTooLongIsNotCut) {
    const std::string suffix = "dc=" + std::string(1000, 'x');
    WriteConf(suffix);
    Script();
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("ZAFOLDAPServerSlapadd [cn=MinID,cn=zafoconf," + suffix +
                                           "] failed. [0x0E00]"));
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(Commands().back(), testing::StartsWith("slapadd ")) << "nothing is asked for \"\"";
    ASSERT_THAT(Changes(), SizeIs(4));
    EXPECT_TRUE(LastChange().starts_with("dn: cn=zafoconf," + suffix + "\n"));
}

TEST_F(DBCreate, EntryThatTheDiskHasNoRoomForIsNotLoaded) {
    Script();
    EXPECT_EQ(OnAFullDisk([this] { return Create(); }), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre(testing::HasSubstr("is cut short: File too large"),
                            "ZAFOLDAPServerSlapadd [dc=example,dc=com] failed. [0x0B00]"));
    ExpectSlots(kStaleLdapCode, 0x0B00);
}

class DBCreateOfARunningServer : public ServiceTest {};

TEST_F(DBCreateOfARunningServer, StopsAndStartsItAroundEachEntry) {
    WriteConf();
    StartBefore();
    tools_.On("openssl").Output("0000002a\n");
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parms_), 0);
    Texts expected;
    for (size_t i = 0; i < kSkeleton.size(); ++i) {
        expected.emplace_back("slapcat");
        if (i == kDomainEntry) expected.insert(expected.end(), 3, "openssl");
        expected.insert(expected.end(), {"server-stopped", "slapadd", "start-server"});
    }
    expected.emplace_back("slapindex");
    EXPECT_EQ(Tools(), expected);
    EXPECT_GT(Pid(), 0);
}

// The lines logged after those of slapadd itself; "$ERR" stands for the platform error.
Texts FailureTexts(size_t entry) {
    if (entry == kDomainEntry) {
        return {"ZAFOLDAPServerSlapadd failed. [$ERR]",
                "ZAFOLDAPServerSambaDomainCreate failed. [$ERR]"};
    }
    return {"ZAFOLDAPServerSlapadd [" + kSkeleton[entry] + "] failed. [$ERR]"};
}

class DBCreateFailure : public DBCreate {
  protected:
    // Creates the database with one entry failing as scripted by `fail`; the entries before it must
    // have been added, and nothing may have run after it.
    void Expect(size_t entry, const std::function<void(rig::FakeScript &&)> &fail,
                const std::string &slapadd_text, int ldap_code) {
        SCOPED_TRACE(kSkeleton[entry]);
        Script();
        for (size_t i = 0; i < entry; ++i)
            tools_.On("slapadd").Exit(0);
        fail(tools_.On("slapadd"));
        EXPECT_EQ(Create(), -1);
        Texts texts = {slapadd_text};
        for (const std::string &text : FailureTexts(entry))
            texts.push_back(Replaced(text, "$ERR", "0x1234"));
        EXPECT_EQ(LoggedTexts(), texts);
        ExpectSlots(ldap_code, kStalePlatformCode);
        EXPECT_THAT(Changes(), SizeIs(entry + 1));
        EXPECT_EQ(Tools().back(), "slapadd");
    }
};

TEST_F(DBCreateFailure, ExitCodeOfEachEntryIsTheLibraryError) {
    for (size_t entry = 0; entry < kSkeleton.size(); ++entry) {
        for (const int code : {1, 68, 255}) {
            Expect(
                entry, [=](rig::FakeScript &&script) { script.Exit(code); },
                "slapadd return " + std::to_string(code), code);
        }
    }
}

TEST_F(DBCreateFailure, KilledToolOfEachEntryIsAFailure) {
    for (size_t entry = 0; entry < kSkeleton.size(); ++entry) {
        Expect(
            entry, [](rig::FakeScript &&script) { script.Die(SIGKILL); },
            "slapadd terminate abnormal 9", kStaleLdapCode);
    }
}

TEST_F(DBCreateFailure, ToolThatCannotBeStartedAtEachEntryIsAFailure) {
    const WithoutTool none("slapadd");
    for (size_t entry = 0; entry < kSkeleton.size(); ++entry) {
        std::set<size_t> before;
        for (size_t i = 0; i < entry; ++i)
            before.insert(i);
        Script(before);
        EXPECT_EQ(Create(), -1);
        Texts texts = LoggedTexts();
        ASSERT_THAT(texts, testing::Not(IsEmpty()));
        EXPECT_THAT(texts.front(), testing::MatchesRegex(
                                       "Execute \\[/usr/zafo/bin/slapadd -b 'dc=example,dc=com' -l "
                                       "'/tmp/[0-9_]+\\.ldif'\\] failed!"));
        texts.erase(texts.begin());
        Texts expected;
        for (const std::string &text : FailureTexts(entry))
            expected.push_back(Replaced(text, "$ERR", "0x0900"));
        EXPECT_EQ(texts, expected);
        ExpectSlots(kStaleLdapCode, 0x0900);
    }
}

// Samba domain -----------------------------------------------------------------------------

class SambaDomain : public CreationTest {
  protected:
    // Adds the domain; openssl prints these lines.
    int CreateDomain(const Texts &numbers, const char *suffix = kBase.c_str()) {
        tools_.Reset();
        for (const std::string &number : numbers)
            tools_.On("openssl").Output(number);
        log_.Clear();
        SetStaleCodes();
        return ZAFOLDAPServerSambaDomainCreate(suffix, &parms_);
    }
    std::string Sid() {
        const std::string change = LastChange();
        const size_t at = change.find("sambaSID: ");
        if (at == std::string::npos) return "";
        return change.substr(at + 10, change.find('\n', at) - at - 10);
    }
};

TEST_F(SambaDomain, IsAddedUnderTheSuffixThatIsGiven) {
    EXPECT_EQ(CreateDomain({"1\n"}, "dc=Other Company,o=x"), 0);
    EXPECT_THAT(Commands(), ElementsAre("slapcat -a (entryDN:=sambaDomainName=Other Company,"
                                        "dc=Other Company,o=x)",
                                        kRandomCommand, kRandomCommand, kRandomCommand,
                                        "slapadd -b " + kBase + " -l FILE"));
    EXPECT_TRUE(
        LastChange().starts_with("dn: sambaDomainName=Other Company,dc=Other Company,o=x\n"
                                 "sambaDomainName: Other Company\n"));
}

TEST_F(SambaDomain, PartsAreTheHexadecimalNumbersInDecimal) {
    const std::pair<const char *, const char *> kNumbers[] = {
        {"00000000\n", "0"},          {"ffffffff\n", "4294967295"}, {"FFFFFFFF\n", "4294967295"},
        {"80000000\n", "2147483648"}, {"0000000a\n", "10"},         {"deadbeef", "3735928559"},
        {"00000001\nmore\n", "1"},
    };
    for (const auto &[hex, decimal] : kNumbers) {
        const std::string part = std::string("-") + decimal;
        EXPECT_EQ(CreateDomain({hex}), 0);
        EXPECT_EQ(Sid(), "S-1-5-21" + part + part + part) << hex;
    }
}

TEST_F(SambaDomain, NameIsEscapedInItsDN) {
    EXPECT_EQ(CreateDomain({"1\n"}, "dc=A\\, B\\+C,dc=com"), 0);
    EXPECT_TRUE(
        LastChange().starts_with("dn: sambaDomainName=A\\, B\\+C,dc=A\\, B\\+C,dc=com\n"
                                 "sambaDomainName: A, B+C\n"));
}

TEST_F(SambaDomain, ThatExistsKeepsItsSID) {
    tools_.On("slapcat").Output(Found(kSkeleton[kDomainEntry]));
    EXPECT_EQ(ZAFOLDAPServerSambaDomainCreate(kBase.c_str(), &parms_), 0);
    EXPECT_THAT(Tools(), ElementsAre("slapcat"));
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(SambaDomain, NeedsADomainComponent) {
    EXPECT_EQ(CreateDomain({"1\n"}, "o=company"), -1);
    EXPECT_THAT(LoggedTexts(),
                ElementsAre("ZAFOLDAPDNFirstDomainComponent [o=company] failed. [0x0F00]"));
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(SambaDomain, GeneratorWithoutOutputIsLogged) {
    for (size_t part = 0; part < 3; ++part) {
        Texts numbers(part, "1\n");
        numbers.emplace_back("");
        EXPECT_EQ(CreateDomain(numbers), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre("Failed to read from popen (Success)"));
        ExpectSlotsUntouched();
        EXPECT_THAT(Tools(), SizeIs(part + 2)) << "nothing is loaded";
    }
}

TEST_F(SambaDomain, MissingGeneratorIsLogged) {
    const WithoutTool none("openssl");
    EXPECT_EQ(CreateDomain({}), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Popen failed [0x0900]"));
    ExpectSlots(kStaleLdapCode, 0x0900);
}

TEST_F(SambaDomain, NumbersOfTheRecordAreNotRead) {
    parms_ = {};
    EXPECT_EQ(CreateDomain({"1\n"}), 0);
}

// Signals interrupt the process while it waits; the generator waits for the last of them.
class InterruptedSambaDomain : public CreationTest {
  protected:
    ~InterruptedSambaDomain() override { fs::remove(kGo); }

    int CreateDomain(int signals) {
        left_ = signals;
        struct sigaction action {};
        action.sa_handler = [](int) {
            if (--left_ == 0) close(open(kGo, O_CREAT | O_WRONLY, 0600));
        };
        sigaction(SIGALRM, &action, nullptr);
        tools_.On("openssl").WaitForFile(kGo).Output("0000002a\n");
        const itimerval every{{0, 20'000}, {0, 100'000}};
        const itimerval never{};
        setitimer(ITIMER_REAL, &every, nullptr);
        const int result = ZAFOLDAPServerSambaDomainCreate(kBase.c_str(), &parms_);
        setitimer(ITIMER_REAL, &never, nullptr);
        signal(SIGALRM, SIG_DFL);
        return result;
    }

    static constexpr const char *kGo = "/tmp/interrupted-enough";
    static inline std::atomic<int> left_;
};

TEST_F(InterruptedSambaDomain, ReadsAgain) {
    EXPECT_EQ(CreateDomain(3), 0);
    EXPECT_THAT(LastChange(), HasSubstr("sambaSID: S-1-5-21-42-42-42\n"));
}

TEST_F(InterruptedSambaDomain, GivesUpSilentlyAfterFiveTimes) {
    EXPECT_EQ(CreateDomain(12), -1);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
    EXPECT_THAT(Tools(), ElementsAre("slapcat", "openssl"));
}

TEST_F(DBCreate, DomainThatCannotBeMadeEndsTheRunBeforeTheIndex) {
    Script();
    tools_.Reset();
    EXPECT_EQ(Create(), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Failed to read from popen (Success)",
                                           "ZAFOLDAPServerSambaDomainCreate failed. [0x1234]"));
    EXPECT_EQ(Tools().back(), "openssl");
}

}  // namespace
}  // namespace zafo::server_test
