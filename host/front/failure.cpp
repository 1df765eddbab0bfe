// SPDX-License-Identifier: Apache-2.0
#include "host/front/failure.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cstring>

namespace zafo::front {

namespace {

std::string_view g_speaker = "zafo-tool-front";

iovec Piece(std::string_view text) {
    return {const_cast<char *>(text.data()), text.size()};
}

}  // namespace

void SpeakAs(std::string_view tool) {
    g_speaker = tool;
}

void Fail(int exit_code, std::string_view what, int error) {
    const char *reason = error == 0 ? nullptr : strerrordesc_np(error);
    const iovec line[] = {Piece(g_speaker),
                          Piece(": "),
                          Piece(what),
                          Piece(reason ? ": " : ""),
                          Piece(reason ? reason : ""),
                          Piece("\n")};
    // A failure here cannot be reported.
    [[maybe_unused]] const ssize_t written =
        writev(STDERR_FILENO, line, sizeof line / sizeof *line);
    _exit(exit_code);
}

}  // namespace zafo::front
