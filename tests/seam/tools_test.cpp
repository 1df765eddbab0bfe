// SPDX-License-Identifier: Apache-2.0
//
// How the platform is asked to run tools, and what happens when reading their output fails.
#include <sys/stat.h>

#include <cerrno>
#include <fstream>

#include "tests/seam/seam.h"
#include "tests/server/backup_fixture.h"

namespace zafo::seam_test {
namespace {

using core_test::kStaleLdapCode;
using core_test::kStalePlatformCode;
using testing::ElementsAre;
using testing::IsEmpty;

FILE *NoTool(const Texts &, const std::string &) {
    return nullptr;
}

class Tools : public server_test::BackupTest, public SeamTest {};

// --- Tools that cannot be started, with a platform that says nothing -----------------

TEST_F(Tools, SearchThatCannotBeStartedIsOpenFailed) {
    hooks_.open = NoTool;
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    EXPECT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), -1);
    ExpectSlots(kStaleLdapCode, 0x0900);
    ZAFOLDAPSearchFree(&request, &result);
}

TEST_F(Tools, ChangeThatCannotBeStartedIsOpenFailed) {
    hooks_.open = NoTool;
    ZAFOLDAP_LDIF ldif;
    ZAFOLDAPLdifInit(&ldif, nullptr);
    ZAFOLDAPLdifAttr(&ldif, "cn", "%s", "x");
    EXPECT_EQ(ZAFOLDAPModify(&host_, &ldif, 0), -1);
    ExpectSlots(kStaleLdapCode, 0x0900);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Execute [] failed!"));
}

TEST_F(Tools, LoaderThatCannotBeStartedIsOpenFailed) {
    WriteConf();
    hooks_.open = NoTool;
    ZAFOLDAP_LDIF ldif;
    ZAFOLDAPLdifInit(&ldif, nullptr);
    ZAFOLDAPLdifAttr(&ldif, "cn", "%s", "x");
    const std::string path = ldif.szPath;
    EXPECT_EQ(ZAFOLDAPServerSlapadd(&ldif), -1);
    ExpectSlots(kStaleLdapCode, 0x0900);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Execute [/usr/zafo/bin/slapadd -b '" +
                                           server_test::kBase + "' -l '" + path + "'] failed!"));
}

TEST_F(Tools, ProbeThatCannotBeStartedFindsNothing) {
    hooks_.open = NoTool;
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("dc=a"), 0);
    ExpectSlots(kStaleLdapCode, 0x0900);
}

TEST_F(Tools, HashingThatCannotBeStartedLeavesThePlatformsCode) {
    hooks_.open = NoTool;
    char hash[64];
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("secret", hash, sizeof hash), -1);
    ExpectSlotsUntouched();
    EXPECT_THAT(LoggedTexts(), ElementsAre("Popen failed [0x1234]"));
}

// --- The error file ---------------------------------------------------------------

TEST_F(Tools, FailedStartKeepsTheErrorFilesNameAndFreeRemovesTheFile) {
    hooks_.open = NoTool;
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    EXPECT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), -1);
    const std::string name = result.szErrFile;
    EXPECT_THAT(name, testing::StartsWith("/tmp/ldapsearch.err."));
    std::ofstream(name) << "words\n";
    ZAFOLDAPSearchFree(&request, &result);
    EXPECT_FALSE(std::filesystem::exists(name));
}

TEST_F(Tools, BadEntryKeepsTheErrorFileUntilFree) {
    hooks_.open = [](const Texts &, const std::string &) {
        return ToolSaying({"dn: a\ncn:: !\n\n"});
    };
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    EXPECT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), 0);
    const std::string name = result.szErrFile;
    std::ofstream(name) << "words\n";
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), -1);
    EXPECT_EQ(result.szErrFile, name);
    EXPECT_TRUE(std::filesystem::exists(name));
    ZAFOLDAPSearchFree(&request, &result);
    EXPECT_FALSE(std::filesystem::exists(name));
}

