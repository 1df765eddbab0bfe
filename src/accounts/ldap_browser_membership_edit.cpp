// SPDX-License-Identifier: Apache-2.0
//
// Changes of memberships. A group lists a member twice, by login name in "memberUid"
// (RFC 2307) and by DN in "member" (RFC 4519 section 2.17); both are changed in
// one record, so that the server takes both or none.
#include "accounts/account_record.h"
#include "accounts/account_search.h"
#include "accounts/one_line.h"
#include "core/change_file.h"
#include "core/check_connection.h"
#include "core/list.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "zafoldap/membership.h"

namespace {

struct CHANGE {
    const char *szWord;
    bool blOfMembers;  // of use where the group lists the user, else where it does not
};

constexpr CHANGE kAdd{"add", false};
constexpr CHANGE kDelete{"delete", true};

// Parts of records: "-" separates modifications, an empty line records --------------------

void WriteModify(ZAFOLDAP_LDIF *pLDIF, const char *szGroupDN) {
    zafo::WriteValue(pLDIF, "dn", szGroupDN);
    ZAFOLDAPLdifAttr(pLDIF, "changetype", "%s", "modify");
}

void WriteMemberUid(ZAFOLDAP_LDIF *pLDIF, const char *szUserUID) {
    zafo::WriteValue(pLDIF, "memberUid", szUserUID);
}

void WriteMember(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const char *szUserUID) {
    zafo::WriteValue(pLDIF, "member", zafo::MemberDN(host, szUserUID).c_str());
}

void EndModification(ZAFOLDAP_LDIF *pLDIF) {
    ZAFOLDAPLdifLine(pLDIF, "-");
}

void EndRecord(ZAFOLDAP_LDIF *pLDIF) {
    ZAFOLDAPLdifLine(pLDIF, "%s", "");
}

// One user, both ways.
void WriteChange(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const CHANGE &change,
                 const char *szUserUID) {
    ZAFOLDAPLdifAttr(pLDIF, change.szWord, "%s", "memberUid");
    WriteMemberUid(pLDIF, szUserUID);
    EndModification(pLDIF);
    ZAFOLDAPLdifAttr(pLDIF, change.szWord, "%s", "member");
    WriteMember(pLDIF, host, szUserUID);
}

// All users of a list, both ways.
void WriteChanges(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const CHANGE &change,
                  const QLIBSZLIST *pUserUIDList) {
    ZAFOLDAPLdifAttr(pLDIF, change.szWord, "%s", "memberUid");
    for (int i = 0; i < pUserUIDList->nItem; ++i)
        WriteMemberUid(pLDIF, zafo::ItemAt(pUserUIDList, i));
    EndModification(pLDIF);
    ZAFOLDAPLdifAttr(pLDIF, change.szWord, "%s", "member");
    for (int i = 0; i < pUserUIDList->nItem; ++i)
        WriteMember(pLDIF, host, zafo::ItemAt(pUserUIDList, i));
}

// Whole records ---------------------------------------------------------------------------

void WriteMembership(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const char *szGroupDN,
                     const CHANGE &change, const char *szUserUID) {
    WriteModify(pLDIF, szGroupDN);
    WriteChange(pLDIF, host, change, szUserUID);
    EndRecord(pLDIF);
}

void WriteGroupSide(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const char *szGroupDN,
                    const QLIBSZLIST *pAddedUserUIDList, const QLIBSZLIST *pRemovedUserUIDList) {
    WriteModify(pLDIF, szGroupDN);
    if (pAddedUserUIDList != nullptr) {
        WriteChanges(pLDIF, host, kAdd, pAddedUserUIDList);
        EndModification(pLDIF);
    }
    if (pRemovedUserUIDList != nullptr) WriteChanges(pLDIF, host, kDelete, pRemovedUserUIDList);
}

void WriteRename(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const char *szGroupDN,
                 const char *szUserUID, const char *szNewUserUID) {
    WriteModify(pLDIF, szGroupDN);
    WriteChange(pLDIF, host, kDelete, szUserUID);
    if (szNewUserUID != nullptr) {
        EndModification(pLDIF);
        WriteChange(pLDIF, host, kAdd, szNewUserUID);
    }
    EndRecord(pLDIF);
}

// Operations ------------------------------------------------------------------------------

// A change of the groups of one list, left out where it is done already.
void WriteWhereNeeded(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const CHANGE &change,
                      const char *szUserUID, const QLIBSZLIST *pGroupDNList,
                      const zafo::List &current) {
    for (int i = 0; pGroupDNList != nullptr && i < pGroupDNList->nItem; ++i) {
        const char *szGroupDN = zafo::ItemAt(pGroupDNList, i);
        const bool blListed = QLIBCSzListCaseFind(current.get(), szGroupDN) >= 0;
        if (blListed == change.blOfMembers) {
            WriteMembership(pLDIF, host, szGroupDN, change, szUserUID);
        }
    }
}

int Apply(const ZAFOLDAP_HOST *pHost, zafo::ChangeFile *pFile, const char *szUserUID) {
    if (pFile->Apply(pHost) == 0) return 0;
    ZAFO_LOG("ZAFOLDAPModify failed [%s] [0x%04X]", szUserUID, zafo::PlatformError());
    return -1;
}

// DNs that a server gave are as foreign as those of a caller.
bool CanBeWritten(const zafo::List &dns) {
    if (zafo::AreOneLineEach(dns.get())) return true;
    ZAFO_LOG("the DN of a group has a line break");
    QLIBCErrSet(QLIB_ERR_BAD_FORMAT);
    return false;
}

// A number that cannot be looked up is one that no group has.
int WriteByGid(ZAFOLDAP_LDIF *pLDIF, const ZAFOLDAP_HOST &host, const CHANGE &change,
               const char *szUserUID, const unsigned int *pGid) {
    if (pGid == nullptr) return 0;
    zafo::List dns;
    const int nGroups = ZAFOLDAPBrowserGroupEnumByGIDNumber(&host, *pGid, dns.address());
    if (nGroups <= 0) return 0;
    if (!CanBeWritten(dns)) return -1;
    for (int i = 0; i < dns.size(); ++i)
        WriteMembership(pLDIF, host, dns[i], change, szUserUID);
    return 0;
}

// As UserNameAt for what is changed.
int UserNameToChange(const ZAFOLDAP_HOST *pHost, const char *szUserDN, zafo::FoundText &szName) {
    const int nFound = zafo::UserNameAt(pHost, szUserDN, szName);
    if (nFound == 0) ZAFO_LOG("ZAFOLDAPUserDN2UID failed! Bad format of DN [%s]", szUserDN);
    return nFound;
}

// Every change checks its connection first.
bool HasLoginSuffix(const ZAFOLDAP_HOST *host, int line = __builtin_LINE()) {
    if (!zafo::IsConnection(host, __FILE_NAME__, line)) return false;
    if (host->szLoginSuffix != nullptr) return true;
    zafo::BadArgument(__FILE_NAME__, line, "NULL != pHost->szLoginSuffix");
    return false;
}

}  // namespace

