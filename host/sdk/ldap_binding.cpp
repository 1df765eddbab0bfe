// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own binding to a directory, as used by nslcd.
#include <string>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "base/whole_file.h"
#include "host/core/copy_out.h"
#include "host/core/szhash.h"
#include "platform/file.h"
#include "platform/ldap.h"

namespace {

using zafo::Fail;
using zafo::OutOfMemoryIs;

constexpr const char *kClientConf = "/usr/zafo/etc/ldapclient.conf";
constexpr const char *kSecretFile = "/usr/zafo/etc/private/ldap.secret";

// The longest line that nslcd accepts.
constexpr size_t kLongestValue = 4096;

int FirstLineOf(const char *path, char *buffer, size_t size) {
    std::string text;
    const int error = zafo::ErrorOf(zafo::ReadWhole(path, &text));
    if (error != QLIB_ERR_NONE) return Fail(error);
    const std::string_view line = std::string_view(text).substr(0, text.find('\n'));
    return line.empty() ? Fail(QLIB_ERR_OPEN_FAILED) : zafo::CopyOut(line, buffer, size);
}

}  // namespace

int ZAFOLDAPSecretGet(char *buffer, size_t size) {
    if (buffer == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    const int found = ZAFOLDAPInfoGetFromConf(zafo::kBindConf, "bindpw", buffer, size);
    if (found == 1) return 0;
    if (found < 0 && QLIBCErrGet() != QLIB_ERR_OPEN_FAILED) return -1;
    return OutOfMemoryIs(-1, [=] { return FirstLineOf(kSecretFile, buffer, size); });
}

int ZAFOLDAPLoginSuffixGet(char *buffer, size_t size) {
    if (buffer == nullptr) return Fail(QLIB_ERR_BAD_ARGUMENT);
    return OutOfMemoryIs(-1, [=] {
        QLIBSZHASH settings;
        if (QLIBCFileGetPair(kClientConf, &settings) > 0) {
            const char *suffix = QLIBCSzHashGetValue(&settings, "login_suffix");
            if (suffix != nullptr) return zafo::CopyOut(suffix, buffer, size);
        }
        char base[kLongestValue];
        if (ZAFOLDAPInfoGetFromConf(zafo::kBindConf, "base", base, sizeof base) != 1) {
            return Fail(QLIB_ERR_OPEN_FAILED);
        }
        const int result = ZAFOLDAPDNDomainName(base, buffer, size);
        // Without domain components, the base DN yields no suffix either.
        return result != 0 && QLIBCErrGet() == QLIB_ERR_BAD_FORMAT ? Fail(QLIB_ERR_OPEN_FAILED)
                                                                   : result;
    });
}

int ZAFOLDAPSSLTypeGetFromNslcd() {
    char value[kLongestValue];
    if (ZAFOLDAPInfoGetFromConf(zafo::kBindConf, "ssl", value, sizeof value) == 1) {
        const int type = ZAFOLDAPSSLToType(value);
        if (type != ZAFOLDAP_SSL_OFF) return type;
    }
    constexpr std::string_view kScheme = "ldaps://";
    const bool ldaps = ZAFOLDAPInfoGetFromConf(zafo::kBindConf, "uri", value, sizeof value) == 1 &&
                       zafo::StartsWithIgnoringCase(value, kScheme);
    return ldaps ? ZAFOLDAP_SSL_LDAPS : ZAFOLDAP_SSL_OFF;
}

int ZAFOLDAPIsBinded(int flags) {
    if (flags != 0) return zafo::FailZero(QLIB_ERR_BAD_ARGUMENT);
    char uri[kLongestValue];
    return ZAFOLDAPInfoGetFromConf(zafo::kBindConf, "uri", uri, sizeof uri) == 1 && *uri != '\0';
}
