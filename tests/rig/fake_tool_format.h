// SPDX-License-Identifier: Apache-2.0
//
// The agreement between the fake tool and the tests that control it: where the state lives and how
// a list of tagged byte strings is written. Every field is its tag, the decimal length, a blank and
// the bytes, so it may contain any byte.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace zafo::rig::fake {

// Script N of a tool is "script.TOOL.N"; the number to play next is in
// "next.TOOL". Call N, over all tools, is "call.N"; their count is in "calls".
// All of it is read and written under a lock on "lock".
inline constexpr const char *kStateFolder = "/tmp/fake-tools";

enum class Step : char {
    kOutput = 'O',
    kError = 'E',
    kFlood = 'F',
    kSleep = 'S',
    kHang = 'H',
    kWaitForFile = 'W',
    kCloseOutput = 'C',
    kIgnoreSignals = 'I',
    kMoveAway = 'M',
    kExit = 'X',
    kDie = 'K',
};

enum class Fact : char {
    kTool = 't',
    kArgument = 'a',
    kVariable = 'e',
    kDescriptor = 'd',  // "N target"
    kFolder = 'w',
    kUmask = 'm',
    kUid = 'u',
    kGid = 'g',
    kGroup = 'G',
    kProcess = 'p',
    kParent = 'P',
    kInput = 'i',
    kFileName = 'f',  // followed by its mode and its content
    kFileMode = 'M',
    kFileContent = 'c',
    kIgnored = 'I',
    kBlocked = 'B',
    kCoreLimit = 'L',
};

template <class Tag>
void Append(std::string &out, Tag tag, std::string_view bytes) {
    out += static_cast<char>(tag);
    out += std::to_string(bytes.size());
    out += ' ';
    out += bytes;
}

// Calls use(tag, bytes) for each field; an incomplete last field is left out.
template <class Tag, class Use>
void ForEachField(const std::string &text, Use use) {
    size_t at = 0;
    while (at < text.size()) {
        const size_t blank = text.find(' ', at);
        if (blank == std::string::npos) return;
        const size_t size = std::strtoul(text.c_str() + at + 1, nullptr, 10);
        if (text.size() - blank - 1 < size) return;
        use(static_cast<Tag>(text[at]), std::string_view(text).substr(blank + 1, size));
        at = blank + 1 + size;
    }
}

inline std::string PathOf(const std::string &name) {
    return std::string(kStateFolder) + "/" + name;
}

// An open descriptor, close-on-exec; negative if none.
class File {
  public:
    File(const std::string &path, int flags) : fd_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {}
    ~File() {
        if (fd_ >= 0) close(fd_);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    int Get() const { return fd_; }

  private:
    int fd_;
};

// Locks the state; does nothing if the state folder does not exist.
class StateLock {
  public:
    StateLock() : file_(PathOf("lock"), O_RDWR | O_CREAT) {
        // A tool may run as a different user from the test's.
        if (Held()) (void)(fchmod(file_.Get(), 0666) + flock(file_.Get(), LOCK_EX));
    }
    bool Held() const { return file_.Get() >= 0; }

  private:
    File file_;
};

inline bool WriteAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t n = write(fd, bytes.data(), bytes.size());
        if (n < 0) return false;
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

inline std::string ReadAll(int fd) {
    std::string text;
    size_t used = 0;
    for (;;) {
        if (text.size() - used < 65536) text.resize(used + (used < 65536 ? 65536 : used));
        const ssize_t n =
            pread(fd, text.data() + used, text.size() - used, static_cast<off_t>(used));
        if (n <= 0) break;
        used += static_cast<size_t>(n);
    }
    text.resize(used);
    return text;
}

inline std::string ReadState(const std::string &name) {
    const File file(PathOf(name), O_RDONLY);
    return file.Get() < 0 ? std::string() : ReadAll(file.Get());
}

inline void WriteState(const std::string &name, std::string_view text, int flags = O_TRUNC) {
    const File file(PathOf(name), O_WRONLY | O_CREAT | flags);
    if (file.Get() < 0) return;
    fchmod(file.Get(), 0666);
    WriteAll(file.Get(), text);
}

inline long ReadNumber(const std::string &name) {
    return std::strtol(ReadState(name).c_str(), nullptr, 10);
}

}  // namespace zafo::rig::fake
