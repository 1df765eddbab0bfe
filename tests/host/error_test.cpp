// SPDX-License-Identifier: Apache-2.0
#include "platform/error.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(PlatformErrorSlot, SetReturnsTheCodeAndGetKeepsIt) {
    EXPECT_EQ(QLIBCErrSet(QLIB_ERR_SERVICE_STOP), 0xD200);
    EXPECT_EQ(QLIBCErrGet(), 0xD200);
    EXPECT_EQ(QLIBCErrSet(QLIB_ERR_NONE), 0);
    EXPECT_EQ(QLIBCErrGet(), 0);
}

TEST(PlatformErrorSlot, IsOneForAllThreads) {
    QLIBCErrSet(QLIB_ERR_NONE);
    std::thread([] { QLIBCErrSet(QLIB_ERR_READ_FAILED); }).join();
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_READ_FAILED);
}

}  // namespace
