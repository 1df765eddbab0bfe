// SPDX-License-Identifier: Apache-2.0
//
// How an existing server differs from the one requested.
#pragma once

#include <string>
#include <vector>

#include "tools/zafoldapserver/enable_checks.h"

namespace zafo::cli {

struct Difference {
    std::string id;    // "running", "password" …: stable
    std::string text;  // a sentence
};

// `password` is the server's intended password, `saved` the one of the saved connection.
std::vector<Difference> DifferencesOf(const LocalServer &before, const WantedServer &wanted,
                                      const Staging &staging, const std::string &password,
                                      const std::string &saved);

}  // namespace zafo::cli
