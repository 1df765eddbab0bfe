// SPDX-License-Identifier: Apache-2.0
#include "host/core/machine_key.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "base/appliance_paths.h"
#include "base/atomic_file.h"
#include "base/unique_fd.h"
#include "base/write_all.h"
#include "platform/error.h"

namespace zafo {

namespace {

constexpr const char *kFile = "/usr/zafo/etc/private/machine.key";

// Creates the key under a temporary name, complete and synced, and links it to the key file's name:
// link never replaces, so an existing key stays.
int MakeMachineKey() {
    MachineKey key;
    if (getrandom(key.bytes.data(), key.bytes.size(), 0) != ssize_t{sizeof key.bytes}) {
        return QLIB_ERR_OPEN_FAILED;
    }
    char name[] = "/usr/zafo/etc/private/.machine.key.XXXXXX";
    const UniqueFd file(mkostemp(name, O_CLOEXEC));
    if (!file.IsOpen()) return QLIB_ERR_OPEN_FAILED;
    const std::string_view bytes(reinterpret_cast<const char *>(key.bytes.data()),
                                 key.bytes.size());
    const bool written = WriteAll(file.Get(), bytes) && fsync(file.Get()) == 0 &&
                         (link(name, kFile) == 0 || errno == EEXIST);
    unlink(name);
    return written && SyncFolder(kPrivateFolder) == 0 ? 0 : QLIB_ERR_WRITE_FAILED;
}

// The error code for a key file that could not be opened.
int OpenError() {
    return errno == ELOOP ? QLIB_ERR_BAD_FORMAT : QLIB_ERR_OPEN_FAILED;
}

int ReadFrom(const UniqueFd &file, MachineKey *key) {
    struct stat status {};
    const auto size = static_cast<ssize_t>(key->bytes.size());
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != size ||
        read(file.Get(), key->bytes.data(), key->bytes.size()) != size) {
        return QLIB_ERR_BAD_FORMAT;
    }
    return 0;
}

// A symbolic link is rejected: the key is the machine's own file.
UniqueFd OpenKeyFile() {
    return UniqueFd(open(kFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

}  // namespace

int ReadMachineKey(MachineKey *key) {
    const UniqueFd file = OpenKeyFile();
    return file.IsOpen() ? ReadFrom(file, key) : OpenError();
}

int ReadOrMakeMachineKey(MachineKey *key) {
    const UniqueFd file = OpenKeyFile();
    if (file.IsOpen()) return ReadFrom(file, key);
    if (errno != ENOENT) return OpenError();
    const int error = MakeMachineKey();
    return error == 0 ? ReadMachineKey(key) : error;
}

}  // namespace zafo
