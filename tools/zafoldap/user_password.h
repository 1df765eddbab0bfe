// SPDX-License-Identifier: Apache-2.0
//
// A user's new password: typed, read or made, and checked.
#pragma once

#include "tools/zafoldap/session.h"

#include <string>

namespace zafo::cli {

// Throws Failure ("usage") when more than one way is asked for; before anything is asked.
void CheckPasswordOptions(const Session &session);

std::string TakeUserPassword(Session &session, const std::string &name);

// Where --random-password has made one: what standard output gets.
void PrintRandomPassword(Session &session, const std::string &password);

}  // namespace zafo::cli
