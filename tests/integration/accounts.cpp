// SPDX-License-Identifier: Apache-2.0
#include "tests/integration/accounts.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <iterator>

#include "platform/error.h"

namespace zafo::test {

namespace {

constexpr long long kSecondsOfADay = 86400;

// A placeholder where the value itself is unpredictable.
std::string Shown(const std::string &attribute, const std::string &value) {
    const long long now = std::time(nullptr);
    if (attribute == "userPassword" && !value.empty() && value[0] == '{') {
        return value.substr(0, value.find('}') + 1) + "…";
    }
    if (attribute == "shadowLastChange") {
        return std::llabs(std::atoll(value.c_str()) - now / kSecondsOfADay) <= 1 ? "today" : value;
    }
    if (attribute == "sambaPwdLastSet") {
        return std::llabs(std::atoll(value.c_str()) - now) <= 600 ? "now" : value;
    }
    return value;
}

char *OrNull(std::optional<std::string> &text) {
    return text ? text->data() : nullptr;
}

// Children before their parents: a child's DN is longer.
Texts DeepestFirst(const Tree &tree) {
    Texts dns;
    for (const auto &[dn, lines] : tree)
        dns.push_back(dn);
    std::sort(dns.begin(), dns.end(),
              [](const auto &a, const auto &b) { return a.size() > b.size(); });
    return dns;
}

}  // namespace

Texts Difference(const Tree &before, const Tree &after) {
    Texts found;
    for (const auto &[dn, lines] : before) {
        const auto other = after.find(dn);
        if (other == after.end()) {
            found.push_back("- " + dn);
            continue;
        }
        Texts gone;
        Texts come;
        std::set_difference(lines.begin(), lines.end(), other->second.begin(), other->second.end(),
                            std::back_inserter(gone));
        std::set_difference(other->second.begin(), other->second.end(), lines.begin(), lines.end(),
                            std::back_inserter(come));
        for (const std::string &line : gone)
            found.push_back(dn + " - " + line);
        for (const std::string &line : come)
            found.push_back(dn + " + " + line);
    }
    for (const auto &[dn, lines] : after) {
        if (!before.contains(dn)) found.push_back("+ " + dn);
    }
    return found;
}

ZAFOUSER Person::Record() {
    return {OrNull(name),      OrNull(password), uid,    gid,      OrNull(fullname),
            OrNull(home),      OrNull(shell),    expire, disallow, OrNull(mail),
            ZAFO_ACCOUNT_LOCAL};
}

Person Alice() {
    return {.name = "alice",
            .password = "Erstes Geheimnis",
            .uid = 5001,
            .gid = 6001,
            .fullname = "Zoë Öztürk",
            .home = "/volume1/homes/alice",
            .shell = "/bin/bash",
            .mail = "alice@example.com",
            .expire = 20000};
}

const Connection &ConnectionTo(const rig::Variant &variant) {
    static std::map<std::string, Connection> connections;
    return connections.try_emplace(variant.name, rig::VariantDirectory(variant.name)).first->second;
}

AccountTest::AccountTest(const rig::Variant &variant)
    : variant_(variant),
      directory_(rig::VariantDirectory(variant.name)),
      host_(ConnectionTo(variant)),
      begin_(Now()),
      seen_(begin_),
      temporary_files_(TemporaryFiles()) {
    ZAFOLDAPErrReset();
    QLIBCErrSet(QLIB_ERR_NONE);
}

AccountTest::~AccountTest() {
    EXPECT_EQ(TemporaryFiles(), temporary_files_);
    Tree end = Now();
    Texts remove;
    for (const std::string &dn : DeepestFirst(end)) {
        if (!begin_.contains(dn)) remove.push_back(dn);
    }
    EXPECT_TRUE(remove.empty() || directory_.Client("ldapdelete", remove).exit_code == 0);
    for (const std::string &dn : remove)
        end.erase(dn);
    EXPECT_EQ(Difference(begin_, end), Texts()) << "left behind";
}

Tree AccountTest::Now() const {
    Tree tree;
    for (const LdifEntry &entry : directory_.Read(rig::kExampleBase)) {
        Lines &lines = tree[entry.dn];
        for (const auto &[attribute, value] : entry.values) {
            if (attribute == "sambaNextUserRid") continue;
            lines.insert(attribute + ": " + Shown(attribute, value));
        }
    }
    return tree;
}

Texts AccountTest::Changes() {
    Tree now = Now();
    Texts changes = Difference(seen_, now);
    seen_ = std::move(now);
    return changes;
}

Lines AccountTest::Seen(const std::string &dn) const {
    const auto entry = seen_.find(dn);
    return entry == seen_.end() ? Lines() : entry->second;
}

int AccountTest::Create(Person person, const char *container) {
    ZAFOUSER record = person.Record();
    return ZAFOLDAPBrowserUserCreate(host_, &record, nullptr, container);
}

int AccountTest::CreateGroup(const std::string &name, uint32_t gid, const Texts &members,
                             const char *description, const char *container) {
    std::vector<const char *> pointers;
    for (const std::string &member : members)
        pointers.push_back(member.c_str());
    pointers.push_back(nullptr);
    ZAFOGROUP *made = nullptr;
    EXPECT_EQ(ZAFOGroupAlloc(&made, name.c_str(), gid, pointers.data()), 0);
    const Group group(made);
    return ZAFOLDAPBrowserGroupCreate(host_, group.get(), description, nullptr, container);
}

int AccountTest::Edit(const std::string &dn, Person wish, const int *disallow, const long *expire) {
    const ZAFOUSER record = wish.Record();
    return ZAFOLDAPBrowserUserEdit(host_, dn.c_str(), &record, disallow, expire);
}

User AccountTest::Get(const std::string &dn) const {
    ZAFOUSER *user = nullptr;
    ZAFOLDAPBrowserUserGet(host_, dn.c_str(), &user, nullptr);
    return User(user);
}

Group AccountTest::GetGroup(const std::string &dn, std::string *description) const {
    ZAFOGROUP *group = nullptr;
    char text[8192] = "";
    ZAFOLDAPBrowserGroupGet(host_, dn.c_str(), &group, text, sizeof text);
    if (description != nullptr) *description = text;
    return Group(group);
}

int AccountTest::AddToGroup(const std::string &group_dn, const Texts &names) {
    StringList list;
    for (const std::string &name : names)
        QLIBCSzListPush(list.Slot(), name.c_str());
    return ZAFOLDAPBrowserUserEditByGroupDN(host_, group_dn.c_str(), *list.Slot(), nullptr);
}

Texts TemporaryFiles() {
    Texts names;
    for (const auto &item : std::filesystem::directory_iterator("/tmp"))
        names.push_back(item.path());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace zafo::test
