// SPDX-License-Identifier: Apache-2.0
#include "src/core/tool_output.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "src/core/line_buffer.h"
#include "src/frame/log.h"
#include "zafoldap/debug.h"
#include "zafoldap/error.h"

namespace zafo {

void LogOutput(FILE *output, const char *file, int line) {
    if (ZAFOLDAPDebugEnabled() == 0) return;
    LineBuffer words;
    while (words.Read(output) == LineBuffer::Outcome::kLine) {
        if (words.text()[0] != '\0') syslog(LOG_ERR, "%s:%d %s", file, line, words.text());
    }
}

bool ReadOnlyLine(const ToolOutput &output, char *text, size_t size, const char *file, int line) {
    if (output == nullptr) {
        syslog(LOG_ERR, "%s:%d Popen failed [0x%04X]", file, line, PlatformError());
        return false;
    }
    constexpr int kAttempts = 5;
    const int room = static_cast<int>(std::min<size_t>(size, INT_MAX));
    for (int i = 0; i < kAttempts; ++i) {
        errno = 0;  // end of file does not set it
        if (std::fgets(text, room, output.get()) != nullptr) {
            text[std::strcspn(text, "\n")] = '\0';
            return true;
        }
        if (errno != EINTR) {
            syslog(LOG_ERR, "%s:%d Failed to read from popen (%s)", file, line,
                   std::strerror(errno));
            return false;
        }
        std::clearerr(output.get());
    }
    return false;
}

bool KeepExitCode(int status, int *exit_code) {
    if ((status & 127) != 0) return false;
    *exit_code = (status >> 8) & 255;
    ZAFOLDAPErrSet(*exit_code);
    return true;
}

}  // namespace zafo
