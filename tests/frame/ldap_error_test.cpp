// SPDX-License-Identifier: Apache-2.0
#include <limits>

#include <gtest/gtest.h>

#include "platform/error.h"
#include "zafoldap/error.h"

namespace {

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
static_assert(std::size(kMessages) == 28);

bool HasMessage(int code) {
    for (const Message &message : kMessages) {
        if (message.code == code) return true;
    }
    return false;
}

TEST(ErrorSlot, HoldsWhatWasSetUntilItIsReset) {
    EXPECT_EQ(ZAFOLDAPErrSet(-65545), -65545);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65545);
    EXPECT_EQ(ZAFOLDAPErrReset(), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
}

TEST(ErrorSlot, HoldsAnyInteger) {
    for (int code : {std::numeric_limits<int>::min(), -1, 0, 1, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(ZAFOLDAPErrSet(code), code);
        EXPECT_EQ(ZAFOLDAPErrGet(), code);
    }
    ZAFOLDAPErrReset();
}

TEST(ErrorSlot, IsIndependentOfThePlatformSlot) {
    QLIBCErrSet(0x0900);
    ZAFOLDAPErrSet(32);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    QLIBCErrSet(0x0A00);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
    ZAFOLDAPErrReset();
    EXPECT_EQ(QLIBCErrGet(), 0x0A00);
}

TEST(ErrorMessage, EveryCodeHasItsSectionAndKey) {
    for (const Message &message : kMessages) {
        SCOPED_TRACE(message.code);
        const char *section = "untouched";
        EXPECT_STREQ(ZAFOLDAPErrGetString(message.code, &section), message.key);
        EXPECT_STREQ(section, message.section);
    }
}

TEST(ErrorMessage, IsGivenWithoutASectionPointer) {
    for (const Message &message : kMessages) {
        EXPECT_STREQ(ZAFOLDAPErrGetString(message.code, nullptr), message.key) << message.code;
    }
}

TEST(ErrorMessage, CodeWithoutMessageIsEmptyAndLeavesTheSection) {
    const char *section = "untouched";
    EXPECT_STREQ(ZAFOLDAPErrGetString(12345, &section), "");
    EXPECT_STREQ(section, "untouched");
    EXPECT_STREQ(ZAFOLDAPErrGetString(12345, nullptr), "");
}

TEST(ErrorMessage, NoOtherCodeOfTheTwoRangesHasOne) {
    for (int first : {-65560, -10}) {
        for (int code = first; code <= first + 310; ++code) {
            if (HasMessage(code)) continue;
            EXPECT_STREQ(ZAFOLDAPErrGetString(code, nullptr), "") << code;
        }
    }
}

TEST(ErrorMessage, LookingUpLeavesBothSlots) {
    QLIBCErrSet(0x1234);
    ZAFOLDAPErrSet(-77);
    ZAFOLDAPErrGetString(49, nullptr);
    ZAFOLDAPErrGetString(12345, nullptr);
    EXPECT_EQ(QLIBCErrGet(), 0x1234);
    EXPECT_EQ(ZAFOLDAPErrGet(), -77);
    ZAFOLDAPErrReset();
}

}  // namespace
