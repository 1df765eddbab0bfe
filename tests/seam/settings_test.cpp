// SPDX-License-Identifier: Apache-2.0
//
// Settings on a platform that fails, or answers without setting its error slot.
#include <sys/file.h>

#include "platform/ldap.h"
#include "tests/core/connection_fixture.h"
#include "tests/seam/seam.h"
#include "tests/server/backup_fixture.h"

namespace zafo::seam_test {
namespace {

using core_test::kStaleLdapCode;
using core_test::kStalePlatformCode;
using testing::ElementsAre;
using testing::IsEmpty;

class Connections : public core_test::ConnectionTest, public SeamTest {
  protected:
    void ExpectSlots(int ldap_code, int platform_code) {
        EXPECT_EQ(ZAFOLDAPErrGet(), ldap_code);
        EXPECT_EQ(QLIBCErrGet(), platform_code);
    }
};

TEST_F(Connections, SectionThatIsMissingSetsItsOwnError) {
    for (const int pairs : {0, -1}) {
        core_test::SetStaleCodes();
        hooks_.get_section = [=](const char *, const char *, QLIBSZHASH *) { return pairs; };
        ZAFOLDAPHostFree(&record_);
        EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&record_, nullptr), -1);
        ExpectSlots(kStaleLdapCode, 0x2200);
    }
}

TEST_F(Connections, ConnectionWithoutAMapIsNotSaved) {
    hooks_.map_alloc = [](int) -> QLIBSZHASH * { return nullptr; };
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, "ann"), -1);
    ExpectSlots(kStaleLdapCode, 0x0200);
}

TEST_F(Connections, ConnectionThatCannotBeSavedIsLoggedOnBothSides) {
    hooks_.add_section = [](const char *, const char *) { return -1; };
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, "ann"), -1);
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, nullptr), -1);
    EXPECT_THAT(LibraryMessages(),
                ElementsAre(testing::EndsWith(" save borwser conf [ann] failed! [0x2200]"),
                            testing::EndsWith(" save borwser conf [root] failed! [0x2200]")));
    log_.Clear();
    core_test::SetStaleCodes();
    hooks_.get_section = [](const char *, const char *, QLIBSZHASH *) { return 1; };
    hooks_.set_section = [](const char *, const char *) { return -1; };
    EXPECT_EQ(ZAFOLDAPBrowserConfSet(&host_, "ann"), -1);
    EXPECT_THAT(LibraryMessages(),
                ElementsAre(testing::EndsWith(" save borwser conf failed! [0x1234]")));
}

// --- The secret of the client binding ----------------------------------------------

class Secret : public Connections {
  protected:
    int Init(int reason) {
        core_test::SetStaleCodes();
        tools_.Reset();
        ScriptWholeServer();
        ZAFOLDAPHostFree(&record_);
        Write(core_test::kNslcdConf, "uri ldap://server\nbase dc=x\n");
        hooks_.secret = [=, this](char *, size_t size) {
            before_ = QLIBCErrGet();
            size_ = size;
            if (reason != 0) QLIBCErrSet(reason);
            return -1;
        };
        return ZAFOLDAPHostInitByBindConfig(&record_);
    }
    int before_ = -1;
    size_t size_ = 0;
};

TEST_F(Secret, IsAskedForWithAClearSlot) {
    Init(0x0900);
    EXPECT_EQ(before_, 0);
    EXPECT_EQ(size_, 1024u);
}

TEST_F(Secret, ThatIsNotStoredLeavesThePasswordUnset) {
    for (const int reason : {0x0900, 0x0A00}) {
        EXPECT_EQ(Init(reason), 1);
        EXPECT_EQ(record_.szBindPasswd, nullptr);
        EXPECT_THAT(log_.Messages(), IsEmpty());
    }
}

TEST_F(Secret, ThatFailsForAnotherReasonFailsTheCall) {
    const std::pair<int, const char *> cases[] = {
        {0x0B00, "ZAFOLDAPSecretGet failed. [0x0B00]"},
        {0x0200, "ZAFOLDAPSecretGet failed. [0x0200]"},
        {0, "ZAFOLDAPSecretGet failed. [0x0000]"},
    };
    for (const auto &[reason, line] : cases) {
        log_.Clear();
        EXPECT_EQ(Init(reason), -1);
        EXPECT_THAT(LoggedTexts(), ElementsAre(line));
    }
}

// --- Backup settings -----------------------------------------------------------------

class BackupSettings : public server_test::BackupTest, public SeamTest {
  protected:
    int Get() {
        ZAFOLDAPBackupConfigFree(&config_);
        return ZAFOLDAPBackupConfigGet(&config_, nullptr);
    }
};

TEST_F(BackupSettings, MissingSectionIsToldByTheResultAlone) {
    for (const int code : {0x0200, 0x0900, 0x0F00, 0x2200}) {
        for (const int pairs : {0, -1}) {
            hooks_.get_section = [=](const char *, const char *, QLIBSZHASH *) { return pairs; };
            QLIBCErrSet(code);
            EXPECT_EQ(Get(), 0) << code;
            EXPECT_STREQ(config_.szTask, "backup");
            EXPECT_EQ(config_.nMaxFile, 10);
            EXPECT_EQ(QLIBCErrGet(), code);
        }
    }
}

