// SPDX-License-Identifier: Apache-2.0
//
// The error slot and its messages, the debug switch, locks, parent DNs.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

class ErrorSlot : public ForeignTest {};
class FrameLock : public ForeignTest {
  protected:
    void SetUp() override {
        ForeignTest::SetUp();
        unlink(kPath);
    }
    void TearDown() override {
        unlink(kPath);
        ForeignTest::TearDown();
    }
    static constexpr const char *kPath = "/tmp/foreign.lock";
};
class ParentDn : public ForeignTest {};
class DebugSwitchOff : public ForeignTest {};
ZAFO_FOREIGN_SUITE(ErrorSlot);
ZAFO_FOREIGN_SUITE(FrameLock);
ZAFO_FOREIGN_SUITE(ParentDn);
ZAFO_FOREIGN_SUITE(DebugSwitchOff);

namespace frame_test {

const int kBeforeAnyCall = ZAFOLDAPErrGet();

struct Message {
    int code;
    const char *section;
    const char *key;
};

constexpr Message kMessages[] = {
    {-65536, "common", "error_system"},
    {-65537, "ldap_error", "ldap_server_not_support"},
    {-65538, "ldap_error", "ldap_username_already_exists"},
    {-65539, "ldap_error", "ldap_groupname_already_exists"},
    {-65540, "ldap_error", "ldap_uid_already_exists"},
    {-65541, "ldap_error", "ldap_gid_already_exists"},
    {-65542, "common", "error_occupied"},
    {-65543, "backup", "err_backup_locked"},
    {-65544, "backup", "err_restore_locked"},
    {-65545, "backup", "err_invalid_share"},
    {-65546, "backup", "err_invalid_bkp_file"},
    {-65547, "backup", "err_pyx_version"},
    {-65548, "backup", "err_pkg_version"},
    {-65549, "backup", "err_disk_full"},
    {-65550, "backup", "err_root_partition_full"},
    {1, "ldap_error", "ldap_operations_error"},
    {2, "ldap_error", "ldap_protocol_error"},
    {3, "ldap_error", "ldap_timelimit_exceeded"},
    {8, "ldap_error", "ldap_insufficient_modify"},
    {16, "ldap_error", "ldap_server_not_support"},
    {17, "ldap_error", "ldap_server_not_support"},
    {32, "ldap_error", "ldap_no_such_object"},
    {34, "ldap_error", "ldap_invalid_dn_syntax"},
    {49, "ldap_error", "ldap_invalid_credentials"},
    {50, "ldap_error", "ldap_insufficient_access"},
    {53, "ldap_error", "ldap_insufficient_access"},
    {68, "ldap_error", "ldap_already_exists"},
    {255, "ldap_error", "ldap_operations_error"},
};

bool Exists(const char *path) {
    struct stat status {};
    return lstat(path, &status) == 0;
}

}  // namespace frame_test

using namespace frame_test;

TEST_P(ErrorSlot, StandsAtZeroBeforeAnythingHappened) {
    EXPECT_EQ(kBeforeAnyCall, 0);
}