// A caller may free the result of any start, even of a refused one.
TEST_F(Tools, RecordOfARefusedStartCanBeFreed) {
    alignas(ZAFOLDAP_RESULT) unsigned char bytes[sizeof(ZAFOLDAP_RESULT)];
    std::fill(std::begin(bytes), std::end(bytes), static_cast<unsigned char>(0xA5));
    auto *result = reinterpret_cast<ZAFOLDAP_RESULT *>(bytes);
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_HOST nowhere{};
    EXPECT_EQ(ZAFOLDAPSearchInit(&nowhere, &request, result), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request, result), 0);
    EXPECT_EQ(result->plistAttr, nullptr);
}

// --- Reading that fails -------------------------------------------------------------

TEST_F(Tools, SearchThatCannotBeReadIsReadFailed) {
    hooks_.open = [](const Texts &, const std::string &) { return ToolSaying({"dn: a\n", EIO}); };
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    EXPECT_EQ(ZAFOLDAPSearchInit(&host_, &request, &result), 0);
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request, &result), -1);
    ExpectSlots(kStaleLdapCode, 0x0A00);
    ZAFOLDAPSearchFree(&request, &result);
}

TEST_F(Tools, ProbeThatCannotBeReadToItsEndHasFoundWhatCameBefore) {
    hooks_.open = [](const Texts &, const std::string &) {
        return ToolSaying({"dn: dc=a\n", EIO, "dn: dc=b\n"});
    };
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("dc=a"), 1);
    EXPECT_EQ(ZAFOLDAPServerDNIsExist("dc=b"), 0);
    ExpectSlotsUntouched();
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

// Four interruptions followed by a line, or five of them.
struct Interrupted {
    explicit Interrupted(const std::string &line) {
        four.assign(4, EINTR);
        four.emplace_back(line);
        five.assign(5, EINTR);
        five.emplace_back(line);
    }
    std::vector<Reading> four, five;
    int reads = 0;
};

TEST_F(Tools, HashIsReadFiveTimesAtMost) {
    Interrupted tool("hash\n");
    char hash[64] = "";
    hooks_.open = [&](const Texts &, const std::string &) {
        return ToolSaying(tool.four, 0, &tool.reads);
    };
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("secret", hash, sizeof hash), 0);
    EXPECT_STREQ(hash, "hash");
    EXPECT_EQ(tool.reads, 5);

    tool.reads = 0;
    hooks_.open = [&](const Texts &, const std::string &) {
        return ToolSaying(tool.five, 0, &tool.reads);
    };
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("secret", hash, sizeof hash), -1);
    EXPECT_EQ(tool.reads, 5);
    EXPECT_THAT(log_.Messages(), IsEmpty());
    ExpectSlotsUntouched();
}

TEST_F(Tools, HashThatCannotBeReadIsLogged) {
    hooks_.open = [](const Texts &, const std::string &) { return ToolSaying({EIO, "hash\n"}); };
    char hash[64];
    EXPECT_EQ(ZAFOLDAPEncryptPasswd("secret", hash, sizeof hash), -1);
    EXPECT_THAT(LoggedTexts(), ElementsAre("Failed to read from popen (Input/output error)"));
}

// A database without the Samba domain, whose random numbers come from a scripted openssl(1).
class RandomNumbers : public Tools {
  protected:
    int Create(const std::vector<Reading> &random, int *reads = nullptr) {
        WriteConf();
        hooks_.open = [=, this](const Texts &words, const std::string &) {
            if (words[0].ends_with("/slapcat")) return ToolSaying({});
            if (words[0].ends_with("/openssl")) return ToolSaying(random, 0, reads);
            entry_ = core_test::ContentOf(words.back());
            return ToolSaying({});
        };
        return ZAFOLDAPServerSambaDomainCreate("dc=example,dc=com", &parms_);
    }
    std::string entry_;
};

