// SPDX-License-Identifier: Apache-2.0
//
// Changes to memberships. A group lists a member twice, by login name in "memberUid" (RFC 2307) and
// by DN in "member" (RFC 4519 section 2.17). One record changes both, so that the server applies
// both or neither.
#include "platform/error.h"
#include "src/accounts/account_record.h"
#include "src/accounts/account_search.h"
#include "src/core/change_file.h"
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/membership.h"

namespace {

struct Change {
    const char *word;
    bool of_members;  // applies where the group lists the user; else where it does not
};

constexpr Change kAdd{"add", false};
constexpr Change kDelete{"delete", true};

// Parts of records: "-" separates modifications, an empty line separates records ----------

void WriteModify(ZAFOLDAP_LDIF *ldif, const char *group_dn) {
    zafo::WriteValue(ldif, "dn", group_dn);
    ZAFOLDAPLdifAttr(ldif, "changetype", "%s", "modify");
}

void WriteMemberUid(ZAFOLDAP_LDIF *ldif, const char *uid) {
    zafo::WriteValue(ldif, "memberUid", uid);
}

void WriteMember(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const char *uid) {
    zafo::WriteValue(ldif, "member", zafo::MemberDN(host, uid).c_str());
}

void EndModification(ZAFOLDAP_LDIF *ldif) {
    ZAFOLDAPLdifLine(ldif, "-");
}

void EndRecord(ZAFOLDAP_LDIF *ldif) {
    ZAFOLDAPLdifLine(ldif, "%s", "");
}

// Changes both attributes for one user.
void WriteChange(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const Change &change,
                 const char *uid) {
    ZAFOLDAPLdifAttr(ldif, change.word, "%s", "memberUid");
    WriteMemberUid(ldif, uid);
    EndModification(ldif);
    ZAFOLDAPLdifAttr(ldif, change.word, "%s", "member");
    WriteMember(ldif, host, uid);
}

// Changes both attributes for all users of a list.
void WriteChanges(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const Change &change,
                  const QLIBSZLIST *user_uids) {
    ZAFOLDAPLdifAttr(ldif, change.word, "%s", "memberUid");
    for (int i = 0; i < user_uids->nItem; ++i)
        WriteMemberUid(ldif, zafo::ItemAt(user_uids, i));
    EndModification(ldif);
    ZAFOLDAPLdifAttr(ldif, change.word, "%s", "member");
    for (int i = 0; i < user_uids->nItem; ++i)
        WriteMember(ldif, host, zafo::ItemAt(user_uids, i));
}

// Whole records ---------------------------------------------------------------------------

void WriteMembership(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const char *group_dn,
                     const Change &change, const char *uid) {
    WriteModify(ldif, group_dn);
    WriteChange(ldif, host, change, uid);
    EndRecord(ldif);
}

void WriteGroupSide(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const char *group_dn,
                    const QLIBSZLIST *added_user_uids, const QLIBSZLIST *removed_user_uids) {
    WriteModify(ldif, group_dn);
    if (added_user_uids != nullptr) {
        WriteChanges(ldif, host, kAdd, added_user_uids);
        EndModification(ldif);
    }
    if (removed_user_uids != nullptr) WriteChanges(ldif, host, kDelete, removed_user_uids);
}

void WriteRename(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const char *group_dn,
                 const char *uid, const char *new_uid) {
    WriteModify(ldif, group_dn);
    WriteChange(ldif, host, kDelete, uid);
    if (new_uid != nullptr) {
        EndModification(ldif);
        WriteChange(ldif, host, kAdd, new_uid);
    }
    EndRecord(ldif);
}

// Operations ------------------------------------------------------------------------------

// Changes the listed groups, skipping those that need no change.
void WriteWhereNeeded(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const Change &change,
                      const char *uid, const QLIBSZLIST *group_dns, const zafo::List &current) {
    for (int i = 0; group_dns != nullptr && i < group_dns->nItem; ++i) {
        const char *group_dn = zafo::ItemAt(group_dns, i);
        const bool is_listed = QLIBCSzListCaseFind(current.get(), group_dn) >= 0;
        if (is_listed == change.of_members) {
            WriteMembership(ldif, host, group_dn, change, uid);
        }
    }
}

int Apply(const ZAFOLDAP_HOST *host, zafo::ChangeFile *file, const char *uid) {
    if (file->Apply(host) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPModify failed [%s] [0x%04X]", uid, zafo::PlatformError());
}

// DNs from a server are as untrusted as those from a caller.
bool CanBeWritten(const zafo::List &dns) {
    if (zafo::AreOneLineEach(dns.get())) return true;
    ZAFO_LOG("the DN of a group has a line break");
    QLIBCErrSet(QLIB_ERR_BAD_FORMAT);
    return false;
}

// A failed lookup is treated like a number that no group has.
int WriteByGid(ZAFOLDAP_LDIF *ldif, const ZAFOLDAP_HOST &host, const Change &change,
               const char *uid, const unsigned int *gid) {
    if (gid == nullptr) return 0;
    zafo::List dns;
    const int count = ZAFOLDAPBrowserGroupEnumByGIDNumber(&host, *gid, dns.address());
    if (count <= 0) return 0;
    if (!CanBeWritten(dns)) return -1;
    for (int i = 0; i < dns.size(); ++i)
        WriteMembership(ldif, host, dns[i], change, uid);
    return 0;
}

// As UserNameAt; logs if there is no such user.
int UserNameToChange(const ZAFOLDAP_HOST *host, const char *user_dn, zafo::FoundText &name) {
    const int found = zafo::UserNameAt(host, user_dn, name);
    if (found == 0) ZAFO_LOG("ZAFOLDAPUserDN2UID failed! Bad format of DN [%s]", user_dn);
    return found;
}

}  // namespace

int ZAFOLDAPBrowserGroupEditByUserUID(const ZAFOLDAP_HOST *host, const char *uid,
                                      const QLIBSZLIST *added_group_dns,
                                      const QLIBSZLIST *removed_group_dns) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (uid == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (added_group_dns == nullptr && removed_group_dns == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL != pAddedGroupDNList || NULL != pRemovedGroupDNList");
    }
    if (!zafo::IsOneLine(uid)) return ZAFO_NOT_ONE_LINE("szUserUID");
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(added_group_dns))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pAddedGroupDNList)");
    if (!zafo::AreOneLineEach(removed_group_dns))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pRemovedGroupDNList)");

    return zafo::Guarded(-1, [&] {
        zafo::ChangeFile file;
        if (file.Open() != 0) return -1;
        zafo::List current;
        if (ZAFOLDAPBrowserGroupEnumByUserUID(host, uid, current.address(), nullptr) < 0) {
            return ZAFO_FAILURE("get group list for user %s failed.", uid);
        }
        if (QLIBCSzListSortItems(current.get(), QLIB_SZLIST_SORT_NOCASE) < 0) return -1;
        WriteWhereNeeded(file.get(), *host, kAdd, uid, added_group_dns, current);
        WriteWhereNeeded(file.get(), *host, kDelete, uid, removed_group_dns, current);
        return Apply(host, &file, uid);
    });
}

