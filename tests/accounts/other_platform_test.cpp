// SPDX-License-Identifier: Apache-2.0
//
// Accounts on a platform that is not ours.
#include "tests/core/other_platform.h"

#include <iterator>
#include <utility>

#include "platform/crypt.h"
#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::accounts_test {
namespace {

using core_test::OtherPlatform;
using testing::HasSubstr;

class AccountsOnAnotherPlatform : public WritingTest {
  protected:
    AccountsOnAnotherPlatform() { host_.szLoginSuffix = "example.com"; }

    // A new name and a password for the user at a DN.
    int Rename(const std::string &dn) {
        const std::string entry =
            "dn: " + dn + "\nobjectClass: posixAccount\nuid: anna.smith\nuidNumber: 1027\n\n";
        Prepare(
            {{"ldapsearch", entry}, {"ldapsearch", entry}, {"ldapsearch"}, {"slappasswd", kHash}});
        Person wish = Nobody();
        wish.name = "bob";
        wish.password = "secret";
        const UserRecord record(wish);
        return ZAFOLDAPBrowserUserEdit(&host_, dn.c_str(), &record, nullptr, nullptr);
    }

    OtherPlatform platform_;
};

TEST_F(AccountsOnAnotherPlatform, RenamedUserKeepsItsParentWhereTheRDNIsWrittenInAnotherWay) {
    platform_->normalises_rdn = true;
    const std::pair<const char *, const char *> kDNs[] = {
        {"uid = anna.smith,cn=users,dc=x", "uid=bob,cn=users,dc=x"},
        {"uid = anna\\, smith,cn=users,dc=x", "uid=bob,cn=users,dc=x"},
        {"uid = \"anna, smith\",cn=users,dc=x", "uid=bob,cn=users,dc=x"},
        {"uid = anna.smith", "uid=bob"},
    };
    for (const auto &[dn, renamed] : kDNs) {
        SCOPED_TRACE(dn);
        EXPECT_EQ(Rename(dn), 0);
        EXPECT_EQ(Commands().back(), PasswdCommand("secret", renamed));
    }
}

TEST_F(AccountsOnAnotherPlatform, PositiveResultsAreSuccessWhereAUserIsRenamed) {
    platform_->positive_success = true;
    EXPECT_EQ(Rename(kPersonDN), 0);
    EXPECT_EQ(Commands().back(), PasswdCommand("secret", "uid=bob,cn=users," + kBase));
}

TEST_F(AccountsOnAnotherPlatform, RDNThatFillsItsBufferMakesADNThatIsTooLong) {
    platform_->fills_buffers = true;
    EXPECT_EQ(Rename(kPersonDN), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(AccountsOnAnotherPlatform, PositiveResultsAreSuccessWhereAccountsAreRead) {
    platform_->positive_success = true;
    Answer("dn: x\nuid: ann\nuidNumber: 7\n\n");
    ZAFOUSER *user = nullptr;
    ASSERT_EQ(ZAFOLDAPBrowserUserGet(&host_, "dc=x", &user, nullptr), 1);
    EXPECT_EQ(user->pw_uid, 7u);
    ZAFOUserFree(user);
    Answer("dn: x\ncn: staff\ngidNumber: 7\nmemberUid: ann\n\n");
    ZAFOGROUP *group = nullptr;
    ASSERT_EQ(ZAFOLDAPBrowserGroupGet(&host_, "dc=x", &group, nullptr, 0), 1);
    EXPECT_STREQ(group->pszMembers[0], "ann");
    ZAFOGroupFree(group);
}

TEST_F(AccountsOnAnotherPlatform, PositiveResultsAreSuccessWhereAccountsAreListed) {
    platform_->positive_success = true;
    Answer("dn: a\nuid: ann\n\ndn: b\nuid: bob\n\n");
    List dns, names;
    EXPECT_EQ(ZAFOLDAPBrowserUserEnumAll(&host_, dns.Address(), names.Address()), 2);
    EXPECT_THAT(names.Items(), ElementsAre("ann", "bob"));
    Answer("dn: a\n\ndn: b\n\n");
    EXPECT_EQ(ZAFOLDAPBrowserStatUGNum(&host_, "user"), 2);
    Answer("dn:\nnamingContexts: dc=x\n\n");
    List contexts;
    EXPECT_EQ(ZAFOLDAPBrowserSuggestBaseDN(&host_, contexts.Address()), 0);
    EXPECT_THAT(contexts.Items(), ElementsAre("dc=x"));
}

TEST_F(AccountsOnAnotherPlatform, NameThatAListDoesNotGiveIsNotWritten) {
    List names{"ann", "bob"}, groups{kStaffDN.c_str()}, extra{"title", "Dr"};
    host_.nSchema = ZAFOLDAP_CLASS_TOP;
    const std::function<int()> calls[] = {
        [&] {
            return ZAFOLDAPBrowserUserEditByGroupDN(&host_, kStaffDN.c_str(), names.Get(),
                                                    names.Get());
        },
        [&] { return ZAFOLDAPBrowserGroupEditByUserUID(&host_, "ann", groups.Get(), nullptr); },
        [&] {
            UserRecord record{Person()};
            return ZAFOLDAPBrowserUserCreateWithCryptedPass(&host_, &record, extra.Get(), nullptr);
        }};
    for (size_t i = 0; i < std::size(calls); ++i) {
        tools_.Reset();
        ASSERT_EQ(calls[i](), 0);
        const std::string whole = LastChange();
        for (int nth = 1; nth < 100; ++nth) {
            tools_.Reset();
            platform_->lost_item = nth;
            const int result = calls[i]();
            if (result == 0) {
                EXPECT_EQ(LastChange(), whole) << i << ", item " << nth;
            } else {
                EXPECT_THAT(Changes(), IsEmpty()) << i << ", item " << nth;
            }
            if (std::exchange(platform_->lost_item, 0) > 0) break;
        }
    }
}

// The search of a list that is not sorted could add a member twice.
TEST_F(AccountsOnAnotherPlatform, GroupsThatCannotBeSortedAreNotChanged) {
    platform_->cannot_sort = true;
    Answer("dn: " + kStaffDN + "\ncn: staff\n\n");
    const List groups{kStaffDN.c_str()};
    EXPECT_EQ(ZAFOLDAPBrowserGroupEditByUserUID(&host_, "ann", groups.Get(), nullptr), -1);
    EXPECT_THAT(Changes(), IsEmpty());
}

TEST_F(AccountsOnAnotherPlatform, HashThatFillsItsBufferEndsInIt) {
    host_.nSchema = ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT;
    platform_->fills_buffers = true;
    Prepare({{"ldapsearch"}, {"ldapsearch"}, {"slappasswd", kHash}});
    Person person;
    person.password = "secret";
    UserRecord record(person);
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(&host_, &record, nullptr, nullptr), 0);
    EXPECT_THAT(LastChange(), HasSubstr("sambaNTPassword: " + std::string(32, 'x') + "\n"));
}

}  // namespace
}  // namespace zafo::accounts_test