TEST_F(RandomNumbers, AreReadFiveTimesAtMost) {
    const Interrupted tool("0000002a\n");
    int reads = 0;
    EXPECT_EQ(Create(tool.four, &reads), 0);
    EXPECT_EQ(reads, 3 * 5);
    EXPECT_THAT(entry_, testing::HasSubstr("\nsambaSID: S-1-5-21-42-42-42\n"));
    reads = 0;
    EXPECT_EQ(Create(tool.five, &reads), -1);
    EXPECT_EQ(reads, 5);
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(RandomNumbers, TakeOneLineOf255Characters) {
    EXPECT_EQ(Create({std::string(254, '0') + "2a\n"}), 0);
    EXPECT_THAT(entry_, testing::HasSubstr("\nsambaSID: S-1-5-21-2-2-2\n"));
    EXPECT_EQ(Create({std::string(253, '0') + "2a\n"}), 0);
    EXPECT_THAT(entry_, testing::HasSubstr("\nsambaSID: S-1-5-21-42-42-42\n"));
}

TEST_F(Tools, HashOfTheServersPasswordHas1023Characters) {
    server_test::Write(server_test::kTemplate, "database mdb\n");
    hooks_.open = [](const Texts &, const std::string &) {
        return ToolSaying({std::string(1500, 'h') + "\n"});
    };
    parms_ = {};
    parms_.szRootPW = "secret";
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parms_), 0);
    EXPECT_EQ(core_test::ContentOf(server_test::kConf),
              "database mdb\nrootpw " + std::string(1023, 'h') + "\n");
}

// --- Vectors and options --------------------------------------------------------------

TEST_F(Tools, IndexesAreMadeWithOptions0xBB) {
    WriteConf();
    hooks_.open = [](const Texts &words, const std::string &) {
        const std::string &filter = words.back();  // "(entryDN:=DN)"
        return ToolSaying({"dn: " + filter.substr(10, filter.size() - 11) + "\n"});
    };
    std::vector<std::pair<Texts, int>> runs;
    hooks_.execl = [&](const Texts &words, int options) {
        runs.emplace_back(words, options);
        return -1;
    };
    EXPECT_EQ(ZAFOLDAPServerDBCreate(&parms_), 0) << "its result does not count";
    EXPECT_THAT(runs, ElementsAre(std::pair(Texts{"/usr/zafo/bin/slapindex"}, 0xBB)));
}

TEST_F(Tools, BackupsAndRestoresAreRunWithOptions0xB3) {
    const std::string marker = std::string(server_test::kData) + "/dn2id.bdb";
    server_test::Write(marker, "");
    server_test::Write(std::string(server_test::kBackups) + "/file", "a backup");
    std::vector<std::pair<Texts, int>> runs;
    hooks_.execl = [&](const Texts &words, int options) {
        runs.emplace_back(words, options);
        return 0;
    };
    const std::string file = std::string(server_test::kBackups) + "/file";
    EXPECT_EQ(ZAFOLDAPServerBackup(), 0);
    EXPECT_EQ(ZAFOLDAPServerRestore(file.c_str()), 0);
    EXPECT_THAT(runs,
                ElementsAre(std::pair(Texts{"/usr/zafo/bin/zafoldapbackup"}, 0xB3),
                            std::pair(Texts{"/usr/zafo/bin/zafoldapbackup", "-r", file}, 0xB3)));
    std::filesystem::remove(marker);
}

class Reset : public server_test::ServiceTest, public SeamTest {};

TEST_F(Reset, PassesItsPatternsAsTheyAre) {
    std::vector<Texts> runs;
    hooks_.exec = [&](const Texts &words) {
        runs.push_back(words);
        return 0;
    };
    WriteConf();
    server_test::Write(server_test::kRules, "rules\n");
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_THAT(runs, ElementsAre(Texts{"/bin/rm", "-rf", "/usr/zafo/etc/openldap/data//*"},
                                  Texts{"/bin/cp", "/usr/zafo/etc.defaults/openldap/data/DB_CONFIG",
                                        "/usr/zafo/etc/openldap/data//"}));
}

TEST_F(Reset, EndsAtTheFirstToolThatFails) {
    const std::string data = "/usr/zafo/etc/openldap/data/";
    const std::pair<const char *, std::string> cases[] = {
        {"/bin/rm", "run cmd [/bin/rm -rf " + data + "/*] failed."},
        {"/bin/cp",
         "run cmd [/bin/cp /usr/zafo/etc.defaults/openldap/data/DB_CONFIG " + data + "/] failed."},
    };
    for (const auto &[tool, line] : cases) {
        WriteConf();
        log_.Clear();
        hooks_.exec = [tool = std::string(tool)](const Texts &words) {
            return words[0] == tool ? 1 : 0;
        };
        EXPECT_EQ(ZAFOLDAPServerDBReset(), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre(line));
        EXPECT_TRUE(std::filesystem::exists(server_test::kConf));
    }
}

}  // namespace
}  // namespace zafo::seam_test
