// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_directory.h"

#include "tools/cli/display_text.h"
#include "tools/cli/ldap_filter.h"

#include <strings.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <new>

namespace zafo::cli {

namespace {

constexpr size_t kLongestDn = 1024;  // with its end
constexpr int kNoSuchObject = 32;

// Functions that deal with memberships want a login suffix; those here do not use it.
void EnsureLoginSuffix(Host &host) {
    if (host.Record().szLoginSuffix == nullptr) host.Set(LDAP_HOST_ATTR_LOGIN_SUFFIX, "localhost");
}

bool IsPlainWord(std::string_view word) {
    return !word.empty() && std::ranges::all_of(word, [](unsigned char c) {
        return std::isalnum(c) != 0 ||
               std::string_view("_.-=,/:@").find(static_cast<char>(c)) != std::string_view::npos;
    });
}

}  // namespace

const AccountKind kUserKind = {.noun = "user",
                               .number = "uid",
                               .filter = "objectClass=posixAccount",
                               .name_attr = "uid",
                               .number_attr = "uidNumber",
                               .container = "cn=users",
                               .schema_bit = ZAFOLDAP_CLASS_POSIX_ACCOUNT,
                               .schema_class = "posixAccount",
                               .missing = Message::kUserMissing,
                               .name_taken = Message::kLdapUsernameAlreadyExists,
                               .number_taken = Message::kLdapUidAlreadyExists,
                               .lowest = ZAFOLDAP_XID_MIN_UID,
                               .highest = ZAFOLDAP_XID_MAX_UID,
                               .current = ZAFOLDAP_XID_CUR_UID,
                               .dn_of_name = ZAFOLDAPBrowserGetDNByUserUID,
                               .dns_of_number = ZAFOLDAPBrowserUserEnumByUIDNumber,
                               .suggest = ZAFOLDAPBrowserSuggestUid};

const AccountKind kGroupKind = {.noun = "group",
                                .number = "gid",
                                .filter = "objectClass=posixGroup",
                                .name_attr = "cn",
                                .number_attr = "gidNumber",
                                .container = "cn=groups",
                                .schema_bit = ZAFOLDAP_CLASS_POSIX_GROUP,
                                .schema_class = "posixGroup",
                                .missing = Message::kGroupMissing,
                                .name_taken = Message::kLdapGroupnameAlreadyExists,
                                .number_taken = Message::kLdapGidAlreadyExists,
                                .lowest = ZAFOLDAP_XID_MIN_GID,
                                .highest = ZAFOLDAP_XID_MAX_GID,
                                .current = ZAFOLDAP_XID_CUR_GID,
                                .dn_of_name = ZAFOLDAPBrowserGetDNByGroupCN,
                                .dns_of_number = ZAFOLDAPBrowserGroupEnumByGIDNumber,
                                .suggest = ZAFOLDAPBrowserSuggestGid};

NameList::NameList() : list_(QLIBCSzListAlloc(1024)) {
    if (list_ == nullptr) throw std::bad_alloc();
}

NameList::NameList(const std::vector<std::string> &names) : NameList() {
    for (const std::string &name : names) {
        if (QLIBCSzListPush(&list_, name.c_str()) != 0) throw std::bad_alloc();
    }
}

std::vector<std::string> NameList::Names() const {
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(list_->nItem));
    for (int i = 0; i < list_->nItem; ++i)
        names.emplace_back(QLIBCSzListGet(list_, i));
    return names;
}

AccountDirectory::AccountDirectory(Session &session)
    : session_(session),
      connection_(ReadConnection(session.Options().connection)),
      host_(OpenConnection(connection_.name, connection_)) {
    if (connection_.base.empty()) {
        throw OwnFailure(Message::kConnectionIncomplete,
                         {.connection = connection_.name, .subject = "base DN (--base)"});
    }
    EnsureLoginSuffix(host_);
    SayConnection(session.streams, connection_);
}

Facts AccountDirectory::FactsAbout(const std::string &subject) const {
    Facts facts = connection_.AsFacts();
    facts.subject = OneLine(subject);
    return facts;
}

void AccountDirectory::LearnServer(const AccountKind &kind) {
    ZAFOLDAP_HOST &record = host_.Record();
    Run(connection_.base, [&] { return ZAFOLDAPHostGetSupportedSchema(&record); });
    Run(connection_.base, [&] { return ZAFOLDAPBrowserCheckServerType(&record); });
    if (!HasClass(kind.schema_bit)) {
        throw OwnFailure(Message::kCheckSchema, FactsAbout(std::string(kind.schema_class)));
    }
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

// The DNs of all accounts of a name, one on a line.
std::string AccountDirectory::Others(const AccountKind &kind, const std::string &name) const {
    Search search(Out(), host_,
                  {.base = std::nullopt,
                   .filter = fmt::format("(&({})({}={}))", kind.filter, kind.name_attr,
                                         EscapedForFilter(name)),
                   .attributes = {"1.1"}},
                  FactsAbout(name));
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
    Search search(Out(), host_,
                  {.base = account.dn,
                   .filter = {},
                   .scope = "base",
                   .attributes = {std::string(kind.name_attr)}},
                  FactsAbout(account.dn));
    if (const Entry *entry = search.Next()) {
        for (const Attribute &attribute : entry->attributes) {
            for (std::string_view value : attribute.values) {
                if (value.size() == name.size() &&
                    strncasecmp(value.data(), name.data(), name.size()) == 0)
                    account.name = value;
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
        Search search(Out(), host_,
                      {.base = dn, .filter = {}, .scope = "base", .attributes = {"1.1"}},
                      FactsAbout(dn));
        return search.Next() != nullptr;
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
    if (host_.Record().nServerType != ZAFOLDAP_SERVER_ZAFO) return std::nullopt;
    const Pool pool{PoolValue(kind.lowest), PoolValue(kind.highest)};
    if (pool.highest == 0) return std::nullopt;
    return pool;
}

std::string AccountDirectory::ValueOf(const std::string &dn, const std::string &filter,
                                      const std::string &attribute) const {
    try {
        Search search(Out(), host_,
                      {.base = dn, .filter = filter, .scope = "base", .attributes = {attribute}},
                      FactsAbout(dn));
        const Entry *entry = search.Next();
        if (entry == nullptr || entry->attributes.empty()) return {};
        return std::string(entry->attributes.front().values.front());
    } catch (const Failure &failure) {
        if (failure.ldap_code == kNoSuchObject) return {};
        throw;
    }
}

std::string CommandWord(std::string_view word) {
    if (IsPlainWord(word)) return std::string(word);
    std::string quoted = "'";
    for (const char c : OneLine(word))
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
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
