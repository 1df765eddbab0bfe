// SPDX-License-Identifier: Apache-2.0
//
// New groups: the record that is added, and the steps before and after.
#include <algorithm>
#include <optional>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::group_create_test {

const std::string kBase = "dc=x,dc=example";
const std::string kDN = "cn=staff,cn=groups," + kBase;
const std::string kByName = "(&(objectClass=posixGroup)(cn=staff))";
const std::string kByNumber = "(&(objectClass=posixGroup)(gidNumber=3001))";

constexpr unsigned kTop = 0x1;
constexpr unsigned kPosix = 0x40;
constexpr unsigned kSamba = 0x1000;
constexpr unsigned kAll = 0x1fff;

class GroupCreate : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        host_.schema = kTop | kPosix;
        record_.szName = name_.data();
        record_.nGid = 3001;
        record_.pszMembers = members_;
        record_.nType = 1;
    }
    int Create(const char *description = "All staff", const QLIBSZLIST *extra = nullptr,
               const char *container = nullptr) {
        return ZAFOLDAPBrowserGroupCreate(host_, &record_, description, extra, container);
    }
    Strings Added() {
        const Strings changes = Changes();
        EXPECT_FALSE(changes.empty());
        return changes.empty() ? Strings{} : Lines(changes.back());
    }
    Strings Posix(const Strings &rest = {"description: All staff", "memberUid: alice",
                                         "memberUid: bob"}) {
        Strings lines{"dn: " + kDN, "changetype: add", "objectClass: top", "cn: staff",
                      "gidNumber: 3001"};
        lines.insert(lines.end(), rest.begin(), rest.end());
        lines.push_back("objectClass: posixGroup");
        return lines;
    }
    static Strings Joined(Strings first, const Strings &second) {
        first.insert(first.end(), second.begin(), second.end());
        return first;
    }
    void AnswerSid() {
        platform().On("ldapsearch", "sambaSID").Prints(Entry("cn=d", {{"sambaSID", "S-1-5-21"}}));
        platform().On("ldapsearch", "sambaSID").Prints(Entry("cn=d", {{"sambaSID", "S-1-5-21"}}));
        platform()
            .On("ldapsearch", "sambaNextUserRid")
            .Prints(Entry("cn=d", {{"sambaNextUserRid", "1000"}}));
    }
    std::string name_ = "staff";
    std::string alice_ = "alice";
    std::string bob_ = "bob";
    char *members_[3] = {alice_.data(), bob_.data(), nullptr};
    ZAFOGROUP record_{};
    Host host_;
};
ZAFO_FOREIGN_SUITE(GroupCreate);

TEST_P(GroupCreate, WritesThePosixLinesOnAPlainServer) {
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Added(), Posix());
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapmodify"}));
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{SearchVector({"-b", kBase.c_str(), kByName.c_str()}),
                                    SearchVector({"-b", kBase.c_str(), kByNumber.c_str(), "dn"})}));
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(GroupCreate, WritesEveryGroupThatTheServerKnowsInOrder) {
    host_.schema = kAll;
    AnswerSid();
    List extra{"mail", "staff@x", "title", "100%%", "odd"};
    EXPECT_EQ(Create("All staff", extra), 0);
    EXPECT_EQ(Added(),
              Joined(Posix(), {"objectClass: extensibleObject", "objectClass: apple-group",
                               "sambaSID: S-1-5-21-1000", "displayName: staff", "sambaGroupType: 2",
                               "objectClass: sambaGroupMapping", "objectClass: sambaIdmapEntry",
                               "mail: staff@x", "title: 100%"}));
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch", "ldapsearch", "ldapsearch",
                                "ldapsearch", "ldapmodify", "ldapmodify"}));
}

struct Lined {
    unsigned bit;
    Strings lines;
};
const Lined kLined[] = {
    {0x1, {"objectClass: top"}},
    {0x2, {}},
    {0x4, {"objectClass: extensibleObject"}},
    {0x8, {}},
    {0x10, {}},
    {0x20, {}},
    {0x40,
     {"cn: staff", "gidNumber: 3001", "description: All staff", "memberUid: alice",
      "memberUid: bob", "objectClass: posixGroup"}},
    {0x80, {}},
    {0x100, {}},
    {0x200, {}},
    {0x400, {"objectClass: apple-group"}},
    {0x800, {}},
};

TEST_P(GroupCreate, WritesEachGroupByItsOwnBit) {
    List extra{"mail", "one"};
    for (const Lined &lined : kLined) {
        platform().Forget();
        Host host;
        host.schema = lined.bit;
        EXPECT_EQ(ZAFOLDAPBrowserGroupCreate(host, &record_, "All staff", extra, nullptr), 0);
        EXPECT_EQ(Added(),
                  Joined(Joined({"dn: " + kDN, "changetype: add"}, lined.lines), {"mail: one"}))
            << lined.bit;
    }
}

TEST_P(GroupCreate, CreatesInTheGivenContainer) {
    EXPECT_EQ(Create("", nullptr, "ou=g,ou=y"), 0);
    EXPECT_EQ(Added().at(0), "dn: cn=staff,ou=g,ou=y," + kBase);
}

TEST_P(GroupCreate, LeavesOutAnEmptyDescription) {
    EXPECT_EQ(Create(nullptr), 0);
    EXPECT_EQ(Added(), Posix({"memberUid: alice", "memberUid: bob"}));
    EXPECT_EQ(Create(""), 0);
    EXPECT_EQ(Added(), Posix({"memberUid: alice", "memberUid: bob"}));
}

