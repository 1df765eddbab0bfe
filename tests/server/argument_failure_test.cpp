// SPDX-License-Identifier: Apache-2.0
//
// The argument checks of the server's functions.
#include "tests/core/argument_failure.h"

namespace zafo::core_test {
namespace {

constexpr const char *kRulesFile = "/var/tmp/argument_failure.conf";

// A record whose suffix fails the checks from `at` on: no record, no suffix, two lines.
const ZAFOLDAP_SERVER_PARAM *Suffix(Bad bad) {
    static ZAFOLDAP_SERVER_PARAM parms;
    parms = {};
    parms.szSuffix = Text(bad(1), bad(2), "dc=com");
    return Unless<const ZAFOLDAP_SERVER_PARAM>(bad(0), &parms);
}

#define SUFFIX_CHECKS NOT_NULL "pParms", "NULL != pParms->szSuffix", ONE_LINE("pParms->szSuffix")

const Functions &ConfigurationFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPServerConfSet",
         "ldap_server_conf",
         {NOT_NULL "pParms"},
         [](Arguments &, Bad) { return ZAFOLDAPServerConfSet(nullptr); }},
        {"ZAFOLDAPServerACLConfGen",
         "ldap_server_acl",
         {SUFFIX_CHECKS},
         [](Arguments &, Bad bad) { return ZAFOLDAPServerACLConfGen(Suffix(bad)); }},
        {"ZAFOLDAPServerWriteACL",
         "ldap_server_acl",
         {SUFFIX_CHECKS, NOT_NULL "szPath"},
         [](Arguments &, Bad bad) {
             return ZAFOLDAPServerWriteACL(Unless(bad(3), kRulesFile), Suffix(bad));
         }},
    };
    return kFunctions;
}

const Functions &DatabaseFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPServerDBCreate",
         "ldap_server_db_create",
         {NOT_NULL "pParms"},
         [](Arguments &, Bad) { return ZAFOLDAPServerDBCreate(nullptr); }},
        {"ZAFOLDAPServerSambaDomainCreate",
         "ldap_server_db_create",
         {NOT_NULL "pParms", NOT_NULL "szSuffix"},
         [](Arguments &, Bad bad) {
             return ZAFOLDAPServerSambaDomainCreate(Unless(bad(1), "dc=com"), Suffix(bad));
         }},
        {"ZAFOLDAPServerSlapadd",
         "ldap_server_slapadd",
         {NOT_NULL "pLDIF"},
         [](Arguments &, Bad) { return ZAFOLDAPServerSlapadd(nullptr); }},
        {"ZAFOLDAPServerDNIsExist",
         "ldap_server_slapadd",
         {NOT_NULL "szDN"},
         [](Arguments &, Bad) { return ZAFOLDAPServerDNIsExist(nullptr); }},
    };
    return kFunctions;
}

// pHost, pHost->szUri and pHost->szBaseDN are the checks 0 to 2.
ZAFOLDAP_HOST *BaseHost(Arguments &a, Bad bad) {
    ZAFOLDAP_HOST *host = a.Host(bad);
    a.host.szBaseDN = bad(2) ? nullptr : "dc=com";
    return host;
}

#define BASE_HOST_CHECKS NOT_NULL "pHost", "NULL != pHost->szUri", NOT_NULL "pHost->szBaseDN"

const Functions &NodeFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBrowserNodeCreate",
         "ldap_browser_node_create",
         {BASE_HOST_CHECKS, "NULL != szNodeName", ONE_LINE("szNodeName")},
         [](Arguments &a, Bad bad) {
             return ZAFOLDAPBrowserNodeCreate(BaseHost(a, bad), Text(bad(3), bad(4)));
         }},
        {"ZAFOLDAPBrowserRootNodeCreate",
         "ldap_browser_node_create",
         {BASE_HOST_CHECKS},
         [](Arguments &a, Bad bad) { return ZAFOLDAPBrowserRootNodeCreate(BaseHost(a, bad)); }},
    };
    return kFunctions;
}

const Functions &BackupFunctions() {
    static const Functions kFunctions = {
        {"ZAFOLDAPBackupConfigGet",
         "ldap_backup_conf",
         {NOT_NULL "pConfig"},
         [](Arguments &, Bad) { return ZAFOLDAPBackupConfigGet(nullptr, nullptr); }},
        {"ZAFOLDAPBackupConfigSet",
         "ldap_backup_conf",
         {NOT_NULL "pConfig"},
         [](Arguments &, Bad) { return ZAFOLDAPBackupConfigSet(nullptr); }},
        {"ZAFOLDAPServerProgressGet",
         "ldap_server_progress",
         {NOT_NULL "pProgress"},
         [](Arguments &, Bad) { return ZAFOLDAPServerProgressGet(nullptr); }},
        {"ZAFOLDAPServerRestore",
         "ldap_server_backup",
         {NOT_NULL "szBackupFile && '\\0' != *szBackupFile"},
         [](Arguments &, Bad) { return ZAFOLDAPServerRestore(nullptr); }},
    };
    return kFunctions;
}

}  // namespace

Functions AllFunctions() {
    Functions all;
    for (const auto *group :
         {&ConfigurationFunctions(), &DatabaseFunctions(), &NodeFunctions(), &BackupFunctions()})
        all.insert(all.end(), group->begin(), group->end());
    return all;
}

const std::set<std::string> &FunctionsWithoutChecks() {
    static const std::set<std::string> kFunctions = {
        "ZAFOLDAPServerEnable",       "ZAFOLDAPServerStart",
        "ZAFOLDAPServerStop",         "ZAFOLDAPServerIsStarted",
        "ZAFOLDAPServerDBReset",      "ZAFOLDAPServerDBIsEmpty",
        "ZAFOLDAPServerDefaultAdd",   "ZAFOLDAPSlapdConfSetOne",
        "ZAFOLDAPBackupConfigFree",   "ZAFOLDAPBackupIsValidDest",
        "ZAFOLDAPServerBackup",       "ZAFOLDAPServerBackupSchedule",
        "ZAFOLDAPServerBackupSetEnv", "ZAFOLDAPServerBackupSetError",
        "ZAFOLDAPServerProgressFree"};
    return kFunctions;
}

const std::set<std::string> &CoveredHeaders() {
    static const std::set<std::string> kHeaders = {"server", "backup"};
    return kHeaders;
}

}  // namespace zafo::core_test
