// SPDX-License-Identifier: Apache-2.0
//
// What the searches for users and for groups in the system's files have in common.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/accounts/login_defs.h"
#include "host/accounts/passwd.h"
#include "host/core/fail.h"
#include "platform/user.h"

namespace zafo {

// A file of accounts, and the differences between users and groups.
template <typename Entry>
struct AccountKind {
    const char *file;
    std::optional<Entry> (*parse)(std::string_view line);
    uint32_t Entry::*number;
    OrdinaryNumbers (*ordinary)();
    int missing;  // the platform error if the account does not exist
};

inline constexpr AccountKind<PasswdEntry> kUsers{kPasswdFile, ParsePasswd, &PasswdEntry::uid,
                                                 OrdinaryNumbers::OfUsers, QLIB_ERR_NO_SUCH_USER};
inline constexpr AccountKind<GroupEntry> kGroups{kGroupFile, ParseGroup, &GroupEntry::gid,
                                                 OrdinaryNumbers::OfGroups, QLIB_ERR_NO_SUCH_GROUP};

// Appends the names of the ordinary accounts. Returns their number, or -1 with the error slot set.
template <typename Entry>
int AppendOrdinary(const AccountKind<Entry> &kind, QLIBSZLIST **list, int type) {
    if (list == nullptr || *list == nullptr || type != ZAFO_ACCOUNT_LOCAL) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return OutOfMemoryIs(-1, [&] {
        std::string text;
        if (const int error = ReadAccountFile(kind.file, &text); error != 0) return Fail(error);
        const OrdinaryNumbers ordinary = kind.ordinary();
        int count = 0;
        const auto failed = FindEntry<Entry>(text, kind.parse, [&](const Entry &account) {
            if (!ordinary.Hold(account.*kind.number)) return false;
            ++count;
            return QLIBCSzListPush(list, std::string(account.name).c_str()) != 0;
        });
        return failed ? -1 : count;
    });
}

// Calls `make` for the first account for which `wanted` returns true. Returns its result, or -1
// with the error slot set.
template <typename Entry, typename Wanted, typename Make>
int WithAccount(const AccountKind<Entry> &kind, Wanted wanted, Make make) {
    return OutOfMemoryIs(-1, [&] {
        std::string text;
        if (const int error = ReadAccountFile(kind.file, &text); error != 0) return Fail(error);
        const auto account = FindEntry<Entry>(text, kind.parse, wanted);
        return account ? make(*account) : Fail(kind.missing);
    });
}

}  // namespace zafo
