// SPDX-License-Identifier: Apache-2.0
//
// Applies a change file with ldapmodify(1). Its exit code is the LDAP result
// code of the record that the server refused; it stops there.
#include "zafoldap/modify.h"

#include <string>

#include "core/check_connection.h"
#include "core/tool_arguments.h"
#include "core/tool_output.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/ldap.h"
#include "platform/process.h"
#include "zafoldap/debug.h"

namespace zafo {

namespace {

constexpr const char *kTool = "/usr/zafo/bin/ldapmodify";
constexpr size_t kMaxAddress = 4094;

const char *OrEmpty(const char *sz) {
    return sz != nullptr ? sz : "";
}

int ResultOfStatus(int nStatus, ZAFOLDAP_LDIF *pLDIF) {
    if (nStatus == 0) return 0;
    if (KeepExitCode(nStatus, &pLDIF->nExitCode)) {
        ZAFO_DEBUG_LOG("ldapmodify return %d", pLDIF->nExitCode);
    } else {
        ZAFO_LOG("ldapmodify terminate abnormal %d", nStatus);
    }
    return -1;
}

int RunTool(const ZAFOLDAP_HOST &host, ZAFOLDAP_LDIF *pLDIF, bool blAdd) {
    const std::string address = ServerAddress(host, kMaxAddress);
    const char *szMode = blAdd ? "-ax" : "-x";
    const char *szServer = host.nSSLType == ZAFOLDAP_SSL_START_TLS ? "-ZH" : "-H";
    const char *szBindDN = OrEmpty(host.szBindDN);

    ZAFO_DEBUG_LOG("%s %s %s '%s' %s '%s' %s '%s' %s '%s'", kTool, szMode, szServer,
                   address.c_str(), "-D", szBindDN, "-f", pLDIF->szPath, "-w", "****");
    FILE *pOutput =
        QLIBCPopen(kTool, "r", szMode, szServer, address.c_str(), "-D", szBindDN, "-f",
                   pLDIF->szPath, "-w", OrEmpty(host.szBindPasswd), static_cast<char *>(nullptr));
    if (pOutput == nullptr) {
        ZAFO_LOG("Execute [%s] failed!", "");
        QLIBCErrSet(QLIB_ERR_OPEN_FAILED);
        return -1;
    }
    LogOutput(pOutput, __FILE_NAME__);
    return ResultOfStatus(QLIBCPclose(pOutput), pLDIF);
}

}  // namespace

}  // namespace zafo

int ZAFOLDAPModify(const ZAFOLDAP_HOST *pHost, ZAFOLDAP_LDIF *pLDIF, int blAdd) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");

    ZAFOLDAPLdifClose(pLDIF);
    int nResult = 0;
    if (ZAFOLDAPLdifIsEmpty(pLDIF) == 0) {
        nResult = zafo::Guarded(-1, [&] { return zafo::RunTool(*pHost, pLDIF, blAdd != 0); });
    }
    ZAFOLDAPLdifUnlink(pLDIF);
    return nResult;
}
