// SPDX-License-Identifier: Apache-2.0
//
// Each platform call fails once, in every way: nothing leaks, no function receives an invalid
// argument, and the caller gets a result.
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <functional>
#include <map>
#include <set>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::failure_sweep_test {

const std::string kBase = "dc=x,dc=example";
const std::string kConf = "/usr/zafo/etc/private/ldapbrowser.conf";

// Functions that cannot fail, or whose failure is not reported.
const std::set<std::string> kCannotFail = {"QLIBCErrSet",     "QLIBCErrGet",     "QLIBCSzListFree",
                                           "QLIBCSzHashFree", "QLIBCStartError", "ZAFOUserFree",
                                           "ZAFOGroupFree"};

class FailureSweep : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        Answer("(uid=ann)", "");
        Answer("(uidNumber=2001)", "");
        Answer("(cn=staff)", "");
        Answer("(gidNumber=3001)", "");
        Answer("(uidNumber=1000)", Entry("uid=taken,dc=x", {}));
        Answer("MinID", Entry("cn=MinID", {{"uidNumber", "1000"}}));
        Answer("MaxID", Entry("cn=MaxID", {{"uidNumber", "2000"}}));
        Answer("CurID", Entry("cn=CurID", {{"uidNumber", "1000"}}));
        Answer("sambaSID", Entry("cn=d", {{"sambaSID", "S-1-5-21"}}));
        Answer("sambaNextUserRid", Entry("cn=d", {{"sambaNextUserRid", "1000"}}));
        Answer("cn=zafoconf,", Entry("cn=zafoconf", {}));
        Answer("subschemaSubentry", Entry("", {{"subschemaSubentry", "cn=Subschema"}}));
        Answer("objectclasses", Entry("cn=Subschema", {{"objectClasses", "( 1 NAME 'top' )"}}));
        Answer("automountKey=*", "");
        platform()
            .On("ldapsearch")
            .Prints(Entry("uid=a,dc=x", {{"uidNumber", "1000"}, {"mail", " a@x"}}) +
                    Entry("uid=b,dc=x", {{"uidNumber", "1001"}, {"objectClass", "top"}}))
            .Always();
        platform().On("slappasswd").Prints("{CRYPT}x\n").Always();
        platform().sections[kConf]["root"] = {
            {"uri", "srv"},       {"basedn", "dc=s"},
            {"binddn", "cn=adm"}, {"loginsuffix", "s.example"},
            {"ssl", "x"},         {"bindpw", Platform::Encipher("geheim")}};
        platform().confs["/usr/zafo/etc/nslcd.conf"] = {
            {"uri", "ldap://srv"}, {"binddn", "cn=adm"}, {"base", "dc=s"}};
        platform().secret = "geheim";
        host_.schema = 0x1fff;
    }
    void Answer(const std::string &part, const std::string &text) {
        platform().On("ldapsearch", part).Prints(text).Always();
    }

    std::map<std::string, int> CallsMade(const std::function<int()> &call) {
        platform().Forget();
        call();
        std::map<std::string, int> made;
        for (const Call &one : platform().Calls())
            if (kCannotFail.count(one.function) == 0) ++made[one.function];
        return made;
    }
    static int Parts() {
        return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
    }
    // Runs in its own process: a crash or hang fails alone, and no rule persists.
    void Apart(const std::string &what, const std::function<void()> &body) {
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            const int before = Parts();
            body();
            EXPECT_EQ(platform().Outstanding(), Strings{}) << what;
            EXPECT_EQ(platform().TakeFaults(), Strings{}) << what;
            fflush(nullptr);
            _exit(Parts() == before ? 0 : 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << what;
    }
    // Whatever fails, results must be between -3 and `highest`.
    void SweepOne(const std::function<int()> &call, int highest, const std::string &function,
                  int count) {
        for (int nth = 1; nth <= count; nth += nth < 8 ? 1 : 7)
            Apart(function + " " + std::to_string(nth), [&] {
                platform().Fail(function, nth, -1, 0x0200);
                const int result = call();
                EXPECT_TRUE(result >= -3 && result <= highest) << result;
            });
    }
    void Sweep(const std::function<int()> &call, int highest = 0) {
        for (const auto &[function, count] : CallsMade(call))
            if (function != "QLIBCSzListGet") SweepOne(call, highest, function, count);
    }
    // A list fails to return an existing item.
    void SweepItems(const std::function<int()> &call, int highest = 0) {
        SweepOne(call, highest, "QLIBCSzListGet", CallsMade(call)["QLIBCSzListGet"]);
    }
    // A result that is not negative is no failure; any negative one is, however low.
    void SweepResults(const std::function<int()> &call, const std::set<std::string> &functions) {
        const int good = call();
        for (const auto &[function, count] : CallsMade(call)) {
            if (functions.count(function) == 0) continue;
            for (int nth = 1; nth <= count; ++nth) {
                const std::string what = function + " " + std::to_string(nth);
                Apart(what + " gives much", [&, name = function] {
                    platform().Returns(name, INT_MAX, nth);
                    EXPECT_EQ(call(), good);
                });
                Apart(what + " gives little", [&, name = function] {
                    platform().Fail(name, nth, INT_MIN, 0x0200);
                    EXPECT_LT(call(), 0);
                });
            }
        }
    }
    Host host_;
};
ZAFO_FOREIGN_SUITE(FailureSweep);

