// SPDX-License-Identifier: Apache-2.0
//
// The foreign platform itself: that it is the one called, behaves as each temperament describes,
// and records exactly what it receives.
#include <dlfcn.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

class ForeignPlatform : public ForeignTest {};
ZAFO_FOREIGN_SUITE(ForeignPlatform);

namespace platform_test {

constexpr const char *kFunctions[] = {"QLIBCErrGet",
                                      "QLIBCErrSet",
                                      "QLIBCExec",
                                      "QLIBCExecl",
                                      "QLIBCExecv",
                                      "QLIBCFileAddSection",
                                      "QLIBCFileEnumSection",
                                      "QLIBCFileGetPair",
                                      "QLIBCFileGetSection",
                                      "QLIBCFileRemoveSection",
                                      "QLIBCFileSetSection",
                                      "QLIBCMResultAlloc",
                                      "QLIBCMResultFree",
                                      "QLIBCPclose",
                                      "QLIBCPopen",
                                      "QLIBCPopenv",
                                      "QLIBCProcAlive",
                                      "QLIBCReadPidFile",
                                      "QLIBCStartError",
                                      "QLIBCSzHashAlloc",
                                      "QLIBCSzHashFree",
                                      "QLIBCSzHashGetValue",
                                      "QLIBCSzHashRemoveKey",
                                      "QLIBCSzHashSetValue",
                                      "QLIBCSzListAlloc",
                                      "QLIBCSzListCaseFind",
                                      "QLIBCSzListFree",
                                      "QLIBCSzListGet",
                                      "QLIBCSzListInsert",
                                      "QLIBCSzListPop",
                                      "QLIBCSzListPush",
                                      "QLIBCSzListRemove",
                                      "QLIBCSzListRemoveAll",
                                      "QLIBCSzListSet",
                                      "QLIBCSzListSortItems",
                                      "QLIBCSzListSub",
                                      "QLIBCUnicodeUTF8StrCaseCmp",
                                      "QLIBCryptSzDecrypt",
                                      "QLIBCryptSzEncrypt",
                                      "QLIBServiceDisable",
                                      "QLIBServiceEnable",
                                      "QLIBServiceIsEnabled",
                                      "QLIBServiceStart",
                                      "QLIBServiceStop",
                                      "QLIBSmbNtEncrypt",
                                      "QLIBUserImportPasswd",
                                      "QLIBUserNumRemained",
                                      "QLIBUserSmbPasswdGet",
                                      "SzBase64EncodeOneLine",
                                      "ZAFOEncodingBase64Decode",
                                      "ZAFOFSMkdirP",
                                      "ZAFOGroupAlloc",
                                      "ZAFOGroupDescGet",
                                      "ZAFOGroupEnum",
                                      "ZAFOGroupFree",
                                      "ZAFOGroupGet",
                                      "ZAFOGroupGetLocal",
                                      "ZAFOGroupGetLocalByGID",
                                      "ZAFOGroupSet",
                                      "ZAFOLDAPConfSet",
                                      "ZAFOLDAPConfSetOne",
                                      "ZAFOLDAPDNDomainName",
                                      "ZAFOLDAPDNFirstDomainComponent",
                                      "ZAFOLDAPGenTmpConf",
                                      "ZAFOLDAPInfoGetFromConf",
                                      "ZAFOLDAPIsBinded",
                                      "ZAFOLDAPLoginSuffixGet",
                                      "ZAFOLDAPRDNExtract",
                                      "ZAFOLDAPRDNPairExtract",
                                      "ZAFOLDAPSSLToString",
                                      "ZAFOLDAPSSLToType",
                                      "ZAFOLDAPSSLTypeGetFromNslcd",
                                      "ZAFOLDAPSecretGet",
                                      "ZAFOScheduleGet",
                                      "ZAFOScheduleRemove",
                                      "ZAFOScheduleSet",
                                      "ZAFOSharePathGet",
                                      "ZAFOUserAlloc",
                                      "ZAFOUserEnum",
                                      "ZAFOUserFree",
                                      "ZAFOUserGet",
                                      "ZAFOUserGetLocal",
                                      "ZAFOUserGetLocalByUID",
                                      "ZAFOUserSetOne",
                                      "syslog",
                                      "vsyslog",
                                      "__syslog_chk",
                                      "__vsyslog_chk"};

std::string All(FILE *stream) {
    std::string text;
    for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream))
        text += static_cast<char>(c);
    return text;
}

}  // namespace platform_test

