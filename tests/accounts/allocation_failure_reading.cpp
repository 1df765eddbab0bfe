// SPDX-License-Identifier: Apache-2.0
//
// The calls that look accounts up and change memberships.
#include "tests/accounts/allocation_failure_reading.h"

#include "tests/rig/build.h"

namespace zafo::core_test {
namespace {

constexpr const char *kAnn =
    "dn: uid=ann,dc=a\nuid: ann\nuidNumber: 7\ngidNumber: 8\ngecos:: QW5u\nmail: a@b\n\n";
constexpr const char *kUsers = "dn: uid=ann,dc=a\nuid: ann\n\ndn: uid=bob,dc=a\nuid:: Ym9i\n\n";
constexpr const char *kStaff =
    "dn: cn=staff,dc=a\ncn: staff\ngidNumber: 1000\nmemberUid: bob\ndescription: All\n\n";
constexpr const char *kGroups = "dn: cn=staff,dc=a\ncn: staff\n\ndn: cn=all,dc=a\ncn: all\n\n";
// Too many members for a list's first block.
const std::string kLargeGroup =
    "dn: cn=staff,dc=a\ncn: staff\ngidNumber: 1000\nmemberUid: " + std::string(3000, 'm') + "\n\n";
constexpr const char *kSubschema = "dn:\nsubschemaSubentry: cn=Subschema\n\n";
constexpr const char *kSchema = "dn: cn=Subschema\nobjectClasses: ( 1 NAME 'top' )\n\n";

std::function<void(rig::FakeTools &)> Script(std::vector<const char *> answers) {
    return [answers](rig::FakeTools &tools) {
        for (const char *ldif : answers)
            tools.On("ldapsearch").IgnoreSignals().Output(ldif);
    };
}

const ZAFOLDAP_HOST kLoginHost = [] {
    ZAFOLDAP_HOST host = kHost;
    host.szLoginSuffix = "example.com";
    return host;
}();

// A call that fills one or two lists.
template <int (*Fill)(QLIBSZLIST **, QLIBSZLIST **)>
void RunListing(Outcome &outcome) {
    QLIBSZLIST *one = nullptr, *other = nullptr;
    InOrder(
        outcome, [&] { return (one = QLIBCSzListAlloc(1)) != nullptr ? 0 : -1; },
        [&] { return (other = QLIBCSzListAlloc(1)) != nullptr ? 0 : -1; },
        [&] { return Fill(&one, &other); });
    FailingAllocator::StopFailing();
    if (outcome.result >= 0) {
        outcome.Note(one);
        outcome.Note(other);
    }
    QLIBCSzListFree(one);
    QLIBCSzListFree(other);
}

int ListUsers(QLIBSZLIST **dns, QLIBSZLIST **names) {
    return ZAFOLDAPBrowserUserEnumAll(&kLoginHost, dns, names);
}
int ListGroupsOf(QLIBSZLIST **dns, QLIBSZLIST **names) {
    return ZAFOLDAPBrowserGroupEnumByUserDN(&kLoginHost, "uid=ann,dc=a", dns, names);
}
int ListNotInGroup(QLIBSZLIST **names, QLIBSZLIST **) {
    return ZAFOLDAPBrowserUserEnumNotInGroupDN(&kLoginHost, "cn=staff,dc=a", names);
}
int ListMembers(QLIBSZLIST **names, QLIBSZLIST **) {
    return ZAFOLDAPBrowserUserEnumByGroupDN(&kLoginHost, "cn=staff,dc=a", names);
}
int AddToGroups(QLIBSZLIST **added, QLIBSZLIST **) {
    if (QLIBCSzListPush(added, "cn=staff,dc=a") != 0 || QLIBCSzListPush(added, "cn=new") != 0)
        return -1;
    return ZAFOLDAPBrowserGroupEditByUserUID(&kLoginHost, "ann", *added, nullptr);
}
int AddUsers(QLIBSZLIST **added, QLIBSZLIST **) {
    if (QLIBCSzListPush(added, " blank") != 0 || QLIBCSzListPush(added, "a,b") != 0) return -1;
    return ZAFOLDAPBrowserUserEditByGroupDN(&kLoginHost, "cn=staff,dc=a", *added, nullptr);
}

void RunUserGet(Outcome &outcome) {
    ZAFOUSER *user = nullptr;
    ZAFOLDAP_RESULT entry{};
    InOrder(
        outcome, [&] { return ZAFOLDAPResultInit(&entry); },
        [&] { return ZAFOLDAPBrowserUserGet(&kLoginHost, "uid=ann,dc=a", &user, &entry); });
    FailingAllocator::StopFailing();
    if (outcome.result == 1) {
        outcome.Note("%s %u %u %s %s ", user->szName, user->pw_uid, user->pw_gid, user->szFullname,
                     user->szMail);
        outcome.Note(entry);
    }
    ZAFOUserFree(user);
    ZAFOLDAPResultFree(&entry);
}

void RunGroupGet(Outcome &outcome) {
    ZAFOGROUP *group = nullptr;
    char description[16] = "";
    outcome.result = ZAFOLDAPBrowserGroupGet(&kLoginHost, "cn=staff,dc=a", &group, description,
                                             sizeof description);
    FailingAllocator::StopFailing();
    if (outcome.result == 1) {
        outcome.Note("%s %u %s %s", group->szName, group->nGid, group->pszMembers[0], description);
    }
    ZAFOGroupFree(group);
}

void RunDNOfUser(Outcome &outcome) {
    char dn[64] = "";
    outcome.result = ZAFOLDAPBrowserGetDNByUserUID(&kLoginHost, "ann", dn, sizeof dn);
    FailingAllocator::StopFailing();
    if (outcome.result >= 0) outcome.Note("%s", dn);
}

// A call whose only output is its result.
template <int (*Ask)()>
void RunPlain(Outcome &outcome) {
    outcome.result = Ask();
    FailingAllocator::StopFailing();
}

int CountUsers() {
    return ZAFOLDAPBrowserStatUGNum(&kLoginHost, "user");
}
int CountGroups() {
    return ZAFOLDAPBrowserStatUGNum(&kLoginHost, "group");
}
int Rename() {
    return ZAFOLDAPBrowserGroupEditWhenUserUIDChange(&kLoginHost, "ann", "anna");
}
int CheckListing() {
    return ZAFOLDAPPosixCheckEnumUser(&kLoginHost);
}
int CheckConnection() {
    return ZAFOLDAPClientCheckBindInfo(&kLoginHost);
}

// Lines that must appear when the allocations of a call fail one by one.
class LoggedAllocationFailure : public ConnectionTest {
  protected:
    void ExpectLogged(const std::function<void(rig::FakeTools &)> &script, void (*run)(Outcome &),
                      const Texts &expected) {
        std::set<std::string> logged;
        for (long nth = 1; nth < 1000; ++nth) {
            tools_.Reset();
            script(tools_);
            log_.Clear();
            Outcome outcome;
            FailingAllocator::Begin(nth, FailingAllocator::Mode::kOnce);
            run(outcome);
            FailingAllocator::End();
            for (const std::string &text : LoggedTexts())
                logged.insert(text);
            if (!FailingAllocator::HasFailed()) break;
        }
        EXPECT_THAT(logged, testing::IsSupersetOf(expected));
    }
};

TEST_F(LoggedAllocationFailure, SaysWhatFailed) {
    if (rig::IsSanitized()) GTEST_SKIP() << "the sanitizer replaces the allocator";
    ExpectLogged(Script({kUsers}), RunListing<ListUsers>,
                 {"QLIBCSzListPush failed. [uid=bob,dc=a] [0x0200]"});
    ExpectLogged(NoScript, RunPlain<CountUsers>, {"init user enum request failed[0x0200]"});
    ExpectLogged(NoScript, RunPlain<CountGroups>, {"init group enum request failed[0x0200]"});
    ExpectLogged(NoScript, RunPlain<CheckListing>, {"init user enum request failed[0x0200]"});
    ExpectLogged(Script({kAnn}), RunUserGet, {"user alloc failed"});
    ExpectLogged(Script({kLargeGroup.c_str()}), RunGroupGet,
                 {"ZAFOLDAPResultGetAll memberUid failed. [0x0200]", "out of memory",
                  "ZAFOGroupAlloc failed. [cn=staff,dc=a]. [0x0200]"});
    ExpectLogged(Script({kLargeGroup.c_str()}), RunListing<ListMembers>,
                 {"ZAFOLDAPResultGetAll memberUid failed. [0x0200]"});
    ExpectLogged(Script({kUsers, kStaff, kStaff, ""}), RunListing<ListNotInGroup>,
                 {"QLIBCSzListSub() failed!! [0x0200]"});
}

}  // namespace

const Calls &ReadingCalls() {
    static const std::vector<int> kStart = {0x0200, 0x0900};
    // A successful check has cleared the slot; an unreadable schema counts as not supported.
    static const std::vector<int> kChecked = {kStaleLdapCode, 0, -65537};
    static const Calls kCalls = {
        {"BrowserUserEnumAll", Script({kUsers}), RunListing<ListUsers>, {-1}, kStart},
        {"BrowserGetDNByUserUID", Script({kAnn}), RunDNOfUser, {-1}, kStart},
        {"BrowserUserGet", Script({kAnn}), RunUserGet, {-1}, kStart},
        {"BrowserGroupGet",
         Script({kStaff}),
         RunGroupGet,
         {-1},
         kStart,
         {kStaleLdapCode},
         {"out of memory"}},
        {"BrowserStatUGNum", Script({kUsers}), RunPlain<CountUsers>, {-1}, kStart},
        {"BrowserGroupEnumByUserDN",
         Script({kAnn, kGroups}),
         RunListing<ListGroupsOf>,
         {-1},
         kStart},
        {"BrowserUserEnumNotInGroupDN",
         Script({kUsers, kStaff, kStaff, ""}),
         RunListing<ListNotInGroup>,
         {-1},
         kStart},
        {"BrowserGroupEditByUserUID", Script({kGroups}), RunListing<AddToGroups>, {-1}, kStart},
        {"BrowserUserEditByGroupDN", NoScript, RunListing<AddUsers>, {-1}, kStart},
        {"BrowserGroupEditWhenUserUIDChange", Script({kGroups}), RunPlain<Rename>, {-1}, kStart},
        {"PosixCheckEnumUser", Script({kAnn}), RunPlain<CheckListing>, {-1}, kStart},
        {"ClientCheckBindInfo",
         Script({kAnn, kSubschema, kSchema}),
         RunPlain<CheckConnection>,
         {-1},
         kStart,
         kChecked},
    };
    return kCalls;
}

}  // namespace zafo::core_test
