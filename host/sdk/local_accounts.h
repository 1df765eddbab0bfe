// SPDX-License-Identifier: Apache-2.0
//
// What looking for users and groups in the system's files has in common.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/accounts/login_defs.h"
#include "host/accounts/passwd.h"
#include "host/core/fail.h"
#include "platform/user.h"

namespace zafo {

// A file of accounts, and what differs between the two.
template <typename Entry>
struct AccountKind {
    const char *file;
    std::optional<Entry> (*parse)(std::string_view line);
    uint32_t Entry::*number;
    OrdinaryNumbers (*ordinary)();
    int missing;  // the platform error of an account that is not there
};

inline constexpr AccountKind<PasswdEntry> kUsers{kPasswdFile, ParsePasswd, &PasswdEntry::uid,
                                                 OrdinaryNumbers::OfUsers, QLIB_ERR_NO_SUCH_USER};
inline constexpr AccountKind<GroupEntry> kGroups{kGroupFile, ParseGroup, &GroupEntry::gid,
                                                 OrdinaryNumbers::OfGroups, QLIB_ERR_NO_SUCH_GROUP};

// Appends the names of the ordinary accounts: their number, or -1 with the reason.
template <typename Entry>
int AppendOrdinary(const AccountKind<Entry> &kind, QLIBSZLIST **ppList, int nType) {
    if (ppList == nullptr || *ppList == nullptr || nType != ZAFO_ACCOUNT_LOCAL) {
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
            return QLIBCSzListPush(ppList, std::string(account.name).c_str()) != 0;
        });
        return failed ? -1 : count;
    });
}

// What `make` gives for the first account that `wanted` gives true for, or -1 with the reason.
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
