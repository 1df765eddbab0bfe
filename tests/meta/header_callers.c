/* SPDX-License-Identifier: Apache-2.0
 *
 * Callers' programs, valid in C99 and C++20: each includes one header and calls something of it,
 * or, with ALL defined, all do so together. headers_compile_alone.sh compiles them.
 *
 *   -DCALLER_zafoldap_search     the section of "zafoldap/search.h"
 *   -DALL                        the umbrella header and all sections
 *
 * Every header has a section, which starts with "#if defined ALL || defined CALLER_FOLDER_NAME".
 */
#if defined ALL
#include "zafoldap.h"
#endif

#if defined ALL || defined CALLER_zafoldap_api
#include "zafoldap/api.h"
ZAFOLDAP_BEGIN_DECLS
int call_zafoldap_api(const char *szFormat, ...) ZAFOLDAP_PRINTF(1, 2);
ZAFOLDAP_END_DECLS
int call_zafoldap_api(const char *szFormat, ...) {
    return szFormat == 0;
}
#endif

#if defined ALL || defined CALLER_zafoldap_backup
#include "zafoldap/backup.h"
int call_zafoldap_backup(const char *szFile);
int call_zafoldap_backup(const char *szFile) {
    ZAFOLDAP_BACKUP_CONFIG config;
    ZAFOLDAP_PROGRESS progress;
    int nResult = ZAFOLDAPBackupConfigGet(&config, 0);
    config.nMaxFile = config.schedule.rgField[0] + config.blEnabled;
    if (nResult == 0 && ZAFOLDAPBackupIsValidDest(config.szDestDir) == 1) {
        nResult = ZAFOLDAPBackupConfigSet(&config) + ZAFOLDAPServerBackupSetEnv(&config) +
                  ZAFOLDAPServerBackup() + ZAFOLDAPServerBackupSchedule(config.szTask != 0) +
                  ZAFOLDAPServerRestore(szFile);
    }
    ZAFOLDAPBackupConfigFree(&config);
    if (ZAFOLDAPServerProgressGet(&progress) == 0 && !progress.blRunning)
        ZAFOLDAPServerBackupSetError(progress.nStatus);
    return nResult + ZAFOLDAPServerProgressFree(&progress);
}
#endif

#if defined ALL || defined CALLER_zafoldap_browser
#include "zafoldap/browser.h"
int call_zafoldap_browser(ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppDNs);
int call_zafoldap_browser(ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppDNs) {
    char szDN[1024];
    ZAFOLDAP_SEARCH_REQUEST request;
    ZAFOLDAP_BROWSER_OPTIONS options;
    options.szFilter = "objectClass=person";
    options.szNameAttr = "uid";
    ZAFOLDAPBrowserUserEnumRequestInit(&request);
    ZAFOLDAPBrowserGroupEnumRequestInit(&request);
    return ZAFOLDAPBrowserGetFirstDN(pHost, "(uid=ann)", szDN, sizeof szDN) +
           ZAFOLDAPBrowserGetDNByUserUID(pHost, "ann", szDN, sizeof szDN) +
           ZAFOLDAPBrowserGetDNByUserUIDEx(pHost, "ann", szDN, sizeof szDN, &options) +
           ZAFOLDAPBrowserGetDNByGroupCN(pHost, "staff", szDN, sizeof szDN) +
           ZAFOLDAPPosixGetUserUID(pHost, szDN, szDN, sizeof szDN) +
           ZAFOLDAPPosixGetGroupCN(pHost, szDN, szDN, sizeof szDN) +
           ZAFOLDAPBrowserUserEnumAll(pHost, ppDNs, 0) +
           ZAFOLDAPBrowserGroupEnumAll(pHost, ppDNs, 0) +
           ZAFOLDAPBrowserUserEnumByUIDNumber(pHost, 1000U, ppDNs) +
           ZAFOLDAPBrowserGroupEnumByGIDNumber(pHost, 1000U, ppDNs) +
           ZAFOLDAPBrowserStatUGNum(pHost, "user") + ZAFOLDAPPosixCheckEnumUser(pHost) +
           ZAFOLDAPClientCheckBindInfo(pHost) + ZAFOLDAPBrowserCheckBindInfo(pHost, 0);
}
#endif

