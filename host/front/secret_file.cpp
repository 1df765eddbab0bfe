// SPDX-License-Identifier: Apache-2.0
#include "host/front/secret_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>

#include "base/write_all.h"

namespace zafo::front {

namespace {

constexpr int kSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

}  // namespace

// The tools read the file byte for byte, so no newline is added; they warn if others can read it.
UniqueFd MakeSecretFile(const char *name, const char *secret, int least) {
    UniqueFd file(memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (file.IsOpen() && file.Get() < least) {
        file = UniqueFd(fcntl(file.Get(), F_DUPFD_CLOEXEC, least));
    }
    if (!file.IsOpen()) return file;
    if (fchmod(file.Get(), 0600) != 0 || !WriteAll(file.Get(), secret) ||
        fcntl(file.Get(), F_ADD_SEALS, kSeals) != 0) {
        const int error = errno;
        file.Reset(-1);
        errno = error;
    }
    return file;
}

}  // namespace zafo::front
