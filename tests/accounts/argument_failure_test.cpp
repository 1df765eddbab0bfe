// SPDX-License-Identifier: Apache-2.0
//
// The argument checks of the account functions, family by family.
#include "tests/core/argument_failure.h"

#include <cstring>

namespace zafo::core_test {
namespace {

#define HOST_CHECKS NOT_NULL "pHost", "NULL != pHost->szUri"
#define LOGIN_HOST_CHECKS HOST_CHECKS, "NULL != pHost->szLoginSuffix"
#define GROUP_LISTS "NULL != pAddedGroupDNList || NULL != pRemovedGroupDNList"
#define ONE_LINE_EACH(list) "AreOneLineEach(" list ")"

const Functions &PasswordFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPEncryptPasswd",
         "ldap_passwd",
         {NOT_NULL "szClearPass", NOT_NULL "szEncryptPass", "0 < cbEncryptPass"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPEncryptPasswd(Unless(bad(0), "secret"), Unless(bad(1), a.buffer),
                                          bad(2) ? 0 : sizeof a.buffer);
         }},
        {"ZAFOLDAPPasswd",
         "ldap_passwd",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szUserDN", "NULL != szClearPass"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPPasswd(a.Host(bad), Unless(bad(2), "dc=com"), Unless(bad(3), ""));
         }},
    };
    return kFunctions;
}

const Functions &SambaFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPAtomicRemoveAdd",
         "ldap_atomic",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szDN", NOT_NULL "szAttr",
          NOT_NULL "szRemoveVal", "NULL != szAddVal", ONE_LINE("szDN"), ONE_LINE("szAttr"),
          ONE_LINE("szRemoveVal"), ONE_LINE("szAddVal")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPAtomicRemoveAdd(a.Host(bad), Text(bad(2), bad(6)), Text(bad(3), bad(7)),
                                            Text(bad(4), bad(8)), Text(bad(5), bad(9)));
         }},
        {"ZAFOLDAPAtomicIncr",
         "ldap_atomic",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szDN", NOT_NULL "szAttr",
          "NULL != pValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPAtomicIncr(a.Host(bad), Unless(bad(2), "dc=com"), Unless(bad(3), "n"),
                                       Unless(bad(4), &a.number), nullptr, nullptr);
         }},
        {"ZAFOLDAPSambaXidGet",
         "ldap_samba",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szBuf", "0 < cbBuf"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSambaXidGet(a.Host(bad), Unless(bad(2), a.buffer),
                                        bad(3) ? 0 : sizeof a.buffer, 0);
         }},
        {"ZAFOLDAPSambaGetIDFromDB",
         "ldap_samba",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSambaGetIDFromDB(a.Host(bad), Unless(bad(2), &a.number), 0);
         }},
        {"ZAFOLDAPSambaUIDGen",
         "ldap_samba",
         {NOT_NULL "pHost", "NULL != pHost->szUri"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPSambaUIDGen(a.Host(bad)); }},
        {"ZAFOLDAPSambaGIDGen",
         "ldap_samba",
         {NOT_NULL "pHost", "NULL != pHost->szUri"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPSambaGIDGen(a.Host(bad)); }},
        {"ZAFOLDAPSambaSIDGen",
         "ldap_samba",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szSID", "0 < cbSID"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPSambaSIDGen(a.Host(bad), Unless(bad(2), a.buffer),
                                        bad(3) ? 0 : sizeof a.buffer);
         }},
    };
    return kFunctions;
}

const Functions &SuggestFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserSuggestUid",
         "ldap_browser_suggest_xid",
         {NOT_NULL "pHost", "NULL != pHost->szUri"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPBrowserSuggestUid(a.Host(bad)); }},
        {"ZAFOLDAPBrowserSuggestGid",
         "ldap_browser_suggest_xid",
         {NOT_NULL "pHost", "NULL != pHost->szUri"},
         [](Arguments &a, Bad bad) { return ZAFOLDAPBrowserSuggestGid(a.Host(bad)); }},
        {"ZAFOLDAPBrowserSuggestBaseDN",
         "ldap_browser_suggest_base_dn",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pplistBaseDN",
          "NULL != *pplistBaseDN"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserSuggestBaseDN(
                 a.Host(bad), Unless(bad(2), bad(3) ? &a.no_list : a.list.Address()));
         }},
    };
    return kFunctions;
}

