// SPDX-License-Identifier: Apache-2.0
//
// Copies one account from a directory to this system or back. It is read once and checked as read:
// a change made since the plan cannot slip past the checks.
#pragma once

#include <string>

#include "tools/zafoldap/account_directory.h"
#include "tools/zafoldap/migration_plan.h"

namespace zafo::cli {

bool IsCryptHash(std::string_view password);

// The reason it was not copied, for the log; empty: it was. The platform and the server refuse
// names and numbers that are taken.
std::string CopyAccount(const AccountDirectory &directory, const Candidate &account,
                        const Target &target);

}  // namespace zafo::cli
