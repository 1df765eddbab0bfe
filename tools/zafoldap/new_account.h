// SPDX-License-Identifier: Apache-2.0
//
// The number of a new account and the making of its entry, while others may be doing the same.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// A free number that is not reserved and belongs to no local account. On the appliance's own kind
// of server it is taken out of the pool. `spread`: up to so many numbers further on, at random.
std::uint32_t SuggestNumber(const AccountDirectory &directory, const AccountKind &kind,
                            unsigned int spread = 0);

struct Created {
    std::uint32_t number;
    std::optional<Failure> after;  // what failed once the entry was there
};

// Makes an entry with the wanted number, or with suggested ones until one is not taken by
// somebody else in between. Throws when no entry was made, or nobody can say whether one was.
Created CreateAccount(const AccountDirectory &directory, const AccountKind &kind,
                      const NewAccount &account, const std::string &dn,
                      const std::function<int(std::uint32_t)> &create);

// On a server without a pool two programs can choose the same number at the same time. Gives a
// new account other numbers until it is the only one with its own; the number it then has.
std::uint32_t SettleNumber(const AccountDirectory &directory, const AccountKind &kind,
                           std::uint32_t number, const std::function<int(std::uint32_t)> &renumber);

}  // namespace zafo::cli
