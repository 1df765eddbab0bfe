// SPDX-License-Identifier: Apache-2.0
//
// The skeleton of a new database: the base entry, containers for users and groups, the id pool
// under "cn=zafoconf" (a sambaUnixIdPool entry for each pair of numbers) and the Samba domain. Each
// entry is added offline unless it exists, so nothing in a used database changes. An entry's name
// is formed just before the entry is added, so that an invalid name is reported for that entry.
#include <string>

#include "platform/process.h"
#include "src/core/dn_length.h"
#include "src/core/domain_component.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/server/entry.h"
#include "src/server/random_sid.h"
#include "src/server/server_files.h"
#include "zafoldap/server.h"

namespace {

constexpr const char *kSlapindex = "/usr/zafo/bin/slapindex";
constexpr int kIndexOptions = 0xBB;

constexpr unsigned kMaxAccounts = 10000;

struct Pool {
    const char *name;
    unsigned uid;
    unsigned gid;
};

zafo::Entry PoolEntry(const Pool &pool, const std::string &parent) {
    return {zafo::EntryDN("cn", pool.name, parent),
            {{"cn", pool.name},
             {"uidNumber", std::to_string(pool.uid)},
             {"gidNumber", std::to_string(pool.gid)},
             {"objectClass", "organizationalRole"},
             {"objectClass", "sambaUnixIdPool"}}};
}

// No entry has an empty or too long name, so the database is not searched for one.
bool Exists(const std::string &dn) {
    if (dn.empty() || !zafo::FitsDN(dn)) return false;
    if (ZAFOLDAPServerDNIsExist(dn.c_str()) != 1) return false;
    ZAFO_DEBUG_LOG("node [%s] is already exist", dn.c_str());
    return true;
}

int Load(const zafo::Entry &entry) {
    if (zafo::LoadEntry(entry) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPServerSlapadd [%s] failed. [0x%04X]", entry.dn.c_str(),
                        zafo::PlatformError());
}

int LoadUnlessThere(const zafo::Entry &entry) {
    return Exists(entry.dn) ? 0 : Load(entry);
}

int LoadBase(const char *suffix) {
    if (Exists(suffix)) return 0;
    const auto component = zafo::DomainComponent(suffix, __FILE_NAME__);
    if (!component) return -1;
    return Load({suffix, {{"dc", *component}, {"objectClass", "domain"}}});
}

constexpr const char *kBookkeeping = "zafoconf";

int LoadContainers(const std::string &suffix) {
    for (const char *name : {"users", "groups", kBookkeeping}) {
        if (LoadUnlessThere(zafo::Container(name, suffix)) != 0) return -1;
    }
    return 0;
}

int LoadPools(const std::string &suffix, const ZAFOLDAP_SERVER_PARAM &parms) {
    const std::string parent = zafo::EntryDN("cn", kBookkeeping, suffix);
    const Pool pools[] = {{"MinID", parms.nMinUid, parms.nMinGid},
                          {"MaxID", parms.nMaxUid, parms.nMaxGid},
                          {"CurID", parms.nCurUid, parms.nCurGid},
                          {"MaxNum", kMaxAccounts, kMaxAccounts}};
    for (const Pool &pool : pools) {
        if (LoadUnlessThere(PoolEntry(pool, parent)) != 0) return -1;
    }
    return 0;
}

int Create(const ZAFOLDAP_SERVER_PARAM &parms) {
    char suffix[zafo::kServerText];
    if (zafo::ReadSuffix(suffix) != 0 || LoadBase(suffix) != 0) return -1;
    if (LoadContainers(suffix) != 0 || LoadPools(suffix, parms) != 0) return -1;
    if (ZAFOLDAPServerSambaDomainCreate(suffix, &parms) != 0) {
        return ZAFO_FAILURE("ZAFOLDAPServerSambaDomainCreate failed. [0x%04X]",
                            zafo::PlatformError());
    }
    QLIBCExecl(kSlapindex, kIndexOptions, static_cast<char *>(nullptr));
    return 0;
}

zafo::Entry DomainEntry(const std::string &dn, const std::string &name, const std::string &sid) {
    return {dn,
            {{"sambaDomainName", name},
             {"sambaLogonToChgPwd", "0"},
             {"sambaLockoutObservationWindow", "30"},
             {"sambaMaxPwdAge", "-1"},
             {"sambaRefuseMachinePwdChange", "0"},
             {"sambaLockoutThreshold", "0"},
             {"sambaMinPwdAge", "0"},
             {"sambaNextUserRid", "1000"},
             {"sambaForceLogoff", "-1"},
             {"sambaLockoutDuration", "30"},
             {"sambaSID", sid},
             {"sambaPwdHistoryLength", "0"},
             {"sambaMinPwdLength", "1"},
             {"sambaAlgorithmicRidBase", "1000"},
             {"objectClass", "sambaDomain"}}};
}

int CreateDomain(const char *suffix) {
    const auto component = zafo::DomainComponent(suffix, __FILE_NAME__);
    if (!component) return -1;
    const std::string dn = zafo::EntryDN("sambaDomainName", component->c_str(), suffix);
    if (Exists(dn)) return 0;
    const auto sid = zafo::RandomDomainSID();
    if (!sid) return -1;
    if (zafo::LoadEntry(DomainEntry(dn, *component, *sid)) == 0) return 0;
    return ZAFO_FAILURE("ZAFOLDAPServerSlapadd failed. [0x%04X]", zafo::PlatformError());
}

}  // namespace

int ZAFOLDAPServerDBCreate(const ZAFOLDAP_SERVER_PARAM *params) {
    if (params == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pParms");
    return zafo::Guarded(-1, [=] { return Create(*params); });
}

int ZAFOLDAPServerSambaDomainCreate(const char *suffix, const ZAFOLDAP_SERVER_PARAM *params) {
    if (params == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pParms");
    if (suffix == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szSuffix");
    return zafo::Guarded(-1, [=] { return CreateDomain(suffix); });
}
