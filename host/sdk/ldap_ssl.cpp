// SPDX-License-Identifier: Apache-2.0
#include <strings.h>

#include "host/core/copy_out.h"
#include "platform/ldap.h"

namespace {

struct Word {
    const char *text;
    int type;
};

// The first word of each type is the one that is written.
constexpr Word kWords[] = {
    {"off", ZAFOLDAP_SSL_OFF},
    {"on", ZAFOLDAP_SSL_LDAPS},
    {"start_tls", ZAFOLDAP_SSL_START_TLS},
    {"yes", ZAFOLDAP_SSL_LDAPS},
    {"true", ZAFOLDAP_SSL_LDAPS},
    {"1", ZAFOLDAP_SSL_LDAPS},
    {"starttls", ZAFOLDAP_SSL_START_TLS},
};

}  // namespace

int ZAFOLDAPSSLToType(const char *text) {
    for (const Word &word : kWords) {
        if (text != nullptr && strcasecmp(text, word.text) == 0) return word.type;
    }
    return ZAFOLDAP_SSL_OFF;
}

int ZAFOLDAPSSLToString(int type, char *buffer, size_t size) {
    if (buffer == nullptr) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    for (const Word &word : kWords) {
        if (word.type == type) return zafo::CopyOut(word.text, buffer, size);
    }
    return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
}
