// SPDX-License-Identifier: Apache-2.0
//
// Change files: names, lines, counters and how they end.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::ldif_test {

constexpr const char *kPath = "/tmp/foreign_change.ldif";

std::string TemporaryName(int sequence) {
    return "/tmp/" + std::to_string(getpid()) + "_" + std::to_string(sequence) + ".ldif";
}

class LdifInit : public ChangeTest {
  protected:
    void TearDown() override {
        ZAFOLDAPLdifClose(&ldif_);
        if (ldif_.szPath[0] != '\0') unlink(ldif_.szPath);
        unlink(kPath);
        ChangeTest::TearDown();
    }
    ZAFOLDAP_LDIF ldif_{};
};
ZAFO_FOREIGN_SUITE(LdifInit);

TEST_P(LdifInit, ZeroesTheRecordAndOpensTheGivenFile) {
    memset(&ldif_, 0x5a, sizeof ldif_);
    Stale();
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
    EXPECT_NE(ldif_.pFile, nullptr);
    EXPECT_STREQ(ldif_.szPath, kPath);
    EXPECT_EQ(ldif_.nAttr, 0);
    EXPECT_EQ(ldif_.nAttrInEntry, 0);
    EXPECT_EQ(ldif_.nEntry, 0);
    EXPECT_EQ(ldif_.nExitCode, 0);
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(LdifInit, EmptiesAnExistingFile) {
    WriteFile(kPath, "dn: cn=old\nchangetype: delete\n");
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
    ZAFOLDAPLdifClose(&ldif_);
    EXPECT_EQ(FileText(kPath), "");
}

TEST_P(LdifInit, KeepsANameOf255Characters) {
    const std::string folder = "/tmp/" + std::string(123, 'f');
    mkdir(folder.c_str(), 0700);
    const std::string path = folder + "/" + std::string(255 - folder.size() - 1, 'n');
    ASSERT_EQ(path.size(), 255U);
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, path.c_str()), 0);
    EXPECT_EQ(ldif_.szPath, path);
    EXPECT_TRUE(Exists(path));
    EXPECT_EQ(unlink(path.c_str()), 0);
    rmdir(folder.c_str());
}

TEST_P(LdifInit, CutsANameAfter255Characters) {
    const std::string folder = "/tmp/" + std::string(123, 'f');
    mkdir(folder.c_str(), 0700);
    const std::string path = folder + "/" + std::string(200, 'n');
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, path.c_str()), 0);
    EXPECT_EQ(ldif_.szPath, path.substr(0, 255));
    EXPECT_TRUE(Exists(path.substr(0, 255)));
    unlink(path.substr(0, 255).c_str());
    unlink(path.c_str());
    rmdir(folder.c_str());
}

TEST_P(LdifInit, NamesTemporaryFilesByProcessAndSequence) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    int pid = 0;
    int sequence = -1;
    ASSERT_EQ(sscanf(ldif_.szPath, "/tmp/%d_%d.ldif", &pid, &sequence), 2);
    EXPECT_EQ(pid, getpid());
    EXPECT_EQ(ldif_.szPath, TemporaryName(sequence));
    EXPECT_TRUE(Exists(ldif_.szPath));
    ZAFOLDAP_LDIF next;
    ASSERT_EQ(ZAFOLDAPLdifInit(&next, nullptr), 0);
    EXPECT_EQ(next.szPath, TemporaryName(sequence + 1));
    ZAFOLDAPLdifClose(&next);
    unlink(next.szPath);
}

TEST_P(LdifInit, FollowsNoLinkUnderTheNextTemporaryName) {
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    int pid = 0;
    int sequence = -1;
    ASSERT_EQ(sscanf(ldif_.szPath, "/tmp/%d_%d.ldif", &pid, &sequence), 2);
    WriteFile(kPath, "kept");
    const std::string link = TemporaryName(sequence + 1);
    ASSERT_EQ(symlink(kPath, link.c_str()), 0);
    ZAFOLDAP_LDIF next;
    ASSERT_EQ(ZAFOLDAPLdifInit(&next, nullptr), 0);
    ZAFOLDAPLdifAttr(&next, "cn", "a");
    ZAFOLDAPLdifClose(&next);
    EXPECT_EQ(FileText(kPath), "kept");
    EXPECT_EQ(FileText(next.szPath), "cn: a\n");
    unlink(next.szPath);
    unlink(link.c_str());
}

