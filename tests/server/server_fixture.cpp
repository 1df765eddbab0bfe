// SPDX-License-Identifier: Apache-2.0
#include "tests/server/server_fixture.h"

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/process.h"

namespace zafo::server_test {

namespace fs = std::filesystem;

namespace {

constexpr const char *kDescription = "/usr/zafo/etc.defaults/service/ldap-server.conf";
constexpr const char *kPrograms = "/var/lib/ldap-server";
constexpr const char *kFakeTool = "/mnt/build/tests/rig/zafo-fake-tool";

void WriteProgram(const std::string &path, const std::string &text) {
    Write(path, "#!/bin/sh\n" + text);
    fs::permissions(path, fs::perms::owner_all);
}

void LinkFakeTool(const std::string &name) {
    const std::string path = "/usr/zafo/bin/" + name;
    if (!fs::exists(path)) fs::create_symlink(kFakeTool, path);
}

void RemoveServerFiles() {
    for (const char *path : {kConf, kRules, kTemplate, kSavedConnections, kSettings, kPidFile})
        fs::remove_all(path);
    fs::remove(std::string(kSavedConnections) + ".lock");
    fs::remove(std::string(kConf) + ".lock");
    for (const auto &entry : fs::directory_iterator(kData))
        fs::remove_all(entry.path());
}

}  // namespace

std::string GoldenFile(const std::string &name) {
    const std::string text = ContentOf("/mnt/src/tests/server/golden/" + name);
    EXPECT_NE(text, "") << name;
    return text;
}

void Write(const std::string &path, const std::string &text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
}

std::string Found(const std::string &dn) {
    return "dn: " + dn + "\n\n";
}

ServerTest::ServerTest() {
    RemoveServerFiles();
    parms_.szSuffix = kBase.c_str();
    parms_.szRootDN = "cn=admin,dc=example,dc=com";
    parms_.szRootPW = "secret";
    parms_.nMinUid = 11;
    parms_.nMinGid = 12;
    parms_.nMaxUid = 21;
    parms_.nMaxGid = 22;
    parms_.nCurUid = 31;
    parms_.nCurGid = 32;
}

ServerTest::~ServerTest() {
    RemoveServerFiles();
}

void ServerTest::WriteConf(const std::string &suffix) {
    Write(kConf, suffix.empty() ? "database mdb\n" : "database mdb\nsuffix \"" + suffix + "\"\n");
}

Texts ServerTest::Tools() const {
    Texts names;
    for (const rig::FakeCall &call : tools_.Calls())
        names.push_back(call.tool);
    return names;
}

int ServerTest::OnAFullDisk(const std::function<int()> &operation) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit nothing{0, before.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &nothing);
    const int result = operation();
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    return result;
}

Texts ServerTest::FilesLike(const std::string &path) {
    Texts names;
    for (const auto &entry : fs::directory_iterator(fs::path(path).parent_path())) {
        if (entry.path().string().starts_with(path)) names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void MakeService(const Behaviour &behaviour) {
    fs::create_directories(kPrograms);
    for (const char *name : {"start-server", "server-stopped"})
        LinkFakeTool(name);
    const std::string programs = kPrograms;
    WriteProgram(programs + "/start", std::string("/usr/zafo/bin/start-server || exit $?\n") +
                                          behaviour.process +
                                          " </dev/null >/dev/null 2>&1 &\n"
                                          "until [ /proc/$!/exe -ef /usr/bin/sleep ]; do :; done\n"
                                          "echo $! >/var/run/slapd.pid\n");
    WriteProgram(programs + "/stopped",
                 std::string("/usr/zafo/bin/server-stopped\n") + behaviour.stopped + "\n");
    Write(kDescription, "start=" + programs + "/start\nstopped=" + programs +
                            "/stopped\npid_file=" + kPidFile + "\n" + behaviour.settings);
    EXPECT_EQ(QLIBServiceEnable("ldap-server"), 0);
}

ServiceTest::ServiceTest() {
    MakeService();
}

ServiceTest::~ServiceTest() {
    if (const pid_t pid = Pid(); pid > 0 && pid != getpid()) {
        kill(pid, SIGKILL);
        while (QLIBCProcAlive(pid) == 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    MakeService();
    QLIBServiceStop("ldap-server", 0);
    QLIBServiceDisable("ldap-server");
    fs::remove(kDescription);
    fs::remove_all(kPrograms);
}

void ServiceTest::StartBefore() {
    EXPECT_EQ(QLIBServiceStart("ldap-server", 0), 0);
    tools_.Reset();
    log_.Clear();
    SetStaleCodes();
}

pid_t ServiceTest::Pid() {
    return QLIBCReadPidFile(kPidFile);
}

}  // namespace zafo::server_test
