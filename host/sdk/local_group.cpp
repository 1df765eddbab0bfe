// SPDX-License-Identifier: Apache-2.0
//
// This system's own groups. groupadd(8) accepts neither group names with blanks nor members that do
// not exist yet, but directories have "Domain Users", and groups are created before their users,
// who need a primary group.
#include <stdlib.h>

#include <algorithm>
#include <cstring>

#include "base/whole_file.h"
#include "host/accounts/account_conf.h"
#include "host/accounts/account_lock.h"
#include "host/accounts/account_name.h"
#include "host/sdk/local_accounts.h"
#include "host/sdk/refusal.h"
#include "platform/group.h"

namespace {

using zafo::Fail;
using zafo::GroupEntry;
using zafo::OutOfMemoryIs;

int MakeRecord(const GroupEntry &group, ZAFOGROUP **record) {
    const std::vector<std::string> names(group.members.begin(), group.members.end());
    std::vector<const char *> members;
    members.reserve(names.size() + 1);
    for (const std::string &name : names)
        members.push_back(name.c_str());
    members.push_back(nullptr);
    return ZAFOGroupAlloc(record, std::string(group.name).c_str(), group.gid, members.data());
}

template <typename Wanted>
int GetGroup(ZAFOGROUP **record, Wanted wanted) {
    return zafo::WithAccount(zafo::kGroups, wanted,
                             [=](const GroupEntry &group) { return MakeRecord(group, record); });
}

std::vector<std::string> MembersOf(const ZAFOGROUP &group) {
    std::vector<std::string> members;
    for (char **member = group.pszMembers; member != nullptr && *member != nullptr; ++member) {
        if (std::find(members.begin(), members.end(), *member) == members.end()) {
            members.emplace_back(*member);
        }
    }
    return members;
}

// Why the files cannot hold the record; nullptr if they can.
const char *Unfit(const ZAFOGROUP &group, const std::vector<std::string> &members) {
    if (group.szName == nullptr || !zafo::IsAccountName(group.szName)) return "invalid name";
    if (!zafo::OrdinaryNumbers::OfGroups().Hold(group.nGid)) return "number out of range";
    const bool fit = std::all_of(members.begin(), members.end(), zafo::IsAccountName);
    return fit ? nullptr : "invalid member name";
}

// Adds the group to the shadow file, if the system has one: no password, no administrators.
int PutIntoShadow(const std::string &name, const std::string &members) {
    std::string text;
    const zafo::ReadResult read = zafo::ReadWhole(zafo::kGroupShadowFile, &text);
    if (read == zafo::ReadResult::kAbsent) return 0;
    if (read != zafo::ReadResult::kDone) return QLIB_ERR_OPEN_FAILED;
    zafo::PutLine(&text, name, name + ":!::" + members);
    return zafo::ReplaceAccountFile(zafo::kGroupShadowFile, text);
}

// Returns 0 or a platform error code. The group file comes last, because it makes the group exist.
int Create(const ZAFOGROUP &group) {
    const std::vector<std::string> names = MembersOf(group);
    if (const char *unfit = Unfit(group, names)) {
        return zafo::Refuse("group", group.szName, unfit, QLIB_ERR_BAD_ARGUMENT);
    }
    const zafo::AccountLock lock;
    if (!lock.IsHeld()) return QLIB_ERR_OPEN_FAILED;
    std::string text;
    int error = zafo::ReadAccountFile(zafo::kGroupFile, &text);
    if (error != 0) return error;
    const auto taken = zafo::FindGroup(text, [&](const GroupEntry &other) {
        return other.name == group.szName || other.gid == group.nGid;
    });
    if (taken || zafo::LineOf(text, group.szName)) {
        return zafo::Refuse("group", group.szName, "name or number is taken",
                            QLIB_ERR_BAD_ARGUMENT);
    }
    const std::string members = zafo::Joined({names.begin(), names.end()}, ',');
    const std::string name = group.szName;
    error = zafo::StoreAccountText(zafo::kDescriptionSection, name, "");
    if (error == 0) error = PutIntoShadow(name, members);
    if (error != 0) return error;
    zafo::PutLine(&text, name, name + ":x:" + std::to_string(group.nGid) + ':' + members);
    return zafo::ReplaceAccountFile(zafo::kGroupFile, text);
}

}  // namespace

int ZAFOGroupEnum(QLIBSZLIST **list, int type) {
    return zafo::AppendOrdinary(zafo::kGroups, list, type);
}

int ZAFOGroupGetLocal(const char *name, ZAFOGROUP **record) {
    if (name == nullptr || record == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return GetGroup(record, [=](const GroupEntry &group) { return group.name == name; });
}

int ZAFOGroupGet(const char *name, ZAFOGROUP **record) {
    return ZAFOGroupGetLocal(name, record);
}

int ZAFOGroupGetLocalByGID(uint32_t gid, ZAFOGROUP **record) {
    if (record == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return GetGroup(record, [=](const GroupEntry &group) { return group.gid == gid; });
}

int ZAFOGroupSet(int flags, const ZAFOGROUP *group) {
    if (flags != 0 || group == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] { return zafo::ResultOf(Create(*group)); });
}

int ZAFOGroupDescGet(const char *name, char **description, size_t *size) {
    if (name == nullptr || description == nullptr || size == nullptr) {
        return Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    const auto named = [=](const GroupEntry &group) { return group.name == name; };
    return zafo::WithAccount(zafo::kGroups, named, [=](const GroupEntry & /*group*/) {
        std::string text;
        const int error = zafo::ReadAccountText(zafo::kDescriptionSection, name, &text);
        if (error != 0) return Fail(error);
        if (*description == nullptr || *size <= text.size()) {
            auto *grown = static_cast<char *>(realloc(*description, text.size() + 1));
            if (grown == nullptr) return Fail(QLIB_ERR_OUT_OF_MEMORY);
            *description = grown;
            *size = text.size() + 1;
        }
        std::memcpy(*description, text.c_str(), text.size() + 1);
        return 0;
    });
}
