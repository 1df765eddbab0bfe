// SPDX-License-Identifier: Apache-2.0
//
// Applies a change file with ldapmodify(1). The tool stops at the first record that the server
// rejects and exits with its LDAP result code.
#include <string>

#include "platform/error.h"
#include "platform/ldap.h"
#include "platform/process.h"
#include "src/core/check_connection.h"
#include "src/core/tool_arguments.h"
#include "src/core/tool_output.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "zafoldap/modify.h"

namespace zafo {

namespace {

constexpr const char *kTool = "/usr/zafo/bin/ldapmodify";
constexpr size_t kMaxAddress = 4094;

const char *OrEmpty(const char *text) {
    return text != nullptr ? text : "";
}

int ResultOfStatus(int status, ZAFOLDAP_LDIF *ldif) {
    if (status == 0) return 0;
    if (KeepExitCode(status, &ldif->nExitCode)) {
        ZAFO_DEBUG_LOG("ldapmodify return %d", ldif->nExitCode);
    } else {
        ZAFO_LOG("ldapmodify terminate abnormal %d", status);
    }
    return -1;
}

int RunTool(const ZAFOLDAP_HOST &host, ZAFOLDAP_LDIF *ldif, bool add) {
    const std::string address = ServerAddress(host, kMaxAddress);
    const char *mode = add ? "-ax" : "-x";
    const char *server = host.nSSLType == ZAFOLDAP_SSL_START_TLS ? "-ZH" : "-H";
    const char *bind_dn = OrEmpty(host.szBindDN);

    ZAFO_DEBUG_LOG("%s %s %s '%s' %s '%s' %s '%s' %s '%s'", kTool, mode, server, address.c_str(),
                   "-D", bind_dn, "-f", ldif->szPath, "-w", "****");
    FILE *output =
        QLIBCPopen(kTool, "r", mode, server, address.c_str(), "-D", bind_dn, "-f", ldif->szPath,
                   "-w", OrEmpty(host.szBindPasswd), static_cast<char *>(nullptr));
    if (output == nullptr) {
        ZAFO_LOG("Execute [%s] failed!", "");
        return FailWith(QLIB_ERR_OPEN_FAILED);
    }
    LogOutput(output, __FILE_NAME__);
    return ResultOfStatus(QLIBCPclose(output), ldif);
}

}  // namespace

}  // namespace zafo

int ZAFOLDAPModify(const ZAFOLDAP_HOST *host, ZAFOLDAP_LDIF *ldif, int add) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (ldif == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");

    ZAFOLDAPLdifClose(ldif);
    int result = 0;
    if (ZAFOLDAPLdifIsEmpty(ldif) == 0) {
        result = zafo::Guarded(-1, [&] { return zafo::RunTool(*host, ldif, add != 0); });
    }
    ZAFOLDAPLdifUnlink(ldif);
    return result;
}