TEST_P(LdifInit, DoesNotCountFilesThatTheCallerNamed) {
    ZAFOLDAP_LDIF first;
    ASSERT_EQ(ZAFOLDAPLdifInit(&first, nullptr), 0);
    int pid = 0;
    int sequence = -1;
    ASSERT_EQ(sscanf(first.szPath, "/tmp/%d_%d.ldif", &pid, &sequence), 2);
    ZAFOLDAPLdifClose(&first);
    unlink(first.szPath);
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
    ZAFOLDAPLdifClose(&ldif_);
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
    EXPECT_EQ(ldif_.szPath, TemporaryName(sequence + 1));
}

// In a separate process: no change file may have been created before.
TEST_P(LdifInit, NumbersTheFirstFileOfAProcessZero) {
    if (getenv("ZAFO_FOREIGN_FIRST_FILE") != nullptr) {
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
        EXPECT_EQ(ldif_.szPath, TemporaryName(0));
        return;
    }
    const auto *info = testing::UnitTest::GetInstance()->current_test_info();
    const std::string filter =
        std::string("--gtest_filter=") + info->test_suite_name() + "." + info->name();
    const pid_t child = fork();
    if (child == 0) {
        setenv("ZAFO_FOREIGN_FIRST_FILE", "1", 1);
        unsetenv("GTEST_OUTPUT");
        execl("/proc/self/exe", "first", filter.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_P(LdifInit, ReportsThatTheFileCannotBeOpened) {
    Stale();
    EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, "/tmp/no such folder/change.ldif"), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(ldif_.pFile, nullptr);
    EXPECT_EQ(ldif_.nAttr, 0);
    EXPECT_EQ(ldif_.nEntry, 0);
}

TEST_P(LdifInit, OpensNothingWithoutAName) {
    EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, ""), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
}

TEST_P(LdifInit, ReportsThatATemporaryFileCannotBeOpened) {
    const NoDescriptors none;
    EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(ldif_.pFile, nullptr);
}

TEST_P(LdifInit, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pLDIF", [] { return ZAFOLDAPLdifInit(nullptr, kPath); });
    EXPECT_FALSE(Exists(kPath));
}

TEST_P(LdifInit, KeepsATemporaryFileFromOthers) {
    const mode_t mask = umask(0);
    const int made = ZAFOLDAPLdifInit(&ldif_, nullptr);
    umask(mask);
    ASSERT_EQ(made, 0);
    struct stat status {};
    ASSERT_EQ(stat(ldif_.szPath, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

class LdifWriters : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
        Stale();
    }
    void TearDown() override {
        ZAFOLDAPLdifClose(&ldif_);
        unlink(kPath);
        ChangeTest::TearDown();
    }
    std::string Text() {
        EXPECT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
        return FileText(kPath).value_or("(no file)");
    }
    void ExpectCounters(int attributes, int in_entry, int entries) {
        EXPECT_EQ(ldif_.nAttr, attributes);
        EXPECT_EQ(ldif_.nAttrInEntry, in_entry);
        EXPECT_EQ(ldif_.nEntry, entries);
    }
    ZAFOLDAP_LDIF ldif_{};
};
ZAFO_FOREIGN_SUITE(LdifWriters);

TEST_P(LdifWriters, MakeTheTypicalModifyRecord) {
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "uid=alice,ou=people,dc=example"), 0);
    EXPECT_EQ(ZAFOLDAPLdifChangeType(&ldif_, "modify"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrReplace(&ldif_, "loginShell", "%s", "/bin/sh"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrDelete(&ldif_, "description", nullptr), 0);
    ExpectCounters(3, 3, 1);
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(Text(),
              "dn: uid=alice,ou=people,dc=example\n"
              "changetype: modify\n"
              "replace: loginShell\n"
              "loginShell: /bin/sh\n"
              "-\n"
              "delete: description\n");
}

TEST_P(LdifWriters, PutAnEmptyLineBetweenRecordsAndNoneBeforeTheFirst) {
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=a"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "dc", "a"), 0);
    ExpectCounters(1, 1, 1);
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=b"), 0);
    ExpectCounters(1, 0, 2);
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=c"), 0);
    ExpectCounters(1, 0, 3);
    EXPECT_EQ(Text(), "dn: dc=a\ndc: a\n\ndn: dc=b\n\ndn: dc=c\n");
}

TEST_P(LdifWriters, CountNoEntryForADnWrittenAsAnAttribute) {
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "dn", "%s", "dc=a"), 0);
    ExpectCounters(1, 1, 0);
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=b"), 0);
    ExpectCounters(1, 0, 1);
    EXPECT_EQ(Text(), "dn: dc=a\ndn: dc=b\n");
}