TEST_F(BackupSettings, KeepWhatWasReadBeforeTheFailure) {
    WriteTask("enabled=yes\nschedule=2,23,x\ndest_dir=/d\nmax_file=3\n");
    EXPECT_EQ(Get(), -1);
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_EQ(config_.blEnabled, 1);
    EXPECT_EQ(config_.schedule.rgField[0], 2);
    EXPECT_EQ(config_.schedule.rgField[1], 23);
    EXPECT_STREQ(config_.schedule.szCommand, server_test::kCommand);
    EXPECT_EQ(config_.szDestDir, nullptr);
    EXPECT_EQ(config_.nMaxFile, 10);
    EXPECT_NE(config_.plistBuffer, nullptr);
}

TEST_F(BackupSettings, ThatCannotBeLockedHaveTheirName) {
    const int writer = ZAFOLDAPLock(server_test::kConfLock, LOCK_EX);
    EXPECT_EQ(Get(), -1);
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_EQ(config_.nMaxFile, 10);
    ZAFOLDAPUnLock(writer);
}

TEST_F(BackupSettings, WithoutMemoryHoldWhatCameBefore) {
    WriteTask("dest_share=Backups\n");
    hooks_.share_path = [](const char *, char *path, size_t size) {
        snprintf(path, size, "/volume1/backups");
        return 0;
    };
    hooks_.list_alloc = NoListAt(1);
    EXPECT_EQ(Get(), -1);
    EXPECT_EQ(config_.plistBuffer, nullptr);
    EXPECT_EQ(config_.nMaxFile, 10);
    EXPECT_EQ(QLIBCErrGet(), 0x0200);
    hooks_.list_alloc = nullptr;

    const int kTexts = 3;  // task, share, folder
    for (int nth = 1; nth <= kTexts; ++nth) {
        hooks_.list_push = NoPushAt(nth);
        EXPECT_EQ(Get(), -1);
        EXPECT_EQ(config_.szTask != nullptr, nth > 1);
        EXPECT_EQ(config_.szDestShare != nullptr, nth > 2);
        EXPECT_EQ(config_.szDestDir, nullptr);
    }
    hooks_.list_push = NoPushAt(kTexts + 1);
    EXPECT_EQ(Get(), 0);
    EXPECT_STREQ(config_.szTask, "backup");
    EXPECT_STREQ(config_.szDestShare, "Backups");
    EXPECT_STREQ(config_.szDestDir, "/volume1/backups");
}

TEST_F(BackupSettings, WithoutAMapAreNotWritten) {
    hooks_.map_alloc = [](int) -> QLIBSZHASH * { return nullptr; };
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
    ExpectSlots(kStaleLdapCode, 0x0200);
}

TEST_F(BackupSettings, AskForAPathOf558Bytes) {
    std::vector<size_t> sizes;
    hooks_.share_path = [&](const char *, char *, size_t size) {
        sizes.push_back(size);
        return -1;
    };
    WriteTask("dest_share=Backups\n");
    EXPECT_EQ(Get(), 0);
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
    ExpectSlots(-65545, kStalePlatformCode);
    EXPECT_THAT(sizes, ElementsAre(558u, 558u));
}

TEST_F(BackupSettings, SectionIsMadeAlsoForADestinationThatIsRefused) {
    config_.szDestDir = "/var/lib/nowhere";
    std::vector<std::string> added;
    hooks_.add_section = [&](const char *file, const char *section) {
        added.push_back(std::string(file) + " " + section);
        return 0;
    };
    EXPECT_EQ(ZAFOLDAPBackupConfigSet(&config_), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65545);
    EXPECT_THAT(added, ElementsAre("/usr/zafo/etc/ldapbackup.conf backup"));
    config_ = {};
}

// --- Progress --------------------------------------------------------------------------

TEST_F(BackupSettings, ProgressIsNotReadWithoutListAndMap) {
    hooks_.get_pair = [](const char *, QLIBSZHASH *) {
        ADD_FAILURE() << "the file is read";
        return -1;
    };
    ZAFOLDAP_PROGRESS progress;
    hooks_.list_alloc = NoListAt(1);
    EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress), -1);
    EXPECT_EQ(progress.plistBuffer, nullptr);
    ExpectSlots(kStaleLdapCode, 0x0200);
    hooks_.list_alloc = nullptr;
    core_test::SetStaleCodes();
    hooks_.map_alloc = [](int) -> QLIBSZHASH * { return nullptr; };
    EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress), -1);
    EXPECT_EQ(progress.plistBuffer, nullptr);
    ExpectSlots(kStaleLdapCode, 0x0200);
}

TEST_F(BackupSettings, NumberOfAProcessBeyond32BitsKeepsItsLower32) {
    const std::pair<const char *, int> cases[] = {
        {"4294967338", 42}, {"42", 42}, {"2147483647", 2147483647}, {"4294967295", -1}};
    for (const auto &[text, pid] : cases) {
        hooks_.get_pair = [said = text](const char *, QLIBSZHASH *map) {
            QLIBCSzHashSetValue(map, "pid", said);
            return 1;
        };
        pid_t asked = 0;
        hooks_.process_alive = [&](pid_t process) {
            asked = process;
            return 1;
        };
        ZAFOLDAP_PROGRESS progress;
        EXPECT_EQ(ZAFOLDAPServerProgressGet(&progress), 1);
        EXPECT_EQ(progress.nPid, pid) << text;
        EXPECT_EQ(asked, pid);
        EXPECT_EQ(progress.blRunning, 1);
        ZAFOLDAPServerProgressFree(&progress);
    }
}

}  // namespace
}  // namespace zafo::seam_test
