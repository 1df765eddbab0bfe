// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_directory.h"

#include <array>

#include <fmt/format.h>

#include "base/ascii.h"
#include "base/dn.h"
#include "tools/cli/display_text.h"
#include "tools/cli/ldap_filter.h"
#include "tools/zafoldap/local_accounts.h"

namespace zafo::cli {

namespace {

constexpr size_t kLongestDn = 1024;  // with its terminator
constexpr int kNoSuchObject = 32;

// Functions that handle memberships require a login suffix, though those here do not use it.
void EnsureLoginSuffix(Host &host) {
    if (host.Record().szLoginSuffix == nullptr) host.Set(LDAP_HOST_ATTR_LOGIN_SUFFIX, "localhost");
}

}  // namespace

AccountDirectory::AccountDirectory(Session &session)
    : session_(session), opened_(OpenSaved(session.streams, session.Options().connection)) {
    if (opened_.saved.base.empty()) {
        throw OwnFailure(Message::kConnectionIncomplete,
                         {.connection = opened_.saved.name, .subject = "base DN (--base)"});
    }
    EnsureLoginSuffix(opened_.host);
}

AccountDirectory::AccountDirectory(Session &session, const AccountKind &changed)
    : AccountDirectory(session) {
    ZAFOLDAP_HOST &record = opened_.host.Record();
    Run(opened_.saved.base, [&] { return ZAFOLDAPHostGetSupportedSchema(&record); });
    Run(opened_.saved.base, [&] { return ZAFOLDAPBrowserCheckServerType(&record); });
    if (!HasClass(changed.schema_bit))
        throw OwnFailure(Message::kCheckSchema, FactsAbout(std::string(changed.schema_class)));
}

Facts AccountDirectory::FactsAbout(const std::string &subject) const {
    Facts facts = opened_.saved.AsFacts();
    facts.subject = OneLine(subject);
    return facts;
}

std::optional<std::string> AccountDirectory::Find(const AccountKind &kind,
                                                  const std::string &name) const {
    std::array<char, kLongestDn> dn{};
    const int found = Run(name, [&] {
        return kind.dn_of_name(Record(), EscapedForFilter(name).c_str(), dn.data(), dn.size());
    });
    if (found == 0) return std::nullopt;
    if (found > 1) throw OwnFailure(Message::kNameAmbiguous, FactsAbout(name), Others(kind, name));
    const std::string text = dn.data();
    if (text.size() + 1 == dn.size()) throw OwnFailure(Message::kTooLong, FactsAbout(name));
    return text;
}

Json AccountDirectory::DnOrNull(const AccountKind &kind, const std::string &name) const {
    try {
        const std::optional<std::string> dn = Find(kind, name);
        return dn ? Json(*dn) : Json();
    } catch (const Failure &) {
        return {};
    }
}

// The DNs of all accounts with this name, one per line.
std::string AccountDirectory::Others(const AccountKind &kind, const std::string &name) const {
    Search search = SearchFor({.filter = fmt::format("(&({})({}={}))", kind.filter, kind.name_attr,
                                                     EscapedForFilter(name)),
                               .attributes = {"1.1"}},
                              name);
    std::string lines;
    while (const Entry *entry = search.Next())
        lines += fmt::format("{}{}", lines.empty() ? "" : "\n", OneLine(entry->dn));
    return lines;
}

std::string AccountDirectory::Require(const AccountKind &kind, const std::string &name) const {
    std::optional<std::string> dn = Find(kind, name);
    if (!dn) throw OwnFailure(kind.missing, FactsAbout(name));
    return *dn;
}

Account AccountDirectory::RequireAccount(const AccountKind &kind, const std::string &name) const {
    Account account{name, Require(kind, name)};
    Search search = SearchFor(ForEntry(account.dn, {std::string(kind.name_attr)}), account.dn);
    if (const Entry *entry = search.Next()) {
        for (const Attribute &attribute : entry->attributes) {
            for (std::string_view value : attribute.values) {
                if (EqualIgnoringCase(value, name)) account.name = value;
            }
        }
    }
    return account;
}

std::vector<Account> AccountDirectory::RequireAll(const AccountKind &kind,
                                                  const std::vector<std::string> &names) const {
    std::vector<Account> accounts;
    std::string missing;
    for (const std::string &name : names) {
        if (Find(kind, name)) {
            accounts.push_back(RequireAccount(kind, name));
        } else {
            missing += (missing.empty() ? "" : ", ") + name;
        }
    }
    if (!missing.empty()) throw OwnFailure(kind.missing, FactsAbout(missing));
    return accounts;
}

std::vector<std::string> AccountDirectory::WithNumber(const AccountKind &kind,
                                                      std::uint32_t number) const {
    NameList dns;
    Run(std::to_string(number),
        [&] { return kind.dns_of_number(Record(), number, dns.Address()); });
    return dns.Names();
}

std::string AccountDirectory::NameOf(const AccountKind &kind, const std::string &dn) const {
    return ValueOf(dn, std::string(kind.filter), std::string(kind.name_attr));
}

bool AccountDirectory::IsThere(const std::string &dn) const {
    try {
        return SearchFor(ForEntry(dn), dn).Next() != nullptr;
    } catch (const Failure &failure) {
        if (failure.ldap_code == kNoSuchObject) return false;
        throw;
    }
}

std::optional<bool> AccountDirectory::Exists(const std::string &dn) const {
    try {
        return IsThere(dn);
    } catch (const Failure &) {
        return std::nullopt;
    }
}

std::uint64_t AccountDirectory::PoolValue(int type) const {
    std::uint64_t value = 0;
    Run("cn=zafoconf", [&] { return ZAFOLDAPSambaGetIDFromDB(Record(), &value, type); });
    return value;
}

std::optional<Pool> AccountDirectory::PoolOf(const AccountKind &kind) const {
    if (opened_.host.Record().nServerType != ZAFOLDAP_SERVER_ZAFO) return std::nullopt;
    const Pool pool{PoolValue(kind.lowest), PoolValue(kind.highest)};
    if (pool.highest == 0) return std::nullopt;
    return pool;
}

std::string AccountDirectory::ValueOf(const std::string &dn, const std::string &filter,
                                      const std::string &attribute) const {
    try {
        Search search = SearchFor(ForEntry(dn, {attribute}, filter), dn);
        const Entry *entry = search.Next();
        if (entry == nullptr || entry->attributes.empty()) return {};
        return std::string(entry->attributes.front().values.front());
    } catch (const Failure &failure) {
        if (failure.ldap_code == kNoSuchObject) return {};
        throw;
    }
}

std::string AccountDirectory::RequireNew(const AccountKind &kind, const NewAccount &account) const {
    RequireClasses(kind, ~0U);
    std::string dn = fmt::format("{}={},{}", kind.name_attr, EscapedForDn(account.name),
                                 RequireContainer(account.container));
    if (Find(kind, account.name)) throw OwnFailure(kind.name_taken, FactsAbout(account.name));
    if (account.number) RequireFreeNumber(kind, *account.number);
    return dn;
}

std::string AccountDirectory::RequireContainer(const std::string &container) const {
    std::string dn = fmt::format("{},{}", container, opened_.saved.base);
    if (!IsThere(dn)) throw OwnFailure(Message::kContainerMissing, FactsAbout(dn));
    return dn;
}

void AccountDirectory::RequireFreeNumber(const AccountKind &kind, std::uint32_t number) const {
    const std::string text = std::to_string(number);
    if (const auto local = LocalAccount(kind, number))
        throw OwnFailure(Message::kNumberLocal, {.subject = text, .reason = *local});
    const std::optional<Pool> pool = PoolOf(kind);
    if (pool && (number < pool->lowest || number > pool->highest)) {
        throw OwnFailure(
            Message::kNumberOutsidePool,
            {.subject = text, .reason = fmt::format("{} to {}", pool->lowest, pool->highest)});
    }
    if (!WithNumber(kind, number).empty()) throw OwnFailure(kind.number_taken, {.subject = text});
}

void AccountDirectory::RequireClasses(const AccountKind &kind, unsigned int entry_classes) const {
    for (const ClassOption &row : kind.class_options) {
        const bool has = HasClass(row.schema_bit) && (entry_classes & row.schema_bit) != 0;
        if (has || !session_.invocation.Has(row.option)) continue;
        Facts facts = FactsAbout(fmt::format("--{}", row.option));
        facts.reason = row.schema_class;
        throw OwnFailure(Message::kClassMissing, facts);
    }
}

std::uint32_t AccountDirectory::GidOf(const std::string &name, const std::string &dn) const {
    return ParseAccountNumber(
        fmt::format("the number of the group {}:", name),
        ValueOf(dn, std::string(kGroupKind.filter), std::string(kGroupKind.number_attr)));
}

PrimaryGroup AccountDirectory::RequirePrimaryGroup(const std::string *given) const {
    if (given == nullptr) {
        const std::optional<std::string> dn = Find(kGroupKind, "users");
        if (!dn) throw OwnFailure(Message::kGidNeeded, {});
        return {"users", GidOf("users", *dn)};
    }
    if (given->find_first_not_of("0123456789") != std::string::npos)
        return {*given, GidOf(*given, Require(kGroupKind, *given))};
    const std::uint32_t gid = ParseAccountNumber("--gid", *given);
    const std::vector<std::string> dns = WithNumber(kGroupKind, gid);
    if (!dns.empty()) return {NameOf(kGroupKind, dns.front()), gid};
    if (const auto local = LocalAccount(kGroupKind, gid)) return {*local, gid};
    throw OwnFailure(Message::kGroupMissing, FactsAbout("with the number " + *given));
}

bool ReadUser(const AccountDirectory &directory, const std::string &dn, UserRecord &user) {
    return directory.Run(dn, [&] {
        return ZAFOLDAPBrowserUserGet(directory.Record(), dn.c_str(), user.Address(), nullptr);
    }) > 0;
}

std::vector<std::string> ListedUsers(const AccountDirectory &directory, const Account &group) {
    NameList names;
    directory.Run(group.name, [&] {
        return ZAFOLDAPBrowserUserEnumByGroupDN(directory.Record(), group.dn.c_str(),
                                                names.Address());
    });
    return names.Names();
}

std::vector<std::string> PrimaryUsers(const AccountDirectory &directory, const Account &group,
                                      std::optional<Failure> *cut) {
    NameList names;
    try {
        directory.Run(group.name, [&] {
            return ZAFOLDAPBrowserUserEnumByPrimaryGroup(directory.Record(), group.dn.c_str(),
                                                         nullptr, names.Address());
        });
    } catch (const Failure &failure) {
        if (cut == nullptr || !IsCutOff(failure)) throw;
        *cut = failure;
    }
    return names.Names();
}

bool IsReservedNumber(std::uint64_t number) {
    return number == 0 || number == 65534 || number == 65535 || number >= UID_ERR;
}

std::uint32_t ParseAccountNumber(std::string_view option, const std::string &text) {
    const std::optional<std::uint64_t> number = WholeNumber<std::uint64_t>(text);
    const char *reason = !number                     ? "it is not a number in that range"
                         : IsReservedNumber(*number) ? "it is reserved"
                                                     : nullptr;
    if (reason != nullptr) {
        throw OwnFailure(
            Message::kAccountNumber,
            {.subject = fmt::format("{} {}", option, OneLine(text)), .reason = reason});
    }
    return static_cast<std::uint32_t>(*number);
}

std::string CommandLine(const Session &session, std::string_view command,
                        const std::vector<std::string> &words) {
    const std::string &connection = session.Options().connection;
    std::string line = connection == "root" ? fmt::format("zafoldap {}", command)
                                            : fmt::format("zafoldap -c {} {}", connection, command);
    for (const std::string &word : words)
        line += " " + CommandWord(word);
    return line;
}

}  // namespace zafo::cli