TEST_P(LdifWriters, WriteChangeTypesAndLinesUncounted) {
    for (const char *type : {"add", "modify", "delete", "modrdn"})
        EXPECT_EQ(ZAFOLDAPLdifChangeType(&ldif_, type), 0);
    EXPECT_EQ(ZAFOLDAPLdifLine(&ldif_, "newrdn: %s=%d", "uid", 7), 0);
    EXPECT_EQ(ZAFOLDAPLdifLine(&ldif_, "100%%"), 0);
    ExpectCounters(0, 0, 0);
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 1);
    EXPECT_EQ(Text(),
              "changetype: add\nchangetype: modify\nchangetype: delete\nchangetype: modrdn\n"
              "newrdn: uid=7\n100%\n");
}

TEST_P(LdifWriters, TakeTextsThatLookLikeFormatsAsTheyAre) {
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "cn=100%s %n"), 0);
    EXPECT_EQ(ZAFOLDAPLdifChangeType(&ldif_, "%d"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "a%s", "%s", "%n%s"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrReplace(&ldif_, "b%s", "%s", "%n"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrDelete(&ldif_, "c%s", nullptr), 0);
    EXPECT_EQ(Text(),
              "dn: cn=100%s %n\nchangetype: %d\na%s: %n%s\n-\nreplace: b%s\nb%s: %n\n-\ndelete: "
              "c%s\n");
}

TEST_P(LdifWriters, SeparateOnlyAfterAnAttributeOfTheRecord) {
    EXPECT_EQ(ZAFOLDAPLdifSepAttr(&ldif_), 0);
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=a"), 0);
    EXPECT_EQ(ZAFOLDAPLdifSepAttr(&ldif_), 0);
    EXPECT_EQ(ZAFOLDAPLdifChangeType(&ldif_, "modify"), 0);
    EXPECT_EQ(ZAFOLDAPLdifSepAttr(&ldif_), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "add", "cn"), 0);
    EXPECT_EQ(ZAFOLDAPLdifSepAttr(&ldif_), 0);
    EXPECT_EQ(ZAFOLDAPLdifSepAttr(&ldif_), 0);
    ExpectCounters(1, 1, 1);
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=b"), 0);
    EXPECT_EQ(ZAFOLDAPLdifSepAttr(&ldif_), 0);
    EXPECT_EQ(Text(), "dn: dc=a\nchangetype: modify\nadd: cn\n-\n-\n\ndn: dc=b\n");
}

TEST_P(LdifWriters, WriteValuesOfAnyLengthWhole) {
    for (const size_t length : {0U, 1023U, 1024U, 2000U, 100000U}) {
        const std::string value(length, 'v');
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
        EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "description", "%s", value.c_str()), 0);
        EXPECT_EQ(ZAFOLDAPLdifLine(&ldif_, "%s", value.c_str()), 0);
        ExpectCounters(1, 1, 0);
        EXPECT_EQ(Text(), "description: " + value + "\n" + value + "\n");
    }
}

TEST_P(LdifWriters, WriteValuesAsGiven) {
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "cn", ":b<\xc3\xa9 "), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "sn", "%d-%s-%lu", -3, "x", 4294967295UL), 0);
    EXPECT_EQ(platform().CallsOf("SzBase64EncodeOneLine").size(), 0U);
    EXPECT_EQ(Text(), "cn: :b<\xc3\xa9 \nsn: -3-x-4294967295\n");
}

TEST_P(LdifWriters, EncodeTheValueWithItsFinalZero) {
    EXPECT_EQ(ZAFOLDAPLdifAttr64(&ldif_, "cn", "%s-%d", " J\xc3\xb6rg", 5), 0);
    ExpectCounters(1, 1, 0);
    const auto calls = platform().CallsOf("SzBase64EncodeOneLine");
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].arguments.back(), "9");
    EXPECT_EQ(Text(), "cn:: " + Base64(std::string(" J\xc3\xb6rg-5") + '\0') + "\n");
}