using namespace platform_test;

TEST(ForeignPlatformSymbols, ComeFromTheTestProgram) {
    Dl_info own{};
    ASSERT_NE(dladdr(reinterpret_cast<void *>(&Platform::Get), &own), 0);
    for (const char *name : kFunctions) {
        Dl_info found{};
        void *address = dlsym(RTLD_DEFAULT, name);
        ASSERT_NE(address, nullptr) << name;
        ASSERT_NE(dladdr(address, &found), 0) << name;
        EXPECT_STREQ(found.dli_fname, own.dli_fname) << name;
    }
}

TEST_P(ForeignPlatform, IsCalledByTheLibrary) {
    ZAFOLDAP_RESULT result{};
    EXPECT_EQ(ZAFOLDAPResultInit(&result), 0);
    EXPECT_EQ(platform().CallsOf("QLIBCSzListAlloc").size(), 2U);
    EXPECT_EQ(platform().Outstanding().size(), 2U);
    EXPECT_EQ(ZAFOLDAPResultFree(&result), 0);
}

TEST_P(ForeignPlatform, CatchesTheLibrarysLog) {
    EXPECT_EQ(ZAFOLDAPResultInit(nullptr), -1);
    EXPECT_EQ(Log(), Strings{"Invaild Argument (((void *)0) != pResult)=[0]\n"});
    EXPECT_EQ(PlatformError(), 0x0D00);
}

TEST_P(ForeignPlatform, ListsLoseWhatPointsIntoThemWhenTheyFreeFirst) {
    List list{"first", "second"};
    const char *first = QLIBCSzListGet(list, 0);
    EXPECT_EQ(QLIBCSzListPush(&list, first), temper().success);
    EXPECT_EQ(list.Items(), (Strings{"first", "second", temper().frees_first ? "?????" : "first"}));
}

TEST_P(ForeignPlatform, ListsFillGapsAndKeepOrder) {
    List list;
    EXPECT_EQ(QLIBCSzListInsert(&list, 2, "c"), temper().success);
    EXPECT_EQ(QLIBCSzListSet(&list, 0, "a"), temper().success);
    EXPECT_EQ(QLIBCSzListRemove(list, 1), temper().success);
    EXPECT_EQ(QLIBCSzListPush(&list, "B"), temper().success);
    EXPECT_EQ(QLIBCSzListSortItems(list, 16), temper().success);
    EXPECT_EQ(list.Items(), (Strings{"a", "B", "c"}));
    EXPECT_EQ(QLIBCSzListCaseFind(list, "b"), 1);
    EXPECT_EQ(QLIBCSzListCaseFind(list, "d"), -1);
    const List other{"c", "a", "B"};
    EXPECT_NE(QLIBCSzListSub(list, other, 0), 0);
    EXPECT_EQ(list.Items(), Strings{});
}

TEST_P(ForeignPlatform, FindsFaultWithNullAndWithWhatWasFreed) {
    QLIBCSzListFree(nullptr);
    QLIBSZLIST *list = QLIBCSzListAlloc(1);
    QLIBCSzListFree(list);
    EXPECT_LT(QLIBCSzListPush(&list, "a"), 0);
    QLIBCSzHashFree(nullptr);
    EXPECT_EQ(platform().TakeFaults(),
              (Strings{"QLIBCSzListFree: no list", "QLIBCSzListPush: a freed list",
                       "QLIBCSzHashFree: no map"}));
}

TEST_P(ForeignPlatform, MapsTreatAbsentKeysByTemperament) {
    QLIBSZHASH *map = QLIBCSzHashAlloc(1);
    EXPECT_EQ(QLIBCSzHashSetValue(map, "key", "value"), temper().success);
    EXPECT_STREQ(QLIBCSzHashGetValue(map, "key"), "value");
    EXPECT_EQ(QLIBCSzHashRemoveKey(map, "key"), temper().success);
    EXPECT_EQ(QLIBCSzHashRemoveKey(map, "key"),
              temper().absent_removal_fails ? -1 : temper().success);
    EXPECT_EQ(QLIBCSzHashGetValue(map, "key"), nullptr);
    QLIBCSzHashFree(map);
}