TEST_P(ErrorSlot, KeepsWhatIsStoredAndGivesItBack) {
    for (const int code : {-65545, 0, 1, 12345, INT_MAX, INT_MIN}) {
        EXPECT_EQ(ZAFOLDAPErrSet(code), code);
        EXPECT_EQ(ZAFOLDAPErrGet(), code);
    }
    ZAFOLDAPErrSet(-65545);
    EXPECT_EQ(ZAFOLDAPErrReset(), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
}

TEST_P(ErrorSlot, LeavesThePlatformsSlotAlone) {
    ZAFOLDAPErrSet(49);
    ZAFOLDAPErrReset();
    ZAFOLDAPErrGetString(12345, nullptr);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_TRUE(platform().Calls().empty());
}

TEST_P(ErrorSlot, NamesTheMessageOfEveryCode) {
    for (const Message &message : kMessages) {
        const char *section = "untouched";
        EXPECT_STREQ(ZAFOLDAPErrGetString(message.code, &section), message.key) << message.code;
        EXPECT_STREQ(section, message.section) << message.code;
        EXPECT_STREQ(ZAFOLDAPErrGetString(message.code, nullptr), message.key) << message.code;
    }
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ErrorSlot, GivesTheEmptyKeyAndNoSectionForCodesWithoutMessage) {
    std::set<int> known;
    for (const Message &message : kMessages)
        known.insert(message.code);
    Strings odd;
    const auto check = [&](int code) {
        const char *section = "untouched";
        const char *key = ZAFOLDAPErrGetString(code, &section);
        const bool nothing = key != nullptr && *key == '\0' && std::string(section) == "untouched";
        if (known.count(code) == 0 && !nothing) odd.push_back(std::to_string(code));
    };
    for (int code = -65560; code <= -65530; ++code)
        check(code);
    for (int code = -300; code <= 300; ++code)
        check(code);
    for (const int code : {12345, INT_MAX, INT_MIN})
        check(code);
    EXPECT_EQ(odd, Strings{});
    EXPECT_STREQ(ZAFOLDAPErrGetString(12345, nullptr), "");
}

TEST_P(DebugSwitchOff, StaysOffWhenTheMarkerComesLater) {
    EXPECT_EQ(ZAFOLDAPDebugEnabled(), 0);
    WriteFile("/tmp/zafoldap_debug", "");
    EXPECT_EQ(ZAFOLDAPDebugEnabled(), 0);
    EXPECT_EQ(unlink("/tmp/zafoldap_debug"), 0);
    EXPECT_EQ(ZAFOLDAPDebugEnabled(), 0);
    ExpectSlotsUntouched();
}

TEST_P(FrameLock, ChecksTheNameThenTheFlags) {
    ExpectArgumentFailure("((void *)0) != szFile", [] { return ZAFOLDAPLock(nullptr, 0); });
    for (const int flag : {0, LOCK_NB, LOCK_UN, 16})
        ExpectArgumentFailure("(flag & (1 | 2))", [flag] { return ZAFOLDAPLock(kPath, flag); });
    for (const int flag : {LOCK_SH | LOCK_EX, LOCK_SH | LOCK_EX | LOCK_NB})
        ExpectArgumentFailure("(flag & (LOCK_SH | LOCK_EX)) != (LOCK_SH | LOCK_EX)",
                              [flag] { return ZAFOLDAPLock(kPath, flag); });
    EXPECT_FALSE(Exists(kPath));
}

TEST_P(FrameLock, MakesTheFileForItsOwnerAloneAndLeavesItThere) {
    const mode_t umask_before = umask(0);
    const int fd = ZAFOLDAPLock(kPath, LOCK_EX);
    umask(umask_before);
    ASSERT_GE(fd, 0);
    struct stat status {};
    ASSERT_EQ(stat(kPath, &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(ZAFOLDAPUnLock(fd), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_TRUE(Exists(kPath));
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(FrameLock, KeepsWhatTheFileHolds) {
    WriteFile(kPath, "text");
    const int fd = ZAFOLDAPLock(kPath, LOCK_EX);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(ZAFOLDAPUnLock(fd), 0);
    EXPECT_EQ(FileText(kPath), "text");
}

TEST_P(FrameLock, IsRefusedImmediatelyWhileAnotherProcessHasAConflictingOne) {
    const struct {
        int held;
        int wanted;
        bool given;
    } cases[] = {{LOCK_EX, LOCK_EX, false},
                 {LOCK_EX, LOCK_SH, false},
                 {LOCK_SH, LOCK_EX, false},
                 {LOCK_SH, LOCK_SH, true},
                 {LOCK_EX, LOCK_EX | LOCK_NB, false}};
    for (const auto &one : cases) {
        const int fd = ZAFOLDAPLock(kPath, one.held);
        ASSERT_GE(fd, 0);
        const int seen = InAnotherProcess([&] {
            Stale();
            const int other = ZAFOLDAPLock(kPath, one.wanted);
            if (other >= 0) return 1;
            const bool told = LibraryError() == -65542 && PlatformError() == kStalePlatformError;
            return other == -1 && told && Log().empty() ? 2 : 3;
        });
        EXPECT_EQ(seen, one.given ? 1 : 2) << one.held << " against " << one.wanted;
        EXPECT_EQ(ZAFOLDAPUnLock(fd), 0);
    }
}

TEST_P(FrameLock, IsAvailableToOthersOnceReleased) {
    const int fd = ZAFOLDAPLock(kPath, LOCK_EX);
    ASSERT_GE(fd, 0);
    ZAFOLDAPUnLock(fd);
    EXPECT_EQ(InAnotherProcess([] { return ZAFOLDAPLock(kPath, LOCK_EX) >= 0 ? 1 : 2; }), 1);
}

TEST_P(FrameLock, ClosesWhatItOpenedWhenItIsRefused) {
    const int held = ZAFOLDAPLock(kPath, LOCK_EX);
    ASSERT_GE(held, 0);
    const int before = dup(held);
    close(before);
    EXPECT_EQ(ZAFOLDAPLock(kPath, LOCK_EX), -1);
    EXPECT_EQ(LibraryError(), -65542);
    const int after = dup(held);
    close(after);
    EXPECT_EQ(before, after);
    ZAFOLDAPUnLock(held);
}

TEST_P(FrameLock, ReportsAFileThatCannotBeOpened) {
    EXPECT_EQ(ZAFOLDAPLock("/tmp/missing-folder/lock", LOCK_EX), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(FrameLock, IgnoresTheReleaseOfNoLock) {
    for (const int fd : {-1, -2, INT_MIN})
        EXPECT_EQ(ZAFOLDAPUnLock(fd), 0);
    EXPECT_EQ(ZAFOLDAPUnLock(1000000), 0);
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ParentDn, ChecksItsArgumentsInOrder) {
    char parent[8];
    ExpectArgumentFailure("((void *)0) != szDN",
                          [] { return ZAFOLDAPDNParserParentDN(nullptr, nullptr, 0); });
    ExpectArgumentFailure("((void *)0) != szParentDN",
                          [] { return ZAFOLDAPDNParserParentDN("dc=x", nullptr, 0); });
    ExpectArgumentFailure("0 < cbParentDN",
                          [&] { return ZAFOLDAPDNParserParentDN("dc=x", parent, 0); });
}

TEST_P(ParentDn, IsWhatFollowsTheFirstComma) {
    const struct {
        const char *dn;
        size_t size;
        const char *parent;
    } cases[] = {{"uid=a,ou=people,dc=x", 64, "ou=people,dc=x"},
                 {"dc=com", 64, ""},
                 {"", 64, ""},
                 {",", 64, ""},
                 {"dc=x,", 64, ""},
                 {"cn=a,dc=b", 3, "dc"},
                 {"cn=a,dc=b", 5, "dc=b"},
                 {"cn=a,dc=b", 4, "dc="},
                 {"cn=a,dc=b", 1, ""},
                 {"cn=a,  dc=b", 64, "  dc=b"},
                 {"cn=a\\,b,dc=c", 64, "b,dc=c"}};
    for (const auto &one : cases) {
        char parent[65];
        std::fill(std::begin(parent), std::end(parent), '#');
        EXPECT_EQ(ZAFOLDAPDNParserParentDN(one.dn, parent, one.size), 0) << one.dn;
        EXPECT_STREQ(parent, one.parent) << one.dn;
        EXPECT_EQ(parent[one.size], '#') << one.dn;
    }
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(PlatformError(), kStalePlatformError);
}

}  // namespace zafo::foreign
