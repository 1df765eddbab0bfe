// SPDX-License-Identifier: Apache-2.0
//
// posixAccount and shadowAccount (RFC 2307), person and organizationalPerson (RFC 4519),
// inetOrgPerson (RFC 2798), Apple's apple-user, Samba's sambaSamAccount. person requires "sn",
// which a POSIX account does not have, so the login name is used.
#include "src/accounts/user_record.h"

#include "src/accounts/attribute_group.h"
#include "src/accounts/password_attributes.h"
#include "zafoldap/object_class.h"

namespace zafo {

namespace {

constexpr char kNoPasswordHistory[] =
    "0000000000000000000000000000000000000000000000000000000000000000";
constexpr char kNormalUser[] = "[U          ]";

bool IsEmpty(const char *text) {
    return text == nullptr || text[0] == '\0';
}

void WriteUnlessEmpty(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *value) {
    if (!IsEmpty(value)) WriteValue(ldif, attribute, value);
}

void WritePosix(ZAFOLDAP_LDIF *ldif, const NewUser &user) {
    const ZAFOUSER &account = *user.user;
    WriteValue(ldif, "cn", account.szName);
    WriteValue(ldif, "uid", account.szName);
    WriteUnlessEmpty(ldif, "gecos", account.szFullname);
    WriteValue(ldif, "userPassword", user.password.c_str());
    ZAFOLDAPLdifAttr(ldif, "uidNumber", "%lu", static_cast<unsigned long>(account.pw_uid));
    ZAFOLDAPLdifAttr(ldif, "gidNumber", "%lu", static_cast<unsigned long>(account.pw_gid));
    WriteValue(ldif, "loginShell", IsEmpty(account.pw_shell) ? "/bin/sh" : account.pw_shell);
    if (IsEmpty(account.pw_dir)) {
        ZAFOLDAPLdifAttr(ldif, "homeDirectory", "/home/%s", account.szName);
    } else {
        WriteValue(ldif, "homeDirectory", account.pw_dir);
    }
}

void WriteShadow(ZAFOLDAP_LDIF *ldif, const NewUser &user) {
    ZAFOLDAPLdifAttr(ldif, "shadowLastChange", "%lu", DaysOf(user.now));
    ZAFOLDAPLdifAttr(ldif, "shadowMin", "%d", ShadowMin(user.user->blDisallowChangePasswd));
    WriteValue(ldif, "shadowMax", "99999");
    WriteValue(ldif, "shadowWarning", "7");
    ZAFOLDAPLdifAttr(ldif, "shadowExpire", "%ld", user.user->nExpire);
    WriteValue(ldif, "shadowInactive", "0");
    WriteValue(ldif, "shadowFlag", "0");
}

void WritePerson(ZAFOLDAP_LDIF *ldif, const NewUser &user) {
    WriteValue(ldif, "sn", user.user->szName);
}

void WriteInetOrgPerson(ZAFOLDAP_LDIF *ldif, const NewUser &user) {
    WriteUnlessEmpty(ldif, "mail", user.user->szMail);
}

void WriteApple(ZAFOLDAP_LDIF *ldif, const NewUser & /*user*/) {
    WriteValue(ldif, "objectClass", "apple-user");
    WriteValue(ldif, "authAuthority", ";basic;");
}

void WriteSamba(ZAFOLDAP_LDIF *ldif, const NewUser &user) {
    WriteValue(ldif, "sambaSID", user.sid.c_str());
    if (user.nt_hash) {
        WriteValue(ldif, "sambaNTPassword", user.nt_hash->c_str());
        WriteValue(ldif, "sambaLMPassword", kNoLmHash);
    }
    WriteValue(ldif, "sambaPasswordHistory", kNoPasswordHistory);
    ZAFOLDAPLdifAttr(ldif, "sambaPwdLastSet", "%lu", static_cast<unsigned long>(user.now));
    WriteValue(ldif, "sambaAcctFlags", kNormalUser);
    WriteFormatText(ldif, "displayName", user.user->szName);
    WriteValue(ldif, "objectClass", "sambaSamAccount");
    WriteValue(ldif, "objectClass", "sambaIdmapEntry");
}

constexpr AttributeGroup<NewUser> kUserAttributes[] = {
    {ZAFOLDAP_CLASS_TOP, nullptr, "top"},
    {ZAFOLDAP_CLASS_POSIX_ACCOUNT, WritePosix, "posixAccount"},
    {ZAFOLDAP_CLASS_SHADOW_ACCOUNT, WriteShadow, "shadowAccount"},
    {ZAFOLDAP_CLASS_PERSON, WritePerson, "person"},
    {ZAFOLDAP_CLASS_ORGANIZATIONAL_PERSON, nullptr, "organizationalPerson"},
    {ZAFOLDAP_CLASS_INET_ORG_PERSON, WriteInetOrgPerson, "inetOrgPerson"},
    {ZAFOLDAP_CLASS_APPLE_USER, WriteApple},
    {ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT, WriteSamba},
    {ZAFOLDAP_CLASS_EXTENSIBLE_OBJECT, nullptr, "extensibleObject"},
};

}  // namespace

void WriteUserRecord(ZAFOLDAP_LDIF *ldif, unsigned int schema, const NewUser &user) {
    WriteNewEntry(ldif, schema, kUserAttributes, user);
}

}  // namespace zafo
