// SPDX-License-Identifier: Apache-2.0
//
// What is logged while the debug switch is on.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/foreign/platform/foreign.h"

namespace zafo::foreign {

class FrameCoreDebug : public ForeignTest {
  protected:
    void TearDown() override {
        EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
        ForeignTest::TearDown();
    }
    Host host_;
    ZAFOLDAP_SEARCH_REQUEST request_{};
    ZAFOLDAP_RESULT entry_{};
};
ZAFO_FOREIGN_SUITE(FrameCoreDebug);

TEST_P(FrameCoreDebug, StaysOnWhenTheMarkerGoes) {
    EXPECT_EQ(ZAFOLDAPDebugEnabled(), 1);
    ASSERT_EQ(rename("/tmp/zafoldap_debug", "/tmp/marker"), 0);
    EXPECT_EQ(ZAFOLDAPDebugEnabled(), 1);
    EXPECT_EQ(rename("/tmp/marker", "/tmp/zafoldap_debug"), 0);
}

TEST_P(FrameCoreDebug, ShowsTheCommandWithoutThePassword) {
    List attributes{"cn"};
    request_.szBase = "cn=users";
    request_.szFilter = "(uid=a b)";
    request_.plistAttr = attributes;
    ZAFOLDAP_SEARCH_REQUEST clone{};
    ASSERT_EQ(ZAFOLDAPSearchRequestClone(&clone, &request_), 0);
    request_ = clone;
    ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
    EXPECT_EQ(Log(), Strings{"search command: /usr/zafo/bin/ldapsearch -LLL -x -H "
                             "'ldap://ldap.x.example' -D 'cn=admin,dc=x,dc=example' -w '****' -b "
                             "'cn=users,dc=x,dc=example' '(uid=a b)' 'cn'"});
    EXPECT_STREQ(static_cast<ZAFOLDAP_HOST *>(host_)->szBindPasswd, "secret");
    const Strings &argv = platform().Runs().at(0).argv;
    EXPECT_EQ(argv.at(7), "secret") << "the tool itself gets it";
}

TEST_P(FrameCoreDebug, MasksAnEmptyPasswordAndNoPasswordNotAtAll) {
    host_.password = "";
    ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
    EXPECT_NE(Log().at(0).find(" -w '****' "), std::string::npos) << Log().at(0);
    EXPECT_EQ(ZAFOLDAPSearchFree(&request_, &entry_), 0);
    Host open;
    open.password.reset();
    TakeLog();
    ASSERT_EQ(ZAFOLDAPSearchInit(open, &request_, &entry_), 0);
    EXPECT_EQ(Log().at(0).find("-w"), std::string::npos) << Log().at(0);
}

TEST_P(FrameCoreDebug, CutsALongCommand) {
    const std::string filter(10000, 'f');
    request_.szFilter = filter.c_str();
    ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
    const std::string line = Log().at(0);
    const std::string front = "search command: ";
    EXPECT_EQ(line.substr(0, front.size()), front);
    EXPECT_EQ(line.size() - front.size(), 4094U);
    EXPECT_EQ(platform().Runs().at(0).argv.back(), filter);
}

TEST_P(FrameCoreDebug, ShowsTheExitCodeAndTheLinesOfTheErrorFile) {
    platform().On("ldapsearch").Exits(32);
    ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
    TakeLog();
    const std::string file = entry_.szErrFile;
    WriteFile(file, "one\n\nthree %s\n");
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request_, &entry_), -1);
    Strings lines = Log();
    for (std::string &line : lines)
        if (!line.empty() && line.back() == '\n') line.pop_back();
    EXPECT_EQ(lines, (Strings{"ldapsearch return 32", "  one", "  ", "  three %s"}));
    EXPECT_NE(access(file.c_str(), F_OK), 0);
}

TEST_P(FrameCoreDebug, ShowsTheRawStatusOfAToolThatWasKilled) {
    platform().On("ldapsearch").Dies(9);
    ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
    TakeLog();
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request_, &entry_), -1);
    EXPECT_EQ(Log(), Strings{"ldapsearch terminate abnormal 9"});
    EXPECT_EQ(LibraryError(), kStaleLibraryError);
}

TEST_P(FrameCoreDebug, ShowsNothingOfAnErrorFileWhenTheToolSucceeded) {
    ASSERT_EQ(ZAFOLDAPSearchInit(host_, &request_, &entry_), 0);
    TakeLog();
    const std::string file = entry_.szErrFile;
    WriteFile(file, "one\n");
    EXPECT_EQ(ZAFOLDAPSearchGetNext(&request_, &entry_), 0);
    EXPECT_EQ(Log(), Strings{});
    EXPECT_NE(access(file.c_str(), F_OK), 0);
}

}  // namespace zafo::foreign
