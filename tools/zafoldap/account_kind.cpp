// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_kind.h"

namespace zafo::cli {

const AccountKind kUserKind = {
    .noun = "user",
    .number = "uid",
    .filter = "objectClass=posixAccount",
    .name_attr = "uid",
    .number_attr = "uidNumber",
    .container = "cn=users",
    .schema_bit = ZAFOLDAP_CLASS_POSIX_ACCOUNT,
    .schema_class = "posixAccount",
    .missing = Message::kUserMissing,
    .name_taken = Message::kLdapUsernameAlreadyExists,
    .number_taken = Message::kLdapUidAlreadyExists,
    .class_options = {{"mail", ZAFOLDAP_CLASS_INET_ORG_PERSON, "inetOrgPerson"},
                      {"expires", ZAFOLDAP_CLASS_SHADOW_ACCOUNT, "shadowAccount"},
                      {"no-password-change", ZAFOLDAP_CLASS_SHADOW_ACCOUNT, "shadowAccount"},
                      {"password-change", ZAFOLDAP_CLASS_SHADOW_ACCOUNT, "shadowAccount"}},
    .lowest = ZAFOLDAP_XID_MIN_UID,
    .highest = ZAFOLDAP_XID_MAX_UID,
    .current = ZAFOLDAP_XID_CUR_UID,
    .dn_of_name = ZAFOLDAPBrowserGetDNByUserUID,
    .dns_of_number = ZAFOLDAPBrowserUserEnumByUIDNumber,
    .suggest = ZAFOLDAPBrowserSuggestUid};

const AccountKind kGroupKind = {.noun = "group",
                                .number = "gid",
                                .filter = "objectClass=posixGroup",
                                .name_attr = "cn",
                                .number_attr = "gidNumber",
                                .container = "cn=groups",
                                .schema_bit = ZAFOLDAP_CLASS_POSIX_GROUP,
                                .schema_class = "posixGroup",
                                .missing = Message::kGroupMissing,
                                .name_taken = Message::kLdapGroupnameAlreadyExists,
                                .number_taken = Message::kLdapGidAlreadyExists,
                                .class_options = {},
                                .lowest = ZAFOLDAP_XID_MIN_GID,
                                .highest = ZAFOLDAP_XID_MAX_GID,
                                .current = ZAFOLDAP_XID_CUR_GID,
                                .dn_of_name = ZAFOLDAPBrowserGetDNByGroupCN,
                                .dns_of_number = ZAFOLDAPBrowserGroupEnumByGIDNumber,
                                .suggest = ZAFOLDAPBrowserSuggestGid};

}  // namespace zafo::cli
