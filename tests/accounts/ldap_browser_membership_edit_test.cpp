// SPDX-License-Identifier: Apache-2.0
//
// The change files of membership changes, byte for byte, and when none is written.
#include <algorithm>

#include "tests/accounts/reading_fixture.h"

namespace zafo::accounts_test::membership_edit {
namespace {

constexpr const char *kGolden = "/mnt/src/tests/accounts/golden/";
constexpr const char *kUserDN = "uid=ann,ou=people,dc=x";

class MembershipChange : public ReadingTest {
  protected:
    // A change's arguments without the file name, and the file.
    struct Modify {
        Texts words;
        std::string file;
    };
    std::vector<Modify> Changes() const {
        std::vector<Modify> changes;
        for (const rig::FakeCall &call : tools_.Calls()) {
            if (call.tool != "ldapmodify") continue;
            Modify change{call.argv, ""};
            change.words.at(7) = "FILE";
            for (const auto &[path, file] : call.files) {
                EXPECT_EQ(path, call.argv.at(7));
                EXPECT_EQ(file.mode & 0777, 0600u);
                change.file += file.content;
            }
            changes.push_back(change);
        }
        return changes;
    }
    int AddTo(const std::initializer_list<const char *> &groups) {
        return ZAFOLDAPBrowserGroupEditByUserUID(&host_, "ann", List(groups).Get(), nullptr);
    }
};

struct Case {
    const char *golden;
    std::vector<const char *> answers;
    std::function<int(const ZAFOLDAP_HOST *)> run;
};

void PrintTo(const Case &test, std::ostream *out) {
    *out << test.golden;
}

constexpr const char *kListed =
    "dn: cn=Staff,cn=groups,dc=x\ncn: Staff\n\ndn: cn=old,dc=x\ncn: old\n\n";
const unsigned int kOldGid = 1000, kNewGid = 4294967295u;

const Case kCases[] = {
    {"user_side",
     {kListed},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditByUserUID(
             host, "ann", List{"cn=b,dc=x", "CN=staff,cn=Groups,DC=X", "cn=a,dc=x"}.Get(),
             List{"cn=never,dc=x", "cn=OLD,dc=x"}.Get());
     }},
    {"user_side_removed",
     {kListed},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditByUserUID(host, "ann", nullptr, List{"cn=old,dc=x"}.Get());
     }},
    {"user_side_removed",
     {"dn: x\nuid: ann\n\n", kListed},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditByUserDN(host, kUserDN, nullptr, List{"cn=old,dc=x"}.Get());
     }},
    {"group_side",
     {},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserUserEditByGroupDN(host, "cn=staff,dc=x", List{"ann", "bob"}.Get(),
                                                 List{"cyd", "dan"}.Get());
     }},
    {"group_side_added",
     {},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserUserEditByGroupDN(host, "cn=staff,dc=x", List{"ann"}.Get(), nullptr);
     }},
    {"group_side_removed",
     {},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserUserEditByGroupDN(host, "cn=staff,dc=x", nullptr, List{"ann"}.Get());
     }},
    {"group_side_empty_lists",
     {},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserUserEditByGroupDN(host, "cn=staff,dc=x", List().Get(), List().Get());
     }},
    {"group_side_odd_names",
     {},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserUserEditByGroupDN(
             host, " cn=blank,dc=x",
             List{"a,b", "a+b", " a ", "#a", "100%n%%", "a\"<>;\\", ":a", "<a", "ä"}.Get(),
             nullptr);
     }},
    {"rename",
     {kListed},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(host, "ann", "anna");
     }},
    {"rename",
     {"dn: x\nuid: ann\n\n", kListed},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(host, kUserDN, "anna");
     }},
    {"remove_everywhere",
     {kListed},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(host, "ann", nullptr);
     }},
    {"gid_change",
     {"dn: cn=old,dc=x\n\ndn: cn=same number,dc=x\n\n", "dn: cn=new,dc=x\n\n"},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(host, "ann", &kOldGid, &kNewGid);
     }},
    {"gid_change_from_old_only",
     {"dn: cn=old,dc=x\n\n", ""},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(host, "ann", &kOldGid, &kNewGid);
     }},
    {"gid_change_from_old_only",
     {"dn: cn=old,dc=x\n\n"},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(host, "ann", &kOldGid, nullptr);
     }},
    {"gid_change_to_new_only",
     {"dn: cn=new,dc=x\n\n"},
     [](const ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(host, "ann", nullptr, &kNewGid);
     }},
};

