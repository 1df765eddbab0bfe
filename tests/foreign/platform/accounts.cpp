// SPDX-License-Identifier: Apache-2.0
//
// Account records and the local database.
#include <strings.h>

#include <algorithm>
#include <cstdlib>

#include "tests/foreign/platform/state.h"

namespace zafo::foreign {

namespace {

Strings Fields(const ZAFOUSER *user) {
    if (user == nullptr) return {"(null)"};
    return {Text(user->szName),    Text(user->szPasswd),   Decimal(user->pw_uid),
            Decimal(user->pw_gid), Text(user->szFullname), Text(user->pw_dir),
            Text(user->pw_shell),  Decimal(user->nExpire), Decimal(user->blDisallowChangePasswd),
            Text(user->szMail)};
}

Strings MemberNames(const char *const *members) {
    Strings names;
    for (size_t i = 0; members != nullptr && members[i] != nullptr; ++i)
        names.emplace_back(members[i]);
    return names;
}

std::string Joined(const char *const *members) {
    if (members == nullptr) return "(null)";
    std::string text;
    for (const std::string &name : MemberNames(members))
        text += (text.empty() ? "" : ",") + name;
    return text;
}

Strings Behind(std::string first, const Strings &others) {
    Strings all{std::move(first)};
    all.insert(all.end(), others.begin(), others.end());
    return all;
}

std::optional<std::string> Optional(const char *text) {
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

void MakeUser(const Step &step, ZAFOUSER **place, const LocalUser &from, int type, const char *by) {
    auto *user = static_cast<ZAFOUSER *>(std::calloc(1, sizeof(ZAFOUSER)));
    if (user == nullptr) std::abort();
    user->szName = Copy(from.name.c_str());
    user->szPasswd = CopyOrNull(from.password);
    user->pw_uid = from.uid;
    user->pw_gid = from.gid;
    user->szFullname = CopyOrNull(from.full_name);
    user->pw_dir = CopyOrNull(from.folder);
    user->pw_shell = CopyOrNull(from.shell);
    user->nExpire = from.expire;
    user->blDisallowChangePasswd = from.may_not_change;
    user->szMail = CopyOrNull(from.mail);
    user->nType = type;
    step.state().Made(user, by);
    step.state().users[user] = UserOwned{*user};
    *place = user;
}

void MakeGroup(const Step &step, ZAFOGROUP **place, const char *name, uint32_t gid,
               const Strings *members, const char *by) {
    auto *group = static_cast<ZAFOGROUP *>(std::calloc(1, sizeof(ZAFOGROUP)));
    if (group == nullptr) std::abort();
    GroupOwned owned{};
    group->szName = Copy(name);
    group->nGid = gid;
    group->nType = ZAFO_ACCOUNT_LOCAL;
    if (members != nullptr) {
        group->pszMembers = static_cast<char **>(std::calloc(members->size() + 1, sizeof(char *)));
        if (group->pszMembers == nullptr) std::abort();
        for (size_t i = 0; i < members->size(); ++i)
            group->pszMembers[i] = Copy((*members)[i].c_str());
        owned.members = {group->pszMembers, group->pszMembers + members->size()};
    }
    owned.made = *group;
    step.state().Made(group, by);
    step.state().groups[group] = owned;
    *place = group;
}

const LocalUser *FindUser(const Step &step, const std::function<bool(const LocalUser &)> &fits) {
    const auto &users = step.platform().users;
    const auto found = std::find_if(users.begin(), users.end(), fits);
    return found == users.end() ? nullptr : &*found;
}

const LocalGroup *FindGroup(const Step &step, const std::function<bool(const LocalGroup &)> &fits) {
    const auto &groups = step.platform().groups;
    const auto found = std::find_if(groups.begin(), groups.end(), fits);
    return found == groups.end() ? nullptr : &*found;
}

int GetUser(const Step &step, const char *name, ZAFOUSER **place, const char *by) {
    if (step.Fails()) return step.Result();
    if (!step.Given(name, "name") || !step.Given(place, "place")) return -1;
    const LocalUser *user = FindUser(step, [&](const LocalUser &one) { return one.name == name; });
    if (user == nullptr) return step.Failure(QLIB_ERR_NO_SUCH_USER);
    MakeUser(step, place, *user, ZAFO_ACCOUNT_LOCAL, by);
    return step.Success(0);
}

int GetGroup(const Step &step, const char *name, ZAFOGROUP **place, const char *by) {
    if (step.Fails()) return step.Result();
    if (!step.Given(name, "name") || !step.Given(place, "place")) return -1;
    const LocalGroup *group =
        FindGroup(step, [&](const LocalGroup &one) { return one.name == name; });
    if (group == nullptr) return step.Failure(QLIB_ERR_NO_SUCH_GROUP);
    MakeGroup(step, place, group->name.c_str(), group->gid,
              group->members ? &*group->members : nullptr, by);
    return step.Success(0);
}

bool SameFields(const ZAFOUSER &a, const ZAFOUSER &b) {
    return a.szName == b.szName && a.szPasswd == b.szPasswd && a.szFullname == b.szFullname &&
           a.pw_dir == b.pw_dir && a.pw_shell == b.pw_shell && a.szMail == b.szMail;
}

}  // namespace

}  // namespace zafo::foreign

using namespace zafo::foreign;

QLIBCMRESULT *QLIBCMResultAlloc(void) {
    const Step step("QLIBCMResultAlloc", {});
    if (step.Fails()) return nullptr;
    auto *result = static_cast<QLIBCMRESULT *>(std::calloc(1, sizeof(QLIBCMRESULT)));
    if (result == nullptr) std::abort();
    step.state().Made(result, "QLIBCMResultAlloc");
    return result;
}

void QLIBCMResultFree(QLIBCMRESULT *pResult) {
    const Step step("QLIBCMResultFree", {});
    if (!step.Live(pResult, "result")) return;
    step.state().Freed(pResult);
    step.state().quarantine.Take(pResult, sizeof *pResult);
}

int ZAFOUserAlloc(ZAFOUSER **ppUser, const char *szName, const char *szPasswd, uint32_t pw_uid,
                  uint32_t pw_gid, const char *szFullname, const char *pw_dir, const char *pw_shell,
                  long nExpire, int blDisallowChangePasswd, const char *szMail) {
    const Step step("ZAFOUserAlloc",
                    {Text(szName), Text(szPasswd), Decimal(pw_uid), Decimal(pw_gid),
                     Text(szFullname), Text(pw_dir), Text(pw_shell), Decimal(nExpire),
                     Decimal(blDisallowChangePasswd), Text(szMail)});
    if (step.Fails()) return step.Result();
    if (!step.Given(ppUser, "place") || !step.Given(szName, "name")) return -1;
    LocalUser from{};
    from.name = szName;
    from.password = Optional(szPasswd);
    from.uid = pw_uid;
    from.gid = pw_gid;
    from.full_name = Optional(szFullname);
    from.folder = Optional(pw_dir);
    from.shell = Optional(pw_shell);
    from.expire = nExpire;
    from.may_not_change = blDisallowChangePasswd;
    from.mail = Optional(szMail);
    MakeUser(step, ppUser, from, ZAFO_ACCOUNT_LOCAL, "ZAFOUserAlloc");
    return step.Success();
}

void ZAFOUserFree(ZAFOUSER *pUser) {
    const Step step("ZAFOUserFree", {});
    if (!step.Live(pUser, "user")) return;
    const ZAFOUSER made = step.state().users[pUser].made;
    if (!SameFields(made, *pUser))
        step.Fault("a text of the record is not the one that it was made with");
    for (char *text :
         {made.szName, made.szPasswd, made.szFullname, made.pw_dir, made.pw_shell, made.szMail})
        step.state().quarantine.TakeText(text);
    step.state().users.erase(pUser);
    step.state().Freed(pUser);
    step.state().quarantine.Take(pUser, sizeof *pUser);
}

int ZAFOUserEnum(QLIBSZLIST **ppList, int nType) {
    const Step step("ZAFOUserEnum", {Decimal(nType)});
    if (step.Fails()) return step.Result();
    if (!step.Given(ppList, "place") || !step.Live(*ppList, "list")) return -1;
    if (nType != ZAFO_ACCOUNT_LOCAL) return step.Fault("type");
    for (const LocalUser &user : step.platform().users)
        Append(ppList, user.name);
    return step.Success();
}

int ZAFOUserGet(const char *szName, ZAFOUSER **ppUser) {
    const Step step("ZAFOUserGet", {Text(szName)});
    return GetUser(step, szName, ppUser, "ZAFOUserGet");
}

int ZAFOUserGetLocal(const char *szName, ZAFOUSER **ppUser) {
    const Step step("ZAFOUserGetLocal", {Text(szName)});
    return GetUser(step, szName, ppUser, "ZAFOUserGetLocal");
}

int ZAFOUserGetLocalByUID(uint32_t uid, ZAFOUSER **ppUser) {
    const Step step("ZAFOUserGetLocalByUID", {Decimal(uid)});
    if (step.Fails()) return step.Result();
    if (!step.Given(ppUser, "place")) return -1;
    const LocalUser *user = FindUser(step, [&](const LocalUser &one) { return one.uid == uid; });
    if (user == nullptr) return step.Failure(QLIB_ERR_NO_SUCH_USER);
    MakeUser(step, ppUser, *user, ZAFO_ACCOUNT_LOCAL, "ZAFOUserGetLocalByUID");
    return step.Success(0);
}

int ZAFOUserSetOne(int nFlags, const ZAFOUSER *pUser, QLIBCMRESULT *pResult) {
    const Step step("ZAFOUserSetOne", Behind(Hex(static_cast<unsigned>(nFlags)), Fields(pUser)));
    if (step.Fails()) return step.Result();
    if (!step.Given(pUser, "user") || !step.Given(pUser->szName, "name") ||
        !step.Live(pResult, "result"))
        return -1;
    LocalUser user{};
    user.name = pUser->szName;
    user.password = Optional(pUser->szPasswd);
    user.uid = pUser->pw_uid;
    user.gid = pUser->pw_gid;
    user.full_name = Optional(pUser->szFullname);
    user.folder = Optional(pUser->pw_dir);
    user.shell = Optional(pUser->pw_shell);
    user.expire = pUser->nExpire;
    user.may_not_change = pUser->blDisallowChangePasswd;
    user.mail = Optional(pUser->szMail);
    step.platform().users.push_back(user);
    --step.platform().users_left;
    ++pResult->nDone;
    return step.Success(0);
}

int QLIBUserSmbPasswdGet(const char *szName, char *szLmHash, size_t cbLmHash, char *szNtHash,
                         size_t cbNtHash) {
    const Step step("QLIBUserSmbPasswdGet", {Text(szName), Decimal(cbLmHash), Decimal(cbNtHash)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szName, "name")) return -1;
    const LocalUser *user =
        FindUser(step, [&](const LocalUser &one) { return one.name == szName; });
    if (user == nullptr) return step.Failure(QLIB_ERR_NO_SUCH_USER);
    if (!step.Put(user->lm_hash, szLmHash, cbLmHash) ||
        !step.Put(user->nt_hash, szNtHash, cbNtHash))
        return -1;
    return step.Success(0);
}

int QLIBUserImportPasswd(const char *const *pszNames, const char *const *pszCryptHashes,
                         const char *const *pszLmHashes, const char *const *pszNtHashes,
                         int nCount) {
    Strings arguments;
    const bool whole = pszNames != nullptr && pszCryptHashes != nullptr && pszLmHashes != nullptr &&
                       pszNtHashes != nullptr;
    for (int i = 0; whole && i < nCount; ++i)
        for (const char *text : {pszNames[i], pszCryptHashes[i], pszLmHashes[i], pszNtHashes[i]})
            arguments.push_back(Text(text));
    arguments.push_back(Decimal(nCount));
    const Step step("QLIBUserImportPasswd", arguments);
    if (step.Fails()) return step.Result();
    return whole ? step.Success(0) : step.Fault("no array");
}

int QLIBUserNumRemained(void) {
    const Step step("QLIBUserNumRemained", {});
    return step.Fails() ? step.Result() : step.Success(step.platform().users_left);
}

int ZAFOGroupAlloc(ZAFOGROUP **ppGroup, const char *szName, uint32_t nGid,
                   const char *const *pszMembers) {
    const Step step("ZAFOGroupAlloc", {Text(szName), Decimal(nGid), Joined(pszMembers)});
    if (step.Fails()) return step.Result();
    if (!step.Given(ppGroup, "place") || !step.Given(szName, "name")) return -1;
    const Strings members = MemberNames(pszMembers);
    MakeGroup(step, ppGroup, szName, nGid, pszMembers == nullptr ? nullptr : &members,
              "ZAFOGroupAlloc");
    return step.Success();
}

void ZAFOGroupFree(ZAFOGROUP *pGroup) {
    const Step step("ZAFOGroupFree", {});
    if (!step.Live(pGroup, "group")) return;
    const GroupOwned owned = step.state().groups[pGroup];
    if (owned.made.szName != pGroup->szName || owned.made.pszMembers != pGroup->pszMembers)
        step.Fault("a text of the record is not the one that it was made with");
    step.state().quarantine.TakeText(owned.made.szName);
    for (char *member : owned.members)
        step.state().quarantine.TakeText(member);
    if (owned.made.pszMembers != nullptr) step.state().quarantine.Take(owned.made.pszMembers, 0);
    step.state().groups.erase(pGroup);
    step.state().Freed(pGroup);
    step.state().quarantine.Take(pGroup, sizeof *pGroup);
}

int ZAFOGroupEnum(QLIBSZLIST **ppList, int nType) {
    const Step step("ZAFOGroupEnum", {Decimal(nType)});
    if (step.Fails()) return step.Result();
    if (!step.Given(ppList, "place") || !step.Live(*ppList, "list")) return -1;
    if (nType != ZAFO_ACCOUNT_LOCAL) return step.Fault("type");
    for (const LocalGroup &group : step.platform().groups)
        Append(ppList, group.name);
    return step.Success();
}

int ZAFOGroupGet(const char *szName, ZAFOGROUP **ppGroup) {
    const Step step("ZAFOGroupGet", {Text(szName)});
    return GetGroup(step, szName, ppGroup, "ZAFOGroupGet");
}

int ZAFOGroupGetLocal(const char *szName, ZAFOGROUP **ppGroup) {
    const Step step("ZAFOGroupGetLocal", {Text(szName)});
    return GetGroup(step, szName, ppGroup, "ZAFOGroupGetLocal");
}

int ZAFOGroupGetLocalByGID(uint32_t gid, ZAFOGROUP **ppGroup) {
    const Step step("ZAFOGroupGetLocalByGID", {Decimal(gid)});
    if (step.Fails()) return step.Result();
    if (!step.Given(ppGroup, "place")) return -1;
    const LocalGroup *group =
        FindGroup(step, [&](const LocalGroup &one) { return one.gid == gid; });
    if (group == nullptr) return step.Failure(QLIB_ERR_NO_SUCH_GROUP);
    MakeGroup(step, ppGroup, group->name.c_str(), group->gid,
              group->members ? &*group->members : nullptr, "ZAFOGroupGetLocalByGID");
    return step.Success(0);
}

int ZAFOGroupSet(int nFlags, const ZAFOGROUP *pGroup) {
    Strings arguments{Hex(static_cast<unsigned>(nFlags))};
    if (pGroup != nullptr) {
        const Strings fields{Text(pGroup->szName), Decimal(pGroup->nGid),
                             Joined(pGroup->pszMembers)};
        arguments.insert(arguments.end(), fields.begin(), fields.end());
    }
    const Step step("ZAFOGroupSet", arguments);
    if (step.Fails()) return step.Result();
    if (!step.Given(pGroup, "group") || !step.Given(pGroup->szName, "name")) return -1;
    LocalGroup group{};
    group.name = pGroup->szName;
    group.gid = pGroup->nGid;
    group.members = MemberNames(pGroup->pszMembers);
    step.platform().groups.push_back(group);
    return step.Success(0);
}

int ZAFOGroupDescGet(const char *szName, char **pszDesc, size_t *pcbDesc) {
    const Step step("ZAFOGroupDescGet", {Text(szName)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szName, "name") || !step.Given(pszDesc, "place") ||
        !step.Given(pcbDesc, "place of the size"))
        return -1;
    const LocalGroup *group =
        FindGroup(step, [&](const LocalGroup &one) { return one.name == szName; });
    if (group == nullptr) return step.Failure(QLIB_ERR_NO_SUCH_GROUP);
    const size_t need = group->description.size() + 1;
    if (*pszDesc == nullptr || *pcbDesc < need) {
        char *grown = static_cast<char *>(std::realloc(*pszDesc, need));
        if (grown == nullptr) std::abort();
        *pszDesc = grown;
        *pcbDesc = need;
    }
    std::memcpy(*pszDesc, group->description.c_str(), need);
    return step.Success(0);
}

int QLIBCUnicodeUTF8StrCaseCmp(const char *szA, const char *szB) {
    const Step step("QLIBCUnicodeUTF8StrCaseCmp", {Text(szA), Text(szB)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szA, "text") || !step.Given(szB, "other text")) return -1;
    return step.Success(strcasecmp(szA, szB));
}
