// SPDX-License-Identifier: Apache-2.0
//
// What a tool writes, from the stream that QLIBCPopen gives, and how it ends.
#pragma once

#include <cstdio>
#include <memory>

#include "platform/process.h"

namespace zafo {

struct CloseToolOutput {
    void operator()(FILE *output) const { QLIBCPclose(output); }
};

// Closes the stream and waits for the tool; its status is not wanted.
using ToolOutput = std::unique_ptr<FILE, CloseToolOutput>;

// While debugging, the tool's words as lines of the log of that place of a file; otherwise they are
// not read. A tool ignores the broken pipe and ends by itself.
void LogOutput(FILE *output, const char *file, int line = __builtin_LINE());

// The one line of a tool that writes one, without its line break, cut to the buffer. A signal may
// come in between, a few times. Whether there was one; the log of that place of a file says why
// not.
bool ReadOnlyLine(const ToolOutput &output, char *text, size_t size, const char *file,
                  int line = __builtin_LINE());

// Whether a tool that failed ended by itself, as its wait status says. Its exit code, which is the
// server's answer or its own, is then in *exit_code and the library error.
bool KeepExitCode(int status, int *exit_code);

}  // namespace zafo
