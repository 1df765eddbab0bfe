// SPDX-License-Identifier: Apache-2.0
//
// posixAccount and shadowAccount (RFC 2307), person and organizationalPerson (RFC 4519),
// inetOrgPerson (RFC 2798), Apple's apple-user, Samba's sambaSamAccount. "sn" is what person
// demands and a POSIX account has not: the login name stands in.
#include "accounts/user_record.h"

#include "accounts/attribute_group.h"
#include "accounts/password_attributes.h"
#include "zafoldap/object_class.h"

namespace zafo {

namespace {

constexpr char kNoPasswordHistory[] =
    "0000000000000000000000000000000000000000000000000000000000000000";
constexpr char kNormalUser[] = "[U          ]";

bool IsEmpty(const char *szText) {
    return szText == nullptr || szText[0] == '\0';
}

void WriteUnlessEmpty(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValue) {
    if (!IsEmpty(szValue)) WriteValue(pLDIF, szAttr, szValue);
}

void WriteTop(ZAFOLDAP_LDIF *pLDIF, const NewUser & /*user*/) {
    WriteValue(pLDIF, "objectClass", "top");
}

void WritePosix(ZAFOLDAP_LDIF *pLDIF, const NewUser &user) {
    const ZAFOUSER &account = *user.user;
    WriteValue(pLDIF, "cn", account.szName);
    WriteValue(pLDIF, "uid", account.szName);
    WriteUnlessEmpty(pLDIF, "gecos", account.szFullname);
    WriteValue(pLDIF, "userPassword", user.password.c_str());
    ZAFOLDAPLdifAttr(pLDIF, "uidNumber", "%lu", static_cast<unsigned long>(account.pw_uid));
    ZAFOLDAPLdifAttr(pLDIF, "gidNumber", "%lu", static_cast<unsigned long>(account.pw_gid));
    WriteValue(pLDIF, "loginShell", IsEmpty(account.pw_shell) ? "/bin/sh" : account.pw_shell);
    if (IsEmpty(account.pw_dir)) {
        ZAFOLDAPLdifAttr(pLDIF, "homeDirectory", "/home/%s", account.szName);
    } else {
        WriteValue(pLDIF, "homeDirectory", account.pw_dir);
    }
    WriteValue(pLDIF, "objectClass", "posixAccount");
}

void WriteShadow(ZAFOLDAP_LDIF *pLDIF, const NewUser &user) {
    ZAFOLDAPLdifAttr(pLDIF, "shadowLastChange", "%lu", DaysOf(user.now));
    ZAFOLDAPLdifAttr(pLDIF, "shadowMin", "%d", ShadowMin(user.user->blDisallowChangePasswd));
    WriteValue(pLDIF, "shadowMax", "99999");
    WriteValue(pLDIF, "shadowWarning", "7");
    ZAFOLDAPLdifAttr(pLDIF, "shadowExpire", "%ld", user.user->nExpire);
    WriteValue(pLDIF, "shadowInactive", "0");
    WriteValue(pLDIF, "shadowFlag", "0");
    WriteValue(pLDIF, "objectClass", "shadowAccount");
}

void WritePerson(ZAFOLDAP_LDIF *pLDIF, const NewUser &user) {
    WriteValue(pLDIF, "sn", user.user->szName);
    WriteValue(pLDIF, "objectClass", "person");
}

void WriteOrganizationalPerson(ZAFOLDAP_LDIF *pLDIF, const NewUser & /*user*/) {
    WriteValue(pLDIF, "objectClass", "organizationalPerson");
}

void WriteInetOrgPerson(ZAFOLDAP_LDIF *pLDIF, const NewUser &user) {
    WriteUnlessEmpty(pLDIF, "mail", user.user->szMail);
    WriteValue(pLDIF, "objectClass", "inetOrgPerson");
}

void WriteApple(ZAFOLDAP_LDIF *pLDIF, const NewUser & /*user*/) {
    WriteValue(pLDIF, "objectClass", "apple-user");
    WriteValue(pLDIF, "authAuthority", ";basic;");
}

void WriteSamba(ZAFOLDAP_LDIF *pLDIF, const NewUser &user) {
    WriteValue(pLDIF, "sambaSID", user.sid.c_str());
    if (user.nt_hash) {
        WriteValue(pLDIF, "sambaNTPassword", user.nt_hash->c_str());
        WriteValue(pLDIF, "sambaLMPassword", kNoLmHash);
    }
    WriteValue(pLDIF, "sambaPasswordHistory", kNoPasswordHistory);
    ZAFOLDAPLdifAttr(pLDIF, "sambaPwdLastSet", "%lu", static_cast<unsigned long>(user.now));
    WriteValue(pLDIF, "sambaAcctFlags", kNormalUser);
    WriteFormatText(pLDIF, "displayName", user.user->szName);
    WriteValue(pLDIF, "objectClass", "sambaSamAccount");
    WriteValue(pLDIF, "objectClass", "sambaIdmapEntry");
}

void WriteExtensible(ZAFOLDAP_LDIF *pLDIF, const NewUser & /*user*/) {
    WriteValue(pLDIF, "objectClass", "extensibleObject");
}

constexpr ATTRIBUTE_GROUP<NewUser> kUserAttributes[] = {
    {ZAFOLDAP_CLASS_TOP, WriteTop},
    {ZAFOLDAP_CLASS_POSIX_ACCOUNT, WritePosix},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT, WriteShadow},
    {ZAFOLDAP_CLASS_PERSON, WritePerson},
    {ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON, WriteOrganizationalPerson},
    {ZAFOLDAP_CLASS_INET_ORG_PERSON, WriteInetOrgPerson},
    {ZAFOLDAP_CLASS_APPLE_USER, WriteApple},
    {ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT, WriteSamba},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, WriteExtensible},
};

}  // namespace

void WriteUserRecord(ZAFOLDAP_LDIF *pLDIF, unsigned int nSchema, const NewUser &user) {
    WriteNewEntry(pLDIF, nSchema, kUserAttributes, user);
}

}  // namespace zafo
