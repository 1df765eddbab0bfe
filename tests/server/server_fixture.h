// SPDX-License-Identifier: Apache-2.0
//
// Shared by the tests of the appliance's own server: its files, fake tools in place of the offline
// tools, and a service "ldap-server" whose process is a sleep(1).
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

// "dn: DN" and an empty line: the start of an entry as slapcat(8) prints it.
std::string Found(const std::string &dn);

class ServerTest : public WritingTest {
  protected:
    ServerTest();
    ~ServerTest() override;

    // A slapd.conf with this suffix; an empty one means none.
    static void WriteConf(const std::string &suffix = kBase);

    // The names of the tools called so far, in order.
    Texts Tools() const;

    // Runs an operation under a file size limit of 0.
    static int OnAFullDisk(const std::function<int()> &operation);

    // Files in the same folder whose names begin with that of the path.
    static Texts FilesLike(const std::string &path);

    ZAFOLDAP_SERVER_PARAM parms_{};
};

// The behaviour of a service's program.
struct Behaviour {
    const char *process = "sleep 1000";  // runs once it has started
    const char *settings = "";           // additional lines of the service file
    const char *stopped = "";            // a shell command that runs after it has ended
};

// Creates and enables the service, which really starts and ends. "start-server" and
// "server-stopped" are fake tools that it calls.
void MakeService(const Behaviour &behaviour = {});

class ServiceTest : public ServerTest {
  protected:
    ServiceTest();
    ~ServiceTest() override;

    static void Describe(const Behaviour &behaviour) { MakeService(behaviour); }

    // Starts it directly, without a trace in the fake tools' calls.
    void StartBefore();

    static pid_t Pid();
};

}  // namespace zafo::server_test
