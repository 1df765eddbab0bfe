// SPDX-License-Identifier: Apache-2.0
#include "accounts/user_changes.h"

#include <strings.h>

#include <cstring>

#include "accounts/attribute_group.h"
#include "accounts/password_attributes.h"
#include "platform/group.h"
#include "zafoldap/object_class.h"

namespace zafo {

namespace {

void ReplaceNumber(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, unsigned long nNumber) {
    ZAFOLDAPLdifAttrReplace(pLDIF, szAttr, "%lu", nNumber);
}

// What the entry lacks differs from every text.
bool Differs(const char *szWanted, const char *szCurrent) {
    return szCurrent == nullptr || std::strcmp(szWanted, szCurrent) != 0;
}

// A text that can be taken away with "".
void ReplaceOrDelete(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szWanted,
                     const char *szCurrent) {
    if (szWanted == nullptr || !Differs(szWanted, szCurrent)) return;
    if (szWanted[0] != '\0') {
        ReplaceValue(pLDIF, szAttr, szWanted);
    } else if (szCurrent != nullptr) {
        ZAFOLDAPLdifAttrDelete(pLDIF, szAttr, nullptr);
    }
}

void WriteUid(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    const uint32_t uid = changes.pWanted->pw_uid;
    if (uid != UID_ERR && uid != changes.pCurrent->pw_uid) ReplaceNumber(pLDIF, "uidNumber", uid);
}

void WriteGid(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    const uint32_t gid = changes.pWanted->pw_gid;
    if (gid != GID_ERR && gid != changes.pCurrent->pw_gid) ReplaceNumber(pLDIF, "gidNumber", gid);
}

void WriteHome(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    const char *szHome = changes.pWanted->pw_dir;
    if (szHome != nullptr && Differs(szHome, changes.pCurrent->pw_dir)) {
        ReplaceValue(pLDIF, "homeDirectory", szHome);
    }
}

void WriteShell(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    ReplaceOrDelete(pLDIF, "loginShell", changes.pWanted->pw_shell, changes.pCurrent->pw_shell);
}

void WriteFullName(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    ReplaceOrDelete(pLDIF, "gecos", changes.pWanted->szFullname, changes.pCurrent->szFullname);
}

void WriteMail(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    ReplaceOrDelete(pLDIF, "mail", changes.pWanted->szMail, changes.pCurrent->szMail);
}

void WriteSambaPassword(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    if (changes.pWanted->szPasswd == nullptr) return;
    ReplaceValue(pLDIF, "sambaNTPassword", changes.szNtHash);
    ReplaceValue(pLDIF, "sambaLMPassword", kNoLmHash);
    ReplaceNumber(pLDIF, "sambaPwdLastSet", static_cast<unsigned long>(changes.tNow));
}

void WriteLastChange(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    if (changes.pWanted->szPasswd == nullptr) return;
    ReplaceNumber(pLDIF, "shadowLastChange", DaysOf(changes.tNow));
}

void WriteDisallow(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    const int *pBlDisallow = changes.pBlDisallowChPasswd;
    if (pBlDisallow == nullptr || *pBlDisallow == changes.pCurrent->blDisallowChangePasswd) return;
    ZAFOLDAPLdifAttrReplace(pLDIF, "shadowMin", "%d", ShadowMin(*pBlDisallow));
}

void WriteExpire(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    const long *plExpire = changes.plExpire;
    if (plExpire == nullptr || *plExpire == changes.pCurrent->nExpire) return;
    ZAFOLDAPLdifAttrReplace(pLDIF, "shadowExpire", "%ld", *plExpire);
}

// The name is in "uid" and "cn". The one that forms the RDN changes with it.
void WriteName(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    if (changes.szRDNAttr == nullptr) return;
    for (const char *szAttr : {"uid", "cn"}) {
        if (strcasecmp(changes.szRDNAttr, szAttr) != 0) {
            ReplaceValue(pLDIF, szAttr, changes.pWanted->szName);
        }
    }
}

constexpr ATTRIBUTE_GROUP<USER_CHANGES> kChanges[] = {
    {0, WriteUid},
    {0, WriteGid},
    {0, WriteHome},
    {0, WriteShell},
    {0, WriteFullName},
    {ZAFOLDAP_CLASS_INET_ORG_PERSON, WriteMail},
    {ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT, WriteSambaPassword},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT, WriteLastChange},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT, WriteDisallow},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT, WriteExpire},
    {0, WriteName},
};

}  // namespace

void WriteUserChanges(ZAFOLDAP_LDIF *pLDIF, const USER_CHANGES &changes) {
    ZAFOLDAPLdifTargetDN(pLDIF, changes.szDN);
    ZAFOLDAPLdifChangeType(pLDIF, "modify");
    WriteGroups(pLDIF, changes.nClasses, kChanges, changes);
    if (changes.szRDNAttr != nullptr) {
        WriteModRDN(pLDIF, changes.szDN, changes.szRDNAttr, changes.pWanted->szName);
    }
}

}  // namespace zafo
