// SPDX-License-Identifier: Apache-2.0
#include "src/frame/log.h"

#include "platform/error.h"
#include "zafoldap/error.h"

namespace zafo {

int BadArgument(const char *file, int line, const char *condition) {
    syslog(LOG_ERR, "%s:%d Invaild Argument (%s)=[%d]\n", file, line, condition, 0);
    return FailWith(QLIB_ERR_BAD_ARGUMENT);
}

int FailWith(int platform_error) {
    QLIBCErrSet(platform_error);
    return -1;
}

unsigned int PlatformError() {
    return static_cast<unsigned int>(QLIBCErrGet());
}

const char *ErrorKey() {
    return ZAFOLDAPErrGetString(ZAFOLDAPErrGet(), nullptr);
}

}  // namespace zafo
