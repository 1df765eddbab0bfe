// SPDX-License-Identifier: Apache-2.0
//
// What a migration will do with each account, decided as the library decides it, from the accounts
// on both sides.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zafoldap/reserved_account.h"

namespace zafo::cli {

// An account of the source.
struct Candidate {
    std::string name;
    std::optional<std::uint32_t> number;
    std::optional<std::uint32_t> group;  // of a user: the primary group
    bool foreign_hash = false;           // the password is useless on the other side
    bool samba_hashes = false;           // of a directory's user: has Samba hashes
    std::string dn = {};                 // of a directory's account
    std::string home = {}, shell = {};   // of a directory's user
    std::vector<std::string> listed =
        {};  // of a local user: groups of the directory that list it already
};

// The names and numbers in use on the other side.
class TakenAccounts {
  public:
    // A directory does not distinguish "Anna" from "anna".
    explicit TakenAccounts(bool fold_case) : fold_case_(fold_case) {}

    void Add(const std::string &name, std::optional<std::uint32_t> number);
    bool HasName(const std::string &name) const { return numbers_.contains(Key(name)); }
    bool Has(const Candidate &candidate) const;
    // "the name is taken …", "the number is …"; empty when neither is taken.
    std::string Conflict(const Candidate &candidate) const;
    size_t Count() const { return numbers_.size(); }

  private:
    std::string Key(const std::string &name) const;

    bool fold_case_;
    std::map<std::string, std::optional<std::uint32_t>> numbers_;  // by name
    std::map<std::uint32_t, std::string> names_;
};

enum class Result { kAdd, kThere, kSkip, kRefuse };

struct Decision {
    Candidate account;
    Result result;
    std::string reason;  // of kSkip and kRefuse; for kAdd a remark
};

struct Target {
    const AccountKind &kind;
    bool local = false;  // otherwise the directory
    TakenAccounts taken;
    std::set<std::uint32_t> groups = {};              // of users: the existing group numbers
    std::optional<int> remained = {};                 // how many more are allowed
    std::set<std::string> without_samba_hashes = {};  // names of existing users
    SystemBounds bounds = {};
    std::set<std::uint32_t> for_users = {};  // numbers of this system's group "users"
    std::set<std::string> allowed = {};      // names that are accepted unchecked
    bool keep_memberships = false;
};

// Why an account must not be copied, even if its name and number are free: it would become part of
// the system. Empty: it may be.
std::string Refusal(const Candidate &account, const Target &target);

std::vector<Decision> PlanMigration(const std::vector<Candidate> &accounts, Target target);

// Applies the outcome: accounts that should have been added but do not exist count as skipped, for
// `reason`.
void Settle(std::vector<Decision> &plan, const TakenAccounts &now, std::string_view reason);

size_t CountOf(const std::vector<Decision> &plan, Result result);

}  // namespace zafo::cli
