// SPDX-License-Identifier: Apache-2.0
//
// Change files, byte for byte.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "platform/crypt.h"
#include "platform/error.h"
#include "tests/core/core_fixture.h"
#include "tests/core/variadic_writers.h"
#include "zafoldap/ldif.h"

namespace zafo::core_test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

void WriteFile(const std::string &path, const std::string &content) {
    std::ofstream(path) << content;
}

// The base64 text of a value with its final zero byte, as the writers encode it.
std::string Base64WithZero(const std::string &value) {
    char *text = SzBase64EncodeOneLine(value.c_str(), value.size() + 1);
    const std::string encoded = text;
    free(text);
    return encoded;
}

class Ldif : public CoreTest {
  protected:
    Ldif() { EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0); }
    ~Ldif() override {
        ZAFOLDAPLdifClose(&ldif_);
        ZAFOLDAPLdifUnlink(&ldif_);
    }

    // The file's content so far.
    std::string Written() {
        fflush(ldif_.pFile);
        return ContentOf(ldif_.szPath);
    }
    void ExpectCounts(int attributes, int in_entry, int entries) {
        EXPECT_EQ(ldif_.nAttr, attributes);
        EXPECT_EQ(ldif_.nAttrInEntry, in_entry);
        EXPECT_EQ(ldif_.nEntry, entries);
    }

    ZAFOLDAP_LDIF ldif_;
};

TEST_F(Ldif, TypicalModifyRecord) {
    ZAFOLDAPLdifTargetDN(&ldif_, "uid=alice,ou=people,dc=example");
    ZAFOLDAPLdifChangeType(&ldif_, "modify");
    ZAFOLDAPLdifAttrReplace(&ldif_, "loginShell", "%s", "/bin/sh");
    ZAFOLDAPLdifAttrDelete(&ldif_, "description", nullptr);
    EXPECT_EQ(Written(),
              "dn: uid=alice,ou=people,dc=example\n"
              "changetype: modify\n"
              "replace: loginShell\n"
              "loginShell: /bin/sh\n"
              "-\n"
              "delete: description\n");
    ExpectCounts(3, 3, 1);
}

struct Writer {
    const char *name;
    std::function<int(ZAFOLDAP_LDIF *)> write;
    std::string text;
    int attributes;
};

const std::vector<Writer> &Writers() {
    static const std::vector<Writer> kWriters = {
        {"ChangeType", [](auto *l) { return ZAFOLDAPLdifChangeType(l, "modrdn"); },
         "changetype: modrdn\n", 0},
        {"Line", [](auto *l) { return ZAFOLDAPLdifLine(l, "newrdn: %s=%d", "uid", 7); },
         "newrdn: uid=7\n", 0},
        {"EmptyLine", [](auto *l) { return ZAFOLDAPLdifLine(l, "%s", ""); }, "\n", 0},
        {"SepAttr", [](auto *l) { return ZAFOLDAPLdifSepAttr(l); }, "", 0},
        {"Attr", [](auto *l) { return ZAFOLDAPLdifAttr(l, "uidNumber", "%u", 4294967295U); },
         "uidNumber: 4294967295\n", 1},
        {"AttrEmpty", [](auto *l) { return ZAFOLDAPLdifAttr(l, "cn", "%s", ""); }, "cn: \n", 1},
        {"VAttr", [](auto *l) { return VAttr(l, "member", "uid=%s,%s", "a", "dc=x"); },
         "member: uid=a,dc=x\n", 1},
        {"Attr64", [](auto *l) { return ZAFOLDAPLdifAttr64(l, "cn", "%s", "hello"); },
         "cn:: aGVsbG8A\n", 1},
        {"Attr64Empty", [](auto *l) { return ZAFOLDAPLdifAttr64(l, "cn", "%s", ""); },
         "cn:: AA==\n", 1},
        {"Attr64Utf8", [](auto *l) { return ZAFOLDAPLdifAttr64(l, "cn", "Zo%s", "\xc3\xab"); },
         "cn:: Wm/DqwA=\n", 1},
        {"VAttr64", [](auto *l) { return VAttr64(l, "cn", "%s", " :<"); }, "cn:: IDo8AA==\n", 1},
        {"Replace", [](auto *l) { return ZAFOLDAPLdifAttrReplace(l, "sn", "%s", "x"); },
         "replace: sn\nsn: x\n", 2},
        {"DeleteValue", [](auto *l) { return ZAFOLDAPLdifAttrDelete(l, "sn", "%s", "x"); },
         "delete: sn\nsn: x\n", 2},
        {"DeleteAttribute", [](auto *l) { return ZAFOLDAPLdifAttrDelete(l, "sn", nullptr); },
         "delete: sn\n", 1},
        {"PercentSignsInArguments",
         [](auto *l) { return ZAFOLDAPLdifAttr(l, "cn%s", "%s", "100%n%d%s"); },
         "cn%s: 100%n%d%s\n", 1},
        {"PercentSignsInNamesOfModifications",
         [](auto *l) { return ZAFOLDAPLdifAttrReplace(l, "%n%s", "%s", "%n"); },
         "replace: %n%s\n%n%s: %n\n", 2},
        {"PercentSignsInTypes", [](auto *l) { return ZAFOLDAPLdifChangeType(l, "%n%s"); },
         "changetype: %n%s\n", 0},
        {"DoubledPercentSignInTheFormat",
         [](auto *l) { return ZAFOLDAPLdifAttr(l, "cn", "100%%"); }, "cn: 100%\n", 1},
    };
    return kWriters;
}