// A user, one whose name is unusable for a folder, or NULL.
const ZAFOUSER *NamedUser(Arguments &a, bool null, bool bad_name) {
    if (bad_name) a.user.szName = std::strcpy(a.name, "../ann");
    return Unless(null, &a.user);
}

const Functions &HomeFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPServerAutomountCreate",
         "ldap_server_automount",
         {NOT_NULL "szHost", "NULL != szHomeFolderPath", ONE_LINE("szHost"),
          ONE_LINE("szHomeFolderPath")},
         [](Arguments &, Bad bad) {
             return ZAFOLDAPServerAutomountCreate(Text(bad(0), bad(2)), Text(bad(1), bad(3)));
         }},
        {"ZAFOLDAPBrowserUserHomeCreateAll",
         "ldap_browser_user_home",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "szHost", "NULL != szHomeFolderPath"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserHomeCreateAll(a.Host(bad), Unless(bad(2), "server"),
                                                     Unless(bad(3), "/homes"));
         }},
        {"ZAFOLDAPBrowserUserHomeCreate",
         "ldap_browser_user_home",
         {NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pUser"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserHomeCreate(a.Host(bad), Unless(bad(2), &a.user));
         }},
        {"ZAFOLDAPBrowserUserHomeCreateEx",
         "ldap_browser_user_home",
         {NOT_NULL "szHomePath", "NULL != pUser", "IsFolderName(pUser->szName)"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserHomeCreateEx(Unless(bad(0), "server:/homes"),
                                                    NamedUser(a, bad(1), bad(2)));
         }},
        {"ZAFOLDAPNFSMount",
         "ldap_mount",
         {NOT_NULL "szHomePath"},
         [](Arguments &, Bad) { return ZAFOLDAPNFSMount(nullptr); }},
    };
    return kFunctions;
}

const Functions &BrowserFunctions() {
    static const ZAFOLDAP_BROWSER_OPTIONS kNoOptions{};
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserGetFirstDN",
         "ldap_browser_get_dn",
         {HOST_CHECKS, NOT_NULL "szFilter"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGetFirstDN(a.Host(bad), Unless(bad(2), "a=b"), nullptr, 0);
         }},
        {"ZAFOLDAPBrowserGetDNByUserUIDEx",
         "ldap_browser_get_dn",
         {HOST_CHECKS, NOT_NULL "szUserUID"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGetDNByUserUIDEx(a.Host(bad), Unless(bad(2), "ann"), nullptr, 0,
                                                    &kNoOptions);
         }},
        {"ZAFOLDAPBrowserGetDNByUserUID",
         "ldap_browser_get_dn",
         {HOST_CHECKS, NOT_NULL "szUserUID"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGetDNByUserUID(a.Host(bad), Unless(bad(2), "ann"), nullptr, 0);
         }},
        {"ZAFOLDAPBrowserGetDNByGroupCN",
         "ldap_browser_get_dn",
         {HOST_CHECKS, NOT_NULL "szGroupCN"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGetDNByGroupCN(a.Host(bad), Unless(bad(2), "ann"), nullptr, 0);
         }},
        {"ZAFOLDAPPosixGetUserUID",
         "ldap_search_values",
         {HOST_CHECKS, NOT_NULL "szDN", NOT_NULL "szValue", "0 < cbValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPPosixGetUserUID(a.Host(bad), Unless(bad(2), "dc=com"),
                                            Unless(bad(3), a.buffer), bad(4) ? 0 : sizeof a.buffer);
         }},
        {"ZAFOLDAPPosixGetGroupCN",
         "ldap_search_values",
         {HOST_CHECKS, NOT_NULL "szDN", NOT_NULL "szValue", "0 < cbValue"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPPosixGetGroupCN(a.Host(bad), Unless(bad(2), "dc=com"),
                                            Unless(bad(3), a.buffer), bad(4) ? 0 : sizeof a.buffer);
         }},
        {"ZAFOLDAPBrowserUserEnumRequestInit",
         "ldap_browser_search",
         {NOT_NULL "pRequest"},
         [](Arguments &, Bad) { return ZAFOLDAPBrowserUserEnumRequestInit(nullptr); }},
        {"ZAFOLDAPBrowserGroupEnumRequestInit",
         "ldap_browser_search",
         {NOT_NULL "pRequest"},
         [](Arguments &, Bad) { return ZAFOLDAPBrowserGroupEnumRequestInit(nullptr); }},
        {"ZAFOLDAPBrowserUserEnumAll",
         "ldap_browser_user_enum",
         {HOST_CHECKS, "((void *)0) == ppUserDNList || ((void *)0) != *ppUserDNList",
          "NULL == ppUserUIDList || NULL != *ppUserUIDList"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserEnumAll(a.Host(bad), a.Slot(bad(2)), a.Slot(bad(3)));
         }},
        {"ZAFOLDAPBrowserGroupEnumAll",
         "ldap_browser_group_enum",
         {HOST_CHECKS, "((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList",
          "NULL == ppGroupCNList || NULL != *ppGroupCNList"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEnumAll(a.Host(bad), a.Slot(bad(2)), a.Slot(bad(3)));
         }},
        {"ZAFOLDAPBrowserUserEnumByUIDNumber",
         "ldap_browser_user_enum",
         {HOST_CHECKS},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserEnumByUIDNumber(a.Host(bad), 1, nullptr);
         }},
        {"ZAFOLDAPBrowserGroupEnumByGIDNumber",
         "ldap_browser_group_enum",
         {HOST_CHECKS},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEnumByGIDNumber(a.Host(bad), 1, nullptr);
         }},
        {"ZAFOLDAPBrowserStatUGNum",
         "ldap_browser_stat",
         {HOST_CHECKS, NOT_NULL "szSubject"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserStatUGNum(a.Host(bad), Unless(bad(2), "user"));
         }},
        {"ZAFOLDAPPosixCheckEnumUser",
         "ldap_posix_check_enum_user",
         {HOST_CHECKS},
         [](Arguments &a, Bad bad) { return ZAFOLDAPPosixCheckEnumUser(a.Host(bad)); }},
    };
    return kFunctions;
}

