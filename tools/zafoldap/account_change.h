// SPDX-License-Identifier: Apache-2.0
//
// What changes of accounts have in common: what --dry-run prints, what is left to do after a
// change that was made only in part, and the number of a new account.
#pragma once

#include "tools/zafoldap/account_directory.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zafo::cli {

// Change records as they would be written for what was asked for, and the checks that they
// passed. The library adds what the server's schema calls for beyond that (object classes,
// ageing, Samba's attributes).
class ChangePlan {
  public:
    void Check(std::string text) { checks_.push_back(std::move(text)); }
    // Begins a record: "add", "modify", "modrdn" or "delete".
    void Record(std::string dn, std::string_view type);
    void Line(std::string_view attribute, std::string_view value);
    // What cannot be known before it is done.
    void Remark(std::string text);
    void Replace(std::string_view attribute, std::string_view value);  // empty: removes it
    // A member of a group, listed twice, in or out ("add", "delete").
    void Member(const std::string &group_dn, std::string_view how, const std::string &name,
                const std::string &base);

    // The attributes of the records, for the log.
    std::vector<std::string> Attributes() const;
    // LDIF with the checks as comments, or JSON.
    void Print(Session &session) const;

  private:
    struct Entry {
        std::string dn;
        std::string type;
        std::vector<std::pair<std::string, std::string>> lines;  // a remark has no name
    };

    std::vector<std::string> checks_;
    std::vector<Entry> entries_;
};

// A change file of the library's for attributes of the caller's own.
class ChangeFile {
  public:
    ChangeFile(const std::string &dn, const char *type);
    ~ChangeFile();
    ChangeFile(const ChangeFile &) = delete;
    ChangeFile &operator=(const ChangeFile &) = delete;

    void Replace(const std::string &attribute, const std::string &value);  // empty: removes it
    // "add" or "delete"; without values nothing is written.
    void Values(const char *how, const char *attribute, const std::vector<std::string> &values);
    int Apply(const ZAFOLDAP_HOST *host);

  private:
    void Value(const std::string &attribute, const std::string &value);

    ZAFOLDAP_LDIF file_{};
};

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

// The tool's own words for a failure, or ours where it had none.
const std::string &Reason(const Failure &failure);

// Throws Failure ("state_unknown"): a change failed, and so did asking what came of it. `command`
// shows it.
[[noreturn]] void ThrowUnknown(const AccountDirectory &directory, const Failure &failure,
                               std::string command);

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
                      const std::string &name, const std::string &dn,
                      std::optional<std::uint32_t> wanted,
                      const std::function<int(std::uint32_t)> &create);

// On a server without a pool two programs can choose the same number at the same time. Gives a
// new account other numbers until it is the only one with its own; the number it then has.
std::uint32_t SettleNumber(const AccountDirectory &directory, const AccountKind &kind,
                           std::uint32_t number, const std::function<int(std::uint32_t)> &renumber);

// Throws Failure ("container_missing") unless the parent of new accounts exists; gives its DN.
std::string RequireContainer(const AccountDirectory &directory, const AccountKind &kind);

// The container that the command line names, or the kind's own.
std::string ContainerOf(const Session &session, const AccountKind &kind);

// A DN in which the library takes "%%" for "%".
std::string PercentsDoubled(std::string_view text);

// A value as it stands in a DN (RFC 4514 section 2.4).
std::string EscapedForDn(std::string_view value);

}  // namespace zafo::cli
