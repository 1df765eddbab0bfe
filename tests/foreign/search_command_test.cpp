// SPDX-License-Identifier: Apache-2.0
//
// How a search is started: the tool's arguments, and the same as a line for the log.
#include <unistd.h>

#include <cstring>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

namespace search_command_test {

// One search: the fields of connection and request, and the tool's arguments after "-LLL" "-x".
struct Case {
    const char *name;
    Host host;
    ZAFOLDAP_SEARCH_REQUEST request;
    Strings attributes;
    Strings argv;
};

Host Bare() {
    Host host;
    host.uri = "h";
    host.base.reset();
    host.bind_dn.reset();
    host.password.reset();
    return host;
}

Host With(const std::function<void(Host &)> &change) {
    Host host = Bare();
    change(host);
    return host;
}

ZAFOLDAP_SEARCH_REQUEST Request(const std::function<void(ZAFOLDAP_SEARCH_REQUEST &)> &change) {
    ZAFOLDAP_SEARCH_REQUEST request{};
    change(request);
    return request;
}

using R = ZAFOLDAP_SEARCH_REQUEST &;

std::vector<Case> Hosts() {
    const ZAFOLDAP_SEARCH_REQUEST none{};
    return {
        {"bare", Bare(), none, {}, {"-H", "ldap://h"}},
        {"port", With([](Host &h) { h.uri = "h:390"; }), none, {}, {"-H", "ldap://h:390"}},
        {"tls", With([](Host &h) { h.ssl = 1; }), none, {}, {"-H", "ldaps://h"}},
        {"start tls", With([](Host &h) { h.ssl = 2; }), none, {}, {"-H", "ldap://h", "-Z"}},
        {"other security", With([](Host &h) { h.ssl = 3; }), none, {}, {"-H", "ldap://h"}},
        {"password alone", With([](Host &h) { h.password = "p"; }), none, {}, {"-H", "ldap://h"}},
        {"bind DN alone",
         With([](Host &h) { h.bind_dn = "cn=a b"; }),
         none,
         {},
         {"-H", "ldap://h", "-D", "cn=a b"}},
        {"bind",
         With([](Host &h) {
             h.bind_dn = "cn=a";
             h.password = "p'w";
         }),
         none,
         {},
         {"-H", "ldap://h", "-D", "cn=a", "-w", "p'w"}},
        {"empty password",
         With([](Host &h) {
             h.bind_dn = "cn=a";
             h.password = "";
         }),
         none,
         {},
         {"-H", "ldap://h", "-D", "cn=a", "-w", ""}},
        {"base",
         With([](Host &h) { h.base = "dc=x"; }),
         none,
         {},
         {"-H", "ldap://h", "-b", "dc=x"}},
    };
}

std::vector<Case> Requests() {
    const Host based = With([](Host &h) { h.base = "dc=x"; });
    return {
        {"joined base", based, Request([](R r) { r.szBase = "cn=u"; }), {}, {"-b", "cn=u,dc=x"}},
        {"own base", Bare(), Request([](R r) { r.szBase = "cn=u"; }), {}, {"-b", "cn=u"}},
        {"base as it is",
         based,
         Request([](R r) {
             r.szBase = "cn=u";
             r.blBaseAsIs = 1;
         }),
         {},
         {"-b", "cn=u"}},
        {"no base as it is", based, Request([](R r) { r.blBaseAsIs = 1; }), {}, {}},
        {"size limit", Bare(), Request([](R r) { r.nSizeLimit = 25; }), {}, {"-z", "25"}},
        {"negative size limit", Bare(), Request([](R r) { r.nSizeLimit = -1; }), {}, {"-z", "-1"}},
        {"scope", Bare(), Request([](R r) { r.szScope = "sub"; }), {}, {"-s", "sub"}},
        {"extra", Bare(), Request([](R r) { r.szExtra = "e"; }), {}, {"e"}},
        {"filter", Bare(), Request([](R r) { r.szFilter = "(cn=*)"; }), {}, {"(cn=*)"}},
        {"attributes", Bare(), Request([](R) {}), {"cn", "+"}, {"cn", "+"}},
        {"all",
         based,
         Request([](R r) {
             r.szBase = "cn=u";
             r.szFilter = "f";
             r.szExtra = "e";
             r.szScope = "baseObject";
             r.nSizeLimit = 3;
             r.nOffset = 4;
             r.nCount = 5;
         }),
         {"a", "b"},
         {"-b", "cn=u,dc=x", "-z", "3", "-s", "baseObject", "e", "f", "a", "b"}},
    };
}

}  // namespace search_command_test

using search_command_test::Bare;
using search_command_test::Case;