#if defined ALL || defined CALLER_zafoldap_connection
#include "zafoldap/connection.h"
int call_zafoldap_connection(ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SERVER_PARAM *pParms);
int call_zafoldap_connection(ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SERVER_PARAM *pParms) {
    char szDN[1024];
    return ZAFOLDAPHostInitByBrowserConfig(pHost, 0) + ZAFOLDAPHostInitByBindConfig(pHost) +
           ZAFOLDAPHostGetSchemaDN(pHost, szDN, sizeof szDN) +
           ZAFOLDAPHostGetSupportedSchema(pHost) + ZAFOLDAPSSLGetByBindConfig(pHost) +
           ZAFOLDAPBrowserCheckServerType(pHost) + ZAFOLDAPBrowserConfSet(pHost, "other") +
           ZAFOLDAPBrowserConfSetByServerParam(pParms);
}
#endif

#if defined ALL || defined CALLER_zafoldap_debug
#include "zafoldap/debug.h"
int call_zafoldap_debug(void);
int call_zafoldap_debug(void) {
    return ZAFOLDAPDebugEnabled();
}
#endif

#if defined ALL || defined CALLER_zafoldap_dn
#include "zafoldap/dn.h"
int call_zafoldap_dn(void);
int call_zafoldap_dn(void) {
    char szParent[1024];
    return ZAFOLDAPDNParserParentDN("uid=ann,cn=users,dc=example", szParent, sizeof szParent);
}
#endif

#if defined ALL || defined CALLER_zafoldap_error
#include "zafoldap/error.h"
int call_zafoldap_error(void);
int call_zafoldap_error(void) {
    const char *szSection = "common";
    const char *szKey = ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), &szSection);
    ZAFOLDAPErrSet(ZAFOLDAP_ERR_DISK_FULL);
    return szKey[0] == szSection[0] ? ZAFOLDAPErrReset() : ZAFOLDAP_ERR_SYSTEM;
}
#endif

#if defined ALL || defined CALLER_zafoldap_group
#include "zafoldap/group.h"
int call_zafoldap_group(const ZAFOLDAP_HOST *pHost, const QLIBSZLIST *pExtra);
int call_zafoldap_group(const ZAFOLDAP_HOST *pHost, const QLIBSZLIST *pExtra) {
    ZAFOGROUP *pGroup = 0;
    char szDescription[256];
    const unsigned int gid = 1000U;
    int nResult =
        ZAFOLDAPBrowserGroupGet(pHost, "cn=staff", &pGroup, szDescription, sizeof szDescription);
    if (nResult == 1) nResult = ZAFOLDAPBrowserGroupCreate(pHost, pGroup, "Staff", pExtra, 0);
    ZAFOGroupFree(pGroup);
    return nResult + ZAFOLDAPBrowserGroupEdit(pHost, "cn=staff", "people", 0, &gid) +
           ZAFOLDAPBrowserDeleteGroup(pHost, "people");
}
#endif

#if defined ALL || defined CALLER_zafoldap_home
#include "zafoldap/home.h"
int call_zafoldap_home(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser);
int call_zafoldap_home(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser) {
    return ZAFOLDAPServerAutomountCreate("files", "/homes") +
           ZAFOLDAPBrowserUserHomeCreateAll(pHost, "files", "/homes") +
           ZAFOLDAPBrowserUserHomeCreate(pHost, pUser) +
           ZAFOLDAPBrowserUserHomeCreateEx("files:/homes", pUser) +
           ZAFOLDAPNFSMount("files:/homes") + ZAFOLDAPNFSUMount();
}
#endif

#if defined ALL || defined CALLER_zafoldap_host
#include "zafoldap/host.h"
int call_zafoldap_host(void);
int call_zafoldap_host(void) {
    ZAFOLDAP_HOST host, copy;
    int nResult = ZAFOLDAPHostInit(&host);
    nResult += ZAFOLDAPHostSet(&host, LDAP_HOST_ATTR_URI, "ldap.example");
    host.nServerType = ZAFOLDAP_SERVER_GENERIC;
    nResult += ZAFOLDAPHostClone(&copy, &host);
    return nResult + ZAFOLDAPHostFree(&copy) + ZAFOLDAPHostFree(&host);
}
#endif