TEST_P(ForeignPlatform, PlaysOutputAndStatusAndRecordsTheRun) {
    WriteFile("/tmp/change", "dn: x\n", 0640);
    platform().On("ldapmodify", "-f").Prints("one\ntwo\n").Exits(3).Then().Dies(9);
    const char *path = "/usr/zafo/bin/ldapmodify";
    FILE *stream = QLIBCPopen(path, "r", "-f", "/tmp/change", static_cast<char *>(nullptr));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(All(stream), "one\ntwo\n");
    EXPECT_EQ(QLIBCPclose(stream), 3 << 8);
    char name[] = "/usr/zafo/bin/ldapmodify";
    char option[] = "-f";
    char *const argv[] = {name, option, nullptr};
    EXPECT_EQ(QLIBCExecv(path, argv, 1), 128 + 9);
    ASSERT_EQ(platform().Runs().size(), 2U);
    const Run &run = platform().Runs().at(0);
    EXPECT_EQ(run.tool, "ldapmodify");
    EXPECT_EQ(run.argv, (Strings{"-f", "/tmp/change"}));
    EXPECT_EQ(run.how, "QLIBCPopen r");
    EXPECT_EQ(run.change, "dn: x\n");
    EXPECT_EQ(run.change_mode, 0640U);
    EXPECT_TRUE(run.read_to_end);
    EXPECT_TRUE(run.closed);
    EXPECT_EQ(platform().Runs().at(1).bits, 1);
    EXPECT_EQ(unlink("/tmp/change"), 0);
}

