// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/membership.h"

#include <fmt/format.h>

#include "tools/cli/change_file.h"
#include "tools/cli/ldap_filter.h"

namespace zafo::cli {

namespace {

// Whether the server refused because the group's classes or values do not fit the double form.
bool IsOfOtherForm(const Failure &failure) {
    constexpr int kNoSuchAttribute = 16, kUndefinedType = 17, kObjectClassViolation = 65;
    return failure.ldap_code == kNoSuchAttribute || failure.ldap_code == kUndefinedType ||
           failure.ldap_code == kObjectClassViolation;
}

std::optional<Failure> ChangeNames(const AccountDirectory &directory, const Account &group,
                                   const std::vector<std::string> &out,
                                   const std::vector<std::string> &in) {
    ChangeFile file(group.dn, "modify");
    file.Values("delete", "memberUid", out);
    file.Values("add", "memberUid", in);
    return file.Apply(directory.Out(), *directory.Record(), directory.FactsAbout(group.name));
}

}  // namespace

std::optional<Failure> ChangeMembers(const AccountDirectory &directory, const Account &group,
                                     const std::vector<std::string> &out,
                                     const std::vector<std::string> &in) {
    const NameList removed(out), added(in);
    std::optional<Failure> failure = directory.Try(group.name, [&] {
        return ZAFOLDAPBrowserUserEditByGroupDN(directory.Record(), group.dn.c_str(),
                                                in.empty() ? nullptr : added.Get(),
                                                out.empty() ? nullptr : removed.Get());
    });
    if (!failure || !IsOfOtherForm(*failure)) return failure;
    if (out.size() > 1) {
        for (const std::string &name : out) {
            failure = ChangeMembers(directory, group, {name}, {});
            if (failure) return failure;
        }
        return in.empty() ? std::nullopt : ChangeMembers(directory, group, {}, in);
    }
    directory.Out().Verbose(1, fmt::format("the group {} lists members by name only", group.name));
    return ChangeNames(directory, group, out, in);
}

void FinishMemberships(const AccountDirectory &directory, const std::string &name,
                       const std::string &new_name, Leftovers &left) {
    std::vector<Account> groups;
    try {
        groups = GroupsListing(directory, name);
    } catch (const Failure &failure) {
        left.Add(fmt::format("the groups that still list {} could not be determined", name),
                 directory.CommandLine(
                     "search", {fmt::format("(memberUid={})", EscapedForFilter(name)), "cn"}),
                 Reason(failure));
    }
    for (const Account &group : groups) {
        const std::vector<std::string> in =
            new_name.empty() ? std::vector<std::string>() : std::vector<std::string>{new_name};
        const std::optional<Failure> failure = ChangeMembers(directory, group, {name}, in);
        if (!failure) continue;
        std::string command = directory.CommandLine("member remove", {group.name, name});
        if (!new_name.empty())
            command += " && " + directory.CommandLine("member add", {group.name, new_name});
        left.Add(fmt::format("the group {} still lists {}", group.name, name), std::move(command),
                 Reason(*failure));
    }
}

}  // namespace zafo::cli