#if defined ALL || defined CALLER_zafoldap_ldif
#include "zafoldap/ldif.h"
static int write_value(ZAFOLDAP_LDIF *pLDIF, const char *szFormat, ...) ZAFOLDAP_PRINTF(2, 3);
static int write_value(ZAFOLDAP_LDIF *pLDIF, const char *szFormat, ...) {
    va_list arguments;
    int nResult;
    va_start(arguments, szFormat);
    nResult = ZAFOLDAPLdifVAttr(pLDIF, "cn", szFormat, arguments);
    va_end(arguments);
    va_start(arguments, szFormat);
    nResult += ZAFOLDAPLdifVAttr64(pLDIF, "sn", szFormat, arguments);
    va_end(arguments);
    return nResult;
}
int call_zafoldap_ldif(void);
int call_zafoldap_ldif(void) {
    ZAFOLDAP_LDIF ldif;
    int nResult = ZAFOLDAPLdifInit(&ldif, 0) + ZAFOLDAPLdifTargetDN(&ldif, "uid=ann") +
                  ZAFOLDAPLdifChangeType(&ldif, "modify") + ZAFOLDAPLdifSepAttr(&ldif) +
                  ZAFOLDAPLdifLine(&ldif, "%s: %d", "uidNumber", 1000) +
                  ZAFOLDAPLdifAttr(&ldif, "uid", "%s", "ann") +
                  ZAFOLDAPLdifAttr64(&ldif, "cn", "%s", "Ann") +
                  ZAFOLDAPLdifAttrReplace(&ldif, "sn", "%s", "Example") +
                  ZAFOLDAPLdifAttrDelete(&ldif, "mail", 0) + write_value(&ldif, "%s", "Ann");
    if (ldif.pFile != 0 && ZAFOLDAPLdifIsEmpty(&ldif)) nResult += ldif.nAttr;
    return nResult + ZAFOLDAPLdifClose(&ldif) + ZAFOLDAPLdifUnlink(&ldif);
}
#endif

#if defined ALL || defined CALLER_zafoldap_lock
#include "zafoldap/lock.h"
int call_zafoldap_lock(void);
int call_zafoldap_lock(void) {
    return ZAFOLDAPUnLock(ZAFOLDAPLock("/tmp/lock", 0));
}
#endif

#if defined ALL || defined CALLER_zafoldap_membership
#include "zafoldap/membership.h"
int call_zafoldap_membership(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppList);
int call_zafoldap_membership(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppList) {
    const unsigned int gid = 1000U;
    return ZAFOLDAPBrowserGroupEnumByUserUID(pHost, "ann", ppList, 0) +
           ZAFOLDAPBrowserGroupEnumByUserDN(pHost, "uid=ann", ppList, 0) +
           ZAFOLDAPBrowserUserEnumByPrimaryGroup(pHost, "cn=staff", 0, ppList) +
           ZAFOLDAPBrowserUserEnumByGroupDN(pHost, "cn=staff", ppList) +
           ZAFOLDAPBrowserUserEnumNotInGroupDN(pHost, "cn=staff", ppList) +
           ZAFOLDAPBrowserGroupEditByUserUID(pHost, "ann", *ppList, 0) +
           ZAFOLDAPBrowserGroupEditByUserDN(pHost, "uid=ann", *ppList, 0) +
           ZAFOLDAPBrowserUserEditByGroupDN(pHost, "cn=staff", *ppList, 0) +
           ZAFOLDAPBrowserGroupEditWhenUserUIDChange(pHost, "ann", "anna") +
           ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(pHost, "uid=ann", "anna") +
           ZAFOLDAPBrowserGroupEditWhenUserGIDChange(pHost, "ann", &gid, 0);
}
#endif

#if defined ALL || defined CALLER_zafoldap_migrate
#include "zafoldap/migrate.h"
int call_zafoldap_migrate(const ZAFOLDAP_HOST *pHost);
int call_zafoldap_migrate(const ZAFOLDAP_HOST *pHost) {
    return ZAFOLDAPBrowserMigrateUserToLDAP(pHost) + ZAFOLDAPBrowserMigrateGroupToLDAP(pHost) +
           ZAFOLDAPBrowserMigrateUserToLocal(pHost) + ZAFOLDAPBrowserMigrateGroupToLocal(pHost);
}
#endif

