// SPDX-License-Identifier: Apache-2.0
//
// The local database past its server: loading entries with slapadd(8), looking for one with
// slapcat(8).
#include <unistd.h>

#include <cstdio>
#include <new>
#include <string>

#include "base/appliance_paths.h"
#include "core/tool_output.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/process.h"
#include "server/server_files.h"
#include "zafoldap/debug.h"
#include "zafoldap/error.h"
#include "zafoldap/server.h"

namespace {

using zafo::kDatabaseMarker;
using zafo::kSlapadd;
using zafo::kSlapcat;

constexpr size_t kMaxFilter = 4096;

void LogOutput(FILE *pOutput) {
    if (ZAFOLDAPDebugEnabled() == 0) return;
    zafo::Lines lines(pOutput);
    while (const char *szLine = lines.Next()) {
        if (*szLine != '\0') ZAFO_LOG("%s", szLine);
    }
}

int ResultOfStatus(int nStatus, ZAFOLDAP_LDIF *pLDIF) {
    if (nStatus == 0) return 0;
    if ((nStatus & 127) == 0) {
        const int nExitCode = (nStatus >> 8) & 255;
        ZAFO_LOG("slapadd return %d", nExitCode);
        pLDIF->nExitCode = nExitCode;
        ZAFOLDAPErrSet(nExitCode);
    } else {
        ZAFO_LOG("slapadd terminate abnormal %d", nStatus);
    }
    return -1;
}

int RunSlapadd(const char *szSuffix, ZAFOLDAP_LDIF *pLDIF) {
    const std::string command =
        std::string(kSlapadd) + " -b '" + szSuffix + "' -l '" + pLDIF->szPath + "'";
    ZAFO_DEBUG_LOG("%s", command.c_str());
    FILE *pOutput = QLIBCPopen(kSlapadd, "r", "-b", szSuffix, "-l", pLDIF->szPath,
                               static_cast<char *>(nullptr));
    if (pOutput == nullptr) {
        ZAFO_LOG("Execute [%s] failed!", command.c_str());
        QLIBCErrSet(QLIB_ERR_OPEN_FAILED);
        return -1;
    }
    LogOutput(pOutput);
    return ResultOfStatus(QLIBCPclose(pOutput), pLDIF);
}

// The database must not have two writers, so a running server is stopped meanwhile.
int LoadOffline(const char *szSuffix, ZAFOLDAP_LDIF *pLDIF) {
    const bool blRunning = ZAFOLDAPServerIsStarted(nullptr) == 1;
    if (blRunning) ZAFOLDAPServerStop();
    const int nResult = zafo::Guarded(-1, [=] { return RunSlapadd(szSuffix, pLDIF); });
    ZAFOLDAPLdifUnlink(pLDIF);
    if (blRunning && ZAFOLDAPServerStart() != 0) {
        ZAFO_LOG("Start LDAP server failed. [0x%04X]", zafo::PlatformError());
    }
    return nResult;
}

bool HasLine(FILE *pOutput, const std::string &wanted) {
    zafo::Lines lines(pOutput);
    while (const char *szLine = lines.Next()) {
        if (wanted == szLine) return true;
    }
    // The lines also end when there is no memory for one. An error while reading is their end.
    if (std::feof(pOutput) == 0 && std::ferror(pOutput) == 0) throw std::bad_alloc();
    return false;
}

int FindDN(const char *szDN) {
    char szFilter[kMaxFilter];
    snprintf(szFilter, sizeof szFilter, "(entryDN:=%s)", szDN);
    const std::string wanted = std::string("dn: ") + szDN;
    const zafo::ToolOutput output(
        QLIBCPopen(kSlapcat, "r", "-a", szFilter, static_cast<char *>(nullptr)));
    if (output == nullptr) {
        QLIBCErrSet(QLIB_ERR_OPEN_FAILED);
        return 0;
    }
    return HasLine(output.get(), wanted) ? 1 : 0;
}

}  // namespace

int ZAFOLDAPServerSlapadd(ZAFOLDAP_LDIF *pLDIF) {
    if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    ZAFOLDAPLdifClose(pLDIF);
    char szSuffix[zafo::kServerText];
    if (zafo::ReadSuffix(szSuffix) != 0) return -1;
    if (ZAFOLDAPLdifIsEmpty(pLDIF) == 0) return LoadOffline(szSuffix, pLDIF);
    ZAFOLDAPLdifUnlink(pLDIF);
    return 0;
}

int ZAFOLDAPServerDNIsExist(const char *szDN) {
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    return zafo::Guarded(0, [=] { return FindDN(szDN); });
}

int ZAFOLDAPServerDBIsEmpty(void) {
    return access(kDatabaseMarker, F_OK) == 0 ? 0 : 1;
}