TEST_P(LdifWriters, EncodeAnEmptyValueAsOneZero) {
    EXPECT_EQ(ZAFOLDAPLdifAttr64(&ldif_, "cn", "%s", ""), 0);
    EXPECT_EQ(Text(), "cn:: AA==\n");
}

TEST_P(LdifWriters, CutAValueTo1023CharactersBeforeEncoding) {
    for (const size_t length : {1022U, 1023U, 1024U, 2000U}) {
        const std::string value(length, 'v');
        ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, kPath), 0);
        platform().Forget();
        EXPECT_EQ(ZAFOLDAPLdifAttr64(&ldif_, "cn", "%s", value.c_str()), 0);
        const std::string kept = value.substr(0, 1023);
        EXPECT_EQ(platform().CallsOf("SzBase64EncodeOneLine").at(0).arguments.back(),
                  std::to_string(kept.size() + 1));
        EXPECT_EQ(Text(), "cn:: " + Base64(kept + '\0') + "\n");
    }
}

TEST_P(LdifWriters, WriteAValueThatCannotBeEncodedAsItIs) {
    platform().Fail("SzBase64EncodeOneLine", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPLdifAttr64(&ldif_, "cn", "%s", "a%sb"), 0);
    ExpectCounters(1, 1, 0);
    EXPECT_EQ(Text(), "cn: a%sb\n");
}

TEST_P(LdifWriters, CutAValueThatCannotBeEncodedToo) {
    const std::string value(2000, 'v');
    platform().Fail("SzBase64EncodeOneLine", 1, -1, 0x0200);
    EXPECT_EQ(ZAFOLDAPLdifAttr64(&ldif_, "cn", "%s", value.c_str()), 0);
    EXPECT_EQ(Text(), "cn: " + value.substr(0, 1023) + "\n");
}

int WriteV(ZAFOLDAP_LDIF *ldif, const char *name, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = ZAFOLDAPLdifVAttr(ldif, name, format, arguments);
    va_end(arguments);
    return result;
}

int WriteV64(ZAFOLDAP_LDIF *ldif, const char *name, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int result = ZAFOLDAPLdifVAttr64(ldif, name, format, arguments);
    va_end(arguments);
    return result;
}

TEST_P(LdifWriters, TakeArgumentListsToo) {
    EXPECT_EQ(WriteV(&ldif_, "uidNumber", "%u", 4294967295U), 0);
    EXPECT_EQ(WriteV64(&ldif_, "cn", "%s %d", "n", 2), 0);
    ExpectCounters(2, 2, 0);
    EXPECT_EQ(Text(), "uidNumber: 4294967295\ncn:: " + Base64(std::string("n 2") + '\0') + "\n");
}

TEST_P(LdifWriters, CountReplaceTwiceAndDeleteOnceOrTwice) {
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=a"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrReplace(&ldif_, "cn", "%s%d", "a", 1), 0);
    ExpectCounters(2, 2, 1);
    EXPECT_EQ(ZAFOLDAPLdifAttrDelete(&ldif_, "sn", nullptr), 0);
    ExpectCounters(3, 3, 1);
    EXPECT_EQ(ZAFOLDAPLdifAttrDelete(&ldif_, "mail", "%s@%s", "a", "x"), 0);
    ExpectCounters(5, 5, 1);
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=b"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrDelete(&ldif_, "mail", "b"), 0);
    ExpectCounters(7, 2, 2);
    EXPECT_EQ(Text(),
              "dn: dc=a\nreplace: cn\ncn: a1\n-\ndelete: sn\n-\ndelete: mail\nmail: a@x\n\n"
              "dn: dc=b\ndelete: mail\nmail: b\n");
}