#if defined ALL || defined CALLER_zafoldap_modify
#include "zafoldap/modify.h"
int call_zafoldap_modify(const ZAFOLDAP_HOST *pHost, ZAFOLDAP_LDIF *pLDIF);
int call_zafoldap_modify(const ZAFOLDAP_HOST *pHost, ZAFOLDAP_LDIF *pLDIF) {
    return ZAFOLDAPModify(pHost, pLDIF, 1) + pLDIF->nExitCode;
}
#endif

#if defined ALL || defined CALLER_zafoldap_object_class
#include "zafoldap/object_class.h"
int call_zafoldap_object_class(unsigned int nSchema);
int call_zafoldap_object_class(unsigned int nSchema) {
    return (nSchema & ZAFOLDAP_CLASS_POSIX_ACCOUNT) != 0;
}
#endif

#if defined ALL || defined CALLER_zafoldap_password
#include "zafoldap/password.h"
int call_zafoldap_password(const ZAFOLDAP_HOST *pHost);
int call_zafoldap_password(const ZAFOLDAP_HOST *pHost) {
    char szHash[128];
    return ZAFOLDAPEncryptPasswd("secret", szHash, sizeof szHash) +
           ZAFOLDAPPasswd(pHost, "uid=ann", "secret");
}
#endif

#if defined ALL || defined CALLER_zafoldap_result
#include "zafoldap/result.h"
int call_zafoldap_result(QLIBSZLIST **ppValues);
int call_zafoldap_result(QLIBSZLIST **ppValues) {
    ZAFOLDAP_RESULT result, copy;
    const char *szValue = 0;
    int nResult = ZAFOLDAPResultInit(&result) + ZAFOLDAPResultInit(&copy) +
                  ZAFOLDAPResultSet(&result, "cn", "An") + ZAFOLDAPResultConcateAttr(&result, "n") +
                  ZAFOLDAPResultClone(&copy, &result) + ZAFOLDAPResultGetAttrCount(&result) +
                  ZAFOLDAPResultGetAll(&result, "cn", ppValues);
    if (ZAFOLDAPResultGetAt(&result, 0, &szValue) == 0 && result.pFile == 0) nResult++;
    if (ZAFOLDAPResultGetFirst(&result, "cn") == szValue) nResult++;
    return nResult + ZAFOLDAPResultRemoveAll(&result) + ZAFOLDAPResultFree(&result) +
           ZAFOLDAPResultFree(&copy);
}
#endif

#if defined ALL || defined CALLER_zafoldap_samba
#include "zafoldap/samba.h"
static int take_next(const ZAFOLDAP_HOST *pHost, uint64_t *pValue, uint64_t *pNext, void *pTruck) {
    *pNext = *pValue + (pHost == pTruck ? 2U : 1U);
    return 0;
}
int call_zafoldap_samba(const ZAFOLDAP_HOST *pHost);
int call_zafoldap_samba(const ZAFOLDAP_HOST *pHost) {
    char szSID[256];
    uint64_t nValue = 0;
    const ZAFOLDAP_ATOMIC_CHECK pfnCheck = take_next;
    return ZAFOLDAPAtomicRemoveAdd(pHost, "cn=counter", "uidNumber", "1", "2") +
           ZAFOLDAPAtomicIncr(pHost, "cn=counter", "uidNumber", &nValue, pfnCheck, 0) +
           ZAFOLDAPSambaXidGet(pHost, szSID, sizeof szSID, ZAFOLDAP_XID_DOMAIN_SID) +
           ZAFOLDAPSambaGetIDFromDB(pHost, &nValue, ZAFOLDAP_XID_CUR_UID) +
           ZAFOLDAPSambaUIDGen(pHost) + ZAFOLDAPSambaGIDGen(pHost) +
           ZAFOLDAPSambaSIDGen(pHost, szSID, sizeof szSID);
}
#endif

