// SPDX-License-Identifier: Apache-2.0
#include "base/listen_urls.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zafo::listen_urls_test {
namespace {

using testing::ElementsAre;

class ListenUrlsOf : public testing::Test {
  protected:
    ListenUrlsOf() { mkdtemp(folder_.data()); }
    ~ListenUrlsOf() override { std::filesystem::remove_all(folder_); }

    // The URLs from files with these texts; nullopt: the file does not exist.
    std::vector<std::string> Read(std::optional<std::string> own,
                                  std::optional<std::string> defaults) const {
        const std::string paths[] = {Write("own", own), Write("defaults", defaults)};
        return ListenUrls({paths[0].c_str(), paths[1].c_str()});
    }

  private:
    std::string Write(const char *name, const std::optional<std::string> &text) const {
        const std::string path = folder_ + "/" + name;
        std::filesystem::remove(path);
        if (text) std::ofstream(path) << *text;
        return path;
    }

    std::string folder_ = "/tmp/listen_urls.XXXXXX";
};

TEST_F(ListenUrlsOf, AnyWayOfWritingTheLine) {
    for (const char *text :
         {"listen = ldap://a ldaps://b", "listen=ldap://a ldaps://b\n",
          "\tlisten\t=\tldap://a\tldaps://b\r\n", "# listen = x\nlisten= ldap://a   ldaps://b \n",
          "listen = x\nlisten = ldap://a ldaps://b\nlisten_more = y\n[other]\n"})
        EXPECT_THAT(Read(text, "listen = z\n"), ElementsAre("ldap://a", "ldaps://b")) << text;
}

TEST_F(ListenUrlsOf, TheDefaultsWhereTheOwnSettingsHaveNone) {
    for (const auto &own : {std::optional<std::string>(), std::optional<std::string>(""),
                            std::optional<std::string>("listen =\n"),
                            std::optional<std::string>("#listen = x\nrestart = no\n")})
        EXPECT_THAT(Read(own, "listen = ldap://z\n"), ElementsAre("ldap://z")) << own.value_or("-");
}

TEST_F(ListenUrlsOf, AllAddressesWhereNoFileSaysAny) {
    EXPECT_THAT(Read({}, {}), ElementsAre("ldap:///", "ldaps:///"));
    EXPECT_THAT(Read("a = b\n", "listen = \n"), ElementsAre("ldap:///", "ldaps:///"));
}

}  // namespace
}  // namespace zafo::listen_urls_test