class SearchCommand : public ForeignTest {
  protected:
    void Check(std::vector<Case> cases, const Strings &before) {
        for (Case &one : cases) {
            List attributes;
            for (const std::string &attribute : one.attributes)
                QLIBCSzListPush(&attributes, attribute.c_str());
            if (!one.attributes.empty()) one.request.plistAttr = attributes;
            platform().Forget();
            ZAFOLDAP_RESULT result{};
            ASSERT_EQ(ZAFOLDAPSearchInit(one.host, &one.request, &result), 0) << one.name;
            Strings argv{"-LLL", "-x"};
            argv.insert(argv.end(), before.begin(), before.end());
            argv.insert(argv.end(), one.argv.begin(), one.argv.end());
            ASSERT_EQ(platform().Runs().size(), 1U) << one.name;
            EXPECT_EQ(platform().Runs().at(0).argv, argv) << one.name;
            EXPECT_EQ(platform().Runs().at(0).path, "/usr/zafo/bin/ldapsearch");
            EXPECT_EQ(platform().Runs().at(0).how, "QLIBCPopenv r");
            EXPECT_EQ(ZAFOLDAPResultFree(&result), 0);
        }
    }
    std::string Command(Host host, const ZAFOLDAP_SEARCH_REQUEST &request, size_t size = 4096) {
        std::vector<char> line(size + 1, '#');
        EXPECT_EQ(ZAFOLDAPSearchBuildRequestCmd(host, &request, line.data(), size), 0);
        EXPECT_EQ(line[size], '#') << "written beyond the end";
        return line.data();
    }
};
ZAFO_FOREIGN_SUITE(SearchCommand);

TEST_P(SearchCommand, TellsTheToolWhereAndAsWhomToAsk) {
    Check(search_command_test::Hosts(), {});
}

TEST_P(SearchCommand, TellsTheToolWhatToAsk) {
    Check(search_command_test::Requests(), {"-H", "ldap://h"});
}

TEST_P(SearchCommand, TakesManyAttributes) {
    List attributes;
    Strings argv{"-LLL", "-x", "-H", "ldap://h"};
    for (int i = 0; i < 300; ++i) {
        argv.push_back("attribute" + std::to_string(i));
        QLIBCSzListPush(&attributes, argv.back().c_str());
    }
    ZAFOLDAP_SEARCH_REQUEST request{};
    request.plistAttr = attributes;
    Host host = Bare();
    ZAFOLDAP_RESULT result{};
    ASSERT_EQ(ZAFOLDAPSearchInit(host, &request, &result), 0);
    EXPECT_EQ(platform().Runs().at(0).argv, argv);
    EXPECT_EQ(ZAFOLDAPResultFree(&result), 0);
}

TEST_P(SearchCommand, OpensAnEmptyResultThatHoldsTheStream) {
    Host host = Bare();
    const ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result;
    std::memset(&result, 0x5A, sizeof result);
    ASSERT_EQ(ZAFOLDAPSearchInit(host, &request, &result), 0);
    EXPECT_NE(result.pFile, nullptr);
    EXPECT_EQ(result.nEntry, 0);
    EXPECT_EQ(result.nExitCode, 0);
    EXPECT_EQ(ZAFOLDAPResultGetAttrCount(&result), 0);
    ExpectSlotsUntouched();
    EXPECT_EQ(Log(), Strings{});
    EXPECT_EQ(ZAFOLDAPResultFree(&result), 0);
}

TEST_P(SearchCommand, NumbersTheErrorFilesOfAProcess) {
    const std::string prefix = "/tmp/ldapsearch.err." + std::to_string(getpid()) + ".";
    Host host = Bare();
    const ZAFOLDAP_SEARCH_REQUEST request{};
    long last = -1;
    for (int i = 0; i < 3; ++i) {
        ZAFOLDAP_RESULT result{};
        ASSERT_EQ(ZAFOLDAPSearchInit(host, &request, &result), 0);
        const std::string name = result.szErrFile;
        ASSERT_EQ(name.substr(0, prefix.size()), prefix);
        const long number = std::stol(name.substr(prefix.size()));
        if (last >= 0) {
            EXPECT_EQ(number, last + 1);
        }
        last = number;
        EXPECT_EQ(ZAFOLDAPResultFree(&result), 0);
    }
}