#if defined ALL || defined CALLER_zafoldap_search
#include "zafoldap/search.h"
static int take_entry(const ZAFOLDAP_HOST *pHost, const ZAFOLDAP_SEARCH_REQUEST *pRequest,
                      const ZAFOLDAP_RESULT *pResult, void *pData) {
    return pHost != 0 && pRequest != 0 && pResult != 0 && pData == 0;
}
int call_zafoldap_search(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppList);
int call_zafoldap_search(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppList) {
    ZAFOLDAP_SEARCH_REQUEST request, copy;
    ZAFOLDAP_RESULT result;
    unsigned int nSchema = 0;
    char szText[1024];
    int nResult = ZAFOLDAPSearchRequestInit(&request, 1);
    request.szFilter = "(uid=ann)";
    nResult += ZAFOLDAPSearchRequestClone(&copy, &request) +
               ZAFOLDAPSearchBuildRequestCmd(pHost, &copy, szText, sizeof szText) +
               ZAFOLDAPSearchResultGet(pHost, &request, take_entry, 0) +
               ZAFOLDAPSearchEachValue(pHost, &request, "uid", ppList, ppList) +
               ZAFOLDAPSearchMultiValue(pHost, &request, "uid", ppList) +
               ZAFOLDAPSearchGetValueByDN(pHost, "uid=ann", 0, "uid", szText, sizeof szText) +
               ZAFOLDAPSearchObjectClasses(pHost, "uid=ann", 0, &nSchema) +
               ZAFOLDAPSearchRequestFree(&copy);
    if (ZAFOLDAPSearchInit(pHost, &request, &result) == 0)
        nResult += ZAFOLDAPSearchGetNext(&request, &result);
    return nResult + ZAFOLDAPSearchFree(&request, &result);
}
#endif

#if defined ALL || defined CALLER_zafoldap_server
#include "zafoldap/server.h"
int call_zafoldap_server(const ZAFOLDAP_HOST *pHost, ZAFOLDAP_LDIF *pLDIF);
int call_zafoldap_server(const ZAFOLDAP_HOST *pHost, ZAFOLDAP_LDIF *pLDIF) {
    const ZAFOLDAP_SERVER_PARAM parms = {
        "dc=example", "cn=admin,dc=example", "secret", 1U, 1U, 9U, 9U, 1U, 1U};
    int nPid = 0;
    return ZAFOLDAPServerEnable(&parms) + ZAFOLDAPServerStart() + ZAFOLDAPServerStop() +
           ZAFOLDAPServerIsStarted(&nPid) + ZAFOLDAPServerConfSet(&parms) +
           ZAFOLDAPSlapdConfSetOne("loglevel", "stats") + ZAFOLDAPServerACLConfGen(&parms) +
           ZAFOLDAPServerWriteACL("/tmp/rules", &parms) + ZAFOLDAPServerDBCreate(&parms) +
           ZAFOLDAPServerSambaDomainCreate("dc=example", &parms) + ZAFOLDAPServerDBReset() +
           ZAFOLDAPServerSlapadd(pLDIF) + ZAFOLDAPServerDNIsExist("dc=example") +
           ZAFOLDAPServerDBIsEmpty() + ZAFOLDAPServerDefaultAdd() +
           ZAFOLDAPBrowserNodeCreate(pHost, "people") + ZAFOLDAPBrowserRootNodeCreate(pHost);
}
#endif

#if defined ALL || defined CALLER_zafoldap_suggest
#include "zafoldap/suggest.h"
int call_zafoldap_suggest(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppBases);
int call_zafoldap_suggest(const ZAFOLDAP_HOST *pHost, QLIBSZLIST **ppBases) {
    return ZAFOLDAPBrowserSuggestUid(pHost) + ZAFOLDAPBrowserSuggestGid(pHost) +
           ZAFOLDAPBrowserSuggestBaseDN(pHost, ppBases);
}
#endif

#if defined ALL || defined CALLER_zafoldap_user
#include "zafoldap/user.h"
int call_zafoldap_user(const ZAFOLDAP_HOST *pHost, const QLIBSZLIST *pExtra);
int call_zafoldap_user(const ZAFOLDAP_HOST *pHost, const QLIBSZLIST *pExtra) {
    ZAFOUSER *pUser = 0;
    const int blDisallow = 1;
    const long nExpire = -1;
    int nResult = ZAFOLDAPBrowserUserGet(pHost, "uid=ann", &pUser, 0) +
                  ZAFOLDAPBrowserUserGetEx(pHost, "uid=ann", &pUser, 0, 0);
    if (pUser != 0 && pUser->pw_uid != UID_ERR) {
        nResult += ZAFOLDAPBrowserUserCreate(pHost, pUser, pExtra, 0) +
                   ZAFOLDAPBrowserUserCreateWithCryptedPass(pHost, pUser, pExtra, 0) +
                   ZAFOLDAPBrowserUserEdit(pHost, "uid=ann", pUser, &blDisallow, &nExpire);
    }
    ZAFOUserFree(pUser);
    return nResult + ZAFOLDAPBrowserDeleteUser(pHost, "ann") +
           ZAFOLDAPBrowserDeleteDN(pHost, "uid=ann");
}
#endif