TEST_P(LdifWriters, ReportNoErrorOfTheStream) {
    ZAFOLDAPLdifClose(&ldif_);
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full here";
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif_, "/dev/full"), 0);
    const std::string value(100000, 'v');
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=a"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", value.c_str()), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttr64(&ldif_, "cn", "%s", value.c_str()), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrReplace(&ldif_, "cn", "%s", value.c_str()), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttrDelete(&ldif_, "cn", "%s", value.c_str()), 0);
    EXPECT_EQ(ZAFOLDAPLdifLine(&ldif_, "%s", value.c_str()), 0);
    EXPECT_EQ(ZAFOLDAPLdifSepAttr(&ldif_), 0);
    ExpectCounters(6, 6, 1);
    EXPECT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
}

// Every writer, with arguments that are valid except for the record.
struct Writer {
    const char *name;
    int (*write)(ZAFOLDAP_LDIF *);
};
constexpr Writer kWriters[] = {
    {"TargetDN", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifTargetDN(ldif, "dc=a"); }},
    {"ChangeType", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifChangeType(ldif, "add"); }},
    {"Line", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifLine(ldif, "x"); }},
    {"SepAttr", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifSepAttr(ldif); }},
    {"Attr", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttr(ldif, "cn", "x"); }},
    {"VAttr", [](ZAFOLDAP_LDIF *ldif) { return WriteV(ldif, "cn", "x"); }},
    {"Attr64", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttr64(ldif, "cn", "x"); }},
    {"VAttr64", [](ZAFOLDAP_LDIF *ldif) { return WriteV64(ldif, "cn", "x"); }},
    {"AttrReplace", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttrReplace(ldif, "cn", "x"); }},
    {"AttrDelete", [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttrDelete(ldif, "cn", "x"); }},
    {"AttrDelete whole",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttrDelete(ldif, "cn", nullptr); }},
};

TEST_P(LdifWriters, RefuseNoRecord) {
    for (const Writer &writer : kWriters) {
        SCOPED_TRACE(writer.name);
        ExpectArgumentFailureOf({"((void *)0) != pLDIF"}, [&] { return writer.write(nullptr); });
    }
}

TEST_P(LdifWriters, RefuseAFileThatIsClosed) {
    EXPECT_EQ(Text(), "");
    for (const Writer &writer : kWriters) {
        SCOPED_TRACE(writer.name);
        ExpectArgumentFailureOf({"((void *)0) != pLDIF->pFile", "NULL != pLDIF->pFile"},
                                [&] { return writer.write(&ldif_); });
    }
    ExpectCounters(0, 0, 0);
}

// A call that lacks one of its texts, and the text reported by the check.
struct Missing {
    const char *condition;
    const char *other;
    int (*write)(ZAFOLDAP_LDIF *);
};
constexpr Missing kMissing[] = {
    {"NULL != szDN", "((void *)0) != szDN",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifTargetDN(ldif, nullptr); }},
    {"NULL != szType", "((void *)0) != szType",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifChangeType(ldif, nullptr); }},
    {"((void *)0) != szAttr", "NULL != szAttr",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttr(ldif, nullptr, "x"); }},
    {"((void *)0) != szAttr", "NULL != szAttr",
     [](ZAFOLDAP_LDIF *ldif) { return WriteV(ldif, nullptr, "x"); }},
    {"((void *)0) != szAttr", "NULL != szAttr",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttr64(ldif, nullptr, "x"); }},
    {"((void *)0) != szAttr", "NULL != szAttr",
     [](ZAFOLDAP_LDIF *ldif) { return WriteV64(ldif, nullptr, "x"); }},
    {"((void *)0) != szAttr", "NULL != szAttr",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttrReplace(ldif, nullptr, "x"); }},
    {"((void *)0) != szAttr", "NULL != szAttr",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttrDelete(ldif, nullptr, "x"); }},
    {"NULL != szValueFmt", "((void *)0) != szValueFmt",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttr(ldif, "cn", nullptr); }},
    {"NULL != szValueFmt", "((void *)0) != szValueFmt",
     [](ZAFOLDAP_LDIF *ldif) { return WriteV(ldif, "cn", nullptr); }},
    {"NULL != szValueFmt", "((void *)0) != szValueFmt",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttr64(ldif, "cn", nullptr); }},
    {"NULL != szValueFmt", "((void *)0) != szValueFmt",
     [](ZAFOLDAP_LDIF *ldif) { return WriteV64(ldif, "cn", nullptr); }},
    {"NULL != szValueFmt", "((void *)0) != szValueFmt",
     [](ZAFOLDAP_LDIF *ldif) { return ZAFOLDAPLdifAttrReplace(ldif, "cn", nullptr); }},
};

