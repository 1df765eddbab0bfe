// SPDX-License-Identifier: Apache-2.0
#include "base/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/unique_fd.h"

namespace zafo {

ReadResult ReadWhole(const std::string &path, std::string *text) {
    // O_NONBLOCK: opening a FIFO would otherwise wait for a writer.
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.IsOpen()) return errno == ENOENT ? ReadResult::kAbsent : ReadResult::kNotReadable;
    struct stat status {};
    if (fstat(fd.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return ReadResult::kReadFailed;
    text->clear();
    text->reserve(static_cast<size_t>(status.st_size) + 1);
    return ReadToEnd(fd.Get(), text) ? ReadResult::kDone : ReadResult::kReadFailed;
}

bool ReadIfPresent(const std::string &path, std::string *text) {
    text->clear();
    const ReadResult result = ReadWhole(path, text);
    return result == ReadResult::kDone || result == ReadResult::kAbsent;
}

bool ReadToEnd(int fd, std::string *text) {
    for (;;) {
        char part[16384];
        const ssize_t n = read(fd, part, sizeof part);
        if (n == 0) return true;
        if (n > 0) {
            text->append(part, static_cast<size_t>(n));
        } else if (errno != EINTR) {
            return false;
        }
    }
}

std::string ReadHead(const std::string &path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    char text[512];
    const ssize_t n = file.IsOpen() ? read(file.Get(), text, sizeof text) : -1;
    return n > 0 ? std::string(text, static_cast<size_t>(n)) : std::string();
}

}  // namespace zafo
