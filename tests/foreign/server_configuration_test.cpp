// SPDX-License-Identifier: Apache-2.0
//
// slapd.conf: generated from its template with suffix, administrator and password hash.
#include "tests/foreign/server.h"
#include "zafoldap/server.h"

namespace zafo::foreign::server_configuration_test {

constexpr char kHash[] = "{CRYPT}$1$ab$0123456789";

class ServerConfSet : public ServerTest {
  protected:
    ZAFOLDAP_SERVER_PARAM Parameters() {
        ZAFOLDAP_SERVER_PARAM parameters{};
        parameters.szSuffix = kSuffix;
        parameters.szRootDN = "cn=admin,dc=x,dc=example";
        parameters.szRootPW = "clear text";
        return parameters;
    }
    void AnswerHash() { platform().On("slappasswd").Prints(std::string(kHash) + "\n"); }
    Pairs Written() {
        const std::vector<Call> calls = platform().CallsOf("ZAFOLDAPConfSet");
        return calls.size() == 1 ? calls[0].map : Pairs{{"calls", std::to_string(calls.size())}};
    }
};
ZAFO_FOREIGN_SUITE(ServerConfSet);

TEST_P(ServerConfSet, RefusesNoRecord) {
    ExpectArgumentFailure("((void *)0) != pParms", [] { return ZAFOLDAPServerConfSet(nullptr); });
    EXPECT_TRUE(platform().CallsOf("ZAFOLDAPConfSet").empty());
}

TEST_P(ServerConfSet, SubstitutesSuffixAdministratorAndHash) {
    AnswerHash();
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(
        Written(),
        (Pairs{{"suffix", kSuffix}, {"rootdn", "cn=admin,dc=x,dc=example"}, {"rootpw", kHash}}));
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerConfSet, WritesSlapdConfFromItsTemplate) {
    AnswerHash();
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    ZAFOLDAPServerConfSet(&parameters);
    ASSERT_EQ(platform().CallsOf("ZAFOLDAPConfSet").size(), 1u);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPConfSet").at(0).arguments,
              (Strings{kSlapdConf, kSlapdTemplate, "0x0"}));
}

TEST_P(ServerConfSet, AsksForAMapOf512) {
    AnswerHash();
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    ZAFOLDAPServerConfSet(&parameters);
    ASSERT_FALSE(platform().CallsOf("QLIBCSzHashAlloc").empty());
    EXPECT_EQ(platform().CallsOf("QLIBCSzHashAlloc").at(0).arguments, Strings{"512"});
}

TEST_P(ServerConfSet, StoresInTheOrderOfTheRecord) {
    AnswerHash();
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    ZAFOLDAPServerConfSet(&parameters);
    Strings keys;
    for (const Call &call : platform().CallsOf("QLIBCSzHashSetValue"))
        keys.push_back(call.arguments.at(0));
    EXPECT_EQ(keys, (Strings{"suffix", "rootdn", "rootpw"}));
}

TEST_P(ServerConfSet, HashesThePasswordWithSlappasswd) {
    AnswerHash();
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    ZAFOLDAPServerConfSet(&parameters);
    ASSERT_EQ(platform().Runs().size(), 1u);
    const Run &run = platform().Runs().at(0);
    EXPECT_EQ(run.path, "/usr/zafo/bin/slappasswd");
    EXPECT_EQ(run.how, "QLIBCPopen r");
    EXPECT_EQ(run.argv, (Strings{"-h", "{CRYPT}", "-s", "clear text", "-c", "$1$%.2s"}));
}

TEST_P(ServerConfSet, HashesAnEmptyPassword) {
    AnswerHash();
    ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    parameters.szRootPW = "";
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(platform().Runs().at(0).argv, (Strings{"-h", "{CRYPT}", "-s", "", "-c", "$1$%.2s"}));
    EXPECT_EQ(Written()["rootpw"], kHash);
}

TEST_P(ServerConfSet, LeavesOutWhatTheRecordDoesNotHave) {
    struct Case {
        bool suffix, administrator, password;
    };
    for (const Case &row :
         {Case{true, false, false}, Case{false, true, false}, Case{false, false, true},
          Case{true, true, false}, Case{false, true, true}, Case{true, false, true}}) {
        platform().Forget();
        ZAFOLDAP_SERVER_PARAM parameters = Parameters();
        Pairs expected{
            {"suffix", kSuffix}, {"rootdn", "cn=admin,dc=x,dc=example"}, {"rootpw", kHash}};
        if (!row.suffix) {
            parameters.szSuffix = nullptr;
            expected.erase("suffix");
        }
        if (!row.administrator) {
            parameters.szRootDN = nullptr;
            expected.erase("rootdn");
        }
        if (row.password) {
            AnswerHash();
        } else {
            parameters.szRootPW = nullptr;
            expected.erase("rootpw");
        }
        EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
        EXPECT_EQ(Written(), expected);
        EXPECT_EQ(platform().Runs().size(), row.password ? 1u : 0u);
    }
}

