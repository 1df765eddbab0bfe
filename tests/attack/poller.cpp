// SPDX-License-Identifier: Apache-2.0
//
// zafo-poller WHAT CPU STOP TERCES…: looks for secrets where others can read, as fast as it can,
// until the file STOP exists. The secrets are given backwards, so that the poller does not find
// itself.
//
//   cmdline   the argument vectors of all processes, including those about to start
//   environ   their environments
//   files     the contents of the shared folders
//
// Prints "ready" once it has started, then one line each: "looks N", "tools N" (directory tool
// processes seen; for "files", change files), "busy MILLISECONDS" (processor time), and "found
// WHERE" for each find.
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

struct Report {
    std::vector<std::string> secrets;
    long looks = 0;
    std::set<std::string> tools;
    std::set<std::string> finds;

    void Judge(std::string_view text, const std::string &where) {
        for (const std::string &secret : secrets) {
            if (memmem(text.data(), text.size(), secret.data(), secret.size()) != nullptr)
                finds.insert(where);
        }
    }
};

// What can be read without waiting; empty if nothing.
std::string_view Content(const char *path) {
    static std::array<char, 1 << 18> bytes;
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return {};
    const ssize_t n = read(fd, bytes.data(), bytes.size());
    close(fd);
    return n > 0 ? std::string_view(bytes.data(), static_cast<size_t>(n)) : std::string_view();
}

bool IsTool(std::string_view text) {
    return text.find("/bin/ldap") != std::string_view::npos ||
           text.find("/bin/slappasswd") != std::string_view::npos ||
           text.find("LDAPNOINIT=1") != std::string_view::npos;
}

class Processes {
  public:
    explicit Processes(const char *file) : file_(file), folder_(opendir("/proc")) {}
    ~Processes() { closedir(folder_); }
    Processes(const Processes &) = delete;
    Processes &operator=(const Processes &) = delete;

    // The numbers after the highest are those of the next processes.
    void Look(Report &report) {
        rewinddir(folder_);
        while (const dirent *entry = readdir(folder_)) {
            const long pid = std::strtol(entry->d_name, nullptr, 10);
            if (pid > 0) LookAt(pid, report);
        }
        const long highest = highest_;
        for (long ahead = 1; ahead <= 4; ahead++)
            LookAt(highest + ahead, report);
    }

  private:
    void LookAt(long pid, Report &report) {
        std::array<char, 48> path{};
        snprintf(path.data(), path.size(), "/proc/%ld/%s", pid, file_);
        const std::string_view text = Content(path.data());
        report.looks++;
        if (text.empty()) return;
        highest_ = std::max(highest_, pid);
        if (pid == getpid()) return;
        report.Judge(text, path.data());
        if (IsTool(text)) report.tools.insert(path.data());
    }

    const char *file_;
    DIR *folder_;
    long highest_ = 0;
};

void LookAtFiles(Report &report) {
    namespace fs = std::filesystem;
    constexpr auto kOptions = fs::directory_options::skip_permission_denied;
    for (const char *folder : {"/tmp", "/var/tmp", "/dev/shm", "/run", "/var/log"}) {
        std::error_code gone;
        for (fs::recursive_directory_iterator at(folder, kOptions, gone), end; !gone && at != end;
             at.increment(gone)) {
            const fs::path &path = at->path();
            report.looks++;
            if (path.extension() == ".ldif") report.tools.insert(path);
            report.Judge(Content(path.c_str()), path);
        }
    }
}

void StayOn(int cpu) {
    if (cpu < 0) return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof set, &set);
}

long BusyMilliseconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000L +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 5) return 2;
    const std::string what = argv[1];
    StayOn(std::atoi(argv[2]));
    Report report;
    for (int i = 4; i < argc; i++)
        report.secrets.emplace_back(std::string_view(argv[i]).rbegin(),
                                    std::string_view(argv[i]).rend());
    Processes processes(what == "environ" ? "environ" : "cmdline");
    std::puts("ready");
    std::fflush(stdout);
    const auto look = [&] {
        if (what == "files") {
            LookAtFiles(report);
        } else {
            processes.Look(report);
        }
    };
    for (int pass = 0; pass % 16 != 0 || access(argv[3], F_OK) != 0; pass++)
        look();
    // Whatever existed when the file appeared is always seen.
    look();
    std::printf("looks %ld\ntools %zu\nbusy %ld\n", report.looks, report.tools.size(),
                BusyMilliseconds());
    for (const std::string &find : report.finds)
        std::printf("found %s\n", find.c_str());
}
