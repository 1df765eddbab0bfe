// SPDX-License-Identifier: Apache-2.0
//
// Passwords, by the tools that know about them: slappasswd(8) hashes one here,
// ldappasswd(1) has the server set one (RFC 3062).
#include "zafoldap/password.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "core/ldap_search_command.h"
#include "core/tool_output.h"
#include "frame/log.h"
#include "platform/error.h"
#include "platform/ldap.h"
#include "platform/process.h"
#include "zafoldap/debug.h"

namespace {

constexpr const char *kHashTool = "/usr/zafo/bin/slappasswd";
constexpr const char *kScheme = "{CRYPT}";
constexpr const char *kSalt = "$1$%.2s";  // MD5-crypt with two characters of the tool's choice

constexpr const char *kChangeTool = "/usr/zafo/bin/ldappasswd";
constexpr size_t kMaxAddress = 1024;
constexpr size_t kMaxLoggedCommand = 1023;

std::vector<std::string> ChangeArguments(const ZAFOLDAP_HOST &host, const char *szUserDN,
                                         const char *szClearPass) {
    std::vector<std::string> arguments = {kChangeTool, "-x", "-H",
                                          zafo::ServerAddress(host, kMaxAddress)};
    if (host.nSSLType == ZAFOLDAP_SSL_START_TLS) arguments.emplace_back("-Z");
    if (host.szBindDN != nullptr) {
        arguments.insert(arguments.end(), {"-D", host.szBindDN});
        if (host.szBindPasswd != nullptr) {
            arguments.insert(arguments.end(), {"-w", host.szBindPasswd});
        }
    }
    arguments.insert(arguments.end(), {"-s", szClearPass, szUserDN});
    return arguments;
}

// The command for people, ended before the first item that has no room. Passwords are shown.
void LogCommand(const std::vector<std::string> &arguments) {
    if (ZAFOLDAPDebugEnabled() == 0) return;
    std::string line = arguments.front();
    for (size_t i = 1; i < arguments.size(); ++i) {
        const bool blOption = arguments[i].starts_with('-');
        if (line.size() + arguments[i].size() + (blOption ? 1 : 3) > kMaxLoggedCommand) break;
        line.append(blOption ? " " : " '").append(arguments[i]).append(blOption ? "" : "'");
    }
    ZAFO_LOG("cmd: %s", line.c_str());
}

}  // namespace

int ZAFOLDAPEncryptPasswd(const char *szClearPass, char *szEncryptPass, size_t cbEncryptPass) {
    if (szClearPass == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szClearPass");
    if (szEncryptPass == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szEncryptPass");
    if (cbEncryptPass == 0) return ZAFO_BAD_ARGUMENT("0 < cbEncryptPass");

    ZAFO_DEBUG_LOG("cmd: %s %s '%s' %s '%s' %s '%s'", kHashTool, "-h", kScheme, "-s", "****", "-c",
                   kSalt);
    const zafo::ToolOutput output(QLIBCPopen(kHashTool, "r", "-h", kScheme, "-s", szClearPass, "-c",
                                             kSalt, static_cast<char *>(nullptr)));
    if (output == nullptr) {
        ZAFO_LOG("Popen failed [0x%04X]", zafo::PlatformError());
        return -1;
    }
    if (zafo::ReadOnlyLine(output.get(), szEncryptPass, cbEncryptPass)) return 0;
    if (errno != EINTR) ZAFO_LOG("Failed to read from popen (%s)", std::strerror(errno));
    return -1;
}

int ZAFOLDAPPasswd(const ZAFOLDAP_HOST *pHost, const char *szUserDN, const char *szClearPass) {
    if (pHost == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pHost");
    if (pHost->szUri == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pHost->szUri");
    if (szUserDN == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szUserDN");
    if (szClearPass == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szClearPass");

    try {
        std::vector<std::string> arguments = ChangeArguments(*pHost, szUserDN, szClearPass);
        LogCommand(arguments);
        std::vector<char *> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string &argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        const int nError = QLIBCExecv(argv[0], argv.data(), 1);
        if (nError == 0) return 0;
        ZAFO_LOG("Failed to set password for %s (err=%d)", szUserDN, nError);
        return -1;
    } catch (const std::exception &) {
        ZAFO_LOG("Failed to alloc arg (%s)", std::strerror(errno));
        QLIBCErrSet(QLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
}
