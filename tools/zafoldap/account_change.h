// SPDX-License-Identifier: Apache-2.0
//
// Common parts of changes to accounts: what --dry-run prints, and what remains after a change that
// was made only in part.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/zafoldap/account_directory.h"

namespace zafo::cli {

// The change records that would be written for the request, and the checks that passed. The library
// adds what the server's schema requires beyond that (object classes, ageing, Samba's attributes).
class ChangePlan {
  public:
    void Check(std::string text) { checks_.push_back(std::move(text)); }
    // Starts a record: "add", "modify", "modrdn" or "delete".
    void Record(std::string dn, std::string_view type) {
        entries_.push_back({std::move(dn), std::string(type), {}});
    }
    void Line(std::string_view attribute, std::string_view value) {
        entries_.back().lines.emplace_back(attribute, value);
    }
    // What cannot be known in advance.
    void Remark(std::string text) { entries_.back().lines.emplace_back("", std::move(text)); }
    void Replace(std::string_view attribute, std::string_view value);  // empty: removes it
    // Adds ("add") or removes ("delete") a group member, which is listed both by name and by DN.
    void Member(const std::string &group_dn, std::string_view how, const std::string &name,
                const std::string &base);

    // The attributes of the records, for the log.
    std::vector<std::string> Attributes() const;
    // With --dry-run prints the plan, as LDIF with the checks as comments or as JSON, and returns
    // true: nothing else is to be done.
    bool PrintInstead(Session &session) const;

  private:
    struct Entry {
        std::string dn;
        std::string type;
        std::vector<std::pair<std::string, std::string>> lines;  // a remark has no name
    };

    std::vector<std::string> checks_;
    std::vector<Entry> entries_;
};

// Checks that an account may have a new name: it differs in more than letter case, and nobody has
// it. Returns a plan with these checks; throws Failure ("usage", the kind's name_taken).
ChangePlan PlanRenaming(const AccountDirectory &directory, const AccountKind &kind,
                        const std::string &name, const std::string &new_name);

// The groups that list a user by name.
std::vector<Account> GroupsListing(const AccountDirectory &directory, const std::string &name);
std::vector<std::string> NamesOf(const std::vector<Account> &accounts);

// What could not be done after something had been changed, and how to finish.
class Leftovers {
  public:
    void Add(std::string reason, std::string command, std::string_view detail = {});
    bool None() const { return reasons_.empty(); }
    // Throws Failure ("partly_done"); `done` reads like "the user anna was added".
    void ThrowIfAny(const std::string &done, int exit_code = 7) const;

  private:
    std::vector<std::string> reasons_;
    std::vector<std::string> commands_;
    std::string detail_;
};

// The tool's own words for a failure, or ours if it had none.
const std::string &Reason(const Failure &failure);

// Throws Failure ("state_unknown"): a change failed, and so did the query for its outcome.
// `command` shows the state.
[[noreturn]] void ThrowUnknown(const AccountDirectory &directory, const Failure &failure,
                               std::string command);

// A DN for the library, which reads "%%" as "%".
std::string PercentsDoubled(std::string_view text);

}  // namespace zafo::cli