const Functions &ReadingFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserUserGetEx",
         "ldap_browser_user_get",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserDN", NOT_NULL "ppUser"},
         [](Arguments &a, Bad bad) {
             ZAFOUSER *user = nullptr;
             return ZAFOLDAPBrowserUserGetEx(a.LoginHost(bad), Unless(bad(3), "dc=com"),
                                             Unless(bad(4), &user), nullptr, nullptr);
         }},
        {"ZAFOLDAPBrowserUserGet",
         "ldap_browser_user_get",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserDN", NOT_NULL "ppUser"},
         [](Arguments &a, Bad bad) {
             ZAFOUSER *user = nullptr;
             return ZAFOLDAPBrowserUserGet(a.LoginHost(bad), Unless(bad(3), "dc=com"),
                                           Unless(bad(4), &user), nullptr);
         }},
        {"ZAFOLDAPBrowserGroupGet",
         "ldap_browser_group_get",
         {LOGIN_HOST_CHECKS, NOT_NULL "szGroupDN", NOT_NULL "ppGroup"},
         [](Arguments &a, Bad bad) {
             ZAFOGROUP *group = nullptr;
             return ZAFOLDAPBrowserGroupGet(a.LoginHost(bad), Unless(bad(3), "dc=com"),
                                            Unless(bad(4), &group), nullptr, 0);
         }},
    };
    return kFunctions;
}

const Functions &MembershipQuestions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserGroupEnumByUserUID",
         "ldap_browser_membership_enum",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserUID",
          "((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList",
          "NULL == ppGroupNameList || NULL != *ppGroupNameList"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEnumByUserUID(a.LoginHost(bad), Unless(bad(3), "ann"),
                                                      a.Slot(bad(4)), a.Slot(bad(5)));
         }},
        {"ZAFOLDAPBrowserGroupEnumByUserDN",
         "ldap_browser_membership_enum",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserDN",
          "((void *)0) == ppGroupDNList || ((void *)0) != *ppGroupDNList",
          "NULL == ppGroupNameList || NULL != *ppGroupNameList"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEnumByUserDN(a.LoginHost(bad), Unless(bad(3), "dc=com"),
                                                     a.Slot(bad(4)), a.Slot(bad(5)));
         }},
        {"ZAFOLDAPBrowserUserEnumByPrimaryGroup",
         "ldap_browser_membership_enum",
         {HOST_CHECKS, "((void *)0) != szGroupDN || ((void *)0) != szGroupCN",
          NOT_NULL "ppUserUIDList", "NULL != *ppUserUIDList"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserEnumByPrimaryGroup(a.Host(bad), Unless(bad(2), "dc=com"),
                                                          nullptr, Unless(bad(3), a.Slot(bad(4))));
         }},
        {"ZAFOLDAPBrowserUserEnumByGroupDN",
         "ldap_browser_membership_enum",
         {HOST_CHECKS, NOT_NULL "szGroupDN", NOT_NULL "ppUserUIDList", "NULL != *ppUserUIDList"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserEnumByGroupDN(a.Host(bad), Unless(bad(2), "dc=com"),
                                                     Unless(bad(3), a.Slot(bad(4))));
         }},
        {"ZAFOLDAPBrowserUserEnumNotInGroupDN",
         "ldap_browser_membership_enum",
         {HOST_CHECKS, NOT_NULL "szGroupDN", NOT_NULL "ppUserUIDList", "NULL != *ppUserUIDList"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserEnumNotInGroupDN(a.Host(bad), Unless(bad(2), "dc=com"),
                                                        Unless(bad(3), a.Slot(bad(4))));
         }},
    };
    return kFunctions;
}

