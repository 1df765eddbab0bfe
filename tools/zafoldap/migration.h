// SPDX-License-Identifier: Apache-2.0
//
// The two sides of a migration, and the copying between them, account by account, so that exactly
// what was checked is written.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/zafoldap/account_directory.h"
#include "tools/zafoldap/migration_plan.h"

namespace zafo::cli {

// In the system log, the result of copying one account.
void LogCopy(const Session &session, const AccountKind &kind, bool to_local,
             const std::string &name, std::string_view result);

struct MigrationEnd {
    bool stopped = false;              // by Ctrl-C
    std::optional<Failure> failure{};  // it did not get through all accounts
};

class Migration {
  public:
    // `allowed`: names that are never refused.
    Migration(const AccountDirectory &directory, const AccountKind &kind, bool to_local,
              std::set<std::string> allowed)
        : directory_(directory), kind_(kind), to_local_(to_local), allowed_(std::move(allowed)) {}

    // Throw Failure if a side cannot be read.
    std::vector<Candidate> ReadSource() const;
    Target ReadTarget(const std::vector<Candidate> &source) const;

    // Copies the accounts that the plan adds, in a child process that can be stopped at any time;
    // `show` is called now and then with the number of accounts added so far.
    MigrationEnd Run(const std::vector<Decision> &plan, const Target &target,
                     const std::function<void(size_t)> &show) const;

  private:
    void ReadListed(std::vector<Candidate> &users) const;
    int Copy(const std::vector<Decision> &plan, const Target &target) const;
    size_t CountTarget() const;

    const AccountDirectory &directory_;
    const AccountKind &kind_;
    const bool to_local_;
    const std::set<std::string> allowed_;
};

}  // namespace zafo::cli
