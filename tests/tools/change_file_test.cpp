// SPDX-License-Identifier: Apache-2.0
//
// Changes whose change file does not fit on the disk.
#include "tools/cli/change_file.h"

#include <signal.h>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/rig/fake_tool.h"

namespace {

using zafo::cli::ChangeFile;
using zafo::cli::Failure;

// Limits files to a few bytes for its lifetime.
class HardlyAnyRoom {
  public:
    HardlyAnyRoom() : handler_(signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit little{100, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
    }
    ~HardlyAnyRoom() {
        setrlimit(RLIMIT_FSIZE, &before_);
        signal(SIGXFSZ, handler_);
    }
    HardlyAnyRoom(const HardlyAnyRoom &) = delete;
    HardlyAnyRoom &operator=(const HardlyAnyRoom &) = delete;

  private:
    sighandler_t handler_;
    rlimit before_{};
};

std::optional<Failure> TakeOut(size_t names) {
    zafo::cli::Streams streams;
    zafo::cli::Host host;
    host.Set(LDAP_HOST_ATTR_URI, "ldap.example.com");
    ChangeFile file("cn=staff,dc=example,dc=com", "modify");
    file.Values("delete", "memberUid", std::vector<std::string>(names, "somebody"));
    file.Replace("description", std::string(names, 'x'));
    return file.Apply(streams, host.Record(), {});
}

TEST(ChangeFile, ThatTheDiskCutsShortIsNotRunAndSaysWhy) {
    zafo::rig::FakeTools tools;
    for (const size_t names : {2, 2000}) {  // cut off at the flush, and before it
        std::optional<Failure> failure;
        {
            const HardlyAnyRoom full;
            failure = TakeOut(names);
        }
        ASSERT_TRUE(failure.has_value());
        EXPECT_EQ(failure->Key(), "temporary_folder");
        EXPECT_EQ(failure->message, "cannot write the change file in /tmp: File too large");
    }
    EXPECT_TRUE(tools.Calls().empty());
    EXPECT_FALSE(TakeOut(2000).has_value()) << "with room it is run";
    EXPECT_EQ(tools.Calls().size(), 1U);
}

}  // namespace
