// SPDX-License-Identifier: Apache-2.0
//
// Owners and shorthand for the platform's lists, maps and files in tests.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/szhash.h"
#include "platform/szlist.h"

namespace zafo::test {

// A list under test; functions receive its address.
class List {
  public:
    explicit List(int capacity = 1) : list_(QLIBCSzListAlloc(capacity)) {}
    List(const List &) = delete;
    List &operator=(const List &) = delete;
    ~List() { QLIBCSzListFree(list_); }

    operator QLIBSZLIST *() const { return list_; }
    QLIBSZLIST *operator->() const { return list_; }
    QLIBSZLIST **Address() { return &list_; }

    void Fill(const std::vector<std::string> &texts) {
        QLIBCSzListRemoveAll(list_);
        for (const std::string &text : texts)
            QLIBCSzListPush(&list_, text.c_str());
    }

    std::vector<std::string> Items() const {
        std::vector<std::string> items;
        for (int i = 0; i < list_->nItem; ++i)
            items.emplace_back(QLIBCSzListGet(list_, i));
        return items;
    }

  private:
    QLIBSZLIST *list_;
};

struct MapFree {
    void operator()(QLIBSZHASH *map) const { QLIBCSzHashFree(map); }
};
using Map = std::unique_ptr<QLIBSZHASH, MapFree>;

inline Map NewMap(const std::vector<std::pair<std::string, std::string>> &pairs = {}) {
    Map map(QLIBCSzHashAlloc(8));
    for (const auto &[key, value] : pairs) {
        QLIBCSzHashSetValue(map.get(), key.c_str(), value.c_str());
    }
    return map;
}

// The value of a key, "(none)" if it does not exist.
inline std::string Value(const Map &map, const std::string &key) {
    const char *value = QLIBCSzHashGetValue(map.get(), key.c_str());
    return value == nullptr ? "(none)" : value;
}

inline void WriteFile(const std::filesystem::path &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadFile(const std::filesystem::path &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline unsigned ModeOf(const std::filesystem::path &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
}

// A test's own folder, removed at its end.
class Folder {
  public:
    Folder() {
        char name[] = "/tmp/host_test.XXXXXX";
        path_ = mkdtemp(name);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;
    ~Folder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }

    std::string operator/(const std::string &name) const { return (path_ / name).string(); }
    const std::filesystem::path &Path() const { return path_; }

    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(path_)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

  private:
    std::filesystem::path path_;
};

// Runs `body(0)` to `body(count - 1)` in separate processes, all concurrently. True if every one
// returned 0. Other children, such as the private root's system log, are left alone.
template <typename Body>
bool InProcesses(int count, Body body) {
    std::vector<pid_t> pids;
    for (int i = 0; i < count; ++i) {
        const pid_t pid = fork();
        if (pid == 0) _exit(body(i));
        pids.push_back(pid);
    }
    bool all = true;
    for (const pid_t pid : pids) {
        int status = -1;
        all = waitpid(pid, &status, 0) == pid && status == 0 && all;
    }
    return all;
}

// The number of open descriptors of this process.
inline size_t OpenDescriptors() {
    size_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        count += entry.path().empty() ? 0 : 1;
    }
    return count;
}

// The exit code of a child that runs `body`, which reports by its result.
inline int InFork(const std::function<int()> &body) {
    const pid_t pid = fork();
    if (pid == 0) _exit(body());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace zafo::test