TEST_P(FailureSweep, LeavesNothingOfAListedSearch) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    List names;
    List values;
    Sweep([&] { return ZAFOLDAPSearchEachValue(host_, &request, "mail", &names, &values); });
    EXPECT_LE(values.Items().size(), names.Items().size());
}

TEST_P(FailureSweep, LeavesNothingOfValuesOfAnEntry) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    List values;
    Sweep([&] { return ZAFOLDAPSearchMultiValue(host_, &request, "mail", &values); });
    char value[64];
    Sweep(
        [&] {
            return ZAFOLDAPSearchGetValueByDN(host_, "dc=x", nullptr, "mail", value, sizeof value);
        },
        1);
    unsigned schema = 0;
    Sweep([&] { return ZAFOLDAPSearchObjectClasses(host_, "dc=x", nullptr, &schema); });
}

TEST_P(FailureSweep, LeavesNothingOfAConnectionThatIsRead) {
    const auto browser = [] {
        ZAFOLDAP_HOST host;
        const int result = ZAFOLDAPHostInitByBrowserConfig(&host, nullptr);
        if (host.plistBuffer != nullptr) ZAFOLDAPHostFree(&host);
        return result;
    };
    Sweep(browser, 1);
    const auto bound = [] {
        ZAFOLDAP_HOST host;
        const int result = ZAFOLDAPHostInitByBindConfig(&host);
        if (host.plistBuffer != nullptr) ZAFOLDAPHostFree(&host);
        return result;
    };
    Sweep(bound, 1);
    SweepResults(browser, {"QLIBCSzListInsert", "QLIBCSzListRemove", "QLIBCryptSzDecrypt"});
    SweepResults(bound, {"QLIBCSzListInsert", "QLIBCSzListRemove", "ZAFOLDAPLoginSuffixGet",
                         "ZAFOLDAPSecretGet"});
}

TEST_P(FailureSweep, LeavesNothingOfTheSchema) {
    Sweep([&] { return ZAFOLDAPHostGetSupportedSchema(host_); });
}

TEST_P(FailureSweep, LeavesNothingOfAConnectionThatIsSaved) {
    for (const char *section : {"root", "new"}) {
        const auto save = [&] {
            platform().sections[kConf].erase("new");
            return ZAFOLDAPBrowserConfSet(host_, section);
        };
        Sweep(save);
        SweepResults(save, {"QLIBCSzHashSetValue", "QLIBCryptSzEncrypt", "ZAFOLDAPSSLToString",
                            "QLIBCFileSetSection", "QLIBCFileAddSection"});
    }
}

