// SPDX-License-Identifier: Apache-2.0
//
// Copies 500 local users into a directory with Samba's schema: in one call, and one by one.
#include <algorithm>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/own_server.h"
#include "bench/scenarios.h"
#include "platform/process.h"
#include "platform/user.h"
#include "zafoldap/browser.h"
#include "zafoldap/connection.h"
#include "zafoldap/migrate.h"
#include "zafoldap/user.h"

namespace zafo::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFirstUid = 30'000;
constexpr const char *kHash = "0123456789ABCDEF0123456789ABCDEF";

// Each takes half a minute.
constexpr int kMostRounds = 3;

std::string NameOf(int i) {
    return "local" + std::to_string(i);
}

void AddLocalUsers() {
    std::ofstream passwd("/etc/passwd", std::ios::app);
    std::ofstream shadow("/etc/shadow", std::ios::app);
    std::ofstream samba("/usr/zafo/etc/private/smbpasswd", std::ios::app);
    for (int i = 0; i < kMigratedUsers; ++i) {
        const std::string uid = std::to_string(kFirstUid + i);
        passwd << NameOf(i) << ":x:" << uid << ":100:Local User:/home/" << NameOf(i)
               << ":/bin/sh\n";
        shadow << NameOf(i) << ":$6$salt$digest:19000:0:99999:7:::\n";
        samba << NameOf(i) << ":" << uid << ":" << kHash << ":" << kHash
              << ":[U          ]:LCT-5F000000:\n";
    }
}

const ZAFOLDAP_HOST &Host() {
    static const Connection connection(kSamba);
    static const ZAFOLDAP_HOST host = [] {
        ZAFOLDAP_HOST asked = *connection.get();
        MustBe(ZAFOLDAPHostGetSupportedSchema(&asked) == 0, "cannot read the schema");
        return asked;
    }();
    return host;
}

// Removes the users of an earlier run from the directory.
void Prepare() {
    static const bool added = (AddLocalUsers(), true);
    MustBe(added, "cannot create the local users");
    {
        std::ofstream dns("/tmp/migrated");
        for (int i = 0; i < kMigratedUsers; ++i)
            dns << "uid=" << NameOf(i) << ',' << kUsersBase << '\n';
    }
    // Users that do not exist are skipped.
    const std::string line = std::string("ldapdelete -c -x -H ldap://") + kSamba.address + " -D " +
                             kBindDN + " -y " + kSamba.password_file +
                             " -f /tmp/migrated 2>/dev/null";
    QLIBCExec("/bin/sh", "-c", line.c_str(), nullptr, nullptr);
}

void MustBeThere() {
    MustBe(
        ZAFOLDAPBrowserUserEnumByUIDNumber(&Host(), kFirstUid + kMigratedUsers - 1, nullptr) == 1,
        "the last user is missing");
}

void MigrateOurs(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        Prepare();
        const auto begin = Clock::now();
        MustBe(ZAFOLDAPBrowserMigrateUserToLDAP(&Host()) == 0, "the migration failed");
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
        MustBeThere();
    }
}

// Creates the same users with the same attributes one by one.
void CreateEach() {
    std::string name;
    std::string hash = "$6$salt$digest", full_name = "Local User", home, shell = "/bin/sh";
    QLIBSZLIST *extra = QLIBCSzListAlloc(1024);
    MustBe(extra != nullptr, "out of memory");
    for (const char *item : {"sambaNTPassword", kHash, "sambaLMPassword", kHash})
        QLIBCSzListPush(&extra, item);
    bool done = true;
    for (int i = 0; i < kMigratedUsers; ++i) {
        name = NameOf(i);
        home = "/home/" + name;
        ZAFOUSER user{};
        user.szName = name.data();
        user.szPasswd = hash.data();
        user.szFullname = full_name.data();
        user.pw_dir = home.data();
        user.pw_shell = shell.data();
        user.pw_uid = static_cast<uint32_t>(kFirstUid + i);
        user.pw_gid = 100;
        done =
            ZAFOLDAPBrowserUserCreateWithCryptedPass(&Host(), &user, extra, nullptr) == 0 && done;
    }
    QLIBCSzListFree(extra);
    MustBe(done, "a user was not created");
}

void MigrateFloor(benchmark::State &state) {
    for ([[maybe_unused]] auto _ : state) {
        Prepare();
        const auto begin = Clock::now();
        CreateEach();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
        MustBeThere();
    }
}

}  // namespace

void RegisterMigration(int rounds) {
    for (const auto &[name, body] :
         {std::pair{kMigrateFloor, &MigrateFloor}, {kMigrateOurs, &MigrateOurs}}) {
        benchmark::RegisterBenchmark(name, body)
            ->Iterations(1)
            ->Repetitions(std::min(rounds, kMostRounds))
            ->UseManualTime();
    }
}

}  // namespace zafo::bench
