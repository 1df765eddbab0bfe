// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/server_fixture.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <set>

#include "platform/service.h"
#include "tests/rig/ldif_reader.h"

namespace zafo::test {

namespace {

// The operational attributes that slapd keeps with an entry.
const std::set<std::string> kOperational{"structuralObjectClass", "entryUUID",  "creatorsName",
                                         "createTimestamp",       "entryCSN",   "modifiersName",
                                         "modifyTimestamp",       "contextCSN", "pwdChangedTime"};

std::unique_ptr<OwnServer> &Shared() {
    static std::unique_ptr<OwnServer> server;
    return server;
}

}  // namespace

OwnServer &SharedServer() {
    if (Shared() == nullptr) Shared() = std::make_unique<OwnServer>();
    return *Shared();
}

void EndSharedServer() {
    Shared().reset();
}

Codes LastCodes() {
    return {ZAFOLDAPErrGet(), QLIBCErrGet()};
}

void PrintTo(const Codes &codes, std::ostream *out) {
    *out << "library error " << codes.library << ", platform error 0x" << std::hex << codes.platform
         << std::dec;
}

int Enable(const ServerSettings &settings) {
    const ZAFOLDAP_SERVER_PARAM record = settings.Record();
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
    return ZAFOLDAPServerEnable(&record);
}

int ServerPid() {
    int pid = 0;
    return ZAFOLDAPServerIsStarted(&pid) == 1 ? pid : 0;
}

bool HasServerUser() {
    const passwd *user = getpwnam("openldap");
    if (user == nullptr) return false;
    const std::string probe = "/tmp/given-away";
    WriteFile(probe, "");
    const bool given = chown(probe.c_str(), user->pw_uid, user->pw_gid) == 0;
    unlink(probe.c_str());
    return given;
}

std::string Slapcat() {
    return rig::RunProgram({"/usr/zafo/bin/slapcat"}).out;
}

std::vector<rig::LdifEntry> Content() {
    std::vector<rig::LdifEntry> entries = rig::ParseLdif(Slapcat());
    for (rig::LdifEntry &entry : entries)
        std::erase_if(entry.values,
                      [](const auto &pair) { return kOperational.contains(pair.first); });
    return entries;
}

std::vector<std::string> ContentDNs() {
    std::vector<std::string> dns;
    for (const rig::LdifEntry &entry : rig::ParseLdif(Slapcat()))
        dns.push_back(entry.dn);
    return dns;
}

std::vector<std::string> DomainSIDs() {
    std::vector<std::string> sids;
    for (const rig::LdifEntry &entry : rig::ParseLdif(Slapcat())) {
        if (!entry.dn.starts_with("sambaDomainName=")) continue;
        for (const std::string &sid : entry.All("sambaSID"))
            sids.push_back(sid);
    }
    return sids;
}

std::vector<std::string> SkeletonDNs(const std::string &suffix) {
    std::vector<std::string> dns{suffix};
    for (const char *rdn : {"cn=users,", "cn=groups,", "cn=zafoconf,", "cn=MinID,cn=zafoconf,",
                            "cn=MaxID,cn=zafoconf,", "cn=CurID,cn=zafoconf,",
                            "cn=MaxNum,cn=zafoconf,", "sambaDomainName=home,"})
        dns.push_back(rdn + suffix);
    return dns;
}

std::vector<std::string> DirectoryDNs(const std::string &suffix) {
    std::vector<std::string> dns = SkeletonDNs(suffix);
    for (const char *rdn : {"cn=users,cn=groups,", "cn=Directory Operators,cn=groups,",
                            "cn=administrators,cn=groups,", "uid=admin,cn=users,"})
        dns.push_back(rdn + suffix);
    return dns;
}

void NewMachineTest::SetUp() {
    SKIP_WITHOUT_CIPHER();
    EndSharedServer();
    ForgetServer();
    ASSERT_EQ(QLIBServiceEnable(kService), 0);
}

}  // namespace zafo::test