TEST_P(LdifWriters, RefuseMissingTextsAndWriteNothing) {
    EXPECT_EQ(ZAFOLDAPLdifTargetDN(&ldif_, "dc=a"), 0);
    EXPECT_EQ(ZAFOLDAPLdifAttr(&ldif_, "dc", "a"), 0);
    for (const Missing &missing : kMissing)
        ExpectArgumentFailureOf({missing.condition, missing.other},
                                [&] { return missing.write(&ldif_); });
    ExpectCounters(1, 1, 1);
    EXPECT_EQ(Text(), "dn: dc=a\ndc: a\n");
}

TEST_P(LdifWriters, SurviveALineWithoutAText) {
    EXPECT_NE(ZAFOLDAPLdifTargetDN(&ldif_, "dc=a"), -1);
    const char *volatile nothing = nullptr;
    EXPECT_EQ(ZAFOLDAPLdifLine(&ldif_, nothing, 0), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
    EXPECT_EQ(Text(), "dn: dc=a\n");
}

class LdifEnd : public LdifWriters {};
ZAFO_FOREIGN_SUITE(LdifEnd);

TEST_P(LdifEnd, CallsAFileWithoutAttributeLinesEmpty) {
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 1);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    ZAFOLDAPLdifChangeType(&ldif_, "delete");
    ZAFOLDAPLdifLine(&ldif_, "deleteoldrdn: 1");
    ZAFOLDAPLdifSepAttr(&ldif_);
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 1);
    ZAFOLDAPLdifAttrDelete(&ldif_, "cn", nullptr);
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 0);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=b");
    EXPECT_EQ(ldif_.nAttrInEntry, 0);
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 0);
    ZAFOLDAPLdifClose(&ldif_);
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 0);
}

TEST_P(LdifEnd, CountsOnlyTheAttributesOfTheWholeFileForEmpty) {
    ldif_.nAttr = 0;
    ldif_.nAttrInEntry = 3;
    ldif_.nEntry = 2;
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 1);
    ldif_.nAttr = -1;
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 1);
    ldif_.nAttr = 1;
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 0);
}

TEST_P(LdifEnd, CallsNoRecordEmptyAfterTheFailure) {
    ExpectArgumentFailureOf(
        {"((void *)0) != pLDIF"}, [] { return ZAFOLDAPLdifIsEmpty(nullptr); }, 1);
}

TEST_P(LdifEnd, ClosesOnceAndKeepsTheRest) {
    ZAFOLDAPLdifAttr(&ldif_, "cn", "a");
    EXPECT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
    EXPECT_EQ(ldif_.pFile, nullptr);
    EXPECT_EQ(FileText(kPath), "cn: a\n");
    EXPECT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
    EXPECT_STREQ(ldif_.szPath, kPath);
    ExpectCounters(1, 1, 0);
    ExpectSlotsUntouched();
}

TEST_P(LdifEnd, RefusesToCloseNothing) {
    ExpectArgumentFailureOf({"((void *)0) != pLDIF"}, [] { return ZAFOLDAPLdifClose(nullptr); });
}

TEST_P(LdifEnd, RemovesTheFileAndForgetsItsName) {
    ZAFOLDAPLdifClose(&ldif_);
    EXPECT_EQ(ZAFOLDAPLdifUnlink(&ldif_), 0);
    EXPECT_FALSE(Exists(kPath));
    EXPECT_STREQ(ldif_.szPath, "");
    EXPECT_EQ(ZAFOLDAPLdifUnlink(&ldif_), 0);
    ExpectSlotsUntouched();
}

TEST_P(LdifEnd, ForgetsTheNameOfAFileThatIsGone) {
    ZAFOLDAPLdifClose(&ldif_);
    unlink(kPath);
    EXPECT_EQ(ZAFOLDAPLdifUnlink(&ldif_), 0);
    EXPECT_STREQ(ldif_.szPath, "");
}

TEST_P(LdifEnd, RefusesToRemoveNothing) {
    ExpectArgumentFailureOf({"((void *)0) != pLDIF"}, [] { return ZAFOLDAPLdifUnlink(nullptr); });
}

}  // namespace zafo::foreign::ldif_test
