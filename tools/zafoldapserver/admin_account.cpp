// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/admin_account.h"

#include "tools/cli/directory.h"
#include "tools/cli/saved_connection.h"
#include "tools/zafoldapserver/server_paths.h"

#include "platform/crypt.h"
#include "zafoldap/ldif.h"
#include "zafoldap/modify.h"

#include <fmt/format.h>

#include <array>

namespace zafo::cli {

namespace {

constexpr const char *kNtHash = "sambaNTPassword";
constexpr const char *kLmHash = "sambaLMPassword";

int DeleteHashes(const Host &host, const std::string &dn, bool has_lm) {
    ZAFOLDAP_LDIF change{};
    if (ZAFOLDAPLdifInit(&change, nullptr) != 0) return -1;
    ZAFOLDAPLdifTargetDN(&change, dn.c_str());
    ZAFOLDAPLdifChangeType(&change, "modify");
    ZAFOLDAPLdifAttrDelete(&change, kNtHash, nullptr);
    if (has_lm) ZAFOLDAPLdifAttrDelete(&change, kLmHash, nullptr);
    return ZAFOLDAPModify(&host.Record(), &change, 0);
}

}  // namespace

bool RemoveAdministratorsSambaHash(Streams &streams, const std::string &suffix,
                                   const std::string &password) {
    std::array<char, 33> hash{};
    // Without hashes of that kind on this system nobody has made one.
    if (QLIBSmbNtEncrypt(password.c_str(), hash.data(), hash.size()) != 0) return false;
    const std::string dn = "uid=admin,cn=users," + suffix;
    const Connection connection = ReadConnection(kOwnConnection);
    bool has_lm = false;
    {
        Search search(streams, OpenConnection(kOwnConnection, connection),
                      {.base = dn,
                       .filter = fmt::format("({}={})", kNtHash, hash.data()),
                       .scope = "base",
                       .attributes = {kLmHash}},
                      connection.AsFacts());
        const Entry *entry = search.Next();
        if (entry == nullptr) return false;
        has_lm = !entry->attributes.empty();
    }
    const Host host = OpenConnection(kOwnConnection, connection);
    Ask(streams, connection.AsFacts(), [&] { return DeleteHashes(host, dn, has_lm); });
    return true;
}

}  // namespace zafo::cli
