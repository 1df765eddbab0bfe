// SPDX-License-Identifier: Apache-2.0
#include "tests/foreign/server.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace zafo::foreign {
namespace {

long g_slept_milliseconds = 0;

// Short waits are polls for a real event, so they do take time.
void Wait(long milliseconds) {
    if (milliseconds >= 1000)
        g_slept_milliseconds += milliseconds;
    else if (milliseconds > 0)
        poll(nullptr, 0, static_cast<int>(milliseconds));
}

long Milliseconds(const timespec &time) {
    return static_cast<long>(time.tv_sec) * 1000 + static_cast<long>(time.tv_nsec / 1000000);
}

}  // namespace

long SleptMilliseconds() {
    return g_slept_milliseconds;
}

bool Exists(const std::string &path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

std::string Slot(int code) {
    char text[32];
    snprintf(text, sizeof text, "[0x%04X]", static_cast<unsigned>(code));
    return text;
}

void ServerTest::SetUp() {
    ForeignTest::SetUp();
    g_slept_milliseconds = 0;
    std::filesystem::remove_all(kServerFolder);
    std::filesystem::create_directories(kDataFolder);
    std::filesystem::remove(kProgressFile);
    std::filesystem::remove_all(kBackupLock);
    platform().enabled_services[kService] = true;
    platform().confs[kSlapdConf] = {{"suffix", kSuffix}};
}

void ServerTest::TearDown() {
    std::filesystem::remove_all("/zafoldaphomefolder." + std::to_string(getpid()));
    ForeignTest::TearDown();
}

void ServerTest::RunServer() {
    platform().running_services.insert(kService);
    platform().pid_files[kPidFile] = 4242;
}

bool ServerTest::ServerRuns() {
    return platform().running_services.count(kService) != 0;
}

void ServerTest::SaveConnection() {
    platform().sections[kBrowserConf]["root"] = {
        {"uri", "localhost"},
        {"basedn", kSuffix},
        {"binddn", "cn=admin,dc=x,dc=example"},
        {"loginsuffix", "x.example"},
        {"bindpw", Platform::Encipher("secret")},
        {"ssl", "off"},
    };
}

void ServerTest::AnswerConnection(const Strings &classes) {
    std::string schema = "dn: cn=Subschema\n";
    for (const std::string &name : classes)
        schema += "objectclasses: ( 1.2.3 NAME '" + name + "' )\n";
    platform().On("ldapsearch", "cn=zafoconf,").Prints(Entry("cn=zafoconf,dc=x,dc=example", {}));
    platform()
        .On("ldapsearch", "subschemaSubentry")
        .Prints("dn:\nsubschemaSubentry: cn=Subschema\n\n");
    platform().On("ldapsearch", "objectclasses").Prints(schema + "\n");
}

void ServerTest::Again() {
    platform().Forget();
    Stale();
}

const Strings &ServerTest::WhatFails() {
    static const Strings functions{
        "QLIBCSzListAlloc",
        "QLIBCSzListPush",
        "QLIBCSzListInsert",
        "QLIBCSzListSet",
        "QLIBCSzListSortItems",
        "QLIBCSzHashAlloc",
        "QLIBCSzHashGetValue",
        "QLIBCSzHashSetValue",
        "QLIBCFileGetSection",
        "QLIBCFileAddSection",
        "QLIBCFileSetSection",
        "QLIBCPopen",
        "QLIBCPopenv",
        "QLIBCExec",
        "QLIBCExecl",
        "QLIBCExecv",
        "QLIBCryptSzEncrypt",
        "QLIBCryptSzDecrypt",
        "ZAFOLDAPInfoGetFromConf",
        "ZAFOLDAPSSLToString",
        "ZAFOLDAPDNFirstDomainComponent",
        "ZAFOLDAPDNDomainName",
        "ZAFOLDAPConfSet",
        "ZAFOLDAPGenTmpConf",
        "QLIBServiceStart",
        "QLIBServiceStop",
        "QLIBSmbNtEncrypt",
        "ZAFOUserAlloc",
        "ZAFOFSMkdirP",
    };
    return functions;
}

namespace {

enum { kPassed = 0, kFailed = 1, kNoSuchCall = 2 };

bool FailedSince(int parts) {
    const testing::TestResult &result =
        *testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int part = parts; part < result.total_part_count(); ++part)
        if (result.GetTestPartResult(part).failed()) return true;
    return false;
}

}  // namespace

void ServerTest::FailEveryCall(const Strings &functions, const std::function<int()> &call) {
    for (const std::string &function : functions) {
        // Calls of one function are much alike: try the first ones and a sample of the others.
        for (int nth = 1;; nth += nth < 8 ? 1 : 11) {
            fflush(nullptr);
            const int parts =
                testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
            const pid_t child = fork();
            if (child == 0) {
                platform().Fail(function, nth, -1, 0x0900);
                const int result = call();
                EXPECT_TRUE(result == 0 || result == -1) << result;
                const bool came = platform().CallsOf(function).size() >= static_cast<size_t>(nth);
                TearDown();
                const bool failed = FailedSince(parts);
                fflush(nullptr);
                _exit(failed ? kFailed : came ? kPassed : kNoSuchCall);
            }
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFEXITED(status))
                << function << " " << nth << ": died of signal " << WTERMSIG(status);
            if (!WIFEXITED(status)) break;
            EXPECT_NE(WEXITSTATUS(status), kFailed) << function << " " << nth;
            if (WEXITSTATUS(status) != kPassed) break;
        }
    }
}

Strings ServerTest::Steps() {
    static const std::map<std::string, std::string> kNames{
        {"QLIBServiceStart", "start"},     {"QLIBServiceStop", "stop"},
        {"ZAFOLDAPConfSet", "slapd.conf"}, {"QLIBCFileSetSection", "save"},
        {"ZAFOLDAPGenTmpConf", "acls"},    {"ZAFOFSMkdirP", "folder"},
    };
    static const std::set<std::string> kRuns{"QLIBCPopen", "QLIBCPopenv", "QLIBCExec", "QLIBCExecl",
                                             "QLIBCExecv"};
    Strings steps;
    for (const Call &call : platform().Calls()) {
        if (const auto name = kNames.find(call.function); name != kNames.end()) {
            steps.push_back(name->second);
        } else if (kRuns.count(call.function) != 0 && !call.arguments.empty()) {
            const std::string &path = call.arguments[0];
            steps.push_back(path.substr(path.rfind('/') + 1));
        }
    }
    return steps;
}

}  // namespace zafo::foreign

#define ZAFO_INTERPOSED extern "C" __attribute__((visibility("default")))

ZAFO_INTERPOSED unsigned sleep(unsigned seconds) {
    zafo::foreign::Wait(static_cast<long>(seconds) * 1000);
    return 0;
}

ZAFO_INTERPOSED int usleep(useconds_t microseconds) {
    zafo::foreign::Wait(static_cast<long>(microseconds / 1000));
    return 0;
}

ZAFO_INTERPOSED int nanosleep(const timespec *time, timespec *) {
    zafo::foreign::Wait(zafo::foreign::Milliseconds(*time));
    return 0;
}

ZAFO_INTERPOSED int clock_nanosleep(clockid_t clock, int flags, const timespec *time, timespec *) {
    long milliseconds = zafo::foreign::Milliseconds(*time);
    if ((flags & TIMER_ABSTIME) != 0) {
        timespec now;
        clock_gettime(clock, &now);
        milliseconds -= zafo::foreign::Milliseconds(now);
    }
    zafo::foreign::Wait(milliseconds);
    return 0;
}
