// SPDX-License-Identifier: Apache-2.0
//
// A directory opened for accounts: the saved connection, what its server knows, and how users
// and groups are found in it. Users and groups are twins: what differs is a row, AccountKind.
#pragma once

#include "tools/cli/saved_connection.h"
#include "tools/cli/session.h"

#include "platform/szlist.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zafo::cli {

struct AccountKind {
    std::string_view noun;         // "user"
    std::string_view number;       // "uid": option and field
    std::string_view filter;       // "objectClass=posixAccount"
    std::string_view name_attr;    // "uid"
    std::string_view number_attr;  // "uidNumber"
    std::string_view container;    // "cn=users"
    unsigned int schema_bit;
    std::string_view schema_class;
    Message missing;
    Message name_taken;
    Message number_taken;
    int lowest;  // of zafoldap/samba.h
    int highest;
    int current;
    int (*dn_of_name)(const ZAFOLDAP_HOST *, const char *, char *, size_t);
    int (*dns_of_number)(const ZAFOLDAP_HOST *, unsigned int, QLIBSZLIST **);
    int (*suggest)(const ZAFOLDAP_HOST *);
};

extern const AccountKind kUserKind;
extern const AccountKind kGroupKind;

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

class AccountDirectory {
  public:
    // Opens the connection of the command line. Nothing is asked yet.
    explicit AccountDirectory(Session &session);

    Session &TheSession() const { return session_; }
    Streams &Out() const { return session_.streams; }
    const Connection &Saved() const { return connection_; }
    const Host &TheHost() const { return host_; }
    const ZAFOLDAP_HOST *Record() const { return &host_.Record(); }
    Facts FactsAbout(const std::string &subject) const;

    // What every change needs: the server's schema and type. Throws when the schema lacks the
    // kind's class.
    void LearnServer(const AccountKind &kind);
    bool HasClass(unsigned int bit) const { return (host_.Record().nSchema & bit) != 0; }

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

    // One value of an entry; empty when it has none or does not exist.
    std::string ValueOf(const std::string &dn, const std::string &filter,
                        const std::string &attribute) const;

  private:
    std::string Others(const AccountKind &kind, const std::string &name) const;

    Session &session_;
    Connection connection_;
    Host host_;
};

// A word as a shell takes it, in quotes where it needs them.
std::string CommandWord(std::string_view word);

// An invocation of this program with the same connection, in quotes where a shell needs them.
std::string CommandLine(const Session &session, std::string_view command,
                        const std::vector<std::string> &words);

}  // namespace zafo::cli
