// SPDX-License-Identifier: Apache-2.0
//
// Each platform call of the account functions fails once, or does nothing and reports success, or
// returns nonsense: nothing leaks, no function receives an invalid argument, and the caller gets a
// result.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <set>

#include "tests/foreign/accounts.h"

namespace zafo::foreign::accounts_failure_sweep_test {

// Functions that cannot fail, and those that return a pointer or a special number.
const std::set<std::string> kCannotFail = {"QLIBCErrSet",      "QLIBCErrGet",    "QLIBCSzListFree",
                                           "QLIBCSzHashFree",  "ZAFOUserFree",   "ZAFOGroupFree",
                                           "QLIBCMResultFree", "QLIBCStartError"};

struct Question {
    const char *name;
    std::function<int(ZAFOLDAP_HOST *)> ask;
    int highest;  // results are -1 to this
};

int WithUser(const std::function<int(ZAFOUSER &)> &ask) {
    char name[] = "anna";
    char password[] = "new";
    char shell[] = "/bin/zsh";
    ZAFOUSER user{};
    user.szName = name;
    user.szPasswd = password;
    user.pw_shell = shell;
    user.pw_uid = 5;
    user.pw_gid = UID_ERR;
    return ask(user);
}

int GetUser(ZAFOLDAP_HOST *host) {
    ZAFOLDAP_RESULT entry;
    if (ZAFOLDAPResultInit(&entry) != 0) return -1;
    ZAFOUSER *user = nullptr;
    const int result = ZAFOLDAPBrowserUserGet(host, kAnn.c_str(), &user, &entry);
    if (user != nullptr) ZAFOUserFree(user);
    ZAFOLDAPResultFree(&entry);
    return result;
}

int GetGroup(ZAFOLDAP_HOST *host) {
    char text[16];
    ZAFOGROUP *group = nullptr;
    const int result = ZAFOLDAPBrowserGroupGet(host, kStaff.c_str(), &group, text, sizeof text);
    if (group != nullptr) ZAFOGroupFree(group);
    return result;
}

int EditGroup(ZAFOLDAP_HOST *host) {
    const unsigned gid = 5;
    return ZAFOLDAPBrowserGroupEdit(host, kStaff.c_str(), "crew", "text", &gid);
}

int EditUser(ZAFOLDAP_HOST *host) {
    return WithUser([&](ZAFOUSER &user) {
        const int flag = 1;
        return ZAFOLDAPBrowserUserEdit(host, kAnn.c_str(), &user, &flag, nullptr);
    });
}

// Supplies two of the caller's lists.
std::function<int(ZAFOLDAP_HOST *)> Lists(int (*enumerate)(const ZAFOLDAP_HOST *, QLIBSZLIST **,
                                                           QLIBSZLIST **)) {
    return [=](ZAFOLDAP_HOST *host) {
        List dns;
        List names;
        return enumerate(host, &dns, &names);
    };
}

const Question kQuestions[] = {
    {"UserEnumAll", Lists(ZAFOLDAPBrowserUserEnumAll), 1},
    {"GroupEnumAll", Lists(ZAFOLDAPBrowserGroupEnumAll), 1},
    {"UserEnumByUIDNumber",
     [](ZAFOLDAP_HOST *host) {
         List dns;
         return ZAFOLDAPBrowserUserEnumByUIDNumber(host, 7, &dns);
     },
     1},
    {"PosixGetUserUID",
     [](ZAFOLDAP_HOST *host) {
         char name[8];
         return ZAFOLDAPPosixGetUserUID(host, kAnn.c_str(), name, sizeof name);
     },
     1},
    {"StatUGNum", [](ZAFOLDAP_HOST *host) { return ZAFOLDAPBrowserStatUGNum(host, "user"); }, 1},
    {"GetDNByUserUID",
     [](ZAFOLDAP_HOST *host) { return ZAFOLDAPBrowserGetDNByUserUID(host, "ann", nullptr, 0); }, 1},
    {"DeleteUser", [](ZAFOLDAP_HOST *host) { return ZAFOLDAPBrowserDeleteUser(host, "ann"); }, 0},
    {"DeleteGroup", [](ZAFOLDAP_HOST *host) { return ZAFOLDAPBrowserDeleteGroup(host, "staff"); },
     0},
    {"SuggestUid", ZAFOLDAPBrowserSuggestUid, 5001},
    {"SuggestBaseDN",
     [](ZAFOLDAP_HOST *host) {
         List list;
         return ZAFOLDAPBrowserSuggestBaseDN(host, &list);
     },
     0},
    {"ClientCheckBindInfo", ZAFOLDAPClientCheckBindInfo, 0},
    {"ClientBinding", [](ZAFOLDAP_HOST *) { return ZAFOLDAPClientCheckBindInfo(nullptr); }, 0},
    {"BrowserCheckBindInfo",
     [](ZAFOLDAP_HOST *host) { return ZAFOLDAPBrowserCheckBindInfo(host, nullptr); }, 0},
    {"SavedConnection",
     [](ZAFOLDAP_HOST *) { return ZAFOLDAPBrowserCheckBindInfo(nullptr, nullptr); }, 0},
    {"UserGet", GetUser, 1},
    {"GroupGet", GetGroup, 1},
    {"GroupEdit", EditGroup, 0},
    {"UserEdit", EditUser, 0},
    {"GroupEnumByUserDN",
     [](ZAFOLDAP_HOST *host) {
         List dns;
         List names;
         return ZAFOLDAPBrowserGroupEnumByUserDN(host, kAnn.c_str(), &dns, &names);
     },
     1},
    {"UserEnumByPrimaryGroup",
     [](ZAFOLDAP_HOST *host) {
         List names;
         return ZAFOLDAPBrowserUserEnumByPrimaryGroup(host, kStaff.c_str(), nullptr, &names);
     },
     1},
    {"UserEnumNotInGroupDN",
     [](ZAFOLDAP_HOST *host) {
         List names;
         return ZAFOLDAPBrowserUserEnumNotInGroupDN(host, kStaff.c_str(), &names);
     },
     0},
    {"GroupEditByUserDN",
     [](ZAFOLDAP_HOST *host) {
         List added{"cn=new", "cn=other"};
         List removed{"cn=staff,cn=groups,dc=x,dc=example"};
         return ZAFOLDAPBrowserGroupEditByUserDN(host, kAnn.c_str(), added, removed);
     },
     0},
    {"UserEditByGroupDN",
     [](ZAFOLDAP_HOST *host) {
         List added{"bob"};
         List removed{"ann"};
         return ZAFOLDAPBrowserUserEditByGroupDN(host, kStaff.c_str(), added, removed);
     },
     0},
    {"GroupEditWhenUserUIDChange",
     [](ZAFOLDAP_HOST *host) {
         return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(host, "ann", "anna");
     },
     0},
    {"GroupEditWhenUserGIDChange",
     [](ZAFOLDAP_HOST *host) {
         const unsigned from = 100;
         const unsigned to = 200;
         return ZAFOLDAPBrowserGroupEditWhenUserGIDChange(host, "ann", &from, &to);
     },
     0},
    {"CheckServerType", ZAFOLDAPBrowserCheckServerType, 0},
    {"MigrateUserToLDAP", ZAFOLDAPBrowserMigrateUserToLDAP, 0},
    {"MigrateGroupToLDAP", ZAFOLDAPBrowserMigrateGroupToLDAP, 0},
    {"MigrateUserToLocal",
     [](ZAFOLDAP_HOST *host) {
         const auto before = Platform::Get().users;
         const int result = ZAFOLDAPBrowserMigrateUserToLocal(host);
         Platform::Get().users = before;
         Platform::Get().users_left = 100;
         return result;
     },
     0},
    {"MigrateGroupToLocal",
     [](ZAFOLDAP_HOST *host) {
         const auto before = Platform::Get().groups;
         const int result = ZAFOLDAPBrowserMigrateGroupToLocal(host);
         Platform::Get().groups = before;
         return result;
     },
     0},
};

class AccountsSweep : public AccountsTest {
  protected:
    void SetUp() override {
        AccountsTest::SetUp();
        host.schema = 0x1fff;
        const std::string ann = Entry(kAnn, {{"objectClass", "posixAccount"},
                                             {"objectClass", "sambaSamAccount"},
                                             {"objectClass", "shadowAccount"},
                                             {"uid", "ann"},
                                             {"uidNumber", "5000"},
                                             {"userPassword", "{crypt}x"},
                                             {"loginShell", "/bin/sh"}});
        const std::string staff = Entry(
            kStaff,
            {{"cn", "staff"}, {"gidNumber", "100"}, {"memberUid", "ann"}, {"description", "old"}});
        Answer("(uid=anna)", "");
        Answer("(cn=crew)", "");
        Answer("Number=5)", "");
        Answer("(uid=local)", "");
        Answer("(cn=local)", "");
        Answer("Number=7777)", "");
        Answer("subschemaSubentry", "dn:\nsubschemaSubentry: cn=Subschema\n\n");
        Answer("cn=Subschema", "dn: cn=Subschema\nobjectClasses: ( 1 NAME 'posixAccount' )\n\n");
        Answer("cn=zafoconf", "");
        Answer("macosxodconfig", "");
        Answer(kGroups, staff);
        Answer(kStaff, staff);
        Answer(kUsers, ann);
        Answer("namingContexts", "dn:\nnamingContexts: dc=x\n\n");
        platform().On("slappasswd").Prints("{CRYPT}$1$ab$c\n").Always();
        platform().bound = 1;
        platform().secret = "secret";
        platform().confs["/usr/zafo/etc/nslcd.conf"] = {{"uri", "ldap://ldap.x.example"},
                                                        {"base", kBase}};
        platform().sections["/usr/zafo/etc/private/ldapbrowser.conf"]["root"] = {
            {"uri", "ldap.x.example"}, {"basedn", kBase}};
        LocalUser user;
        user.name = "local";
        user.uid = 7777;
        user.password = "x";
        platform().users = {user};
        LocalGroup group;
        group.name = "local";
        group.gid = 7777;
        group.members = Strings{"ann"};
        group.description = "text";
        platform().groups = {group};
    }
    void Answer(const std::string &part, const std::string &text) {
        platform().On("ldapsearch", part).Prints(text).Always();
    }
    // The platform functions that a question calls, and how often.
    std::map<std::string, int> CallsOfQuestion(const Question &question) {
        platform().Forget();
        question.ask(host);
        std::map<std::string, int> made;
        for (const Call &one : platform().Calls())
            if (kCannotFail.count(one.function) == 0) ++made[one.function];
        return made;
    }
    // Asks each question with every platform call spoilt in turn (those of `functions`, or all but
    // QLIBCSzListGet), in its own process so that a crash does not stop the others.
    void Sweep(const std::function<void(const std::string &, int)> &spoil,
               const std::set<std::string> &functions = {}) {
        for (const Question &question : kQuestions) {
            std::fflush(nullptr);
            auto *const at = static_cast<Place *>(mmap(
                nullptr, sizeof(Place), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
            ASSERT_NE(at, MAP_FAILED);
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                SweepOne(question, spoil, functions, at);
                std::fflush(nullptr);
                _exit(HasFailure() ? 1 : 0);
            }
            int status = -1;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0) << question.name << ": " << at->function << " " << at->nth;
            munmap(at, sizeof(Place));
        }
    }