TEST_P(GroupCreate, DoesWithoutMembers) {
    members_[0] = nullptr;
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Added(), Posix({"description: All staff"}));
    record_.pszMembers = nullptr;
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Added(), Posix({"description: All staff"}));
}

TEST_P(GroupCreate, TakesTextsThatLookLikeFormatsAsTheyAre) {
    alice_ = "al%s";
    members_[0] = alice_.data();
    EXPECT_EQ(Create("100%n %s"), 0);
    EXPECT_EQ(Added(), Posix({"description: 100%n %s", "memberUid: al%s", "memberUid: bob"}));
}

TEST_P(GroupCreate, PrintsTheNumberUnsigned) {
    record_.nGid = 4294967294U;
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Added().at(4), "gidNumber: 4294967294");
    EXPECT_EQ(Searches().at(1).at(10), "(&(objectClass=posixGroup)(gidNumber=4294967294))");
}

TEST_P(GroupCreate, IgnoresAnExtraListOfOneItemAndAThird) {
    List one{"mail"};
    List three{"mail", "a", "title"};
    List none;
    EXPECT_EQ(Create("", one), 0);
    EXPECT_EQ(Last(Added()), "objectClass: posixGroup");
    EXPECT_EQ(Create("", none), 0);
    EXPECT_EQ(Last(Added()), "objectClass: posixGroup");
    EXPECT_EQ(Create("", three), 0);
    EXPECT_EQ(Last(Added()), "mail: a");
}

TEST_P(GroupCreate, WritesAnEmptySidThatCannotBeMade) {
    host_.schema = kSamba;
    platform().On("ldapsearch", "sambaSID").Exits(32);
    EXPECT_EQ(Create(), 0);
    EXPECT_EQ(Added(), (Strings{"dn: " + kDN, "changetype: add", "sambaSID: ", "displayName: staff",
                                "sambaGroupType: 2", "objectClass: sambaGroupMapping",
                                "objectClass: sambaIdmapEntry"}));
}

TEST_P(GroupCreate, StopsAtATakenName) {
    platform().On("ldapsearch", kByName).Prints(Entry("cn=staff,ou=y," + kBase, {}));
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(LibraryError(), -65539);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Tools(), Strings{"ldapsearch"});
    EXPECT_EQ(Log(), Strings{});
    platform().On("ldapsearch", kByName).Exits(50);
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(LibraryError(), -65539);
}

TEST_P(GroupCreate, StopsAtATakenNumber) {
    platform().On("ldapsearch", kByNumber).Prints(Entry("cn=other," + kBase, {}));
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(LibraryError(), -65541);
    EXPECT_EQ(PlatformError(), kStalePlatformError);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
    EXPECT_EQ(Log(), Strings{});
    platform().On("ldapsearch", kByNumber).Exits(50);
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(LibraryError(), -65541);
}

TEST_P(GroupCreate, LogsAnEntryThatIsRefused) {
    platform().On("ldapmodify").Exits(68);
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(LibraryError(), 68);
    EXPECT_EQ(TakeLog(), Strings{"ZAFOLDAPModify failed [staff] [0x7777]"});
    platform().On("ldapmodify").CannotStart();
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(TakeLog(), (Strings{"Execute [] failed!", "ZAFOLDAPModify failed [staff] [0x0900]"}));
}

TEST_P(GroupCreate, FailsWithoutAChangeFile) {
    const NoDescriptors none;
    EXPECT_EQ(Create(), -1);
    EXPECT_EQ(PlatformError(), 0x0900);
    EXPECT_EQ(Tools(), (Strings{"ldapsearch", "ldapsearch"}));
}

TEST_P(GroupCreate, ReadsTheDisplayedNameAsAFormat) {
    name_ = "100%%";
    record_.szName = name_.data();
    host_.schema = kPosix | kSamba;
    AnswerSid();
    EXPECT_EQ(Create(""), 0);
    const Strings lines = Added();
    EXPECT_EQ(lines.at(2), "cn: 100%%");
    EXPECT_NE(std::find(lines.begin(), lines.end(), "displayName: 100%"), lines.end());
}

TEST_P(GroupCreate, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    nowhere.base.reset();
    Host baseless;
    baseless.base.reset();
    const auto create = [&](ZAFOLDAP_HOST *host, ZAFOGROUP *group) {
        return ZAFOLDAPBrowserGroupCreate(host, group, nullptr, nullptr, nullptr);
    };
    record_.szName = nullptr;
    record_.nGid = 4294967295U;
    ExpectArgumentFailure("((void *)0) != pHost", [&] { return create(nullptr, nullptr); });
    ExpectArgumentFailure("NULL != pHost->szUri", [&] { return create(nowhere, nullptr); });
    ExpectArgumentFailure("((void *)0) != pHost->szBaseDN",
                          [&] { return create(baseless, nullptr); });
    ExpectArgumentFailure("NULL != pGroup", [&] { return create(host_, nullptr); });
    ExpectArgumentFailure("((void *)0) != pGroup->szName", [&] { return create(host_, &record_); });
    std::string empty;
    record_.szName = empty.data();
    ExpectArgumentFailure("'\\0' != *(pGroup->szName)", [&] { return create(host_, &record_); });
    record_.szName = name_.data();
    ExpectArgumentFailure("GID_ERR != pGroup->nGid", [&] { return create(host_, &record_); });
}

}  // namespace zafo::foreign::group_create_test
