// SPDX-License-Identifier: Apache-2.0
//
// Setting up the server with tools that fail half-way: the message says how far it got, and the
// same command continues from there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/account_fixture.h"
#include "tests/tools/server_fixture.h"

namespace {

using namespace zafo::rig;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kEnable = "enable --suffix dc=example,dc=com --password-stdin";

class HalfWay : public testing::Test {
  protected:
    ~HalfWay() override {
        EXPECT_EQ(ServerLine(kEnable).exit_code, 0);
        EXPECT_EQ(ServerLine("check").exit_code, 0);
        EXPECT_EQ(ServerLine("reset --yes").exit_code, 0);
        ForgetConnections();
    }

    static void ExpectStop(const char *where, const char *detail) {
        const ProgramRun run = ServerLine(kEnable);
        EXPECT_EQ(run.exit_code, 7);
        EXPECT_THAT(run.err, AllOf(HasSubstr(where), HasSubstr(detail), HasSubstr("continues"),
                                   Not(HasSubstr(kServerPassword))));
    }
};

TEST_F(HalfWay, AnEmptyDatabaseIsReported) {
    const ReplacedTool slapadd("slapadd", "echo the disk is broken >&2; exit 1");
    ExpectStop("nothing could be loaded into the database", "the disk is broken");
}

TEST_F(HalfWay, AServerWithoutDefaultAccountsIsReported) {
    const ReplacedTool ldapmodify("ldapmodify", "echo no more room >&2; exit 80");
    ExpectStop("the server is running, but a default group", "no more room");
    EXPECT_EQ(ServerLine("status").exit_code, 0);
}

TEST_F(HalfWay, AServerThatDoesNotStartIsReported) {
    const ChangedFile service("/usr/zafo/etc/service/ldap-server.conf", "start=/tmp/no-luck\n");
    WriteFile("/tmp/no-luck", "#!/bin/sh\necho no luck today >&2\nexit 1\n", 0755);
    ExpectStop("the server is not running", "no luck today");
    EXPECT_EQ(ServerLine("status").exit_code, 3);
}

TEST_F(HalfWay, AConnectionToAnotherDirectoryIsNamedBeforeItIsReplaced) {
    ASSERT_EQ(
        Zafoldap({"connection", "add", "root", "--uri", "other.example.com", "--base", "dc=other"})
            .exit_code,
        0);
    EXPECT_THAT(
        ServerLine(kEnable).err,
        HasSubstr("replaced: the saved connection \"root\" to other.example.com (dc=other)"));
}

}  // namespace
