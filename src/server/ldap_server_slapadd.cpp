// SPDX-License-Identifier: Apache-2.0
//
// Offline access to the local database: loads entries with slapadd(8) and looks for one with
// slapcat(8).
#include <unistd.h>

#include <cstdio>
#include <new>
#include <string>

#include "base/appliance_paths.h"
#include "platform/error.h"
#include "platform/process.h"
#include "src/core/line_buffer.h"
#include "src/core/tool_output.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/server/server_files.h"
#include "zafoldap/server.h"

namespace {

using zafo::kDatabaseMarker;
using zafo::kSlapadd;
using zafo::kSlapcat;

constexpr size_t kMaxFilter = 4096;

int ResultOfStatus(int status, ZAFOLDAP_LDIF *ldif) {
    if (status == 0) return 0;
    if (zafo::KeepExitCode(status, &ldif->nExitCode)) {
        ZAFO_LOG("slapadd return %d", ldif->nExitCode);
    } else {
        ZAFO_LOG("slapadd terminate abnormal %d", status);
    }
    return -1;
}

int RunSlapadd(const char *suffix, ZAFOLDAP_LDIF *ldif) {
    const std::string command =
        std::string(kSlapadd) + " -b '" + suffix + "' -l '" + ldif->szPath + "'";
    ZAFO_DEBUG_LOG("%s", command.c_str());
    FILE *output =
        QLIBCPopen(kSlapadd, "r", "-b", suffix, "-l", ldif->szPath, static_cast<char *>(nullptr));
    if (output == nullptr) {
        ZAFO_LOG("Execute [%s] failed!", command.c_str());
        return zafo::FailWith(QLIB_ERR_OPEN_FAILED);
    }
    zafo::LogOutput(output, __FILE_NAME__);
    return ResultOfStatus(QLIBCPclose(output), ldif);
}

// The database must not have two writers, so a running server is stopped in the meantime.
int LoadOffline(const char *suffix, ZAFOLDAP_LDIF *ldif) {
    const bool was_running = ZAFOLDAPServerIsStarted(nullptr) == 1;
    if (was_running) ZAFOLDAPServerStop();
    const int result = zafo::Guarded(-1, [=] { return RunSlapadd(suffix, ldif); });
    ZAFOLDAPLdifUnlink(ldif);
    if (was_running && ZAFOLDAPServerStart() != 0) {
        ZAFO_LOG("Start LDAP server failed. [0x%04X]", zafo::PlatformError());
    }
    return result;
}

bool HasLine(FILE *output, const std::string &wanted) {
    zafo::LineBuffer line;
    auto outcome = zafo::LineBuffer::Outcome::kLine;
    while ((outcome = line.Read(output)) == zafo::LineBuffer::Outcome::kLine) {
        if (wanted == line.text()) return true;
    }
    if (outcome == zafo::LineBuffer::Outcome::kNoMemory) throw std::bad_alloc();
    return false;
}

int FindDN(const char *dn) {
    char filter[kMaxFilter];
    snprintf(filter, sizeof filter, "(entryDN:=%s)", dn);
    const std::string wanted = std::string("dn: ") + dn;
    const zafo::ToolOutput output(
        QLIBCPopen(kSlapcat, "r", "-a", filter, static_cast<char *>(nullptr)));
    if (output == nullptr) {
        QLIBCErrSet(QLIB_ERR_OPEN_FAILED);
        return 0;
    }
    return HasLine(output.get(), wanted) ? 1 : 0;
}

}  // namespace

int ZAFOLDAPServerSlapadd(ZAFOLDAP_LDIF *ldif) {
    if (ldif == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    ZAFOLDAPLdifClose(ldif);
    char suffix[zafo::kServerText];
    if (zafo::ReadSuffix(suffix) != 0) return -1;
    if (ZAFOLDAPLdifIsEmpty(ldif) == 0) return LoadOffline(suffix, ldif);
    ZAFOLDAPLdifUnlink(ldif);
    return 0;
}

int ZAFOLDAPServerDNIsExist(const char *dn) {
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szDN");
    return zafo::Guarded(0, [=] { return FindDN(dn); });
}

int ZAFOLDAPServerDBIsEmpty(void) {
    return access(kDatabaseMarker, F_OK) == 0 ? 0 : 1;
}