class ChangeFile : public MembershipChange, public testing::WithParamInterface<Case> {};
std::string NameOf(const testing::TestParamInfo<Case> &info) {
    return std::string(info.param.golden) + "_" + std::to_string(info.index);
}
INSTANTIATE_TEST_SUITE_P(Of, ChangeFile, testing::ValuesIn(kCases), NameOf);

TEST_P(ChangeFile, IsRunOnceAsWritten) {
    const std::string path = std::string(kGolden) + GetParam().golden + ".ldif";
    const std::string golden = core_test::ContentOf(path);
    ASSERT_FALSE(golden.empty()) << path;
    for (const char *answer : GetParam().answers)
        Answer(answer);
    EXPECT_EQ(GetParam().run(&host_), 0);
    const auto changes = Changes();
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].file, golden);
    EXPECT_THAT(changes[0].words, ElementsAre("/usr/zafo/bin/ldapmodify", "-x", "-H",
                                              "ldap://server", "-D", "", "-f", "FILE", "-w", ""));
    EXPECT_EQ(tools_.Calls().size(), GetParam().answers.size() + 1);
    ExpectSlotsUntouched();
    EXPECT_THAT(log_.Messages(), IsEmpty());
}

TEST_F(MembershipChange, LooksUpWhatItNeeds) {
    const Texts groups =
        SearchWords(kBase, {"(&(objectClass=posixGroup)(memberUid=ann))", "dn", "cn"});
    const Texts name = SearchWords(kUserDN, {"objectClass=posixAccount", "uid"});
    const auto number = [](const std::string &gid) {
        return SearchWords(kBase, {"(&(objectClass=posixGroup)(gidNumber=" + gid + "))", "dn"});
    };
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, "ann", nullptr, List().Get()), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&host_, "ann", "anna"), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserGIDChange(&host_, "ann", &kOldGid, &kNewGid), 0);
    EXPECT_THAT(Commands(), ElementsAre(groups, groups, number("1000"), number("4294967295")))
        << "and without a group there is nothing to change";

    tools_.Reset();
    for ([[maybe_unused]] const int twice : {1, 2}) {
        Answer("dn: x\nuid: ann\n\n");
        Answer("");
    }
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(&host_, kUserDN, List().Get(), nullptr), 0);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(&host_, kUserDN, "b"), 0);
    EXPECT_THAT(Commands(), ElementsAre(name, groups, name, groups));
}

// Two tool runs no matter how many groups there are, and lines only for what changes.
TEST_F(MembershipChange, WorkGrowsWithWhatChanges) {
    constexpr int kGroups = 2000;
    constexpr long kLinesOfAChange = 8, kLinesOfARename = 14;
    std::string listed;
    for (int i = 0; i < kGroups; ++i)
        listed += "dn: cn=" + std::to_string(i) + ",dc=x\ncn: g\n\n";
    const auto lines = [this] {
        const std::string file = Changes().back().file;
        return std::count(file.begin(), file.end(), '\n');
    };
    Answer(listed);
    EXPECT_EQ(AddTo({"cn=1,dc=x", "cn=new,dc=x", "cn=1999,dc=x"}), 0);
    EXPECT_EQ(tools_.Calls().size(), 2u);
    EXPECT_EQ(lines(), kLinesOfAChange);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&host_, "ann", "anna"), 0);
    EXPECT_EQ(tools_.Calls().size(), 4u);
    EXPECT_EQ(lines(), kGroups * kLinesOfARename);
    EXPECT_EQ(ZAFOLDAPBrowserUserEditByGroupDN(&host_, "cn=1,dc=x", List{"ann"}.Get(), nullptr), 0);
    EXPECT_EQ(tools_.Calls().size(), 5u) << "the members are not read";
    EXPECT_EQ(lines(), kLinesOfAChange);
}

