// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own kind of server with its number pools, and accounts that have numbers.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/slapd.h"
#include "zafoldap.h"

namespace zafo::test {

// Users and groups work alike.
struct NumberKind {
    const char *attribute;
    const char *container;
    int (*generate)(const ZAFOLDAP_HOST *);
    int (*suggest)(const ZAFOLDAP_HOST *);
};

inline void PrintTo(const NumberKind &kind, std::ostream *out) {
    *out << kind.attribute;
}

inline const NumberKind kUids{"uidNumber", "cn=users,dc=example,dc=com", ZAFOLDAPSambaUIDGen,
                              ZAFOLDAPBrowserSuggestUid};
inline const NumberKind kGids{"gidNumber", "cn=groups,dc=example,dc=com", ZAFOLDAPSambaGIDGen,
                              ZAFOLDAPBrowserSuggestGid};

class PoolServer {
  public:
    PoolServer() : password_(server_.Password()), uri_(server_.Uri()) {
        host_.szUri = uri_.c_str();
        host_.szBaseDN = "dc=example,dc=com";
        host_.szBindDN = server_.BindDN();
        host_.szBindPasswd = password_.c_str();
        host_.szLoginSuffix = "example.com";
        host_.nServerType = ZAFOLDAP_SERVER_ZAFO;
        ZAFOLDAPErrReset();
    }
    ~PoolServer() {
        for (const NumberKind &kind : {kUids, kGids}) {
            for (const rig::LdifEntry &entry : server_.Read(kind.container, "one", {"1.1"}))
                Change("dn: " + entry.dn + "\nchangetype: delete\n");
        }
        SetPool(kUids, 1000000, 2097151, 1000001);
        SetPool(kGids, 1000000, 2097151, 1000003);
        Flush();
    }
    PoolServer(const PoolServer &) = delete;
    PoolServer &operator=(const PoolServer &) = delete;

    // Changes are collected and applied by Flush.
    void Change(const std::string &record) { changes_ += record + "\n"; }
    void Flush() {
        if (!changes_.empty()) server_.Change(changes_);
        changes_.clear();
    }

    void SetPool(const NumberKind &kind, unsigned lowest, unsigned highest, unsigned counter) {
        Set(kind, "MinID", lowest);
        Set(kind, "MaxID", highest);
        Set(kind, "CurID", counter);
    }
    void Use(const NumberKind &kind, const std::vector<std::string> &numbers) {
        const bool users = std::string(kind.attribute) == kUids.attribute;
        for (const std::string &number : numbers) {
            const std::string name = "n" + std::to_string(names_++);
            Change(users ? "dn: uid=" + name + "," + kind.container +
                               "\nchangetype: add\nobjectClass: account\n"
                               "objectClass: posixAccount\nuid: " +
                               name + "\ncn: " + name + "\nhomeDirectory: /\ngidNumber: 1\n" +
                               kind.attribute + ": " + number + "\n"
                         : "dn: cn=" + name + "," + kind.container +
                               "\nchangetype: add\nobjectClass: posixGroup\ncn: " + name + "\n" +
                               kind.attribute + ": " + number + "\n");
        }
    }

    std::string Read(const std::string &dn, const std::string &attribute) const {
        const auto entries = server_.Read(dn, "base", {attribute});
        const auto values = entries.at(0).All(attribute);
        return values.empty() ? "" : values.at(0);
    }
    std::string Counter(const NumberKind &kind) const {
        return Read("cn=CurID,cn=zafoconf,dc=example,dc=com", kind.attribute);
    }

    const ZAFOLDAP_HOST *Host() const { return &host_; }
    ZAFOLDAP_HOST *Record() { return &host_; }
    const rig::ExampleDirectory &Server() const { return server_; }

  private:
    void Set(const NumberKind &kind, const std::string &entry, unsigned value) {
        Change("dn: cn=" + entry + ",cn=zafoconf,dc=example,dc=com\nchangetype: modify\nreplace: " +
               kind.attribute + "\n" + kind.attribute + ": " + std::to_string(value) + "\n");
    }

    const rig::ExampleDirectory &server_ = rig::VariantDirectory("appliance");
    const std::string password_, uri_;
    ZAFOLDAP_HOST host_{};
    std::string changes_;
    int names_ = 0;
};

}  // namespace zafo::test