#if defined ALL || defined CALLER_platform_api
#include "platform/api.h"
ZAFO_BEGIN_DECLS
ZAFO_API int call_platform_api(void);
ZAFO_END_DECLS
int call_platform_api(void) {
    return 0;
}
#endif

#if defined ALL || defined CALLER_platform_crypt
#include "platform/crypt.h"
int call_platform_crypt(void);
int call_platform_crypt(void) {
    char szCipher[128], szHash[33];
    size_t cbText = sizeof szCipher;
    return QLIBCryptSzEncrypt("secret", szCipher, sizeof szCipher) +
           QLIBCryptSzDecrypt(szCipher, szCipher, sizeof szCipher) +
           ZAFOEncodingBase64Decode("eA==", 4, szCipher, &cbText) +
           (SzBase64EncodeOneLine("x", 1) != 0) + QLIBSmbNtEncrypt("secret", szHash, sizeof szHash);
}
#endif

#if defined ALL || defined CALLER_platform_error
#include "platform/error.h"
int call_platform_error(void);
int call_platform_error(void) {
    return QLIBCErrSet(QLIB_ERR_NONE) + QLIBCErrGet();
}
#endif

#if defined ALL || defined CALLER_platform_file
#include "platform/file.h"
int call_platform_file(QLIBSZHASH *pHash, QLIBSZLIST **ppNames);
int call_platform_file(QLIBSZHASH *pHash, QLIBSZLIST **ppNames) {
    return QLIBCFileGetSection("/tmp/conf", "root", pHash) + QLIBCFileGetPair("/tmp/conf", pHash) +
           QLIBCFileEnumSection("/tmp/conf", ppNames) + QLIBCFileRemoveSection("/tmp/conf", "root");
}
#endif

#if defined ALL || defined CALLER_platform_fs
#include "platform/fs.h"
int call_platform_fs(void);
int call_platform_fs(void) {
    return ZAFOFSMkdirP("/tmp/folder", 0, 1, 0, 0, 0700);
}
#endif

#if defined ALL || defined CALLER_platform_group
#include "platform/group.h"
int call_platform_group(QLIBSZLIST **ppNames);
int call_platform_group(QLIBSZLIST **ppNames) {
    const char *const rgszMembers[] = {"ann", 0};
    ZAFOGROUP *pGroup = 0;
    int nResult = ZAFOGroupAlloc(&pGroup, "staff", GID_ERR, rgszMembers) +
                  ZAFOGroupGet("staff", &pGroup) + ZAFOGroupGetLocal("staff", &pGroup) +
                  ZAFOGroupGetLocalByGID(1000U, &pGroup) + ZAFOGroupSet(0, pGroup) +
                  ZAFOGroupEnum(ppNames, 1);
    ZAFOGroupFree(pGroup);
    return nResult;
}
#endif

#if defined ALL || defined CALLER_platform_ldap
#include "platform/ldap.h"
int call_platform_ldap(void);
int call_platform_ldap(void) {
    char szText[256];
    return ZAFOLDAPInfoGetFromConf("/tmp/conf", "uri", szText, sizeof szText) +
           ZAFOLDAPSecretGet(szText, sizeof szText) +
           ZAFOLDAPSSLToString(ZAFOLDAP_SSL_START_TLS, szText, sizeof szText) +
           ZAFOLDAPSSLToType("on") + ZAFOLDAPIsBinded(0) +
           ZAFOLDAPDNFirstDomainComponent("dc=example", szText, sizeof szText);
}
#endif