const Functions &MembershipChanges() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserGroupEditByUserUID",
         "ldap_browser_membership_edit",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserUID", GROUP_LISTS, ONE_LINE("szUserUID"),
          ONE_LINE("pHost->szBaseDN"), ONE_LINE_EACH("pAddedGroupDNList"),
          ONE_LINE_EACH("pRemovedGroupDNList")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEditByUserUID(a.LoginHost(bad, bad(6)),
                                                      Text(bad(3), bad(5)), a.Items(bad(4), bad(7)),
                                                      a.Items(bad(4), bad(8)));
         }},
        {"ZAFOLDAPBrowserGroupEditByUserDN",
         "ldap_browser_membership_edit",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserDN", GROUP_LISTS, ONE_LINE("pHost->szBaseDN"),
          ONE_LINE_EACH("pAddedGroupDNList"), ONE_LINE_EACH("pRemovedGroupDNList")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEditByUserDN(
                 a.LoginHost(bad, bad(5)), Unless(bad(3), "dc=com"), a.Items(bad(4), bad(6)),
                 a.Items(bad(4), bad(7)));
         }},
        {"ZAFOLDAPBrowserUserEditByGroupDN",
         "ldap_browser_membership_edit",
         {LOGIN_HOST_CHECKS, NOT_NULL "szGroupDN",
          "NULL != pAddedUserUIDList || NULL != pRemovedUserUIDList", ONE_LINE("szGroupDN"),
          ONE_LINE("pHost->szBaseDN"), ONE_LINE_EACH("pAddedUserUIDList"),
          ONE_LINE_EACH("pRemovedUserUIDList")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserEditByGroupDN(a.LoginHost(bad, bad(6)), Text(bad(3), bad(5)),
                                                     a.Items(bad(4), bad(7)),
                                                     a.Items(bad(4), bad(8)));
         }},
        {"ZAFOLDAPBrowserGroupEditWhenUserUIDChange",
         "ldap_browser_membership_edit",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserUID", ONE_LINE("szUserUID"), ONE_LINE("szNewUserUID"),
          ONE_LINE("pHost->szBaseDN")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(
                 a.LoginHost(bad, bad(6)), Text(bad(3), bad(4)), Text(false, bad(5)));
         }},
        {"ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN",
         "ldap_browser_membership_edit",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserDN", ONE_LINE("szNewUserUID"),
          ONE_LINE("pHost->szBaseDN")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(
                 a.LoginHost(bad, bad(5)), Unless(bad(3), "dc=com"), Text(false, bad(4)));
         }},
        {"ZAFOLDAPBrowserGroupEditWhenUserGIDChange",
         "ldap_browser_membership_edit",
         {LOGIN_HOST_CHECKS, NOT_NULL "szUserUID", ONE_LINE("szUserUID"),
          ONE_LINE("pHost->szBaseDN")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(
                 a.LoginHost(bad, bad(5)), Text(bad(3), bad(4)), nullptr, nullptr);
         }},
    };
    return kFunctions;
}

// A changed field of a record, which may contain a line break.
char *Line(bool two_lines, const char *good = "v") {
    return const_cast<char *>(Text(false, two_lines, good));  // records are read-only here
}

// The user for the checks from 3 on: NULL, without a name, with an empty one, without a number,
// then with a line break in each text, in the order of the checks.
ZAFOUSER *NewUser(Arguments &a, Bad bad) {
    a.user.szName = bad(4) ? nullptr : bad(5) ? Line(false, "") : Line(bad(7));
    a.user.pw_uid = bad(6) ? UID_ERR : 1000;
    a.user.szFullname = Line(bad(8));
    a.user.pw_dir = Line(bad(9));
    a.user.pw_shell = Line(bad(10));
    a.user.szMail = Line(bad(11));
    a.user.szPasswd = nullptr;
    return Unless(bad(3), &a.user);
}