TEST_F(Ldif, EachWriterWritesItsLinesAndCountsThem) {
    for (const Writer &writer : Writers()) {
        SCOPED_TRACE(writer.name);
        ZAFOLDAP_LDIF fresh;
        ASSERT_EQ(ZAFOLDAPLdifInit(&fresh, nullptr), 0);
        EXPECT_EQ(writer.write(&fresh), 0);
        fflush(fresh.pFile);
        EXPECT_EQ(ContentOf(fresh.szPath), writer.text);
        EXPECT_EQ(fresh.nAttr, writer.attributes);
        EXPECT_EQ(fresh.nAttrInEntry, writer.attributes);
        EXPECT_EQ(fresh.nEntry, 0);
        EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&fresh), writer.attributes == 0 ? 1 : 0);
        ZAFOLDAPLdifClose(&fresh);
        ZAFOLDAPLdifUnlink(&fresh);
    }
    EXPECT_EQ(QLIBCErrGet(), kStalePlatformCode);
}

TEST_F(Ldif, RecordsAreSeparatedByAnEmptyLineButNoneIsBeforeTheFirst) {
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "x");
    ExpectCounts(1, 1, 1);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=%n%s");
    ExpectCounts(1, 0, 2);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=c");
    EXPECT_EQ(Written(), "dn: dc=a\ncn: x\n\ndn: dc=%n%s\n\ndn: dc=c\n");
    ExpectCounts(1, 0, 3);
}

TEST_F(Ldif, SeparatorRightAfterTheDNWritesNothing) {
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "x");
    ZAFOLDAPLdifSepAttr(&ldif_);
    ZAFOLDAPLdifSepAttr(&ldif_);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=b");
    ZAFOLDAPLdifSepAttr(&ldif_);
    EXPECT_EQ(Written(), "dn: dc=a\ncn: x\n-\n-\n\ndn: dc=b\n");
}

TEST_F(Ldif, ModificationsOfOneRecordAreSeparated) {
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    ZAFOLDAPLdifAttrDelete(&ldif_, "a", nullptr);
    ZAFOLDAPLdifAttrDelete(&ldif_, "b", "%d", 1);
    ZAFOLDAPLdifAttrReplace(&ldif_, "c", "%d", 2);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=b");
    ZAFOLDAPLdifAttrReplace(&ldif_, "d", "%d", 3);
    EXPECT_EQ(Written(),
              "dn: dc=a\ndelete: a\n-\ndelete: b\nb: 1\n-\nreplace: c\nc: 2\n"
              "\ndn: dc=b\nreplace: d\nd: 3\n");
    ExpectCounts(7, 2, 2);
}

