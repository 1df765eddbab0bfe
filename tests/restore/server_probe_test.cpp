// SPDX-License-Identifier: Apache-2.0
//
// The address at which a restore queries the server that it has started, with a scripted
// ldapsearch.
#include "tools/restore/server_probe.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/appliance_paths.h"
#include "tests/rig/fake_tool.h"

namespace zafo::test {
namespace {

using namespace zafo::backup;

class ServerProbe : public testing::Test {
  protected:
    ServerProbe() { std::filesystem::create_directories(kServiceFolder); }
    ~ServerProbe() override { std::filesystem::remove(kServiceSettings); }

    // The address queried when the service's settings have that line.
    std::vector<std::string> AskedWith(const char *line) {
        rig::FakeTools tools;
        tools.On("ldapsearch").Exit(255);
        std::ofstream(kServiceSettings) << line << "\n";
        EXPECT_EQ(AskServer("dc=example,dc=com"), Answer::kSilent);
        std::vector<std::string> urls;
        for (const rig::FakeCall &call : tools.Calls()) {
            const auto option = std::ranges::find(call.argv, "-H");
            urls.push_back(option < call.argv.end() - 1 ? option[1] : "none");
        }
        return urls;
    }
};

TEST_F(ServerProbe, AsksWhereTheServiceListensHoweverThatIsWritten) {
    for (const char *line : {"listen = ldap://127.0.0.1:1389 ldaps://127.0.0.1:1636/",
                             "listen=ldap://127.0.0.1:1389 ldaps://127.0.0.1:1636/",
                             " listen =ldap://127.0.0.1:1389\tldaps://127.0.0.1:1636/ "})
        EXPECT_THAT(AskedWith(line),
                    testing::ElementsAre("ldap://127.0.0.1:1389", "ldaps://127.0.0.1:1636/"))
            << line;
}

}  // namespace
}  // namespace zafo::test
