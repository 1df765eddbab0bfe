// SPDX-License-Identifier: Apache-2.0
//
// Passwords, with the tools made for them: slappasswd(8) hashes one locally, ldappasswd(1) has the
// server set one (RFC 3062).
#include <cerrno>
#include <cstring>
#include <exception>

#include "platform/error.h"
#include "platform/process.h"
#include "src/core/check_connection.h"
#include "src/core/tool_arguments.h"
#include "src/core/tool_output.h"
#include "src/frame/log.h"
#include "zafoldap/password.h"

namespace {

constexpr const char *kHashTool = "/usr/zafo/bin/slappasswd";
constexpr const char *kScheme = "{CRYPT}";
constexpr const char *kSalt = "$1$%.2s";  // MD5-crypt; the tool picks two characters of salt

constexpr const char *kChangeTool = "/usr/zafo/bin/ldappasswd";
constexpr size_t kMaxLoggedCommand = 1023;

}  // namespace

int ZAFOLDAPEncryptPasswd(const char *clear_password, char *hash, size_t size) {
    if (clear_password == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szClearPass");
    if (hash == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szEncryptPass");
    if (size == 0) return ZAFO_BAD_ARGUMENT("0 < cbEncryptPass");

    ZAFO_DEBUG_LOG("cmd: %s %s '%s' %s '%s' %s '%s'", kHashTool, "-h", kScheme, "-s", "****", "-c",
                   kSalt);
    const zafo::ToolOutput output(QLIBCPopen(kHashTool, "r", "-h", kScheme, "-s", clear_password,
                                             "-c", kSalt, static_cast<char *>(nullptr)));
    return zafo::ReadOnlyLine(output, hash, size, __FILE_NAME__) ? 0 : -1;
}

int ZAFOLDAPPasswd(const ZAFOLDAP_HOST *host, const char *user_dn, const char *clear_password) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    if (user_dn == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (clear_password == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szClearPass");

    try {
        zafo::ToolArguments arguments{kChangeTool, "-x"};
        arguments.AddConnection(*host);
        arguments.Add({"-s", clear_password, user_dn});
        // The log line contains the passwords.
        ZAFO_DEBUG_LOG("cmd: %s", arguments.CommandLine(kMaxLoggedCommand).c_str());
        char **argv = arguments.argv();
        const int error = QLIBCExecv(argv[0], argv, 1);
        if (error == 0) return 0;
        return ZAFO_FAILURE("Failed to set password for %s (err=%d)", user_dn, error);
    } catch (const std::exception &) {
        ZAFO_LOG("Failed to alloc arg (%s)", std::strerror(errno));
        return zafo::FailWith(QLIB_ERR_OUT_OF_MEMORY);
    }
}