// pHost and pHost->szUri are checks 0 and 1, then the line check of pHost->szBaseDN.
ZAFOLDAP_HOST *UriHost(Arguments &a, Bad bad, bool two_lines) {
    ZAFOLDAP_HOST *host = a.Host(bad);
    for (ZAFOLDAP_HOST *each : {&a.host, &a.no_uri})
        each->szBaseDN = two_lines ? "dc=com\nx: y" : "dc=com";
    return host;
}

// The same with pHost->szBaseDN as check 2.
ZAFOLDAP_HOST *BaseHost(Arguments &a, Bad bad, bool two_lines) {
    ZAFOLDAP_HOST *host = UriHost(a, bad, two_lines);
    if (bad(2)) a.host.szBaseDN = nullptr;
    return host;
}

#define BASE_HOST_CHECKS HOST_CHECKS, NOT_NULL "pHost->szBaseDN"
#define NEW_USER_CHECKS                                                                        \
    BASE_HOST_CHECKS, NOT_NULL "pUser", NOT_NULL "pUser->szName", "'\\0' != pUser->szName[0]", \
        "UID_ERR != pUser->pw_uid", ONE_LINE("pUser->szName"), ONE_LINE("pUser->szFullname"),  \
        ONE_LINE("pUser->pw_dir"), ONE_LINE("pUser->pw_shell"), ONE_LINE("pUser->szMail"),     \
        ONE_LINE("szUsersContainer"), ONE_LINE("pHost->szBaseDN"), ONE_LINE_EACH("plistExtra")

const Functions &CreatingFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserUserCreate",
         "ldap_browser_user_create",
         {NEW_USER_CHECKS},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserCreate(BaseHost(a, bad, bad(13)), NewUser(a, bad),
                                              a.Items(false, bad(14)), Text(false, bad(12)));
         }},
        {"ZAFOLDAPBrowserUserCreateWithCryptedPass",
         "ldap_browser_user_create",
         {NEW_USER_CHECKS, ONE_LINE("pUser->szPasswd")},
         [](Arguments &a, Bad bad) {
             ZAFOUSER *user = NewUser(a, bad);
             a.user.szPasswd = Line(bad(15));
             return ZAFOLDAPBrowserUserCreateWithCryptedPass(
                 BaseHost(a, bad, bad(13)), user, a.Items(false, bad(14)), Text(false, bad(12)));
         }},
        {"ZAFOLDAPBrowserGroupCreate",
         "ldap_browser_group_create",
         {BASE_HOST_CHECKS, "NULL != pGroup", NOT_NULL "pGroup->szName",
          "'\\0' != *(pGroup->szName)", "GID_ERR != pGroup->nGid", ONE_LINE("pGroup->szName"),
          ONE_LINE("szDescription"), ONE_LINE("szGroupsContainer"), ONE_LINE("pHost->szBaseDN"),
          ONE_LINE_EACH("plistExtra"), ONE_LINE_EACH("pGroup->pszMembers")},
         [](Arguments &a, Bad bad) {
             char *members[] = {Line(false), Line(bad(12)), nullptr};
             char *name = bad(4) ? nullptr : bad(5) ? Line(false, "") : Line(bad(7));
             const ZAFOGROUP group{name, bad(6) ? GID_ERR : 1000, members, 0};
             return ZAFOLDAPBrowserGroupCreate(BaseHost(a, bad, bad(10)), Unless(bad(3), &group),
                                               Text(false, bad(8)), a.Items(false, bad(11)),
                                               Text(false, bad(9)));
         }},
    };
    return kFunctions;
}

// The changes for the checks from 4 on: none at all, then a line break in each text.
ZAFOUSER *ChangedUser(Arguments &a, Bad bad) {
    a.user = {};
    a.user.pw_uid = UID_ERR;
    a.user.pw_gid = GID_ERR;
    if (!bad(4)) {
        a.user.szName = Line(bad(6));
        a.user.pw_dir = Line(bad(7));
        a.user.pw_shell = Line(bad(8));
        a.user.szFullname = Line(bad(9));
        a.user.szMail = Line(bad(10));
    }
    return Unless(bad(3), &a.user);
}

