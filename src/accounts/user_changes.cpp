// SPDX-License-Identifier: Apache-2.0
#include "src/accounts/user_changes.h"

#include <strings.h>

#include <cstring>

#include "platform/group.h"
#include "src/accounts/attribute_group.h"
#include "src/accounts/password_attributes.h"
#include "zafoldap/object_class.h"

namespace zafo {

namespace {

void ReplaceNumber(ZAFOLDAP_LDIF *ldif, const char *attribute, unsigned long number) {
    ZAFOLDAPLdifAttrReplace(ldif, attribute, "%lu", number);
}

// A missing attribute differs from every text.
bool Differs(const char *wanted, const char *current) {
    return current == nullptr || std::strcmp(wanted, current) != 0;
}

// A text that "" deletes.
void ReplaceOrDelete(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *wanted,
                     const char *current) {
    if (wanted == nullptr || !Differs(wanted, current)) return;
    if (wanted[0] != '\0') {
        ReplaceValue(ldif, attribute, wanted);
    } else if (current != nullptr) {
        ZAFOLDAPLdifAttrDelete(ldif, attribute, nullptr);
    }
}

void WriteUid(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    const uint32_t uid = changes.wanted->pw_uid;
    if (uid != UID_ERR && uid != changes.current->pw_uid) ReplaceNumber(ldif, "uidNumber", uid);
}

void WriteGid(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    const uint32_t gid = changes.wanted->pw_gid;
    if (gid != GID_ERR && gid != changes.current->pw_gid) ReplaceNumber(ldif, "gidNumber", gid);
}

void WriteHome(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    const char *home = changes.wanted->pw_dir;
    if (home != nullptr && Differs(home, changes.current->pw_dir)) {
        ReplaceValue(ldif, "homeDirectory", home);
    }
}

void WriteShell(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    ReplaceOrDelete(ldif, "loginShell", changes.wanted->pw_shell, changes.current->pw_shell);
}

void WriteFullName(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    ReplaceOrDelete(ldif, "gecos", changes.wanted->szFullname, changes.current->szFullname);
}

void WriteMail(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    ReplaceOrDelete(ldif, "mail", changes.wanted->szMail, changes.current->szMail);
}

void WriteSambaPassword(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    if (changes.wanted->szPasswd == nullptr) return;
    ReplaceValue(ldif, "sambaNTPassword", changes.nt_hash);
    ReplaceValue(ldif, "sambaLMPassword", kNoLmHash);
    ReplaceNumber(ldif, "sambaPwdLastSet", static_cast<unsigned long>(changes.now));
}

void WriteLastChange(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    if (changes.wanted->szPasswd == nullptr) return;
    ReplaceNumber(ldif, "shadowLastChange", DaysOf(changes.now));
}

void WriteDisallow(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    const int *disallow = changes.disallow_change;
    if (disallow == nullptr || *disallow == changes.current->blDisallowChangePasswd) return;
    ZAFOLDAPLdifAttrReplace(ldif, "shadowMin", "%d", ShadowMin(*disallow));
}

void WriteExpire(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    const long *expire = changes.expire;
    if (expire == nullptr || *expire == changes.current->nExpire) return;
    ZAFOLDAPLdifAttrReplace(ldif, "shadowExpire", "%ld", *expire);
}

// The name is in "uid" and "cn"; "modrdn" changes the one that is the RDN.
void WriteName(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    if (changes.rdn_attribute == nullptr) return;
    for (const char *attribute : {"uid", "cn"}) {
        if (strcasecmp(changes.rdn_attribute, attribute) != 0) {
            ReplaceValue(ldif, attribute, changes.wanted->szName);
        }
    }
}

constexpr AttributeGroup<UserChanges> kChanges[] = {
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

void WriteUserChanges(ZAFOLDAP_LDIF *ldif, const UserChanges &changes) {
    ZAFOLDAPLdifTargetDN(ldif, changes.dn);
    ZAFOLDAPLdifChangeType(ldif, "modify");
    WriteGroups(ldif, changes.classes, kChanges, changes);
    if (changes.rdn_attribute != nullptr) {
        WriteModRDN(ldif, changes.dn, changes.rdn_attribute, changes.wanted->szName);
    }
}

}  // namespace zafo
