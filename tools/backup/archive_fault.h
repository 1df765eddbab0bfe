// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "tools/backup/exit_code.h"

namespace zafo::backup {

// What is wrong with a backup file; the caller adds the file's name.
struct Fault : std::runtime_error {
    Fault(Exit exit, const std::string &words) : std::runtime_error(words), code(exit) {}

    Exit code;
};

[[noreturn]] inline void Damaged(const std::string &what) {
    throw Fault(Exit::kDamaged, what);
}

}  // namespace zafo::backup
