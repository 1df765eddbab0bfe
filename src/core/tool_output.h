// SPDX-License-Identifier: Apache-2.0
//
// A tool's output, from the stream that QLIBCPopen returns, and its exit status.
#pragma once

#include <cstdio>
#include <memory>

#include "platform/process.h"

namespace zafo {

struct CloseToolOutput {
    void operator()(FILE *output) const { QLIBCPclose(output); }
};

// Closes the stream and waits for the tool, ignoring its status.
using ToolOutput = std::unique_ptr<FILE, CloseToolOutput>;

// While debugging, logs the tool's output under the given source location. Otherwise the output is
// not read; tools ignore the broken pipe and exit on their own.
void LogOutput(FILE *output, const char *file, int line = __builtin_LINE());

// Reads the only line of a tool's output, without its line break, truncated to the buffer. Retries
// a few times when interrupted by a signal. Returns false on failure, logging the reason under the
// given source location unless the retries ran out.
bool ReadOnlyLine(const ToolOutput &output, char *text, size_t size, const char *file,
                  int line = __builtin_LINE());

// Whether a failed tool exited normally, judging by its wait status. If so, its exit code (the
// server's result or its own) is stored in *exit_code and in the library error.
bool KeepExitCode(int status, int *exit_code);

}  // namespace zafo
