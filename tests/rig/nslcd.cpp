// SPDX-License-Identifier: Apache-2.0
#include "tests/rig/nslcd.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/rig/running_tool.h"

namespace zafo::rig {

namespace {

namespace fs = std::filesystem;

constexpr const char *kProgram = "/usr/sbin/nslcd";
constexpr const char *kSettings = "/etc/nslcd.conf";
constexpr const char *kSwitch = "/etc/nsswitch.conf";
constexpr const char *kFolder = "/run/nslcd";
constexpr const char *kSocket = "/run/nslcd/socket";

std::string Content(const char *path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void Write(const char *path, const std::string &text) {
    std::ofstream file(path, std::ios::trunc);
    if (!(file << text).flush()) throw std::runtime_error(std::string("cannot write ") + path);
}

// The C library's module that getent loads, of the machine's own word size.
bool HasModule() {
    for (const char *folder : {"/usr/lib/x86_64-linux-gnu", "/usr/lib/aarch64-linux-gnu",
                               "/usr/lib/i386-linux-gnu", "/usr/lib"}) {
        if (fs::exists(std::string(folder) + "/libnss_ldap.so.2")) return true;
    }
    return false;
}

// The socket exists a moment before nslcd listens on it.
bool Answers() {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, kSocket);
    const bool answers =
        connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return answers;
}

}  // namespace

std::string NameService::Missing() {
    if (access(kProgram, X_OK) != 0) return "nslcd is not installed";
    return HasModule() ? "" : "libnss_ldap is not installed";
}

NameService::NameService(const ExampleDirectory &directory) : switch_before_(Content(kSwitch)) {
    Write(kSettings, "uri ldap://" + directory.Uri() + "\nbase " + kExampleBase + "\nbinddn " +
                         directory.BindDN() + "\nbindpw " + directory.Password() + "\nthreads 1\n");
    fs::permissions(kSettings, fs::perms(0600));
    // The remains of a killed nslcd would keep the next one from starting.
    fs::remove_all(kFolder);
    fs::create_directory(kFolder);
    nslcd_ = std::make_unique<RunningTool>(std::vector<std::string>{kProgram, "-n"});
    for (int left = 2000; !Answers(); --left) {
        if (left == 0) throw std::runtime_error("nslcd does not answer");
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    Write(kSwitch, "passwd: files ldap\ngroup: files ldap\nshadow: files ldap\nhosts: files\n");
}

NameService::~NameService() {
    std::ofstream(kSwitch, std::ios::trunc) << switch_before_;
    nslcd_.reset();
    std::error_code error;
    fs::remove_all(kFolder, error);
    fs::remove(kSettings, error);
}

std::string NameService::Get(const std::string &map, const std::string &key) const {
    constexpr int kNotFound = 2;
    ProgramRun run = RunProgram({"/usr/bin/getent", map, key});
    if (run.exit_code == kNotFound) return "";
    if (run.exit_code != 0) {
        throw std::runtime_error("getent " + map + " " + key + " ended with " +
                                 std::to_string(run.exit_code) + ": " + run.err);
    }
    if (run.out.ends_with('\n')) run.out.pop_back();
    return run.out;
}

}  // namespace zafo::rig
