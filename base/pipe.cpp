// SPDX-License-Identifier: Apache-2.0
#include "base/pipe.h"

#include <fcntl.h>

#include <utility>

namespace zafo {

namespace {

constexpr int kPipeSize = 1 << 20;

UniqueFd AboveStandard(UniqueFd fd) {
    if (fd.Get() > STDERR_FILENO) return fd;
    return UniqueFd(fcntl(fd.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace

std::optional<Pipe> OpenPipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {};
    UniqueFd reader(ends[0]);
    UniqueFd writer(ends[1]);
    Pipe pipe{AboveStandard(std::move(reader)), AboveStandard(std::move(writer))};
    if (!pipe.reader.IsOpen() || !pipe.writer.IsOpen()) return {};
    fcntl(pipe.reader.Get(), F_SETPIPE_SZ, kPipeSize);
    return pipe;
}

}  // namespace zafo
