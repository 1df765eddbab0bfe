// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/standard_error.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

namespace zafo::test {

StandardError::StandardError()
    : real_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)),
      memory_(memfd_create("standard-error", MFD_CLOEXEC)) {
    if (real_ < 0 || memory_ < 0 || dup2(memory_, STDERR_FILENO) < 0)
        throw std::runtime_error("standard error cannot be kept");
    // Several processes write to it.
    fcntl(STDERR_FILENO, F_SETFL, O_APPEND);
}

StandardError::~StandardError() {
    dup2(real_, STDERR_FILENO);
    close(real_);
    close(memory_);
}

std::string StandardError::Take() {
    std::string words;
    char bytes[4096];
    ssize_t n = 0;
    while ((n = pread(memory_, bytes, sizeof bytes, static_cast<off_t>(words.size()))) > 0)
        words.append(bytes, static_cast<size_t>(n));
    if (ftruncate(memory_, 0) != 0 || lseek(memory_, 0, SEEK_SET) != 0)
        throw std::runtime_error("standard error cannot be emptied");
    return words;
}

}  // namespace zafo::test
