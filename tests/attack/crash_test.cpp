// SPDX-License-Identifier: Apache-2.0
//
// Someone who may only log in crashes the server. That cannot be prevented; the server must be back
// promptly with every change that it has acknowledged.
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/service.h"
#include "tests/attack/stranger.h"
#include "tests/integration/server_fixture.h"

namespace zafo::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using testing::HasSubstr;

// Too short to be called an outage; an idle machine needs half a second.
constexpr auto kSoon = 10s;

class Crash : public NewMachineTest {
  protected:
    void SetUp() override {
        NewMachineTest::SetUp();
        if (IsSkipped()) return;
        std::filesystem::remove("/run/zafo-service/ldap-server.ends");
        server_.emplace();
        server_->AddUser("eve", kPassword);
    }

    // Whether the server answers within that time.
    bool Answers(std::chrono::milliseconds limit) const {
        for (const auto end = Clock::now() + limit; Clock::now() < end;) {
            if (server_->Client({}, "ldapsearch", {"-b", server_->Settings().suffix, "-s", "base"})
                    .exit_code == 0)
                return true;
            std::this_thread::sleep_for(20ms);
        }
        return false;
    }
    bool IsBackAfter(pid_t before) const {
        for (const auto end = Clock::now() + kSoon; Clock::now() < end;) {
            if (ServerPid() > 1 && ServerPid() != before) return Answers(kSoon);
            std::this_thread::sleep_for(10ms);
        }
        return false;
    }
    static bool HasEnded(pid_t pid) { return kill(pid, 0) != 0; }

    static constexpr const char *kPassword = "an ordinary password";
    std::optional<OwnServer> server_;
};

TEST_F(Crash, LosesNoChangeThatTheServerHasAnswered) {
    std::atomic<bool> enough{false};
    std::atomic<size_t> count{0};
    std::vector<std::string> answered;
    std::thread writer([&] {
        for (int i = 0; !enough; ++i) {
            const std::string dn = "cn=box" + std::to_string(i) + "," + server_->Settings().suffix;
            const rig::ProgramRun run = server_->Client(
                server_->Admin(), "ldapadd", {},
                "dn: " + dn + "\nobjectClass: device\ncn: box" + std::to_string(i) + "\n");
            if (run.exit_code != 0) continue;
            answered.push_back(dn);
            ++count;
        }
    });
    const auto more_are_answered = [&count] {
        const size_t before = count;
        for (const auto end = Clock::now() + kSoon; Clock::now() < end && count < before + 3;)
            std::this_thread::sleep_for(1ms);
        return count >= before + 3;
    };
    bool is_back = true;
    for (int i = 0; i < 3 && is_back; ++i) {
        EXPECT_TRUE(more_are_answered());
        const pid_t pid = ServerPid();
        is_back = pid > 1 && kill(pid, SIGSEGV) == 0 && IsBackAfter(pid);
        EXPECT_TRUE(is_back) << "crash " << i + 1;
    }
    EXPECT_TRUE(more_are_answered());
    enough = true;
    writer.join();
    EXPECT_THAT(ContentDNs(), testing::IsSupersetOf(answered));
}

// RFC 5805 transactions, whose changes an ordinary user is not even allowed to make. Some of them
// crash the server.
class Transactions : public Crash {
  protected:
    // One attacker's next attempts.
    void Attack(int attempts) const {
        const std::string ldif = "dn: cn=x," + server_->Settings().suffix +
                                 "\nchangetype: add\nobjectClass: device\ncn: x\n\ndn: cn=y," +
                                 server_->Settings().suffix +
                                 "\nchangetype: add\nobjectClass: device\ncn: y\n\n";
        for (int i = 0; i < attempts; ++i) {
            server_->Client({server_->UserDN("eve"), kPassword}, "ldapmodify",
                            {"-E", "!txn=commit"}, ldif);
        }
    }
    // Whether some number of attempts has ended the server.
    bool Ends(pid_t pid) const {
        for (int round = 0; round < 60 && !HasEnded(pid); ++round) {
            std::vector<std::thread> attackers;
            for (int i = 0; i < 4; ++i)
                attackers.emplace_back([this] { Attack(3); });
            for (std::thread &attacker : attackers)
                attacker.join();
        }
        return HasEnded(pid);
    }
};

TEST_F(Transactions, OfAnOrdinaryUserEndTheServerForAMomentOnly) {
    const pid_t pid = ServerPid();
    ASSERT_GT(pid, 1);
    if (!Ends(pid)) GTEST_SKIP() << "this slapd does not crash in 720 transactions";
    EXPECT_TRUE(IsBackAfter(pid));
    EXPECT_THAT(FileContent("/run/zafo-service/ldap-server.ends"), HasSubstr("signal="));
    EXPECT_THAT(rig::RunProgram({"/usr/zafo/bin/zafoldapserver", "check"}).out,
                HasSubstr("the server ended by itself"));
}

}  // namespace
}  // namespace zafo::test