TEST_F(Ldif, RecordWithoutAttributeLinesIsEmpty) {
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 1);
    ZAFOLDAPLdifTargetDN(&ldif_, "dc=a");
    ZAFOLDAPLdifChangeType(&ldif_, "delete");
    ZAFOLDAPLdifLine(&ldif_, "newrdn: x");
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 1);
    ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", "x");
    EXPECT_EQ(ZAFOLDAPLdifIsEmpty(&ldif_), 0);
}

TEST_F(Ldif, PlainValueOf2000CharactersIsWholeAndEncodedOneIsCutAt1023) {
    const std::string value(2000, 'v');
    ZAFOLDAPLdifAttr(&ldif_, "plain", "%s", value.c_str());
    ZAFOLDAPLdifAttr64(&ldif_, "encoded", "%s", value.c_str());
    EXPECT_EQ(Written(),
              "plain: " + value + "\nencoded:: " + Base64WithZero(value.substr(0, 1023)) + "\n");
}

TEST_F(Ldif, EncodedValueOfEveryLengthAroundTheLimit) {
    std::string expected;
    for (size_t size : {1u, 2u, 3u, 1021u, 1022u, 1023u, 1024u, 1025u}) {
        const std::string value(size, 'v');
        ZAFOLDAPLdifAttr64(&ldif_, "e", "%s", value.c_str());
        expected += "e:: " + Base64WithZero(value.substr(0, 1023)) + "\n";
    }
    EXPECT_EQ(Written(), expected);
}

TEST_F(Ldif, LongPlainTextsAreWhole) {
    const std::string large(5 << 20, 'x');
    ZAFOLDAPLdifTargetDN(&ldif_, large.c_str());
    ZAFOLDAPLdifAttr(&ldif_, "cn", "%s", large.c_str());
    ZAFOLDAPLdifLine(&ldif_, "%s", large.c_str());
    EXPECT_TRUE(Written() == "dn: " + large + "\ncn: " + large + "\n" + large + "\n");
}

TEST_F(Ldif, TemporaryNamesCountUp) {
    const std::string prefix = "/tmp/" + std::to_string(getpid()) + "_";
    const std::string name = ldif_.szPath;
    ASSERT_EQ(name.substr(0, prefix.size()), prefix);
    const int number = std::stoi(name.substr(prefix.size()));
    ZAFOLDAP_LDIF next;
    ZAFOLDAPLdifInit(&next, nullptr);
    EXPECT_EQ(next.szPath, prefix + std::to_string(number + 1) + ".ldif");
    ZAFOLDAPLdifClose(&next);
    ZAFOLDAPLdifUnlink(&next);
}

TEST_F(Ldif, GivenNamesDoNotUseUpNumbers) {
    const std::string prefix = "/tmp/" + std::to_string(getpid()) + "_";
    const int number = std::stoi(std::string(ldif_.szPath).substr(prefix.size()));
    for (const char *path : {"/tmp/given.ldif", static_cast<const char *>(nullptr)}) {
        ZAFOLDAP_LDIF next;
        ZAFOLDAPLdifInit(&next, path);
        EXPECT_EQ(next.szPath, path ? path : prefix + std::to_string(number + 1) + ".ldif");
        ZAFOLDAPLdifClose(&next);
        ZAFOLDAPLdifUnlink(&next);
    }
}

