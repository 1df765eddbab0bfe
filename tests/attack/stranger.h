// SPDX-License-Identifier: Apache-2.0
//
// Attacks by somebody who has an ordinary account on the machine and no right beyond it. The private root
// has the machine's account numbers when it is made by root; where it is made by an ordinary user
// there is only one account, and these tests are skipped.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/rig/slapd.h"

namespace zafo::test {

// The account "nobody", which owns nothing.
inline constexpr uid_t kNobody = 65534;

// Whether a process can become another account here.
bool HasOtherAccounts();

// Runs a program as nobody, with nobody's groups only.
rig::ProgramRun AsNobody(const std::vector<std::string> &argv, std::string_view input = "");

}  // namespace zafo::test

#define SKIP_WITHOUT_OTHER_ACCOUNTS()    \
    if (!zafo::test::HasOtherAccounts()) \
    GTEST_SKIP() << "there is only one account in a private root that an ordinary user has made"