const Functions &ChangingFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserUserEdit",
         "ldap_browser_user_edit",
         {HOST_CHECKS, NOT_NULL "szUserDN", NOT_NULL "pUser",
          "pUser->szName || UID_ERR != pUser->pw_uid || GID_ERR != pUser->pw_gid || "
          "pUser->pw_dir || pUser->pw_shell || pUser->szFullname || pUser->szPasswd || "
          "pUser->szMail || pBlDisallowChPasswd || plExpire",
          ONE_LINE("szUserDN"), ONE_LINE("pUser->szName"), ONE_LINE("pUser->pw_dir"),
          ONE_LINE("pUser->pw_shell"), ONE_LINE("pUser->szFullname"), ONE_LINE("pUser->szMail"),
          ONE_LINE("pHost->szBaseDN")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserUserEdit(UriHost(a, bad, bad(11)), Text(bad(2), bad(5)),
                                            ChangedUser(a, bad), nullptr, nullptr);
         }},
        {"ZAFOLDAPBrowserGroupEdit",
         "ldap_browser_group_edit",
         {BASE_HOST_CHECKS, NOT_NULL "szGroupDN", "szNewGroupCN || szDesc || pGid",
          ONE_LINE("szGroupDN"), ONE_LINE("szNewGroupCN"), ONE_LINE("szDesc")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserGroupEdit(BaseHost(a, bad, false), Text(bad(3), bad(5)),
                                             Text(bad(4), bad(6)), Text(bad(4), bad(7)), nullptr);
         }},
        {"ZAFOLDAPBrowserDeleteDN",
         "ldap_browser_delete_dn",
         {HOST_CHECKS, NOT_NULL "szDN", ONE_LINE("szDN")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserDeleteDN(a.Host(bad), Text(bad(2), bad(3)));
         }},
        {"ZAFOLDAPBrowserDeleteUser",
         "ldap_browser_(delete|get)_dn",
         {HOST_CHECKS, NOT_NULL "szUserUID", ONE_LINE("szName"), ONE_LINE("pHost->szBaseDN")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserDeleteUser(UriHost(a, bad, bad(4)), Text(bad(2), bad(3)));
         }},
        {"ZAFOLDAPBrowserDeleteGroup",
         "ldap_browser_(delete|get)_dn",
         {HOST_CHECKS, NOT_NULL "szGroupCN"},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserDeleteGroup(a.Host(bad), Unless(bad(2), "staff"));
         }},
    };
    return kFunctions;
}

const Functions &MigratingFunctions() {
    static const Functions kFunctions = [] {
        const std::pair<const char *, int (*)(const ZAFOLDAP_HOST *)> kMigrations[] = {
            {"ZAFOLDAPBrowserMigrateUserToLDAP", ZAFOLDAPBrowserMigrateUserToLDAP},
            {"ZAFOLDAPBrowserMigrateGroupToLDAP", ZAFOLDAPBrowserMigrateGroupToLDAP},
            {"ZAFOLDAPBrowserMigrateUserToLocal", ZAFOLDAPBrowserMigrateUserToLocal},
            {"ZAFOLDAPBrowserMigrateGroupToLocal", ZAFOLDAPBrowserMigrateGroupToLocal}};
        Functions functions;
        for (const auto &[name, migrate] : kMigrations) {
            functions.push_back(
                {name,
                 "ldap_browser_migrate",
                 {HOST_CHECKS},
                 [call = migrate](Arguments &a, Bad bad) { return call(a.Host(bad)); }});
        }
        return functions;
    }();
    return kFunctions;
}

}  // namespace

Functions AllFunctions() {
    Functions all;
    for (const auto *group :
         {&PasswordFunctions(), &SambaFunctions(), &SuggestFunctions(), &HomeFunctions(),
          &BrowserFunctions(), &ReadingFunctions(), &MembershipQuestions(), &MembershipChanges(),
          &CreatingFunctions(), &ChangingFunctions(), &MigratingFunctions()}) {
        all.insert(all.end(), group->begin(), group->end());
    }
    return all;
}

const std::set<std::string> &FunctionsWithoutChecks() {
    static const std::set<std::string> kFunctions = {
        "ZAFOLDAPNFSUMount", "ZAFOLDAPClientCheckBindInfo", "ZAFOLDAPBrowserCheckBindInfo"};
    return kFunctions;
}

const std::set<std::string> &CoveredHeaders() {
    static const std::set<std::string> kHeaders = {"password", "samba",   "suggest",
                                                   "home",     "browser", "membership",
                                                   "user",     "group",   "migrate"};
    return kHeaders;
}

}  // namespace zafo::core_test
