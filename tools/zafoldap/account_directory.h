// SPDX-License-Identifier: Apache-2.0
//
// A directory opened for accounts: the saved connection, what its server supports, how users and
// groups are found, and what a new one needs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/group.h"
#include "platform/user.h"
#include "tools/cli/saved_connection.h"
#include "tools/cli/session.h"
#include "tools/zafoldap/account_kind.h"

namespace zafo::cli {

// Owns an account's record.
template <typename Record, void (*Free)(Record *)>
class OwnedRecord {
  public:
    OwnedRecord() = default;
    OwnedRecord(const OwnedRecord &) = delete;
    OwnedRecord &operator=(const OwnedRecord &) = delete;
    ~OwnedRecord() { Free(record_); }
    Record **Address() { return &record_; }
    Record *Get() const { return record_; }
    const Record *operator->() const { return record_; }

  private:
    Record *record_ = nullptr;
};
using UserRecord = OwnedRecord<ZAFOUSER, ZAFOUserFree>;
using GroupRecord = OwnedRecord<ZAFOGROUP, ZAFOGroupFree>;

// The lowest and highest number of the directory's own pool.
struct Pool {
    std::uint64_t lowest;
    std::uint64_t highest;
};

struct Account {
    std::string name;
    std::string dn;
};

// The requested account.
struct NewAccount {
    std::string name;
    std::string container;                // relative to the base DN
    std::optional<std::uint32_t> number;  // unset: the next free one
};

struct PrimaryGroup {
    std::string name;
    std::uint32_t gid;
};

// An invocation of this program with the same connection, quoted for a shell.
std::string CommandLine(const Session &session, std::string_view command,
                        const std::vector<std::string> &words);

class AccountDirectory {
  public:
    // Opens the connection given on the command line without contacting the server.
    explicit AccountDirectory(Session &session);
    // For changes: asks what the server supports. Throws if its schema lacks the kind's class.
    AccountDirectory(Session &session, const AccountKind &changed);

    Session &TheSession() const { return session_; }
    Streams &Out() const { return session_.streams; }
    const Connection &Saved() const { return opened_.saved; }
    const Host &TheHost() const { return opened_.host; }
    const ZAFOLDAP_HOST *Record() const { return &opened_.host.Record(); }
    Facts FactsAbout(const std::string &subject) const;

    bool HasClass(unsigned int bit) const { return (opened_.host.Record().nSchema & bit) != 0; }

    // Runs a function of the library; throws if it fails.
    template <typename Call>
    int Run(const std::string &subject, Call call) const {
        return Ask(Out(), FactsAbout(subject), call);
    }

    // The same for a change: the failure, or nothing.
    template <typename Call>
    std::optional<Failure> Try(const std::string &subject, Call call) const {
        return Attempt(Out(), FactsAbout(subject), call);
    }

    // An invocation of this program for this directory, quoted for a shell.
    std::string CommandLine(std::string_view command, const std::vector<std::string> &words) const {
        return cli::CommandLine(session_, command, words);
    }

    // `subject` is for messages.
    Search SearchFor(Query query, const std::string &subject) const {
        return Search(Out(), TheHost(), std::move(query), FactsAbout(subject));
    }

    // The DN of the account with this name; nothing if none. Throws if the name is ambiguous.
    std::optional<std::string> Find(const AccountKind &kind, const std::string &name) const;
    // For the report on a completed change: null if the entry cannot be seen.
    Json DnOrNull(const AccountKind &kind, const std::string &name) const;
    // Throws Failure ("user_missing", "group_missing").
    std::string Require(const AccountKind &kind, const std::string &name) const;
    // The same, with the name spelt as in the entry: groups distinguish "Ann" from "ann", look-ups
    // of users do not.
    Account RequireAccount(const AccountKind &kind, const std::string &name) const;
    std::vector<Account> RequireAll(const AccountKind &kind,
                                    const std::vector<std::string> &names) const;

    // The DNs of the accounts with this number.
    std::vector<std::string> WithNumber(const AccountKind &kind, std::uint32_t number) const;
    // The name of the entry with this DN.
    std::string NameOf(const AccountKind &kind, const std::string &dn) const;

    // Whether an entry exists.
    bool IsThere(const std::string &dn) const;
    // The same; nothing if the server cannot be asked.
    std::optional<bool> Exists(const std::string &dn) const;

    // The pool of a server of the appliance's own kind; nothing for others.
    std::optional<Pool> PoolOf(const AccountKind &kind) const;
    std::uint64_t PoolValue(int type) const;

    // Checks what a new account needs: the classes of its options, its container, an unused name
    // and number. Throws Failure ("class_missing", "container_missing", the kind's name_taken,
    // those of RequireFreeNumber); returns the DN of the future entry.
    std::string RequireNew(const AccountKind &kind, const NewAccount &account) const;
    // The DN of a container below the base DN. Throws Failure ("container_missing").
    std::string RequireContainer(const std::string &container) const;
    // Throws Failure ("number_local", "number_outside_pool", the kind's number_taken) for a number
    // that an account must not have.
    void RequireFreeNumber(const AccountKind &kind, std::uint32_t number) const;
    // Throws Failure ("class_missing") if an option needs a class that the schema, or the entry
    // with these classes, lacks.
    void RequireClasses(const AccountKind &kind, unsigned int entry_classes) const;
    // The primary group given by --gid, as a name or number; one of "/etc/group" is accepted if the
    // directory has none with that number. Default: "users". Throws Failure ("group_missing",
    // "gid_needed").
    PrimaryGroup RequirePrimaryGroup(const std::string *given) const;

    // One value of an entry; empty if it has none or does not exist.
    std::string ValueOf(const std::string &dn, const std::string &filter,
                        const std::string &attribute) const;

  private:
    std::string Others(const AccountKind &kind, const std::string &name) const;
    std::uint32_t GidOf(const std::string &name, const std::string &dn) const;

    Session &session_;
    OpenedConnection opened_;
};

// Reads the record of the user with this DN; false if there is none.
bool ReadUser(const AccountDirectory &directory, const std::string &dn, UserRecord &user);

// The users that a group lists.
std::vector<std::string> ListedUsers(const AccountDirectory &directory, const Account &group);
// Those with it as their primary group. If the server cuts the answer off at a size limit, `cut`
// gets the failure; without `cut` it is thrown.
std::vector<std::string> PrimaryUsers(const AccountDirectory &directory, const Account &group,
                                      std::optional<Failure> *cut = nullptr);

// Parses a number; throws Failure ("account_number") for one that no account may have: 0, 65534 and
// 65535 (nobody, and -1 in 16 bits), 4294967295 (-1).
std::uint32_t ParseAccountNumber(std::string_view option, const std::string &text);
bool IsReservedNumber(std::uint64_t number);

}  // namespace zafo::cli
