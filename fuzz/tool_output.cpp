// SPDX-License-Identifier: Apache-2.0
#include "fuzz/tool_output.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/process.h"

namespace zafo::fuzz {

namespace {

ToolOutput g_output;
size_t g_read = 0;
int g_open = 0;

ssize_t Read(void *, char *buffer, size_t size) {
    const std::string_view rest = g_output.text.substr(g_read);
    if (rest.empty() && g_output.fails) {
        errno = EIO;
        return -1;
    }
    if (g_output.step != 0) size = std::min(size, g_output.step);
    size = std::min(size, rest.size());
    std::copy_n(rest.data(), size, buffer);
    g_read += size;
    return static_cast<ssize_t>(size);
}

}  // namespace

void Play(const ToolOutput &output) {
    g_output = output;
    g_read = 0;
}

int OpenStreams() {
    return g_open;
}

}  // namespace zafo::fuzz

FILE *QLIBCPopenv(const char *, const char *, char *const[]) {
    cookie_io_functions_t functions{};
    functions.read = zafo::fuzz::Read;
    FILE *stream = fopencookie(nullptr, "r", functions);
    if (stream != nullptr) ++zafo::fuzz::g_open;
    return stream;
}

int QLIBCPclose(FILE *pStream) {
    fclose(pStream);
    --zafo::fuzz::g_open;
    return zafo::fuzz::g_output.wait_status;
}
