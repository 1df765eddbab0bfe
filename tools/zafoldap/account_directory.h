// SPDX-License-Identifier: Apache-2.0
//
// A directory opened for accounts: the saved connection, what its server knows, how users and
// groups are found in it, and what a new one needs there.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/szlist.h"
#include "tools/cli/saved_connection.h"
#include "tools/cli/session.h"
#include "tools/zafoldap/account_kind.h"

namespace zafo::cli {

// A list of the platform's.
class NameList {
  public:
    NameList();
    explicit NameList(const std::vector<std::string> &names);
    QLIBSZLIST **Address() { return &list_; }
    const QLIBSZLIST *Get() const { return list_; }
    std::vector<std::string> Names() const;
    NameList(const NameList &) = delete;
    NameList &operator=(const NameList &) = delete;
    ~NameList() { QLIBCSzListFree(list_); }

  private:
    QLIBSZLIST *list_;
};

// The lowest and highest number of the directory's own pool.
struct Pool {
    std::uint64_t lowest;
    std::uint64_t highest;
};

struct Account {
    std::string name;
    std::string dn;
};

// What is asked for.
struct NewAccount {
    std::string name;
    std::string container;                // relative to the base DN
    std::optional<std::uint32_t> number;  // unset: the next free one
};

struct PrimaryGroup {
    std::string name;
    std::uint32_t gid;
};

class AccountDirectory {
  public:
    // Opens the connection of the command line. Nothing is asked yet.
    explicit AccountDirectory(Session &session);
    // For changes: asks what the server knows. Throws when its schema lacks the kind's class.
    AccountDirectory(Session &session, const AccountKind &changed);

    Session &TheSession() const { return session_; }
    Streams &Out() const { return session_.streams; }
    const Connection &Saved() const { return opened_.saved; }
    const Host &TheHost() const { return opened_.host; }
    const ZAFOLDAP_HOST *Record() const { return &opened_.host.Record(); }
    Facts FactsAbout(const std::string &subject) const;

    bool HasClass(unsigned int bit) const { return (opened_.host.Record().nSchema & bit) != 0; }

    // Runs a function of the library; throws when it fails.
    template <typename Call>
    int Run(const std::string &subject, Call call) const {
        return Ask(Out(), FactsAbout(subject), call);
    }

    // The DN of the account of a name; nothing when there is none. Throws when it is ambiguous.
    std::optional<std::string> Find(const AccountKind &kind, const std::string &name) const;
    // For the report of a change that was made: null when it cannot be seen.
    Json DnOrNull(const AccountKind &kind, const std::string &name) const;
    // Throws Failure ("user_missing", "group_missing").
    std::string Require(const AccountKind &kind, const std::string &name) const;
    // The same with the name in the entry's own letters: groups tell "Ann" from "ann", look-ups
    // of users do not.
    Account RequireAccount(const AccountKind &kind, const std::string &name) const;
    std::vector<Account> RequireAll(const AccountKind &kind,
                                    const std::vector<std::string> &names) const;

    // The DNs of those that carry a number.
    std::vector<std::string> WithNumber(const AccountKind &kind, std::uint32_t number) const;
    // The names of the entries with these DNs.
    std::string NameOf(const AccountKind &kind, const std::string &dn) const;

    // Whether an entry exists.
    bool IsThere(const std::string &dn) const;
    // The same; nothing when the server cannot be asked.
    std::optional<bool> Exists(const std::string &dn) const;

    // The pool of the appliance's own kind of server; nothing elsewhere.
    std::optional<Pool> PoolOf(const AccountKind &kind) const;
    std::uint64_t PoolValue(int type) const;

    // What a new account needs: the classes of its options, its container, a name and a number
    // that nobody has. Throws Failure ("class_missing", "container_missing", the kind's name_taken,
    // those of RequireFreeNumber); gives the DN of the entry to be.
    std::string RequireNew(const AccountKind &kind, const NewAccount &account) const;
    // The DN of a container of the base DN. Throws Failure ("container_missing").
    std::string RequireContainer(const std::string &container) const;
    // Throws Failure ("number_local", "number_outside_pool", the kind's number_taken) for a number
    // that an account must not get.
    void RequireFreeNumber(const AccountKind &kind, std::uint32_t number) const;
    // Throws Failure ("class_missing") when an option is given whose class the schema, or the entry
    // with these classes, lacks.
    void RequireClasses(const AccountKind &kind, unsigned int entry_classes) const;
    // The primary group that --gid names or numbers; one of "/etc/group" will do when the directory
    // has none of that number. Not given: "users". Throws Failure ("group_missing", "gid_needed").
    PrimaryGroup RequirePrimaryGroup(const std::string *given) const;

    // One value of an entry; empty when it has none or does not exist.
    std::string ValueOf(const std::string &dn, const std::string &filter,
                        const std::string &attribute) const;

  private:
    std::string Others(const AccountKind &kind, const std::string &name) const;
    std::uint32_t GidOf(const std::string &name, const std::string &dn) const;

    Session &session_;
    OpenedConnection opened_;
};

// The number in a text; throws Failure ("account_number") for one that no account may have: 0,
// 65534 and 65535 (nobody, and -1 in 16 bits), 4294967295 (-1).
std::uint32_t ParseAccountNumber(std::string_view option, const std::string &text);
bool IsReservedNumber(std::uint64_t number);

// A word as a shell takes it, in quotes where it needs them.
std::string CommandWord(std::string_view word);

// An invocation of this program with the same connection, in quotes where a shell needs them.
std::string CommandLine(const Session &session, std::string_view command,
                        const std::vector<std::string> &words);

}  // namespace zafo::cli