    bool faults_count_ = true;

  private:
    // The spoilt call, for the parent's report.
    struct Place {
        char function[64];
        int nth;
    };

    void SweepOne(const Question &question,
                  const std::function<void(const std::string &, int)> &spoil,
                  const std::set<std::string> &functions, Place *at) {
        for (const auto &[function, count] : CallsOfQuestion(question)) {
            if (functions.empty() ? function == "QLIBCSzListGet" : functions.count(function) == 0)
                continue;
            std::strncpy(at->function, function.c_str(), sizeof at->function - 1);
            for (int nth = 1; nth <= count; ++nth) {
                SCOPED_TRACE(std::string(question.name) + ": " + function + " " +
                             std::to_string(nth));
                at->nth = nth;
                platform().Forget();
                spoil(function, nth);
                const int result = question.ask(host);
                EXPECT_GE(result, -1);
                EXPECT_LE(result, question.highest);
                ExpectAllClosed();
                EXPECT_EQ(platform().Outstanding(), Strings{});
                const Strings faults = platform().TakeFaults();
                if (faults_count_) {
                    EXPECT_EQ(faults, Strings{});
                }
            }
        }
    }
};
// Every call of every question in every way to fail: two temperaments suffice.
INSTANTIATE_TEST_SUITE_P(Foreign, AccountsSweep,
                         testing::Values(kTemperaments[0], kTemperaments[1]), TemperamentName);

TEST_P(AccountsSweep, QuestionsWorkAsTheyAre) {
    for (const Question &question : kQuestions) {
        SCOPED_TRACE(question.name);
        platform().Forget();
        EXPECT_EQ(question.ask(host), question.highest);
        EXPECT_GT(platform().Calls().size(), 1u);
    }
}

TEST_P(AccountsSweep, NothingIsLeftWhenACallFails) {
    const int failure = temper().success > 0 ? INT_MIN : -1;
    Sweep([&](const std::string &function, int nth) {
        platform().Fail(function, nth, failure, 0x0200);
    });
}

TEST_P(AccountsSweep, NothingBreaksWhenACallDoesNothingAndSaysNothing) {
    // That puts its lists out of step: reading past an end is then not the library's fault.
    faults_count_ = false;
    Sweep([&](const std::string &function, int nth) { platform().Fail(function, nth, 0); });
}

TEST_P(AccountsSweep, NothingBreaksWhenAListDoesNotGiveItsItem) {
    Sweep([&](const std::string &function, int nth) { platform().Fail(function, nth); },
          {"QLIBCSzListGet"});
}

TEST_P(AccountsSweep, NothingBreaksWhenABufferIsFilledToItsEnd) {
    const std::set<std::string> writers = {
        "ZAFOLDAPInfoGetFromConf", "ZAFOLDAPSecretGet",
        "ZAFOLDAPLoginSuffixGet",  "ZAFOLDAPDNFirstDomainComponent",
        "ZAFOLDAPRDNExtract",      "ZAFOLDAPRDNPairExtract",
        "QLIBSmbNtEncrypt",        "QLIBUserSmbPasswdGet",
        "QLIBCryptSzDecrypt"};
    Sweep([&](const std::string &function, int nth) { platform().Fills(function, nth); }, writers);
}

TEST_P(AccountsSweep, NothingBreaksWhenToolsEndUnusually) {
    for (const int status : {-1, 0xff00, 0x0b, 0x8b, 0x7f, INT_MAX, INT_MIN}) {
        Sweep([&](const std::string &function,
                  int nth) { platform().Returns(function, status, nth); },
              {"QLIBCPclose", "QLIBCExecv"});
    }
}

}  // namespace zafo::foreign::accounts_failure_sweep_test
