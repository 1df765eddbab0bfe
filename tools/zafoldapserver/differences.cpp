// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapserver/differences.h"

#include <functional>
#include <optional>
#include <set>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/dn.h"
#include "tools/cli/saved_connection.h"
#include "tools/zafoldapserver/database_census.h"
#include "zafoldap/server.h"

namespace zafo::cli {

namespace {

// What setup creates in the database, apart from the base entry.
constexpr std::string_view kEntries[] = {"cn=users",
                                         "cn=groups",
                                         "cn=zafoconf",
                                         "cn=MinID,cn=zafoconf",
                                         "cn=MaxID,cn=zafoconf",
                                         "cn=CurID,cn=zafoconf",
                                         "cn=MaxNum,cn=zafoconf",
                                         "cn=users,cn=groups",
                                         "cn=Directory Operators,cn=groups",
                                         "cn=administrators,cn=groups",
                                         "uid=admin,cn=users"};

std::string MissingEntries(const std::string &suffix) {
    std::set<std::string, std::less<>> wanted;
    for (const std::string_view entry : kEntries)
        wanted.insert(fmt::format("{},{}", entry, suffix));
    const std::optional<DatabaseCensus> census = TakeCensus({.dns = wanted});
    std::string missing;
    for (const std::string_view entry : kEntries) {
        if (census && census->found.contains(fmt::format("{},{}", entry, suffix))) continue;
        missing += fmt::format("{}{}", missing.empty() ? "" : "; ", entry);
    }
    return missing;
}

// Whether the saved connection points to this server as its administrator.
bool ConnectionFits(const WantedServer &wanted) {
    const std::optional<Connection> saved = FindConnection(kOwnConnection);
    return saved && SameDn(saved->base, wanted.suffix) && SameDn(saved->bind_dn, wanted.admin_dn);
}

}  // namespace

std::vector<Difference> DifferencesOf(const LocalServer &before, const WantedServer &wanted,
                                      const Staging &staging, const std::string &password,
                                      const std::string &saved) {
    std::vector<Difference> all;
    if (before.suffix != wanted.suffix)
        all.push_back(
            {"suffix", fmt::format("the suffix is {}, not {}", before.suffix, wanted.suffix)});
    if (before.admin_dn != wanted.admin_dn)
        all.push_back({"admin-dn", fmt::format("the administrator is {}, not {}", before.admin_dn,
                                               wanted.admin_dn)});
    if (password != saved)
        all.push_back({"password", saved.empty() ? "the administrator's password is not known here"
                                                 : "the administrator has another password"});
    const std::string as_it_is = ReadTextFile(kSlapdConf).value_or("");
    if (!SameConfiguration(as_it_is, staging.Configuration(before.suffix, before.admin_dn)))
        all.push_back({"configuration", fmt::format("{} differs from its template", kSlapdConf)});
    const RulesState rules = StateOfRules(staging, before.suffix);
    if (rules != RulesState::kAsWritten)
        all.push_back({"access-rules", rules == RulesState::kMissing
                                           ? "the access rules are missing"
                                           : "the access rules were changed by hand"});
    if (!ConnectionFits(wanted))
        all.push_back({"connection", "the saved connection \"root\" does not point here"});
    if (!before.enabled) all.push_back({"enabled", "the service is not enabled"});
    if (!before.Running()) all.push_back({"running", "the server is not running"});
    if (ZAFOLDAPServerDBIsEmpty() == 1) {
        all.push_back({"entries", "the database is empty"});
    } else if (const std::string missing = MissingEntries(before.suffix); !missing.empty()) {
        all.push_back({"entries", "missing from the directory: " + missing});
    }
    return all;
}

}  // namespace zafo::cli
