// SPDX-License-Identifier: Apache-2.0
//
// The group to which the access rules grant write access: that it exists, and that no member is a
// name still free for someone to take.
#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/appliance_paths.h"
#include "base/ascii.h"
#include "tools/cli/display_text.h"
#include "tools/cli/ldap_dn.h"
#include "tools/cli/saved_connection.h"
#include "tools/zafoldapserver/server_checks.h"

namespace zafo::cli {

namespace {

constexpr int kNoSuchObject = 32;
constexpr size_t kLongestFilter = 1900;  // the library has room for 2047 bytes

class OperatorGroup {
  public:
    explicit OperatorGroup(CheckedServer &checked)
        : streams_(checked.session.streams),
          connection_(ReadConnection(kOwnConnection)),
          host_(OpenConnection(kOwnConnection, connection_)),
          dn_(fmt::format("cn=Directory Operators,cn=groups,{}", checked.server.suffix)) {}

    const std::string &Dn() const { return dn_; }

    // Its members, each once; std::nullopt if the group does not exist.
    std::optional<std::vector<std::string>> Members() {
        std::vector<std::string> names;
        try {
            Search search(streams_, host_, ForEntry(dn_, {"memberUid", "member"}),
                          connection_.AsFacts());
            const Entry *entry = search.Next();
            if (entry == nullptr) return std::nullopt;
            for (const Attribute &attribute : entry->attributes) {
                const bool by_name = Folded(attribute.name) == "memberuid";
                for (std::string_view value : attribute.values)
                    names.push_back(by_name ? std::string(value) : UserOfDn(value));
            }
        } catch (const Failure &failure) {
            if (failure.ldap_code == kNoSuchObject) return std::nullopt;
            throw;
        }
        std::ranges::sort(names);
        names.erase(std::unique(names.begin(), names.end()), names.end());
        std::erase(names, "");
        return names;
    }

    // The members that are not users.
    std::vector<std::string> Missing(std::vector<std::string> names) {
        for (size_t at = 0; at < names.size();) {
            std::string filter = "(&(objectClass=posixAccount)(|";
            for (; at < names.size() && filter.size() < kLongestFilter - 256; ++at)
                filter += fmt::format("(uid={})", EscapedForFilter(names[at]));
            Search search(streams_, host_, {.filter = filter + "))", .attributes = {"uid"}},
                          connection_.AsFacts());
            while (const Entry *entry = search.Next()) {
                for (const Attribute &attribute : entry->attributes)
                    found_.insert(found_.end(), attribute.values.begin(), attribute.values.end());
            }
        }
        std::erase_if(names, [&](const std::string &name) {
            return std::ranges::any_of(
                found_, [&](const std::string &user) { return EqualIgnoringCase(user, name); });
        });
        return names;
    }

  private:
    Streams &streams_;
    Connection connection_;
    Host host_;
    std::string dn_;
    std::vector<std::string> found_ = {};
};

// The command for one member; the next check shows the next.
std::string RemovalOf(const std::string &name) {
    const bool quotable = name.find('\'') == std::string::npos && OneLine(name) == name;
    return fmt::format("zafoldap member remove 'Directory Operators' {}",
                       quotable ? "'" + name + "'" : "NAME");
}

}  // namespace

CheckStep CheckOperators(CheckedServer &checked) {
    if (!checked.server.Running()) return Skipped("the server is not running");
    try {
        OperatorGroup group(checked);
        const auto members = group.Members();
        if (!members) {
            return Wrong(fmt::format("{} is missing: only the administrator may write", group.Dn()),
                         fmt::format("zafoldapserver enable --suffix {}", checked.server.suffix));
        }
        const std::vector<std::string> missing = group.Missing(*members);
        if (missing.empty())
            return Good(
                fmt::format("{} in Directory Operators, all of them users", members->size()));
        return Wrong(fmt::format("Directory Operators lists {}, but there {}: a new user with such "
                                 "a name could write to the directory",
                                 OneLine(fmt::format("{}", fmt::join(missing, ", "))),
                                 missing.size() == 1 ? "is no such user" : "are no such users"),
                     RemovalOf(missing.front()));
    } catch (const Failure &failure) {
        if (failure.exit_code == 130) throw;
        return Skipped(fmt::format("the server cannot be queried: {}", failure.message));
    }
}

}  // namespace zafo::cli
