// SPDX-License-Identifier: Apache-2.0
//
// The local database past its server: loading entries with slapadd(8), looking for one with
// slapcat(8).
#include <unistd.h>

#include <cstdio>
#include <new>
#include <string>

#include "core/line_buffer.h"
#include "core/tool_output.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/process.h"
#include "server/server_files.h"
#include "zafoldap/debug.h"
#include "zafoldap/server.h"

namespace {

constexpr const char *kSlapadd = "/usr/zafo/bin/slapadd";
constexpr const char *kSlapcat = "/usr/zafo/bin/slapcat";

// Exists exactly when the database holds data, whatever files its back end makes.
constexpr const char *kDatabaseMarker = "/usr/zafo/etc/openldap/data/dn2id.bdb";

constexpr size_t kMaxFilter = 4096;

int ResultOfStatus(int nStatus, ZAFOLDAP_LDIF *pLDIF) {
    if (nStatus == 0) return 0;
    if (zafo::KeepExitCode(nStatus, &pLDIF->nExitCode)) {
        ZAFO_LOG("slapadd return %d", pLDIF->nExitCode);
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
    zafo::LogOutput(pOutput, __FILE_NAME__);
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
    zafo::LineBuffer line;
    auto outcome = zafo::LineBuffer::Outcome::kLine;
    while ((outcome = line.Read(pOutput)) == zafo::LineBuffer::Outcome::kLine) {
        if (wanted == line.text()) return true;
    }
    if (outcome == zafo::LineBuffer::Outcome::kNoMemory) throw std::bad_alloc();
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
