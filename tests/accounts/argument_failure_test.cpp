// SPDX-License-Identifier: Apache-2.0
//
// The argument checks of the account functions, family by family.
#include <cstring>

#include "tests/core/argument_failure.h"

namespace zafo::core_test {
namespace {

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

// A user whose name is the name of a folder, or none.
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

}  // namespace

Functions AllFunctions() {
    Functions all;
    for (const auto *group :
         {&PasswordFunctions(), &SambaFunctions(), &SuggestFunctions(), &HomeFunctions()}) {
        all.insert(all.end(), group->begin(), group->end());
    }
    return all;
}

const std::set<std::string> &FunctionsWithoutChecks() {
    static const std::set<std::string> kFunctions = {"ZAFOLDAPNFSUMount"};
    return kFunctions;
}

const std::set<std::string> &CoveredHeaders() {
    static const std::set<std::string> kHeaders = {"password", "samba", "suggest", "home"};
    return kHeaders;
}

}  // namespace zafo::core_test