int ZAFOLDAPBrowserGroupEditByUserUID(const ZAFOLDAP_HOST *pHost, const char *szUserUID,
                                      const QLIBSZLIST *pAddedGroupDNList,
                                      const QLIBSZLIST *pRemovedGroupDNList) {
    if (!HasLoginSuffix(pHost)) return -1;
    if (szUserUID == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (pAddedGroupDNList == nullptr && pRemovedGroupDNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL != pAddedGroupDNList || NULL != pRemovedGroupDNList");
    }
    if (!zafo::IsOneLine(szUserUID)) return ZAFO_NOT_ONE_LINE("szUserUID");
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(pAddedGroupDNList))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pAddedGroupDNList)");
    if (!zafo::AreOneLineEach(pRemovedGroupDNList))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pRemovedGroupDNList)");

    return zafo::Guarded(-1, [&] {
        zafo::ChangeFile file;
        if (file.Open() != 0) return -1;
        zafo::List current;
        if (ZAFOLDAPBrowserGroupEnumByUserUID(pHost, szUserUID, current.address(), nullptr) < 0) {
            ZAFO_LOG("get group list for user %s failed.", szUserUID);
            return -1;
        }
        if (QLIBCSzListSortItems(current.get(), QLIB_SZLIST_SORT_NOCASE) < 0) return -1;
        WriteWhereNeeded(file.get(), *pHost, kAdd, szUserUID, pAddedGroupDNList, current);
        WriteWhereNeeded(file.get(), *pHost, kDelete, szUserUID, pRemovedGroupDNList, current);
        return Apply(pHost, &file, szUserUID);
    });
}

