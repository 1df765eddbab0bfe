// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/durable_file.h"

#include <unistd.h>

#include <cerrno>

#include "base/atomic_file.h"
#include "base/server_account.h"

namespace zafo::backup {

namespace {

// Throws unless `error` is 0.
void Expect(int error, const std::string &doing) {
    if (error != 0) throw RootError(doing, error);
}

}  // namespace

JobError RootError(const std::string &doing, int reason) {
    const bool full = reason == ENOSPC || reason == EDQUOT;
    return SystemError(full ? Exit::kRootFullWhileWriting : Exit::kSystem, doing, reason);
}

void SyncFolderOrThrow(const std::string &folder) {
    Expect(SyncFolder(folder), "cannot sync " + folder + " to the disk");
}

void SyncFileOrThrow(const std::string &path) {
    Expect(SyncFile(path), "cannot sync " + path + " to the disk");
}

void WriteDurably(const std::string &path, std::string_view text, std::optional<gid_t> reader) {
    AtomicFile file(path, kUnfinished);
    file.Write(text);
    if (reader) file.LetRead(*reader);
    Expect(file.Commit(), "cannot write " + path);
}

void RemoveDurably(const std::string &path) {
    if (unlink(path.c_str()) != 0) {
        if (errno == ENOENT) return;
        throw RootError("cannot remove " + path, errno);
    }
    Expect(SyncFolderOf(path), "cannot remove " + path);
}

}  // namespace zafo::backup
