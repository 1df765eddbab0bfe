// SPDX-License-Identifier: Apache-2.0
#include "zafoldap/error.h"

#include <gtest/gtest.h>

#include "tests/rig/system_log.h"

#include <syslog.h>

namespace {

TEST(ErrorSlot, HoldsWhatWasSetUntilItIsReset) {
    EXPECT_EQ(ZAFOLDAPErrSet(-65545), -65545);
    EXPECT_EQ(ZAFOLDAPErrGet(), -65545);
    EXPECT_EQ(ZAFOLDAPErrReset(), 0);
    EXPECT_EQ(ZAFOLDAPErrGet(), 0);
}

TEST(SystemLogRig, GivesBackWhatWasLogged) {
    auto &log = zafo::rig::SystemLog::Get();
    log.Clear();
    syslog(LOG_ERR, "%s:%d text\n", "file.cpp", 7);
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"file.cpp:7 text\n"});
    EXPECT_EQ(log.Priorities(), std::vector<int>{LOG_USER | LOG_ERR});
}

}  // namespace