TEST_P(SearchCommand, ChecksConnectionAndRequest) {
    Host host = Bare();
    Host nowhere = Bare();
    nowhere.uri.reset();
    ZAFOLDAP_SEARCH_REQUEST request{};
    ZAFOLDAP_RESULT result{};
    ExpectArgumentFailure("((void *)0) != pHost",
                          [&] { return ZAFOLDAPSearchInit(nullptr, nullptr, &result); });
    ExpectArgumentFailure("NULL != pHost->szUri",
                          [&] { return ZAFOLDAPSearchInit(nowhere, nullptr, &result); });
    ExpectArgumentFailure("((void *)0) != pRequest",
                          [&] { return ZAFOLDAPSearchInit(host, nullptr, &result); });
    ExpectArgumentFailure("((void *)0) != pResult",
                          [&] { return ZAFOLDAPSearchInit(host, &request, nullptr); });
    EXPECT_EQ(ZAFOLDAPSearchFree(&request, &result), 0);
}

TEST_P(SearchCommand, ReportsThatTheToolCannotBeStarted) {
    for (const int slot : {0, 0x0200, 0x0900}) {
        Stale();
        platform().On("ldapsearch").CannotStart(slot);
        Host host = Bare();
        ZAFOLDAP_SEARCH_REQUEST request{};
        ZAFOLDAP_RESULT result{};
        EXPECT_EQ(ZAFOLDAPSearchInit(host, &request, &result), -1);
        EXPECT_EQ(PlatformError(), 0x0900);
        EXPECT_EQ(LibraryError(), kStaleLibraryError);
        EXPECT_EQ(result.pFile, nullptr);
        EXPECT_EQ(ZAFOLDAPSearchFree(&request, &result), 0);
    }
}

TEST_P(SearchCommand, StartsNothingWithoutAListForTheEntry) {
    for (const int nth : {1, 2}) {
        platform().Fail("QLIBCSzListAlloc", nth, -1, 0x0200);
        Host host = Bare();
        ZAFOLDAP_SEARCH_REQUEST request{};
        ZAFOLDAP_RESULT result{};
        EXPECT_EQ(ZAFOLDAPSearchInit(host, &request, &result), -1);
        EXPECT_EQ(ZAFOLDAPSearchFree(&request, &result), 0);
    }
    EXPECT_TRUE(platform().Runs().empty());
}

TEST_P(SearchCommand, IsOneLineWithQuotesAroundAllButOptions) {
    List attributes{"cn", "-x"};
    Host host;
    host.uri = "h:390";
    host.ssl = 2;
    ZAFOLDAP_SEARCH_REQUEST request{};
    request.szBase = "cn=it's";
    request.szFilter = "(a=b c)";
    request.szScope = "sub";
    request.nSizeLimit = 3;
    request.plistAttr = attributes;
    EXPECT_EQ(Command(host, request),
              "/usr/zafo/bin/ldapsearch -LLL -x -H 'ldap://h:390' -Z -D "
              "'cn=admin,dc=x,dc=example' -w 'secret' -b 'cn=it's,dc=x,dc=example' -z '3' -s 'sub' "
              "'(a=b c)' 'cn' -x");
    EXPECT_TRUE(platform().Runs().empty());
    EXPECT_EQ(Log(), Strings{});
}

TEST_P(SearchCommand, IsALineWithoutAServerToo) {
    Host host = Bare();
    host.uri.reset();
    EXPECT_EQ(Command(host, {}), "/usr/zafo/bin/ldapsearch -LLL -x");
}

TEST_P(SearchCommand, IsCutToItsBuffer) {
    const std::string whole = "/usr/zafo/bin/ldapsearch -LLL -x -H 'ldap://h' 'filter'";
    ZAFOLDAP_SEARCH_REQUEST request{};
    request.szFilter = "filter";
    for (size_t size = 1; size <= whole.size() + 2; ++size)
        EXPECT_EQ(Command(Bare(), request, size), whole.substr(0, size - 1)) << size;
}

TEST_P(SearchCommand, ChecksRequestAndBufferOfTheLine) {
    Host host = Bare();
    ZAFOLDAP_SEARCH_REQUEST request{};
    char line[8];
    ExpectArgumentFailure("((void *)0) != pRequest",
                          [&] { return ZAFOLDAPSearchBuildRequestCmd(host, nullptr, nullptr, 0); });
    ExpectArgumentFailure("((void *)0) != szCmd", [&] {
        return ZAFOLDAPSearchBuildRequestCmd(host, &request, nullptr, 0);
    });
    ExpectArgumentFailure("0 < cbCmd",
                          [&] { return ZAFOLDAPSearchBuildRequestCmd(host, &request, line, 0); });
    Stale();
    EXPECT_EQ(ZAFOLDAPSearchBuildRequestCmd(nullptr, &request, line, sizeof line), -1);
    EXPECT_EQ(PlatformError(), 0x0D00);
}

}  // namespace zafo::foreign
