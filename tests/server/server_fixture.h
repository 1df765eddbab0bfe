// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the appliance's own server share: its files, the fake tools under the
// offline tools' names, and a service "ldap-server" whose process is a sleep(1).
#pragma once

#include <sys/types.h>

#include <map>

#include "platform/service.h"
#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::server_test {

using namespace zafo::accounts_test;
using core_test::ContentOf;
using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;

inline constexpr const char *kConf = "/usr/zafo/etc/openldap/slapd.conf";
inline constexpr const char *kTemplate = "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
inline constexpr const char *kRules = "/usr/zafo/etc/openldap/slapd-acls.conf";
inline constexpr const char *kData = "/usr/zafo/etc/openldap/data";
inline constexpr const char *kSettings = "/usr/zafo/etc.defaults/openldap/data/DB_CONFIG";
inline constexpr const char *kSavedConnections = "/usr/zafo/etc/private/ldapbrowser.conf";
inline constexpr const char *kPidFile = "/var/run/slapd.pid";

// A file of tests/server/golden.
std::string GoldenFile(const std::string &name);

void Write(const std::string &path, const std::string &text);

// "dn: DN" and an empty line, as slapcat(8) writes the start of an entry.
std::string Found(const std::string &dn);

class ServerTest : public WritingTest {
  protected:
    ServerTest();
    ~ServerTest() override;

    // A slapd.conf with this suffix; without one when it is empty.
    static void WriteConf(const std::string &suffix = kBase);

    // The names of the tools called so far, in order.
    Texts Tools() const;

    // Runs an operation while no file may grow.
    static int OnAFullDisk(const std::function<int()> &operation);

    // Files beside a path whose names begin with its own.
    static Texts FilesLike(const std::string &path);

    ZAFOLDAP_SERVER_PARAM parms_{};
};

// How a service's program behaves.
struct Behaviour {
    const char *process = "sleep 1000";  // what runs once it has started
    const char *settings = "";           // more lines of the service file
    const char *stopped = "";            // a shell command that runs when it has ended
};

// Makes the service, which starts and ends for real, and enables it. "start-server" and
// "server-stopped" are fake tools that it calls.
void MakeService(const Behaviour &behaviour = {});

class ServiceTest : public ServerTest {
  protected:
    ServiceTest();
    ~ServiceTest() override;

    static void Describe(const Behaviour &behaviour) { MakeService(behaviour); }

    // Starts it without the library, and forgets that.
    void StartBefore();

    static pid_t Pid();
};

}  // namespace zafo::server_test
