// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the own directory server share: names, the files that the library itself touches (real ones, in
// the private root), and sleeps that take no time.
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

// Milliseconds that the library wanted to sleep since the beginning of the test, in waits of a second or more. They
// end at once.
long SleptMilliseconds();

bool Exists(const std::string &path);
// "FORMAT" with the platform's slot as log lines have it: "[0x7777]".
std::string Slot(int code);

// An appliance with a server that is enabled and does not run, whose slapd.conf names kSuffix, and without any of the
// files that the library makes.
class ServerTest : public ForeignTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The server runs, as process 4242.
    void RunServer();
    bool ServerRuns();

    // The saved connection "root" to a server of the appliance's own kind with these object classes; the answers of
    // the searches that filling a record takes.
    void SaveConnection();
    void AnswerConnection(const Strings &classes);

    // Forgets calls, runs and log, for one more case of a test whose answers are all taken; slots are stale again.
    void Again();

    // Calls it over and over, each time with another call of these platform functions failing: what comes is 0 or -1,
    // and nothing is left over. Each runs in a process of its own, so that a crash is a failure and no more.
    void FailEveryCall(const Strings &functions, const std::function<int()> &call);
    // The platform functions that can fail in use (QLIBCSzListGet fails only where a list lies).
    static const Strings &WhatFails();

    // What was done to the machine, in its order: "start" and "stop" of the service, "slapd.conf" and "acls" written,
    // a connection or setting to "save", a "folder", and every tool by its name.
    Strings Steps();
};

}  // namespace zafo::foreign
