// SPDX-License-Identifier: Apache-2.0
//
// Each step down is relative to the open folder above it and follows no links, so that a folder
// that is renamed or replaced in the meantime cannot divert the walk.
#include "platform/fs.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/lines.h"
#include "base/unique_fd.h"
#include "host/core/fail.h"

namespace {

using zafo::UniqueFd;

constexpr mode_t kAllBits = 07777;

using Names = std::vector<std::string>;

// The names in an absolute path; none if the path is not acceptable.
Names NamesOf(std::string_view path) {
    if (!path.starts_with('/')) return {};
    Names names;
    while (!path.empty()) {
        const std::string_view name = zafo::TakeField(&path, '/');
        if (name == "." || name == "..") return {};
        if (!name.empty()) names.emplace_back(name);
    }
    return names;
}

struct Wanted {
    bool set_owner;
    uid_t uid;
    gid_t gid;
    mode_t mode;
};

// Owner first: changing it clears the set-user-id and set-group-id bits.
bool Give(int folder, const Wanted &wanted) {
    return (!wanted.set_owner || fchown(folder, wanted.uid, wanted.gid) == 0) &&
           fchmod(folder, wanted.mode) == 0;
}

constexpr Wanted kParent{false, 0, 0, 0755};

// Creates the names below an open folder, the last one as wanted. Returns 0 or a platform error
// code.
int MakeBelow(int parent, std::span<const std::string> names, const Wanted &wanted) {
    const char *name = names.front().c_str();
    const bool last = names.size() == 1;
    const bool made = mkdirat(parent, name, S_IRWXU) == 0;
    if (!made && errno != EEXIST) return QLIB_ERR_WRITE_FAILED;
    // A folder on the way need not be readable; a new one must be open for reading to be changed.
    const int access = made ? O_RDONLY : O_PATH;
    const UniqueFd folder(openat(parent, name, access | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    int error = folder.IsOpen() ? QLIB_ERR_NONE : QLIB_ERR_OPEN_FAILED;
    if (error == QLIB_ERR_NONE && made && !Give(folder.Get(), last ? wanted : kParent)) {
        error = QLIB_ERR_WRITE_FAILED;
    }
    if (error == QLIB_ERR_NONE && !last) error = MakeBelow(folder.Get(), names.subspan(1), wanted);
    if (error != QLIB_ERR_NONE && made) unlinkat(parent, name, AT_REMOVEDIR);
    return error;
}

}  // namespace

int ZAFOFSMkdirP(const char *path, int flags, int set_owner, uid_t uid, gid_t gid, mode_t mode) {
    if (path == nullptr || flags != 0 || (mode & ~kAllBits) != 0) {
        return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
    }
    return zafo::OutOfMemoryIs(-1, [=] {
        const Names names = NamesOf(path);
        if (names.empty()) return zafo::Fail(QLIB_ERR_BAD_ARGUMENT);
        const UniqueFd root(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!root.IsOpen()) return zafo::Fail(QLIB_ERR_OPEN_FAILED);
        const Wanted wanted{set_owner != 0, uid, gid, mode};
        return zafo::ResultOf(MakeBelow(root.Get(), names, wanted));
    });
}
