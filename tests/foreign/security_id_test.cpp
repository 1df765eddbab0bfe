// SPDX-License-Identifier: Apache-2.0
//
// Security identifiers allocated from the domain's counter.
#include <algorithm>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::security_id_test {

const std::string kBase = "dc=x,dc=example";
const std::string kDomain = "sambaDomainName=x," + kBase;

class Sid : public ChangeTest {
  protected:
    void Domain(const std::string &sid = "S-1-5-21-1-2-3") {
        platform()
            .On("ldapsearch",
                [](const Strings &argv) {
                    return std::find(argv.begin(), argv.end(), "sambaSID") != argv.end();
                })
            .Prints(Entry(kDomain, {{"sambaSID", sid}}))
            .Always();
    }
    void Counter(const std::string &value) {
        platform()
            .On("ldapsearch", "sambaNextUserRid")
            .Prints(Entry(kDomain, {{"sambaNextUserRid", value}}));
    }
    int Generate() { return ZAFOLDAPSambaSIDGen(host_, sid_, sizeof sid_); }
    char sid_[256] = "before";
    Host host_;
};
ZAFO_FOREIGN_SUITE(Sid);

TEST_P(Sid, JoinsTheDomainAndTheNextIdentifier) {
    Domain();
    Counter("1000");
    EXPECT_EQ(Generate(), 0);
    EXPECT_STREQ(sid_, "S-1-5-21-1-2-3-1000");
    EXPECT_EQ(Changes(), Strings{"dn: " + kDomain +
                                 "\nchangetype: modify\ndelete: sambaNextUserRid\n"
                                 "sambaNextUserRid: 1000\n-\nadd: sambaNextUserRid\n"
                                 "sambaNextUserRid: 1001\n"});
    EXPECT_EQ(Searches(),
              (std::vector<Strings>{
                  SearchVector({"-b", kDomain.c_str(), "objectClass=sambaDomain", "sambaSID"}),
                  SearchVector({"-b", kDomain.c_str(), "sambaSID"}),
                  SearchVector({"-b", kDomain.c_str(), "sambaNextUserRid"})}));
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPDNFirstDomainComponent").at(0).arguments.at(0), kBase);
    EXPECT_EQ(Log(), Strings{});
    ExpectSlotsUntouched();
}

TEST_P(Sid, TakesTheIdentifierWith64Bits) {
    Domain();
    Counter("18446744073709551000");
    EXPECT_EQ(Generate(), 0);
    EXPECT_STREQ(sid_, "S-1-5-21-1-2-3-18446744073709551000");
}

TEST_P(Sid, CutsToTheBuffer) {
    Domain();
    Counter("1000");
    EXPECT_EQ(ZAFOLDAPSambaSIDGen(host_, sid_, 6), 0);
    EXPECT_STREQ(sid_, "S-1-5");
}

TEST_P(Sid, ContinuesWhenTheFirstReadFindsNothing) {
    platform().On("ldapsearch", "objectClass=sambaDomain");
    Domain();
    Counter("1000");
    EXPECT_EQ(Generate(), 0);
    EXPECT_STREQ(sid_, "S-1-5-21-1-2-3-1000");
}

TEST_P(Sid, LogsEveryStepThatFails) {
    platform().Fail("ZAFOLDAPDNFirstDomainComponent", 1, -1, 0x0F00);
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(TakeLog(),
              Strings{"ZAFOLDAPDNFirstDomainComponent [" + kBase + "] failed. [0x0F00]"});
    EXPECT_EQ(platform().Runs().size(), 0U);

    platform().On("ldapsearch", "objectClass=sambaDomain").Exits(32);
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(TakeLog(), Strings{"get sambaSID failed."});
    EXPECT_EQ(LibraryError(), 32);

    platform()
        .On("ldapsearch", "objectClass=sambaDomain")
        .Prints(Entry(kDomain, {{"sambaSID", "S-1"}}));
    platform().On("ldapsearch", "sambaSID").Exits(50);
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(TakeLog(), (Strings{"get sambaSID [8] failed.", "get domain SID failed."}));
    EXPECT_EQ(LibraryError(), 50);

    Domain();
    platform().On("ldapsearch", "sambaNextUserRid").Exits(53);
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(TakeLog(), (Strings{"get [sambaNextUserRid] failed.",
                                  "get sambaNextUserRid from " + kDomain + " failed."}));
    EXPECT_EQ(LibraryError(), 53);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(Sid, LogsTheSecondLookAtTheDomainComponent) {
    Domain();
    platform().Fail("ZAFOLDAPDNFirstDomainComponent", 2, -1, 0x0F00);
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(Log(), (Strings{"ZAFOLDAPDNFirstDomainComponent [" + kBase + "] failed. [0x0F00]",
                              "get domain SID failed."}));
}

TEST_P(Sid, GivesUpAfterTenLostSwaps) {
    Domain();
    platform()
        .On("ldapsearch", "sambaNextUserRid")
        .Prints(Entry(kDomain, {{"sambaNextUserRid", "1000"}}))
        .Always();
    platform().On("ldapmodify").Exits(16).Always();
    EXPECT_EQ(Generate(), -1);
    EXPECT_EQ(Changes().size(), 10U);
    EXPECT_EQ(Last(Log()), "get sambaNextUserRid from " + kDomain + " failed.");
}

TEST_P(Sid, SurvivesAnUnterminatedDomainComponent) {
    platform().Fills("ZAFOLDAPDNFirstDomainComponent");
    Domain();
    EXPECT_LE(Generate(), 0);
}

TEST_P(Sid, SurvivesAConnectionWithoutABase) {
    Host host;
    host.base.reset();
    EXPECT_EQ(ZAFOLDAPSambaSIDGen(host, sid_, sizeof sid_), -1);
    EXPECT_EQ(Changes(), Strings{});
}

TEST_P(Sid, ChecksItsArgumentsInOrder) {
    Host nowhere;
    nowhere.uri.reset();
    ExpectArgumentFailure("((void *)0) != pHost",
                          [] { return ZAFOLDAPSambaSIDGen(nullptr, nullptr, 0); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPSambaSIDGen(nowhere, nullptr, 0); });
    ExpectArgumentFailure("((void *)0) != szSID",
                          [&] { return ZAFOLDAPSambaSIDGen(host_, nullptr, 0); });
    ExpectArgumentFailure("0 < cbSID", [&] { return ZAFOLDAPSambaSIDGen(host_, sid_, 0); });
}

}  // namespace zafo::foreign::security_id_test
