// SPDX-License-Identifier: Apache-2.0
//
// Chooses the number of a new account and creates its entry, while others may be doing the same.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// A free number that is neither reserved nor used by a local account. On the appliance's own kind
// of server it is allocated from the pool. `spread`: adds up to this much at random.
std::uint32_t SuggestNumber(const AccountDirectory &directory, const AccountKind &kind,
                            unsigned int spread = 0);

struct Created {
    std::uint32_t number;
    std::optional<Failure> after;  // what failed once the entry existed
};

// Creates an entry with the requested number, or with suggested ones until one has not been taken
// in the meantime. Throws if no entry was created, or if that cannot be determined.
Created CreateAccount(const AccountDirectory &directory, const AccountKind &kind,
                      const NewAccount &account, const std::string &dn,
                      const std::function<int(std::uint32_t)> &create);

// On a server without a pool two programs can choose the same number at the same time. Renumbers a
// new account until its number is unique, and returns that number.
std::uint32_t SettleNumber(const AccountDirectory &directory, const AccountKind &kind,
                           std::uint32_t number, const std::function<int(std::uint32_t)> &renumber);

}  // namespace zafo::cli
