// SPDX-License-Identifier: Apache-2.0
//
// Shared by the tests of editing a user.
#pragma once

#include <deque>
#include <optional>

#include "tests/foreign/accounts.h"

namespace zafo::foreign {

using Attributes = std::vector<std::pair<std::string, std::string>>;

class UserEdit : public AccountsTest {
  protected:
    void SetUp() override {
        AccountsTest::SetUp();
        host.schema = 0xffffffffu;
    }

    static ZAFOUSER Nothing() {
        ZAFOUSER user{};
        user.pw_uid = UID_ERR;
        user.pw_gid = GID_ERR;
        return user;
    }
    // A text for a record, valid as long as the test.
    char *Set(const std::string &text) { return texts_.emplace_back(text).data(); }

    // Scripts the existing user and its object classes besides posixAccount.
    void IsAt(const std::string &dn, const Attributes &attributes, const Strings &classes = {}) {
        Attributes held{{"objectClass", "top"}, {"objectClass", "posixAccount"}};
        for (const std::string &name : classes)
            held.emplace_back("objectClass", name);
        Finds(Entry(dn, attributes));
        Finds(Entry(dn, held));
    }
    void Is(const Attributes &attributes = {{"uid", "ann"}}, const Strings &classes = {}) {
        IsAt(kAnn, attributes, classes);
    }
    int Edit(const int *flag = nullptr, const long *expire = nullptr,
             const std::string &dn = kAnn) {
        return ZAFOLDAPBrowserUserEdit(host, dn.c_str(), &change_, flag, expire);
    }
    int EditAt(const std::string &dn) { return Edit(nullptr, nullptr, dn); }

    static std::string Record(const Strings &lines, const std::string &dn = kAnn) {
        return "dn: " + dn + "\nchangetype: modify\n" + Joined(lines);
    }
    static std::string Renaming(const std::string &rdn, const std::string &dn = kAnn) {
        return "dn: " + dn + "\nchangetype: modrdn\nnewrdn: " + rdn + "\ndeleteoldrdn: 1\n";
    }

    ZAFOUSER change_ = Nothing();

  private:
    std::deque<std::string> texts_;
};

}  // namespace zafo::foreign
