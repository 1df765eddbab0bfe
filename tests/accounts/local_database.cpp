// SPDX-License-Identifier: Apache-2.0
#include "tests/accounts/local_database.h"

#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/group.h"
#include "platform/user.h"

namespace zafo::accounts_test {

LocalDatabase &LocalDatabase::Get() {
    static LocalDatabase database;
    return database;
}

namespace {

LocalDatabase &Database() {
    return LocalDatabase::Get();
}

// Records a call. Returns whether it shall fail.
bool Fails(const std::string &function, const std::string &argument) {
    Database().asked.push_back(function + " " + argument);
    const auto failure = Database().failures.find(function);
    if (failure == Database().failures.end()) return false;
    QLIBCErrSet(failure->second);
    return true;
}

std::string TextOf(const char *text) {
    return text != nullptr ? text : "(null)";
}

// Overwrites the record without reading it, as a platform may.
template <class Out>
void ExpectNothingLost(Out **out) {
    EXPECT_EQ(*out, nullptr) << "the record before was not freed";
}

int Hand(const LocalUser &user, ZAFOUSER **out) {
    ExpectNothingLost(out);
    return ZAFOUserAlloc(out, user.name.c_str(), user.password.c_str(), user.uid, user.gid,
                         user.full_name.c_str(), user.home.c_str(), user.shell.c_str(), user.expire,
                         0, nullptr);
}

int Hand(const LocalGroup &group, ZAFOGROUP **out) {
    ExpectNothingLost(out);
    std::vector<const char *> members;
    for (const std::string &member : group.members)
        members.push_back(member.c_str());
    members.push_back(nullptr);
    return ZAFOGroupAlloc(out, group.name.c_str(), group.gid, members.data());
}

// The first account for which `matches` is true; -1 with the platform error if there is none.
template <class Account, class Out, class Matches>
int Find(const std::vector<Account> &accounts, int absent, Out **out, const Matches &matches) {
    for (const Account &account : accounts) {
        if (matches(account)) return Hand(account, out);
    }
    QLIBCErrSet(absent);
    return -1;
}

int FindUser(const char *name, ZAFOUSER **out) {
    return Find(Database().users, QLIB_ERR_NO_SUCH_USER, out,
                [=](const LocalUser &user) { return user.name == name; });
}

int FindGroup(const char *name, ZAFOGROUP **out) {
    return Find(Database().groups, QLIB_ERR_NO_SUCH_GROUP, out,
                [=](const LocalGroup &group) { return group.name == name; });
}

template <class Account>
int Names(const std::vector<Account> &accounts, QLIBSZLIST **list) {
    for (const Account &account : accounts)
        QLIBCSzListPush(list, account.name.c_str());
    return static_cast<int>(accounts.size());
}

}  // namespace
}  // namespace zafo::accounts_test

using namespace zafo::accounts_test;

QLIBCMRESULT *QLIBCMResultAlloc(void) {
    return Fails("QLIBCMResultAlloc", "") ? nullptr : new QLIBCMRESULT{};
}

void QLIBCMResultFree(QLIBCMRESULT *pResult) {
    delete pResult;
}

int ZAFOUserEnum(QLIBSZLIST **ppList, int nType) {
    if (Fails("ZAFOUserEnum", std::to_string(nType))) return -1;
    return Names(Database().users, ppList);
}

int ZAFOUserGet(const char *szName, ZAFOUSER **ppUser) {
    return Fails("ZAFOUserGet", szName) ? -1 : FindUser(szName, ppUser);
}

int ZAFOUserGetLocal(const char *szName, ZAFOUSER **ppUser) {
    return Fails("ZAFOUserGetLocal", szName) ? -1 : FindUser(szName, ppUser);
}

int ZAFOUserGetLocalByUID(uint32_t uid, ZAFOUSER **ppUser) {
    if (Fails("ZAFOUserGetLocalByUID", std::to_string(uid))) return -1;
    return Find(Database().users, QLIB_ERR_NO_SUCH_USER, ppUser,
                [=](const LocalUser &user) { return user.uid == uid; });
}