int ZAFOLDAPBrowserGroupEditByUserDN(const ZAFOLDAP_HOST *host, const char *user_dn,
                                     const QLIBSZLIST *added_group_dns,
                                     const QLIBSZLIST *removed_group_dns) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (user_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (added_group_dns == nullptr && removed_group_dns == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL != pAddedGroupDNList || NULL != pRemovedGroupDNList");
    }
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(added_group_dns))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pAddedGroupDNList)");
    if (!zafo::AreOneLineEach(removed_group_dns))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pRemovedGroupDNList)");

    zafo::FoundText name;
    if (UserNameToChange(host, user_dn, name) != 1) return -1;
    return ZAFOLDAPBrowserGroupEditByUserUID(host, name, added_group_dns, removed_group_dns);
}

int ZAFOLDAPBrowserUserEditByGroupDN(const ZAFOLDAP_HOST *host, const char *group_dn,
                                     const QLIBSZLIST *added_user_uids,
                                     const QLIBSZLIST *removed_user_uids) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (group_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (added_user_uids == nullptr && removed_user_uids == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL != pAddedUserUIDList || NULL != pRemovedUserUIDList");
    }
    if (!zafo::IsOneLine(group_dn)) return ZAFO_NOT_ONE_LINE("szGroupDN");
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(added_user_uids))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pAddedUserUIDList)");
    if (!zafo::AreOneLineEach(removed_user_uids))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pRemovedUserUIDList)");

    return zafo::Guarded(-1, [&] {
        zafo::ChangeFile file;
        if (file.Open() != 0) return -1;
        WriteGroupSide(file.get(), *host, group_dn, added_user_uids, removed_user_uids);
        return file.Apply(host);
    });
}

int ZAFOLDAPBrowserGroupEditWhenUserUIDChange(const ZAFOLDAP_HOST *host, const char *uid,
                                              const char *new_uid) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (uid == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (!zafo::IsOneLine(uid)) return ZAFO_NOT_ONE_LINE("szUserUID");
    if (!zafo::IsOneLine(new_uid)) return ZAFO_NOT_ONE_LINE("szNewUserUID");
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");

    return zafo::Guarded(-1, [&] {
        zafo::List dns;
        const int count = ZAFOLDAPBrowserGroupEnumByUserUID(host, uid, dns.address(), nullptr);
        if (count <= 0) return count;
        if (!CanBeWritten(dns)) return -1;
        zafo::ChangeFile file;
        if (file.Open() != 0) return -1;
        for (int i = 0; i < dns.size(); ++i)
            WriteRename(file.get(), *host, dns[i], uid, new_uid);
        return Apply(host, &file, uid);
    });
}

int ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(const ZAFOLDAP_HOST *host,
                                                      const char *user_dn, const char *new_uid) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (user_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (!zafo::IsOneLine(new_uid)) return ZAFO_NOT_ONE_LINE("szNewUserUID");
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");

    zafo::FoundText name;
    if (UserNameToChange(host, user_dn, name) != 1) return -1;
    return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(host, name, new_uid);
}

int ZAFOLDAPBrowserGroupEditWhenUserGIDChange(const ZAFOLDAP_HOST *host, const char *uid,
                                              const unsigned int *old_gid,
                                              const unsigned int *new_gid) {
    if (!zafo::HasLoginSuffix(host, __FILE_NAME__)) return -1;
    if (uid == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (!zafo::IsOneLine(uid)) return ZAFO_NOT_ONE_LINE("szUserUID");
    if (!zafo::IsOneLine(host->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");

    return zafo::Guarded(-1, [&] {
        zafo::ChangeFile file;
        if (file.Open() != 0 || WriteByGid(file.get(), *host, kDelete, uid, old_gid) != 0 ||
            WriteByGid(file.get(), *host, kAdd, uid, new_gid) != 0) {
            return -1;
        }
        return Apply(host, &file, uid);
    });
}
