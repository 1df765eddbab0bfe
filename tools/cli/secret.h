// SPDX-License-Identifier: Apache-2.0
//
// Passwords. No option takes one: command lines can be read by everybody.
#pragma once

#include <string>

#include "tools/cli/session.h"

namespace zafo::cli {

// From --password-stdin (one trailing line break does not count), from --password-file
// (refused when group or others can read it), or asked for twice.
std::string TakePassword(Streams &streams, const Invocation &invocation, std::string_view what);

// Its length; bytes that are no UTF-8 count as one character each.
size_t CharactersOf(const std::string &password);

// Throws Failure ("password_weak") for a password that a person should not have: shorter than 8
// characters or the user's own name.
void CheckStrength(const std::string &password, std::string_view name);

// 20 characters that are hard to mistake for each other, from the system's random source: about
// 116 bits.
std::string RandomPassword();

// A user's new password: typed, read or made, and checked.
std::string TakeUserPassword(Session &session, const std::string &name);

// Where --random-password has made one: what standard output gets.
void PrintRandomPassword(Session &session, const std::string &password);

}  // namespace zafo::cli