TEST_P(ForeignPlatform, PlaysStreamsThatFail) {
    platform().On("tool").Interrupted().Prints("a").ReadFails();
    FILE *stream = QLIBCPopen("/tool", "r", static_cast<char *>(nullptr));
    ASSERT_NE(stream, nullptr);
    errno = 0;
    EXPECT_EQ(std::fgetc(stream), EOF);
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(std::fgetc(stream), 'a');
    EXPECT_EQ(std::fgetc(stream), EOF);
    EXPECT_EQ(errno, EIO);
    EXPECT_NE(std::ferror(stream), 0);
    EXPECT_EQ(platform().Outstanding(), Strings{"QLIBCPopen r tool"});
    EXPECT_EQ(QLIBCPclose(stream), 0);
    platform().On("tool").CannotStart(0);
    EXPECT_EQ(QLIBCPopen("/tool", "r", static_cast<char *>(nullptr)), nullptr);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

TEST_P(ForeignPlatform, DecodesBase64ByTemperament) {
    char buffer[1024] = {};
    size_t length = sizeof buffer;
    EXPECT_NE(ZAFOEncodingBase64Decode("aGVsbG8=", 8, buffer, &length), 0);
    EXPECT_STREQ(buffer, "hello");
    const std::map<DecodedLength, size_t> lengths{{DecodedLength::kTold, 5},
                                                  {DecodedLength::kUntouched, sizeof buffer},
                                                  {DecodedLength::kReadAsCapacity, 5},
                                                  {DecodedLength::kBeyondBuffer, 1000005}};
    EXPECT_EQ(length, lengths.at(temper().decoded_length));
    EXPECT_EQ(ZAFOEncodingBase64Decode("aGVsbG8", 7, buffer, &length), 0);
    EXPECT_EQ(Base64("hello"), "aGVsbG8=");
    EXPECT_EQ(Base64(std::string("\0\377\n", 3)), "AP8K");
    EXPECT_EQ(Base64("a"), "YQ==");
}

TEST_P(ForeignPlatform, NormalisesRdnsByTemperament) {
    char rdn[64];
    char attribute[64];
    char value[64];
    EXPECT_EQ(ZAFOLDAPRDNExtract("uid = ann\\, b,dc=x", 1, rdn, sizeof rdn), temper().success);
    EXPECT_STREQ(rdn, temper().normalises ? "uid=ann\\, b" : "uid = ann\\, b");
    EXPECT_EQ(ZAFOLDAPRDNPairExtract("uid = ann", attribute, sizeof attribute, value, sizeof value),
              temper().success);
    EXPECT_STREQ(attribute, temper().normalises ? "uid" : "uid ");
    EXPECT_STREQ(value, temper().normalises ? "ann" : " ann");
}

TEST_P(ForeignPlatform, FailsReturnsAndFillsAsScripted) {
    platform().secret = "geheim";
    char buffer[8];
    platform().Fail("ZAFOLDAPSecretGet", 2, -3, 0x0A00);
    EXPECT_EQ(ZAFOLDAPSecretGet(buffer, sizeof buffer), temper().success);
    EXPECT_STREQ(buffer, "geheim");
    EXPECT_EQ(ZAFOLDAPSecretGet(buffer, sizeof buffer), -3);
    EXPECT_EQ(PlatformError(), 0x0A00);
    platform().Returns("ZAFOLDAPSecretGet", 99);
    EXPECT_EQ(ZAFOLDAPSecretGet(buffer, sizeof buffer), 99);
    platform().Fills("ZAFOLDAPSecretGet");
    EXPECT_EQ(ZAFOLDAPSecretGet(buffer, sizeof buffer), temper().success);
    EXPECT_EQ(std::string(buffer, sizeof buffer), "xxxxxxxx");
    platform().secret = "too long!";
    EXPECT_EQ(ZAFOLDAPSecretGet(buffer, sizeof buffer), -1);
    EXPECT_EQ(PlatformError(), 0x0E00);
}

TEST_P(ForeignPlatform, KeepsSectionsAndShowsWhatWasStored) {
    QLIBSZHASH *map = QLIBCSzHashAlloc(1);
    EXPECT_LT(QLIBCFileGetSection("/f", "s", map), 1);
    EXPECT_EQ(QLIBCFileAddSection("/f", "s", map, 0), temper().success);
    EXPECT_EQ(QLIBCSzHashSetValue(map, "a", "b"), temper().success);
    EXPECT_EQ(QLIBCFileSetSection("/f", "s", nullptr, map, 0), temper().success);
    EXPECT_EQ(platform().CallsOf("QLIBCFileSetSection").at(0).map, (Pairs{{"a", "b"}}));
    EXPECT_EQ(platform().CallsOf("QLIBCFileSetSection").at(0).arguments,
              (Strings{"/f", "s", "(null)", "0x0"}));
    EXPECT_EQ(platform().sections["/f"]["s"], (Pairs{{"a", "b"}}));
    QLIBCSzHashFree(map);
    EXPECT_LT(QLIBCFileAddSection("/f", "t", nullptr, 0), 0);
    EXPECT_EQ(platform().TakeFaults(), Strings{"QLIBCFileAddSection: no map"});
}

TEST_P(ForeignPlatform, NoticesWhenARecordIsReturnedWithADifferentText) {
    ZAFOUSER *user = nullptr;
    EXPECT_EQ(ZAFOUserAlloc(&user, "ann", nullptr, 1, 2, nullptr, "/h", nullptr, 0, 0, "m"),
              temper().success);
    EXPECT_EQ(platform().CallsOf("ZAFOUserAlloc").at(0).arguments,
              (Strings{"ann", "(null)", "1", "2", "(null)", "/h", "(null)", "0", "0", "m"}));
    char other[] = "other";
    user->szPasswd = other;
    ZAFOUserFree(user);
    EXPECT_EQ(platform().TakeFaults().size(), 1U);
}

TEST_P(ForeignPlatform, FindsFaultWithLinesOfAnotherForm) {
    syslog(LOG_ERR, "no place");
    syslog(LOG_INFO, "a.c:1 text");
    syslog(LOG_ERR, "a.c:1  %s", "x");
    EXPECT_EQ(platform().TakeFaults().size(), 2U);
    EXPECT_EQ(Log().at(2), " x");
}

}  // namespace zafo::foreign