TEST_F(Ldif, FileIsPrivateAndClosedOnExecWhateverTheUmask) {
    const mode_t mask = umask(0);
    ZAFOLDAP_LDIF open_umask, given;
    ZAFOLDAPLdifInit(&open_umask, nullptr);
    ZAFOLDAPLdifInit(&given, "/tmp/given.ldif");
    umask(mask);
    for (ZAFOLDAP_LDIF *ldif : {&open_umask, &given}) {
        struct stat status {};
        ASSERT_EQ(fstat(fileno(ldif->pFile), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600u);
        EXPECT_NE(fcntl(fileno(ldif->pFile), F_GETFD) & FD_CLOEXEC, 0);
        ZAFOLDAPLdifClose(ldif);
        ZAFOLDAPLdifUnlink(ldif);
    }
}

// The next file name is already taken by someone else's file.
class LdifName : public Ldif {
  protected:
    LdifName() {
        const std::string path = ldif_.szPath;
        const size_t at = path.rfind('_') + 1;
        next_ = path.substr(0, at) + std::to_string(std::stoi(path.substr(at)) + 1) + ".ldif";
    }
    ~LdifName() override { std::filesystem::remove("/tmp/victim"); }

    static int NumberOf(const std::string &path) {
        return std::stoi(path.substr(path.rfind('_') + 1));
    }

    std::string next_;
};

TEST_F(LdifName, PlantedLinkIsNotFollowed) {
    WriteFile("/tmp/victim", "precious\n");
    ASSERT_EQ(symlink("/tmp/victim", next_.c_str()), 0);
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifAttr(&ldif, "userPassword", "%s", "secret");
    ZAFOLDAPLdifClose(&ldif);
    EXPECT_EQ(ContentOf("/tmp/victim"), "precious\n");
    EXPECT_EQ(ldif.szPath, next_);
    EXPECT_FALSE(std::filesystem::is_symlink(next_));
    EXPECT_EQ(ContentOf(next_), "userPassword: secret\n");
    ZAFOLDAPLdifUnlink(&ldif);
}

TEST_F(LdifName, DanglingLinkMakesNoFileWhereItPoints) {
    ASSERT_EQ(symlink("/tmp/victim", next_.c_str()), 0);
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifClose(&ldif);
    ZAFOLDAPLdifUnlink(&ldif);
    EXPECT_FALSE(std::filesystem::exists("/tmp/victim"));
}

TEST_F(LdifName, StaleFileIsReplacedByAPrivateOne) {
    WriteFile(next_, "stale\n");
    chmod(next_.c_str(), 0666);
    const int stale = open(next_.c_str(), O_RDONLY | O_CLOEXEC);
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    struct stat before {
    }, after{};
    fstat(stale, &before);
    fstat(fileno(ldif.pFile), &after);
    EXPECT_NE(before.st_ino, after.st_ino) << "anyone who has the old file open sees nothing";
    EXPECT_EQ(after.st_mode & 07777, 0600u);
    EXPECT_EQ(after.st_size, 0);
    close(stale);
    ZAFOLDAPLdifClose(&ldif);
    ZAFOLDAPLdifUnlink(&ldif);
}

TEST_F(LdifName, HardLinkedFileKeepsItsContent) {
    WriteFile("/tmp/victim", "precious\n");
    ASSERT_EQ(link("/tmp/victim", next_.c_str()), 0);
    ZAFOLDAP_LDIF ldif;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    ZAFOLDAPLdifClose(&ldif);
    ZAFOLDAPLdifUnlink(&ldif);
    EXPECT_EQ(ContentOf("/tmp/victim"), "precious\n");
}

TEST_F(LdifName, FolderOfThatNameIsSkipped) {
    ASSERT_EQ(mkdir(next_.c_str(), 0700), 0);
    ZAFOLDAP_LDIF ldif, after;
    ASSERT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    EXPECT_EQ(NumberOf(ldif.szPath), NumberOf(next_) + 1);
    ASSERT_EQ(ZAFOLDAPLdifInit(&after, nullptr), 0);
    EXPECT_EQ(NumberOf(after.szPath), NumberOf(next_) + 2) << "the numbers go on from there";
    for (ZAFOLDAP_LDIF *file : {&ldif, &after}) {
        ZAFOLDAPLdifClose(file);
        ZAFOLDAPLdifUnlink(file);
    }
    EXPECT_TRUE(std::filesystem::is_directory(next_));
    rmdir(next_.c_str());
}

TEST_F(LdifName, MoreFoldersThanNamesThatAreTriedAreSkipped) {
    const std::string prefix = next_.substr(0, next_.rfind('_') + 1);
    const int first = NumberOf(next_);
    for (int i = 0; i < 3000; ++i)
        mkdir((prefix + std::to_string(first + i) + ".ldif").c_str(), 0700);
    ZAFOLDAP_LDIF ldif;
    EXPECT_EQ(ZAFOLDAPLdifInit(&ldif, nullptr), 0);
    EXPECT_GE(NumberOf(ldif.szPath), first + 3000);
    ZAFOLDAPLdifClose(&ldif);
    ZAFOLDAPLdifUnlink(&ldif);
    for (int i = 0; i < 3000; ++i)
        rmdir((prefix + std::to_string(first + i) + ".ldif").c_str());
}

TEST_F(Ldif, GivenFileIsTruncated) {
    WriteFile("/tmp/given.ldif", "old content\n");
    ZAFOLDAP_LDIF given;
    ASSERT_EQ(ZAFOLDAPLdifInit(&given, "/tmp/given.ldif"), 0);
    EXPECT_STREQ(given.szPath, "/tmp/given.ldif");
    ZAFOLDAPLdifLine(&given, "new");
    ZAFOLDAPLdifClose(&given);
    EXPECT_EQ(ContentOf("/tmp/given.ldif"), "new\n");
    ZAFOLDAPLdifUnlink(&given);
    EXPECT_FALSE(std::filesystem::exists("/tmp/given.ldif"));
}

TEST_F(Ldif, FileThatCannotBeOpenedIsAPlatformFailure) {
    for (const char *path : {"/nowhere/x.ldif", "/tmp", ""}) {
        SCOPED_TRACE(path);
        QLIBCErrSet(0);
        ZAFOLDAP_LDIF ldif;
        EXPECT_EQ(ZAFOLDAPLdifInit(&ldif, path), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0900);
        EXPECT_EQ(ldif.pFile, nullptr);
        EXPECT_EQ(ZAFOLDAPErrGet(), kStaleLdapCode);
    }
}

TEST_F(Ldif, FolderForNewFilesThatDoesNotExistIsNamedInTheLog) {
    std::filesystem::rename("/tmp", "/tmp.away");
    ZAFOLDAP_LDIF ldif;
    const int result = ZAFOLDAPLdifInit(&ldif, nullptr);
    std::filesystem::rename("/tmp.away", "/tmp");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_THAT(LoggedTexts(), ElementsAre(AllOf(HasSubstr("no change file can be made: /tmp/"),
                                                 HasSubstr(": No such file or directory"))));
}

TEST_F(Ldif, NameIsCutAt255Characters) {
    const std::string folder = "/tmp/" + std::string(120, 'a') + "/" + std::string(100, 'b') + "/";
    std::filesystem::create_directories(folder);
    const std::string path = folder + std::string(100, 'c');
    ZAFOLDAP_LDIF ldif;
    EXPECT_EQ(ZAFOLDAPLdifInit(&ldif, path.c_str()), 0);
    EXPECT_EQ(ldif.szPath, path.substr(0, 255));
    ZAFOLDAPLdifClose(&ldif);
    ZAFOLDAPLdifUnlink(&ldif);
    std::filesystem::remove_all("/tmp/" + std::string(120, 'a'));
}

TEST_F(Ldif, CloseTwiceDoesNothingMore) {
    EXPECT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
    EXPECT_EQ(ldif_.pFile, nullptr);
    EXPECT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
}

TEST_F(Ldif, UnlinkRemovesTheFileAndItsName) {
    const std::string path = ldif_.szPath;
    EXPECT_EQ(ZAFOLDAPLdifClose(&ldif_), 0);
    EXPECT_TRUE(std::filesystem::exists(path));
    EXPECT_EQ(ZAFOLDAPLdifUnlink(&ldif_), 0);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_STREQ(ldif_.szPath, "");
    EXPECT_EQ(ZAFOLDAPLdifUnlink(&ldif_), 0);
}

TEST_F(Ldif, FullDiskIsNotReportedByTheWriters) {
    ZAFOLDAP_LDIF full;
    ASSERT_EQ(ZAFOLDAPLdifInit(&full, "/dev/full"), 0);
    full.szPath[0] = '\0';  // not ours to remove
    EXPECT_EQ(ZAFOLDAPLdifAttr(&full, "cn", "%s", std::string(1 << 20, 'x').c_str()), 0);
    EXPECT_EQ(ZAFOLDAPLdifClose(&full), 0);
}

}  // namespace
}  // namespace zafo::core_test