int ZAFOUserSetOne(int nFlags, const ZAFOUSER *pUser, QLIBCMRESULT *pResult) {
    if (pResult == nullptr || nFlags != 0) std::abort();
    if (Fails("ZAFOUserSetOne", pUser->szName)) return -1;
    --Database().room;
    Database().stored_users.push_back({pUser->szName, TextOf(pUser->szPasswd), pUser->pw_uid,
                                       pUser->pw_gid, TextOf(pUser->szFullname),
                                       TextOf(pUser->pw_dir), TextOf(pUser->pw_shell),
                                       pUser->nExpire});
    Database().users.push_back(Database().stored_users.back());
    return 0;
}

int QLIBUserSmbPasswdGet(const char *szName, char *szLmHash, size_t cbLmHash, char *szNtHash,
                         size_t cbNtHash) {
    if (cbLmHash != 33 || cbNtHash != 33) std::abort();
    if (Fails("QLIBUserSmbPasswdGet", szName)) return -1;
    const Hashes &hashes = Database().samba[szName];
    std::strcpy(szLmHash, hashes.lm.c_str());
    std::strcpy(szNtHash, hashes.nt.c_str());
    return 0;
}

int QLIBUserImportPasswd(const char *const *pszNames, const char *const *pszCryptHashes,
                         const char *const *pszLmHashes, const char *const *pszNtHashes,
                         int nCount) {
    if (nCount != 1) std::abort();
    if (Fails("QLIBUserImportPasswd", pszNames[0])) return -1;
    Database().imported.push_back({pszNames[0], pszCryptHashes[0], pszLmHashes[0], pszNtHashes[0]});
    return 0;
}

int QLIBUserNumRemained(void) {
    return Fails("QLIBUserNumRemained", "") ? -1 : Database().room;
}

int ZAFOGroupEnum(QLIBSZLIST **ppList, int nType) {
    if (Fails("ZAFOGroupEnum", std::to_string(nType))) return -1;
    return Names(Database().groups, ppList);
}

int ZAFOGroupGet(const char *szName, ZAFOGROUP **ppGroup) {
    return Fails("ZAFOGroupGet", szName) ? -1 : FindGroup(szName, ppGroup);
}

int ZAFOGroupGetLocal(const char *szName, ZAFOGROUP **ppGroup) {
    return Fails("ZAFOGroupGetLocal", szName) ? -1 : FindGroup(szName, ppGroup);
}

int ZAFOGroupGetLocalByGID(uint32_t gid, ZAFOGROUP **ppGroup) {
    if (Fails("ZAFOGroupGetLocalByGID", std::to_string(gid))) return -1;
    return Find(Database().groups, QLIB_ERR_NO_SUCH_GROUP, ppGroup,
                [=](const LocalGroup &group) { return group.gid == gid; });
}

int ZAFOGroupSet(int nFlags, const ZAFOGROUP *pGroup) {
    if (nFlags != 0) std::abort();
    if (Fails("ZAFOGroupSet", pGroup->szName)) return -1;
    LocalGroup group{pGroup->szName, pGroup->nGid, {}, ""};
    for (char **member = pGroup->pszMembers; member != nullptr && *member != nullptr; ++member)
        group.members.emplace_back(*member);
    Database().stored_groups.push_back(group);
    Database().groups.push_back(group);
    return 0;
}

int ZAFOGroupDescGet(const char *szName, char **pszDesc, size_t *pcbDesc) {
    if (Fails("ZAFOGroupDescGet", szName)) return -1;
    if (Database().undescribed == szName) return 0;
    for (const LocalGroup &group : Database().groups) {
        if (group.name != szName || !group.description) continue;
        const size_t size = group.description->size() + 1;
        if (*pcbDesc < size) {
            *pszDesc = static_cast<char *>(std::realloc(*pszDesc, size));
            *pcbDesc = size;
        }
        std::memcpy(*pszDesc, group.description->c_str(), size);
        return 0;
    }
    QLIBCErrSet(QLIB_ERR_BAD_FORMAT);
    return -1;
}