TEST_P(FailureSweep, LeavesNothingOfNumbers) {
    Sweep([&] { return ZAFOLDAPSambaUIDGen(host_); }, 1002);
    char sid[256];
    const auto generate = [&] { return ZAFOLDAPSambaSIDGen(host_, sid, sizeof sid); };
    Sweep(generate);
    SweepResults(generate, {"ZAFOLDAPDNFirstDomainComponent"});
}

TEST_P(FailureSweep, SurvivesAListThatDoesNotGiveAnItem) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    List names;
    List values;
    SweepItems([&] { return ZAFOLDAPSearchEachValue(host_, &request, "mail", &names, &values); });
    SweepItems([&] { return ZAFOLDAPSearchMultiValue(host_, &request, "mail", &values); });
    char value[64];
    SweepItems(
        [&] {
            return ZAFOLDAPSearchGetValueByDN(host_, "dc=x", nullptr, "mail", value, sizeof value);
        },
        1);
    unsigned schema = 0;
    SweepItems([&] { return ZAFOLDAPSearchObjectClasses(host_, "dc=x", nullptr, &schema); });
    SweepItems([&] { return ZAFOLDAPHostGetSupportedSchema(host_); });
    SweepItems([&] { return ZAFOLDAPSambaUIDGen(host_); }, 1002);
    SweepItems(
        [] {
            ZAFOLDAP_HOST host;
            const int result = ZAFOLDAPHostInitByBrowserConfig(&host, nullptr);
            if (host.plistBuffer != nullptr) ZAFOLDAPHostFree(&host);
            return result;
        },
        1);
}

TEST_P(FailureSweep, SurvivesExtraPairsThatTheListDoesNotGive) {
    std::string name = "ann";
    ZAFOUSER user{};
    user.szName = name.data();
    user.pw_uid = 2001;
    ZAFOGROUP group{};
    group.szName = name.data();
    group.nGid = 3001;
    List extra{"description", "a"};
    host_.schema = 0x21;
    SweepItems(
        [&] { return ZAFOLDAPBrowserUserCreateWithCryptedPass(host_, &user, extra, nullptr); });
    SweepItems([&] { return ZAFOLDAPBrowserGroupCreate(host_, &group, "d", extra, nullptr); });
}

TEST_P(FailureSweep, LeavesNothingOfPasswords) {
    char hash[64];
    Sweep([&] { return ZAFOLDAPEncryptPasswd("geheim", hash, sizeof hash); });
    Sweep([&] { return ZAFOLDAPPasswd(host_, "uid=ann", "geheim"); });
}

TEST_P(FailureSweep, LeavesNothingOfNewUsers) {
    std::string name = "ann";
    std::string password = "geheim";
    ZAFOUSER user{};
    user.szName = name.data();
    user.szPasswd = password.data();
    user.pw_uid = 2001;
    List extra{"description", "a"};
    for (const auto creator :
         {ZAFOLDAPBrowserUserCreate, ZAFOLDAPBrowserUserCreateWithCryptedPass}) {
        Sweep([&] {
            const int result = creator(host_, &user, extra, nullptr);
            EXPECT_EQ(user.szPasswd, password.data());
            return result;
        });
    }
}

TEST_P(FailureSweep, LeavesNothingOfNewGroups) {
    std::string name = "staff";
    char *members[] = {name.data(), nullptr};
    ZAFOGROUP group{};
    group.szName = name.data();
    group.nGid = 3001;
    group.pszMembers = members;
    List extra{"description", "a"};
    Sweep([&] { return ZAFOLDAPBrowserGroupCreate(host_, &group, "d", extra, nullptr); });
}

}  // namespace zafo::foreign::failure_sweep_test