TEST_F(MembershipChange, BindsAsTheConnectionSays) {
    host_.szBindDN = "cn=admin";
    host_.szBindPasswd = "secret";
    host_.nSSLType = 2;
    EXPECT_EQ(AddTo({"cn=a"}), 0);
    EXPECT_THAT(Changes().at(0).words,
                ElementsAre("/usr/zafo/bin/ldapmodify", "-x", "-ZH", "ldap://server", "-D",
                            "cn=admin", "-f", "FILE", "-w", "secret"));
}

TEST_F(MembershipChange, ExistingMembershipIsNotWritten) {
    Answer(kListed);
    EXPECT_EQ(AddTo({"cn=staff,cn=groups,dc=x", "CN=OLD,DC=X"}), 0);
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(MembershipChange, WithoutABaseTheMemberIsStillWritten) {
    host_.szBaseDN = nullptr;
    EXPECT_EQ(AddTo({"cn=a"}), 0);
    EXPECT_THAT(Changes().at(0).file, testing::HasSubstr("\nmember: uid=ann,cn=users,\n"));
}

TEST_F(MembershipChange, LongNamesAreWrittenWhole) {
    const std::string name(1900, 'n');
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, name.c_str(), List{"cn=a"}.Get(), nullptr),
              0);
    EXPECT_THAT(Changes().at(0).file,
                testing::HasSubstr("\nmember: uid=" + name + ",cn=users,dc=example,dc=com\n"));
}

TEST_F(MembershipChange, FilterThatIsTooLongIsRefused) {
    const std::string name(2100, 'n');
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, name.c_str(), List{"cn=a"}.Get(), nullptr),
              -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&host_, name.c_str(), "b"), -1);
    ExpectSlots(kStaleLdapCode, 0x0E00);
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

TEST_F(MembershipChange, DNOfAMissingUserIsNoSuchUser) {
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(&host_, kUserDN, List().Get(), nullptr), -1);
    ExpectSlots(kStaleLdapCode, 0x1D00);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(&host_, kUserDN, "b"), -1);
    ExpectSlots(kStaleLdapCode, 0x1D00);
    EXPECT_THAT(LoggedTexts(), testing::Each("ZAFOLDAPUserDN2UID failed! Bad format of DN [" +
                                             std::string(kUserDN) + "]"));
    EXPECT_EQ(log_.Messages().size(), 2u);
    EXPECT_EQ(tools_.Calls().size(), 2u);
}

// A line break would start a line of an attacker's choice.
using LineBreak = MembershipChange;

TEST_F(LineBreak, OfAnyKindIsRefusedBeforeAnythingRuns) {
    for (const char *text : {"a\nb", "a\rb", "\n", "\ra", "a\r\nchangetype: delete"}) {
        SCOPED_TRACE(text);
        core_test::SetStaleCodes();
        EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, text, List{"cn=a,dc=x"}.Get(), nullptr),
                  -1);
        ExpectSlots(kStaleLdapCode, 0x0D00);
        core_test::SetStaleCodes();
        EXPECT_EQ(AddTo({"cn=a,dc=x", text}), -1);
        ExpectSlots(kStaleLdapCode, 0x0D00);
    }
    EXPECT_THAT(tools_.Calls(), IsEmpty());
}

// "cn=a", a line break, "cn=b"
constexpr const char *kGroupWithLineBreak = "dn:: Y249YQpjbj1i\ncn: a\n\n";

TEST_F(LineBreak, InADNThatTheServerGivesIsRefused) {
    Answer(kGroupWithLineBreak);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&host_, "ann", "b"), -1);
    ExpectSlots(kStaleLdapCode, 0x0F00);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserGIDChange(&host_, "ann", &kOldGid, nullptr), -1);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserGIDChange(&host_, "ann", nullptr, &kNewGid), -1);
    EXPECT_THAT(LoggedTexts(), testing::Each("the DN of a group has a line break"));
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(LineBreak, InANameThatTheServerGivesIsRefused) {
    Answer("dn: x\nuid:: YQpi\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserDN(&host_, kUserDN, List{"cn=a"}.Get(), nullptr), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditWhenUserUIDChangeByUserDN(&host_, kUserDN, "b"), -1);
    ExpectSlots(kStaleLdapCode, 0x0D00);
    EXPECT_THAT(Changes(), IsEmpty());
    EXPECT_EQ(tools_.Calls().size(), 2u);
}

}  // namespace
}  // namespace zafo::accounts_test::membership_edit
