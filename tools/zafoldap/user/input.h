// SPDX-License-Identifier: Apache-2.0
//
// The user fields that user add and user edit set.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/user.h"
#include "tools/cli/session.h"
#include "tools/zafoldap/account_change.h"

namespace zafo::cli {

struct TextField {
    std::string_view option;
    std::string_view attribute;
    char *ZAFOUSER::*member;
    void (*check)(std::string_view option, const std::string &text);
    bool removable;  // by an empty text
};

inline constexpr size_t kTextFieldCount = 4;
extern const std::array<TextField, kTextFieldCount> kTextFields;

// Must not be moved: the record points into it.
struct UserInput {
    UserInput() = default;
    UserInput(const UserInput &) = delete;
    UserInput &operator=(const UserInput &) = delete;

    ZAFOUSER record{};  // the texts that were given
    std::array<std::string, kTextFieldCount> texts;
    std::optional<long> expires;
    std::optional<bool> may_change_password;
    std::vector<std::pair<std::string, std::string>> settings;  // of --set

    bool None() const;  // of the record
};

std::vector<Option> UserFieldOptions();

// Parses the command line and checks what can be checked without the directory. `edits`: an empty
// text removes the present value; otherwise it is ignored.
void ReadUserInput(const Session &session, bool edits, UserInput &input);

}  // namespace zafo::cli
