// SPDX-License-Identifier: Apache-2.0
//
// The two sides of a migration, and the library's function between them.
#pragma once

#include "tools/zafoldap/account_directory.h"
#include "tools/zafoldap/migration_plan.h"

#include <functional>
#include <optional>
#include <vector>

namespace zafo::cli {

// How the library's function ended.
struct MigrationEnd {
    bool stopped = false;              // by Ctrl-C
    std::optional<Failure> failure{};  // it did not go through all accounts
};

class Migration {
  public:
    Migration(const AccountDirectory &directory, const AccountKind &kind, bool to_local)
        : directory_(directory), kind_(kind), to_local_(to_local) {}

    // Throw Failure when a side cannot be read.
    std::vector<Candidate> ReadSource() const;
    Target ReadTarget(const std::vector<Candidate> &source) const;

    // Copies. It is one long call of the library, so it is made by a process of its own, and `show` is
    // called now and then with the number of accounts that the other side has got since.
    MigrationEnd Run(const std::function<void(size_t)> &show) const;

  private:
    int Copy() const;
    size_t CountTarget() const;

    const AccountDirectory &directory_;
    const AccountKind &kind_;
    const bool to_local_;
};

}  // namespace zafo::cli
