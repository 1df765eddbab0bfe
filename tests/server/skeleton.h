// SPDX-License-Identifier: Apache-2.0
//
// The entries of a new database.
#pragma once

#include "tests/server/server_fixture.h"

namespace zafo::server_test {

inline const Texts kSkeleton = {
    kBase,
    "cn=users," + kBase,
    "cn=groups," + kBase,
    "cn=zafoconf," + kBase,
    "cn=MinID,cn=zafoconf," + kBase,
    "cn=MaxID,cn=zafoconf," + kBase,
    "cn=CurID,cn=zafoconf," + kBase,
    "cn=MaxNum,cn=zafoconf," + kBase,
    "sambaDomainName=example," + kBase,
};
inline constexpr size_t kDomainEntry = 8;

inline const std::string kRandomCommand =
    "openssl rand -rand file:/usr/zafo/etc/smb.conf:/etc/passwd:/etc/shadow:/etc/groups:"
    "/var/log/messages -hex 4";

// The commands that create a database of which some entries already exist.
inline Texts CreationCommands(const std::set<size_t> &existing = {}) {
    Texts commands;
    for (size_t i = 0; i < kSkeleton.size(); ++i) {
        commands.push_back("slapcat -a (entryDN:=" + kSkeleton[i] + ")");
        if (existing.contains(i)) continue;
        if (i == kDomainEntry) commands.insert(commands.end(), 3, kRandomCommand);
        commands.push_back("slapadd -b " + kBase + " -l FILE");
    }
    commands.emplace_back("slapindex");
    return commands;
}

class CreationTest : public ServerTest {
  protected:
    CreationTest() { WriteConf(); }

    // The tools' answers while a database is created of which some entries already exist.
    void Script(const std::set<size_t> &existing = {}) {
        tools_.Reset();
        for (size_t i = 0; i < kSkeleton.size(); ++i)
            tools_.On("slapcat").Output(existing.contains(i) ? Found(kSkeleton[i]) : "");
        for (const char *number : {"0000002a\n", "ffffffff\n", "00000000\n"})
            tools_.On("openssl").Output(number);
        log_.Clear();
        SetStaleCodes();
    }
    int Create() { return ZAFOLDAPServerDBCreate(&parms_); }
};

}  // namespace zafo::server_test
