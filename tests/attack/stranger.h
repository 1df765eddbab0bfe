// SPDX-License-Identifier: Apache-2.0
//
// Attacks by someone with an ordinary account on the machine and no further rights. The private
// root has the machine's user ids when it is created by root; created by an ordinary user, it has
// only one account, and these tests are skipped.
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

// Runs a program as nobody, with only nobody's groups.
rig::ProgramRun AsNobody(const std::vector<std::string> &argv, std::string_view input = "");

}  // namespace zafo::test

#define SKIP_WITHOUT_OTHER_ACCOUNTS()    \
    if (!zafo::test::HasOtherAccounts()) \
    GTEST_SKIP() << "a private root created by an ordinary user has only one account"
