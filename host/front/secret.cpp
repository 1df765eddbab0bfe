// SPDX-License-Identifier: Apache-2.0
#include "host/front/secret.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "base/write_all.h"
#include "host/front/failure.h"

namespace zafo::front {

Secret::Secret(char *text)
    : copy_(static_cast<char *>(std::malloc(std::strlen(text) + 1))), size_(std::strlen(text)) {
    if (copy_ != nullptr) std::memcpy(copy_, text, size_);
    explicit_bzero(text, size_);
    if (copy_ == nullptr) Fail(kRefused, "no memory");
}

Secret::~Secret() {
    explicit_bzero(copy_, size_);
    std::free(copy_);
}

// The tools read the file byte for byte, so no newline follows. They warn about
// a file that others could read, hence the mode.
const char *Secret::MoveToFile() {
    const int fd = memfd_create("secret", 0);
    if (fd < 0) Fail(kRefused, "cannot create a file for a password", errno);
    if (fchmod(fd, 0600) != 0) Fail(kRefused, "cannot restrict the file of a password", errno);
    if (!WriteAll(fd, {copy_, size_})) Fail(kRefused, "cannot pass on a password", errno);
    static constexpr char kFolder[] = "/dev/fd/";
    auto *name = static_cast<char *>(std::calloc(1, sizeof kFolder + 12));
    if (name == nullptr) Fail(kRefused, "no memory");
    std::memcpy(name, kFolder, sizeof kFolder - 1);
    std::to_chars(name + sizeof kFolder - 1, name + sizeof kFolder + 11, fd);
    return name;
}

}  // namespace zafo::front
