// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_change.h"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/ascii.h"
#include "base/dn.h"
#include "tools/cli/display_text.h"

namespace zafo::cli {

namespace {

// Lines of a record that are directives rather than attributes.
constexpr std::string_view kDirectives[] = {"",  "add",    "delete",      "replace",
                                            "-", "newrdn", "deleteoldrdn"};

}  // namespace

void ChangePlan::Replace(std::string_view attribute, std::string_view value) {
    if (!entries_.back().lines.empty()) Line("-", "");
    Line(value.empty() ? "delete" : "replace", attribute);
    if (!value.empty()) Line(attribute, value);
}

void ChangePlan::Member(const std::string &group_dn, std::string_view how, const std::string &name,
                        const std::string &base) {
    Record(group_dn, "modify");
    Line(how, "memberUid");
    Line("memberUid", name);
    Line("-", "");
    Line(how, "member");
    Line("member", fmt::format("uid={},cn=users,{}", EscapedForDn(name), base));
}

std::vector<std::string> ChangePlan::Attributes() const {
    std::vector<std::string> names;
    for (const Entry &entry : entries_) {
        for (const auto &[attribute, value] : entry.lines) {
            const std::string name = attribute == "delete"   ? value
                                     : attribute == "newrdn" ? value.substr(0, value.find('='))
                                                             : attribute;
            const bool directive = name == attribute && std::ranges::count(kDirectives, name) > 0;
            if (!directive && std::ranges::count(names, name) == 0) names.push_back(name);
        }
    }
    return names;
}

bool ChangePlan::PrintInstead(Session &session) const {
    if (!session.Options().dry_run) return false;
    session.streams.Note("dry run: nothing is changed");
    if (session.WantsJson()) {
        Json changes = Json::array();
        for (const Entry &entry : entries_) {
            Json lines = Json::array();
            for (const auto &[attribute, value] : entry.lines) {
                lines.push_back(attribute.empty() ? Json{{"remark", value}}
                                                  : Json{{"name", attribute}, {"value", value}});
            }
            changes.push_back({{"dn", entry.dn}, {"changetype", entry.type}, {"lines", lines}});
        }
        session.document.Whole({{"dry_run", true}, {"checks", checks_}, {"changes", changes}});
        return true;
    }
    std::string text;
    for (const std::string &check : checks_)
        text += fmt::format("# ok: {}\n", OneLine(check));
    for (const Entry &entry : entries_) {
        text += "\n" + LdifLine("dn", entry.dn) + LdifLine("changetype", entry.type);
        for (const auto &[attribute, value] : entry.lines) {
            text += attribute.empty()  ? fmt::format("# {}\n", OneLine(value))
                    : attribute == "-" ? "-\n"
                                       : LdifLine(attribute, value);
        }
    }
    session.streams.Out(text);
    return true;
}

ChangePlan PlanRenaming(const AccountDirectory &directory, const AccountKind &kind,
                        const std::string &name, const std::string &new_name) {
    if (EqualIgnoringCase(name, new_name))
        RefuseUsage(directory.TheSession(),
                    "the new name is the old one, or differs only in letter case");
    if (directory.Find(kind, new_name))
        throw OwnFailure(kind.name_taken, directory.FactsAbout(new_name));
    ChangePlan plan;
    plan.Check(fmt::format("the {} {} exists", kind.noun, name));
    plan.Check(fmt::format("the name {} is free", new_name));
    return plan;
}

std::vector<Account> GroupsListing(const AccountDirectory &directory, const std::string &name) {
    NameList dns, names;
    directory.Run(name, [&] {
        return ZAFOLDAPBrowserGroupEnumByUserUID(directory.Record(), name.c_str(), dns.Address(),
                                                 names.Address());
    });
    const std::vector<std::string> all_dns = dns.Names(), all_names = names.Names();
    std::vector<Account> groups;
    for (size_t i = 0; i < all_dns.size(); ++i)
        groups.push_back({all_names[i], all_dns[i]});
    return groups;
}

std::vector<std::string> NamesOf(const std::vector<Account> &accounts) {
    std::vector<std::string> names;
    names.reserve(accounts.size());
    for (const Account &account : accounts)
        names.push_back(account.name);
    return names;
}

void Leftovers::Add(std::string reason, std::string command, std::string_view detail) {
    reasons_.push_back(std::move(reason));
    if (!command.empty()) commands_.push_back(std::move(command));
    if (!detail.empty()) detail_ += fmt::format("{}{}", detail_.empty() ? "" : "\n", detail);
}

void Leftovers::ThrowIfAny(const std::string &done, int exit_code) const {
    if (None()) return;
    Failure failure = OwnFailure(Message::kPartlyDone,
                                 {.subject = done,
                                  .reason = fmt::format("{}", fmt::join(reasons_, "; ")),
                                  .finish = fmt::format("{}", fmt::join(commands_, " && "))},
                                 detail_);
    failure.exit_code = exit_code;
    throw failure;
}

const std::string &Reason(const Failure &failure) {
    return failure.detail.empty() ? failure.message : failure.detail;
}

void ThrowUnknown(const AccountDirectory &directory, const Failure &failure, std::string command) {
    Facts facts = directory.FactsAbout("");
    facts.reason = failure.message;
    facts.finish = std::move(command);
    throw OwnFailure(Message::kStateUnknown, facts, failure.detail);
}

std::string PercentsDoubled(std::string_view text) {
    return Replaced(text, "%", "%%");
}

}  // namespace zafo::cli
