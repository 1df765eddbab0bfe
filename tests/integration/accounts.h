// SPDX-License-Identifier: Apache-2.0
//
// Accounts on a real server of any kind: a connection that knows the server's kind, the tree as the
// system's own client sees it, and the changes made by a call.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/integration.h"

namespace zafo::test {

using Texts = std::vector<std::string>;

inline constexpr const char *kUsersDN = "cn=users,dc=example,dc=com";
inline constexpr const char *kGroupsDN = "cn=groups,dc=example,dc=com";

// An entry's "attribute: value" lines, sorted. Values that differ between runs are shown by kind:
// "{CRYPT}…" for a stored password, "today" and "now" for the time of a change.
using Lines = std::multiset<std::string>;

// The tree by DN, without the counter of Samba identifiers, which every creation changes.
using Tree = std::map<std::string, Lines>;

// "- DN" and "+ DN" for whole entries, "DN - line" and "DN + line" for lines.
Texts Difference(const Tree &before, const Tree &after);

// A user record that owns its texts. In an edit, a missing text leaves the value alone and an empty
// one removes it.
struct Person {
    std::optional<std::string> name = {};
    std::optional<std::string> password = {};
    uint32_t uid = UID_ERR;
    uint32_t gid = GID_ERR;
    std::optional<std::string> fullname = {};
    std::optional<std::string> home = {};
    std::optional<std::string> shell = {};
    std::optional<std::string> mail = {};
    long expire = 0;
    int disallow = 0;

    // The record for a call; it borrows this object's texts.
    ZAFOUSER Record();
};

// A complete one: "alice", 5001, 6001 and so on.
Person Alice();

struct FreeAccount {
    void operator()(ZAFOUSER *user) const { ZAFOUserFree(user); }
    void operator()(ZAFOGROUP *group) const { ZAFOGroupFree(group); }
};
using User = std::unique_ptr<ZAFOUSER, FreeAccount>;
using Group = std::unique_ptr<ZAFOGROUP, FreeAccount>;

// The administrator's connection to a variant's server, whose kind has been detected once.
const Connection &ConnectionTo(const rig::Variant &variant);

// A test on one variant's server. Entries that a test adds are removed afterwards.
class AccountTest : public testing::Test {
  protected:
    explicit AccountTest(const rig::Variant &variant);
    ~AccountTest() override;

    // Whether server and library know an object class.
    bool Knows(unsigned object_class) const { return (variant_.schema & object_class) != 0; }

    Tree Now() const;
    // What has changed since the last call, or since the test began.
    Texts Changes();
    // An entry as last seen by Changes(); empty if it did not exist.
    Lines Seen(const std::string &dn) const;

    bool LetsIn(const std::string &dn, const std::string &password) const {
        return directory_.Binds(dn, password);
    }

    // --- the library's calls in convenient form -----------------------

    int Create(Person person, const char *container = nullptr);
    int CreateGroup(const std::string &name, uint32_t gid, const Texts &members = {},
                    const char *description = nullptr, const char *container = nullptr);
    int Edit(const std::string &dn, Person wish, const int *disallow = nullptr,
             const long *expire = nullptr);
    User Get(const std::string &dn) const;
    Group GetGroup(const std::string &dn, std::string *description = nullptr) const;
    int AddToGroup(const std::string &group_dn, const Texts &names);

    const rig::Variant variant_;
    const ExampleDirectory &directory_;
    const Connection &host_;

  private:
    Tree begin_;
    Tree seen_;
    Texts temporary_files_;
};

Texts TemporaryFiles();

}  // namespace zafo::test