#if defined ALL || defined CALLER_platform_process
#include "platform/process.h"
int call_platform_process(void);
int call_platform_process(void) {
    char szProgram[] = "/bin/true";
    char *rgszArguments[2] = {szProgram, 0};
    FILE *pStream = QLIBCPopen(szProgram, "r", "argument", (char *)0);
    return QLIBCPclose(pStream) + QLIBCPclose(QLIBCPopenv(szProgram, "r", rgszArguments)) +
           QLIBCExec(szProgram, 0, 0, 0, 0) + QLIBCExecl(szProgram, 0, (char *)0) +
           QLIBCExecv(szProgram, rgszArguments, 1) + QLIBCProcAlive(QLIBCReadPidFile("/tmp/pid"));
}
#endif

#if defined ALL || defined CALLER_platform_schedule
#include "platform/schedule.h"
int call_platform_schedule(void);
int call_platform_schedule(void) {
    ZAFOSCHEDULE schedule = {{ZAFO_SCHEDULE_DAILY, 4, 0, 4, 0, 0}, "true"};
    return ZAFOScheduleSet(&schedule, 0) + ZAFOScheduleGet("true", &schedule) +
           ZAFOScheduleRemove(schedule.szCommand);
}
#endif

#if defined ALL || defined CALLER_platform_service
#include "platform/service.h"
int call_platform_service(void);
int call_platform_service(void) {
    return QLIBServiceStart("ldap-server", 0) + QLIBServiceStop("ldap-server", 0) +
           QLIBServiceIsEnabled("ldap-server") + QLIBServiceEnable("ldap-server") +
           QLIBServiceDisable("ldap-server");
}
#endif

#if defined ALL || defined CALLER_platform_share
#include "platform/share.h"
int call_platform_share(void);
int call_platform_share(void) {
    char szPath[1024];
    return ZAFOSharePathGet("homes", szPath, sizeof szPath);
}
#endif

#if defined ALL || defined CALLER_platform_szhash
#include "platform/szhash.h"
int call_platform_szhash(void);
int call_platform_szhash(void) {
    QLIBSZHASH *pHash = QLIBCSzHashAlloc(1024);
    int nResult = QLIBCSzHashSetValue(pHash, "key", "value");
    nResult += QLIBCSzHashGetValue(pHash, "key") != 0;
    nResult += QLIBCSzHashRemoveKey(pHash, "key");
    QLIBCSzHashFree(pHash);
    return nResult;
}
#endif

#if defined ALL || defined CALLER_platform_szlist
#include "platform/szlist.h"
int call_platform_szlist(void);
int call_platform_szlist(void) {
    QLIBSZLIST *pList = QLIBCSzListAlloc(1024);
    int nResult = QLIBCSzListPush(&pList, "text") + QLIBCSzListInsert(&pList, 0, "first") +
                  QLIBCSzListSet(&pList, 0, "other") +
                  QLIBCSzListSortItems(pList, QLIB_SZLIST_SORT_NOCASE) +
                  QLIBCSzListCaseFind(pList, "TEXT") + (QLIBCSzListGet(pList, 0) != 0) +
                  QLIBCSzListPop(pList) + QLIBCSzListRemove(pList, 0) + pList->nItem;
    QLIBCSzListRemoveAll(pList);
    QLIBCSzListFree(pList);
    return nResult;
}
#endif

#if defined ALL || defined CALLER_platform_unicode
#include "platform/unicode.h"
int call_platform_unicode(void);
int call_platform_unicode(void) {
    return QLIBCUnicodeUTF8StrCaseCmp("a", "A");
}
#endif

#if defined ALL || defined CALLER_platform_user
#include "platform/user.h"
int call_platform_user(QLIBSZLIST **ppNames);
int call_platform_user(QLIBSZLIST **ppNames) {
    ZAFOUSER *pUser = 0;
    QLIBCMRESULT *pOutcome = QLIBCMResultAlloc();
    int nResult = ZAFOUserAlloc(&pUser, "ann", "secret", 1000U, 1000U, "Ann", 0, 0, -1, 0, 0) +
                  ZAFOUserEnum(ppNames, ZAFO_ACCOUNT_LOCAL) + ZAFOUserGet("ann", &pUser) +
                  ZAFOUserGetLocal("ann", &pUser) + ZAFOUserGetLocalByUID(1000U, &pUser) +
                  ZAFOUserSetOne(0, pUser, pOutcome) + QLIBUserNumRemained();
    QLIBCMResultFree(pOutcome);
    ZAFOUserFree(pUser);
    return nResult;
}
#endif
