// SPDX-License-Identifier: Apache-2.0
//
// Shared by the tests of the appliance's own directory server: names, the files that the library
// itself accesses (real ones, in the private root), and simulated sleeps.
#pragma once

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

inline constexpr char kSlapdConf[] = "/usr/zafo/etc/openldap/slapd.conf";
inline constexpr char kSlapdTemplate[] = "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
inline constexpr char kAclConf[] = "/usr/zafo/etc/openldap/slapd-acls.conf";
inline constexpr char kServerFolder[] = "/usr/zafo/etc/openldap";
inline constexpr char kDataFolder[] = "/usr/zafo/etc/openldap/data";
inline constexpr char kDataMarker[] = "/usr/zafo/etc/openldap/data/dn2id.bdb";
inline constexpr char kPidFile[] = "/var/run/slapd.pid";
inline constexpr char kService[] = "ldap-server";
inline constexpr char kBrowserConf[] = "/usr/zafo/etc/private/ldapbrowser.conf";
inline constexpr char kBackupConf[] = "/usr/zafo/etc/ldapbackup.conf";
inline constexpr char kBackupLock[] = "/tmp/.zafoldap_conf.lock";
inline constexpr char kProgressFile[] = "/var/log/zafoldap.progress";
inline constexpr char kBackupCommand[] =
    "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2";
inline constexpr char kSuffix[] = "dc=x,dc=example";

// Milliseconds slept by the library since the beginning of the test, in waits of a second or more,
// which end immediately.
long SleptMilliseconds();

bool Exists(const std::string &path);
// FORMAT followed by the platform's slot as it is logged: "[0x7777]".
std::string Slot(int code);

// An appliance whose server is enabled but not running, with a slapd.conf that names kSuffix and
// none of the files that the library creates.
class ServerTest : public ForeignTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Makes the server run as process 4242.
    void RunServer();
    bool ServerRuns();

    // Saves a connection "root" to an appliance's own server with these object classes, and scripts
    // the answers to the searches that fill a record.
    void SaveConnection();
    void AnswerConnection(const Strings &classes);

    // Clears calls, runs and log between the cases of a test, once all answers are used; slots
    // become stale again.
    void Again();

    // Repeats the call, each time with another call of these platform functions failing: the result
    // must be 0 or -1, and nothing may leak. Each runs in its own process, so that a crash is just
    // a failure.
    void FailEveryCall(const Strings &functions, const std::function<int()> &call);
    // The platform functions that can fail in practice (QLIBCSzListGet fails only for an
    // inconsistent list).
    static const Strings &WhatFails();

    // What was done to the machine, in order: "start" and "stop" of the service, "slapd.conf" and
    // "acls" written, a connection or setting ("save"), a "folder", and every tool by its name.
    Strings Steps();
};

}  // namespace zafo::foreign
