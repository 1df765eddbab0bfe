// SPDX-License-Identifier: Apache-2.0
//
// The options that say where a new password comes from.
#pragma once

#include "tools/cli/session.h"

#include <string>

namespace zafo::cli {

// Throws Failure ("usage") when more than one way is asked for; before anything is asked.
void CheckPasswordOptions(const Session &session);

// Where --random-password has made one: what standard output gets.
void PrintRandomPassword(Session &session, const std::string &password);

}  // namespace zafo::cli