TEST_P(ServerConfSet, RewritesTheFileWithNothingSubstituted) {
    const ZAFOLDAP_SERVER_PARAM parameters{};
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(Written(), Pairs{});
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(ServerConfSet, TakesTheHashWithoutALineBreak) {
    platform().On("slappasswd").Prints(kHash);
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(Written()["rootpw"], kHash);
}

TEST_P(ServerConfSet, TakesTheFirstLineOnly) {
    platform().On("slappasswd").Prints(std::string(kHash) + "\nmore\n");
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(Written()["rootpw"], kHash);
}

TEST_P(ServerConfSet, TakesAHashOf1023Bytes) {
    const std::string hash(1023, 'h');
    platform().On("slappasswd").Prints(hash + "\n");
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(Written()["rootpw"], hash);
}

TEST_P(ServerConfSet, DoesNotLookAtTheExitCodeOfSlappasswd) {
    platform().On("slappasswd").Prints(std::string(kHash) + "\n").Exits(1);
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(Written()["rootpw"], kHash);
}

TEST_P(ServerConfSet, ReadsTheHashAgainAfterAnInterruption) {
    platform().On("slappasswd").Interrupted(4).Prints(std::string(kHash) + "\n");
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0);
    EXPECT_EQ(Written()["rootpw"], kHash);
}

TEST_P(ServerConfSet, GivesUpAfterFiveInterruptions) {
    platform().On("slappasswd").Interrupted(5).Prints(std::string(kHash) + "\n");
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), -1);
    EXPECT_TRUE(platform().CallsOf("ZAFOLDAPConfSet").empty());
    EXPECT_EQ(Log(), Strings{"Encrypt password failed! " + Slot(kStalePlatformError)});
}

TEST_P(ServerConfSet, WritesNothingWhenSlappasswdCannotStart) {
    platform().On("slappasswd").CannotStart();
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), -1);
    EXPECT_TRUE(platform().CallsOf("ZAFOLDAPConfSet").empty());
    EXPECT_EQ(Log(), (Strings{"Popen failed [0x0900]", "Encrypt password failed! [0x0900]"}));
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(ServerConfSet, WritesNothingWhenSlappasswdPrintsNothing) {
    platform().On("slappasswd").Exits(1);
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), -1);
    EXPECT_TRUE(platform().CallsOf("ZAFOLDAPConfSet").empty());
    const Strings log = Log();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].rfind("Failed to read from popen (", 0), 0u) << log[0];
    EXPECT_EQ(log[1], "Encrypt password failed! " + Slot(kStalePlatformError));
}

TEST_P(ServerConfSet, FailsWithoutAMap) {
    platform().Fail("QLIBCSzHashAlloc");
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), -1);
    EXPECT_EQ(PlatformError(), 0x0200);
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_TRUE(platform().CallsOf("ZAFOLDAPConfSet").empty());
}

TEST_P(ServerConfSet, WritesNothingWhenAValueCannotBeStored) {
    for (int nth = 1; nth <= 3; ++nth) {
        platform().Forget();
        if (nth == 3) AnswerHash();
        platform().Fail("QLIBCSzHashSetValue", nth);
        const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
        EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), -1) << nth;
        EXPECT_TRUE(platform().CallsOf("ZAFOLDAPConfSet").empty()) << nth;
    }
}

TEST_P(ServerConfSet, FailsWhenTheFileCannotBeWritten) {
    for (int result : {-1, -2, -100}) {
        AnswerHash();
        platform().Fail("ZAFOLDAPConfSet", 1, result, 0x0B00);
        const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
        EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), -1);
        EXPECT_EQ(PlatformError(), 0x0B00);
    }
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(ServerConfSet, SucceedsWithAnyResultThatIsNotNegative) {
    for (int result : {0, 1, 42}) {
        AnswerHash();
        platform().Returns("ZAFOLDAPConfSet", result);
        const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
        EXPECT_EQ(ZAFOLDAPServerConfSet(&parameters), 0) << result;
    }
}

TEST_P(ServerConfSet, NeitherStartsNorStopsTheServer) {
    RunServer();
    AnswerHash();
    const ZAFOLDAP_SERVER_PARAM parameters = Parameters();
    ZAFOLDAPServerConfSet(&parameters);
    EXPECT_TRUE(platform().CallsOf("QLIBServiceStart").empty());
    EXPECT_TRUE(platform().CallsOf("QLIBServiceStop").empty());
}

class SlapdConfSetOne : public ServerTest {};
ZAFO_FOREIGN_SUITE(SlapdConfSetOne);

TEST_P(SlapdConfSetOne, SetsTheKeyOfSlapdConf) {
    EXPECT_EQ(ZAFOLDAPSlapdConfSetOne("loglevel", "256"), temper().success);
    ASSERT_EQ(platform().CallsOf("ZAFOLDAPConfSetOne").size(), 1u);
    EXPECT_EQ(platform().CallsOf("ZAFOLDAPConfSetOne").at(0).arguments,
              (Strings{kSlapdConf, kSlapdTemplate, "loglevel", "256", "0x0"}));
}

TEST_P(SlapdConfSetOne, GivesThePlatformsResult) {
    for (int result : {0, 1, 7, 4711}) {
        platform().Returns("ZAFOLDAPConfSetOne", result);
        EXPECT_EQ(ZAFOLDAPSlapdConfSetOne("a", "b"), result);
    }
    for (int result : {-1, -2}) {
        platform().Fail("ZAFOLDAPConfSetOne", 1, result, 0x0B00);
        EXPECT_EQ(ZAFOLDAPSlapdConfSetOne("a", "b"), result);
        EXPECT_EQ(PlatformError(), 0x0B00);
    }
    EXPECT_EQ(Log(), Strings{});
}

}  // namespace zafo::foreign::server_configuration_test
