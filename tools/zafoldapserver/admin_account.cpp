// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/admin_account.h"

#include <array>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "platform/crypt.h"
#include "tools/cli/change_file.h"
#include "tools/cli/saved_connection.h"

namespace zafo::cli {

namespace {

constexpr const char *kNtHash = "sambaNTPassword";
constexpr const char *kLmHash = "sambaLMPassword";

}  // namespace

bool RemoveAdministratorsSambaHash(Streams &streams, const std::string &suffix,
                                   const std::string &password) {
    std::array<char, 33> hash{};
    // If this system cannot compute such hashes, none exist.
    if (QLIBSmbNtEncrypt(password.c_str(), hash.data(), hash.size()) != 0) return false;
    const std::string dn = "uid=admin,cn=users," + suffix;
    const Connection connection = ReadConnection(kOwnConnection);
    bool has_lm = false;
    {
        Search search(streams, OpenConnection(kOwnConnection, connection),
                      ForEntry(dn, {kLmHash}, fmt::format("({}={})", kNtHash, hash.data())),
                      connection.AsFacts());
        const Entry *entry = search.Next();
        if (entry == nullptr) return false;
        has_lm = !entry->attributes.empty();
    }
    const Host host = OpenConnection(kOwnConnection, connection);
    ChangeFile change(dn, "modify");
    change.Replace(kNtHash, "");
    if (has_lm) change.Replace(kLmHash, "");
    if (const auto failure = change.Apply(streams, host.Record(), connection.AsFacts()))
        throw *failure;
    return true;
}

}  // namespace zafo::cli
