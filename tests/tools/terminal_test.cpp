// SPDX-License-Identifier: Apache-2.0
//
// The program on a terminal: prompts, echo, colours, widths.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/fake_tool.h"
#include "tests/tools/on_terminal.h"
#include "tests/tools/program.h"

namespace {

using namespace zafo::rig;
using testing::HasSubstr;
using testing::Not;

class Terminal : public testing::Test {
  protected:
    Terminal() { ForgetConnections(); }
    static OnTerminal Add() {
        return OnTerminal({"connection", "add", "work", "--uri", "h", "--base", "dc=x", "--bind-dn",
                           "cn=r,dc=x"});
    }
};

TEST_F(Terminal, PasswordIsAskedTwiceAndNotShown) {
    OnTerminal program = Add();
    program.Answer("Password for cn=r,dc=x: ", "geheim\n");
    program.Answer("Repeat the password: ", "geheim\n");
    EXPECT_EQ(program.Finish(), 0);
    EXPECT_THAT(program.Seen(), Not(HasSubstr("geheim")));
    EXPECT_THAT(ReadFile(kConnections), HasSubstr("bindpw"));
}

TEST_F(Terminal, DifferentPasswordsSaveNothing) {
    OnTerminal program = Add();
    program.Answer("Password for cn=r,dc=x: ", "geheim\n");
    program.Answer("Repeat the password: ", "gehein\n");
    EXPECT_EQ(program.Finish(), 2);
    EXPECT_EQ(ReadFile(kConnections), "");
}

TEST_F(Terminal, CtrlCAtAQuestionExitsWith130) {
    OnTerminal program = Add();
    program.Answer("Password for cn=r,dc=x: ", "\x03");
    EXPECT_EQ(program.Finish(), 130);
    EXPECT_EQ(ReadFile(kConnections), "");
}

TEST_F(Terminal, DeleteAsksAndAcceptsNo) {
    WriteFile(kConnections, "[work]\nuri=h\nbasedn=dc=x\n");
    OnTerminal no({"connection", "delete", "work"});
    no.Answer("Delete connection \"work\" to h? [y/N] ", "\n");
    EXPECT_EQ(no.Finish(), 2);
    EXPECT_THAT(ReadFile(kConnections), HasSubstr("[work]"));
    OnTerminal yes({"connection", "delete", "work"});
    yes.Answer("[y/N] ", "y\n");
    EXPECT_EQ(yes.Finish(), 0);
    EXPECT_THAT(ReadFile(kConnections), Not(HasSubstr("[work]")));
}

TEST_F(Terminal, NoInputNeverAsks) {
    WriteFile(kConnections, "[work]\nuri=h\nbasedn=dc=x\n");
    OnTerminal program({"connection", "delete", "work", "--no-input"});
    EXPECT_EQ(program.Finish(), 2);
}

TEST_F(Terminal, TablesAreColouredAndFit) {
    WriteFile(kConnections, "[root]\nuri=h\nbasedn=dc=x\n");
    FakeTools tools;
    tools.On("ldapsearch").Output("dn: uid=a,dc=x\ncn: " + std::string(200, 'y') + "\n\n");
    OnTerminal program({"search", "uid=a", "cn"});
    EXPECT_EQ(program.Finish(), 0);
    EXPECT_THAT(program.Seen(), HasSubstr("\033[1mdn"));
    EXPECT_THAT(program.Seen(), HasSubstr("yyy…\r\n"));
    OnTerminal plain({"search", "uid=a", "cn", "--color", "never"});
    EXPECT_EQ(plain.Finish(), 0);
    EXPECT_THAT(plain.Seen(), Not(HasSubstr("\033")));
}

}  // namespace