int ZAFOLDAPBrowserGroupEditByUserDN(const ZAFOLDAP_HOST *pHost, const char *szUserDN,
                                     const QLIBSZLIST *pAddedGroupDNList,
                                     const QLIBSZLIST *pRemovedGroupDNList) {
    if (!HasLoginSuffix(pHost)) return -1;
    if (szUserDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (pAddedGroupDNList == nullptr && pRemovedGroupDNList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL != pAddedGroupDNList || NULL != pRemovedGroupDNList");
    }
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(pAddedGroupDNList))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pAddedGroupDNList)");
    if (!zafo::AreOneLineEach(pRemovedGroupDNList))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pRemovedGroupDNList)");

    zafo::FoundText szName;
    if (UserNameToChange(pHost, szUserDN, szName) != 1) return -1;
    return ZAFOLDAPBrowserGroupEditByUserUID(pHost, szName, pAddedGroupDNList, pRemovedGroupDNList);
}

int ZAFOLDAPBrowserUserEditByGroupDN(const ZAFOLDAP_HOST *pHost, const char *szGroupDN,
                                     const QLIBSZLIST *pAddedUserUIDList,
                                     const QLIBSZLIST *pRemovedUserUIDList) {
    if (!HasLoginSuffix(pHost)) return -1;
    if (szGroupDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szGroupDN");
    if (pAddedUserUIDList == nullptr && pRemovedUserUIDList == nullptr) {
        return ZAFO_BAD_ARGUMENT("NULL != pAddedUserUIDList || NULL != pRemovedUserUIDList");
    }
    if (!zafo::IsOneLine(szGroupDN)) return ZAFO_NOT_ONE_LINE("szGroupDN");
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");
    if (!zafo::AreOneLineEach(pAddedUserUIDList))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pAddedUserUIDList)");
    if (!zafo::AreOneLineEach(pRemovedUserUIDList))
        return ZAFO_BAD_ARGUMENT("AreOneLineEach(pRemovedUserUIDList)");

    return zafo::Guarded(-1, [&] {
        zafo::ChangeFile file;
        if (file.Open() != 0) return -1;
        WriteGroupSide(file.get(), *pHost, szGroupDN, pAddedUserUIDList, pRemovedUserUIDList);
        return file.Apply(pHost);
    });
}

int ZAFOLDAPBrowserGroupEditWhenUserUIDChange(const ZAFOLDAP_HOST *pHost, const char *szUserUID,
                                              const char *szNewUserUID) {
    if (!HasLoginSuffix(pHost)) return -1;
    if (szUserUID == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (!zafo::IsOneLine(szUserUID)) return ZAFO_NOT_ONE_LINE("szUserUID");
    if (!zafo::IsOneLine(szNewUserUID)) return ZAFO_NOT_ONE_LINE("szNewUserUID");
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");

    return zafo::Guarded(-1, [&] {
        zafo::List dns;
        const int nGroups =
            ZAFOLDAPBrowserGroupEnumByUserUID(pHost, szUserUID, dns.address(), nullptr);
        if (nGroups <= 0) return nGroups;
        if (!CanBeWritten(dns)) return -1;
        zafo::ChangeFile file;
        if (file.Open() != 0) return -1;
        for (int i = 0; i < dns.size(); ++i)
            WriteRename(file.get(), *pHost, dns[i], szUserUID, szNewUserUID);
        return Apply(pHost, &file, szUserUID);
    });
}

int ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(const ZAFOLDAP_HOST *pHost,
                                                      const char *szUserDN,
                                                      const char *szNewUserUID) {
    if (!HasLoginSuffix(pHost)) return -1;
    if (szUserDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (!zafo::IsOneLine(szNewUserUID)) return ZAFO_NOT_ONE_LINE("szNewUserUID");
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");

    zafo::FoundText szName;
    if (UserNameToChange(pHost, szUserDN, szName) != 1) return -1;
    return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(pHost, szName, szNewUserUID);
}

int ZAFOLDAPBrowserGroupEditWhenUserGIDChange(const ZAFOLDAP_HOST *pHost, const char *szUserUID,
                                              const unsigned int *pOldGid,
                                              const unsigned int *pNewGid) {
    if (!HasLoginSuffix(pHost)) return -1;
    if (szUserUID == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserUID");
    if (!zafo::IsOneLine(szUserUID)) return ZAFO_NOT_ONE_LINE("szUserUID");
    if (!zafo::IsOneLine(pHost->szBaseDN)) return ZAFO_NOT_ONE_LINE("pHost->szBaseDN");

    return zafo::Guarded(-1, [&] {
        zafo::ChangeFile file;
        if (file.Open() != 0 || WriteByGid(file.get(), *pHost, kDelete, szUserUID, pOldGid) != 0 ||
            WriteByGid(file.get(), *pHost, kAdd, szUserUID, pNewGid) != 0) {
            return -1;
        }
        return Apply(pHost, &file, szUserUID);
    });
}
