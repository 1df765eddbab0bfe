// SPDX-License-Identifier: Apache-2.0
//
// The paths of shared folders, from a file as smb.conf(5) describes it.
#include "platform/share.h"

#include <sys/stat.h>

#include <array>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/owners.h"

namespace zafo::share_test {
namespace {

using zafo::test::WriteFile;

constexpr char kSettings[] = "/usr/zafo/etc/smb.conf";

class Share : public testing::Test {
  protected:
    void SetUp() override { QLIBCErrSet(0); }
    ~Share() override { std::filesystem::remove_all(kSettings); }

    // The path of a share, or the error as "0x2200".
    static std::string PathOf(const char *share) {
        std::array<char, 558> path{};
        if (ZAFOSharePathGet(share, path.data(), path.size()) == 0) return path.data();
        char error[8];
        snprintf(error, sizeof error, "0x%04X", static_cast<unsigned>(QLIBCErrGet()));
        return error;
    }
};

TEST_F(Share, HasThePathOfItsSection) {
    WriteFile(kSettings, "[global]\nworkgroup = ZAFO\n[a]\npath=/srv/a\n[b]\npath=/srv/b\n");
    EXPECT_EQ(PathOf("a"), "/srv/a");
    EXPECT_EQ(PathOf("b"), "/srv/b");
    EXPECT_EQ(PathOf("c"), "0x2200");
}

struct Row {
    const char *what;
    const char *text;
    const char *share;
    const char *path;
};

TEST_F(Share, IsReadAsTheManualPageOfTheFileSays) {
    const Row rows[] = {
        {"names without case", "[BackUp]\nPATH = /srv/a\n", "bACKuP", "/srv/a"},
        {"blanks in the parameter's name", "[a]\n pa th = /srv/a\n", "a", "/srv/a"},
        {"blanks in the share's name", "[my b]\npath=/no\n[ my  b ]\npath=/srv/a\n", "My  B",
         "/srv/a"},
        {"blanks around a value, not in it", "[a]\npath =  /srv/a b \t\n", "a", "/srv/a b"},
        {"comments", "[a]\n# path=/no\n ; path=/no\npath=/srv/#a;b\n#path=/no\\\n;\n", "a",
         "/srv/#a;b"},
        {"a comment is not continued", "[a]\n# off \\\npath=/srv/a\n", "a", "/srv/a"},
        {"a continued value", "[a]\npath = /srv\\\n/a\n", "a", "/srv/a"},
        {"a continued name", "[a]\npa\\\nth = /srv/a\n", "a", "/srv/a"},
        {"a backslash at the end of the file", "[a]\npath = /srv/a\\", "a", "/srv/a"},
        {"its synonym", "[a]\ndirectory = /srv/a\n", "a", "/srv/a"},
        {"the last value counts", "[a]\ndirectory=/no\npath=/srv/a\n", "a", "/srv/a"},
        {"a section in two parts", "[a]\npath=/no\n[b]\npath=/b\n[A]\npath=/srv/a\n", "a",
         "/srv/a"},
        {"line ends of another system", "[a]\r\npath = /srv/a\r\n", "a", "/srv/a"},
        {"text outside sections", "path=/no\n[a]\npath=/srv/a\n", "a", "/srv/a"},
        {"a line that says nothing", "[a]\nnothing\npath=/srv/a\n", "a", "/srv/a"},
        {"umlauts", "[Bücher]\npath=/srv/Bücher\n", "Bücher", "/srv/Bücher"},
        {"no path", "[a]\ncomment = x\n", "a", "0x2200"},
        {"an empty path", "[a]\npath =\n", "a", "0x2200"},
        {"a relative path", "[a]\npath = srv/a\n", "a", "0x2200"},
        {"a path of one's own for each user", "[a]\npath = /srv/%U\n", "a", "0x2200"},
        {"a heading without its end", "[b]\npath=/b\n[a\npath=/srv/a\n", "a", "0x2200"},
        {"not a heading without its end", "[b]\npath=/b\n[a\npath=/srv/a\n", "b", "/b"},
        {"the defaults", "[global]\npath = /srv/a\n", "Global", "0x2200"},
        {"home folders", "[homes]\npath = /srv/a\n", "homes", "0x2200"},
        {"printers", "[printers]\npath = /srv/a\n", "printers", "0x2200"},
        {"blanks for a name", "[]\npath = /srv/a\n", " ", "0x2200"},
        {"an empty file", "", "a", "0x2200"},
    };
    for (const Row &row : rows) {
        WriteFile(kSettings, row.text);
        EXPECT_EQ(PathOf(row.share), row.path) << row.what;
    }
}

TEST_F(Share, DoesNotExistWithoutTheFile) {
    EXPECT_EQ(PathOf("a"), "0x2200");
}

TEST_F(Share, IsOnlyLookedUpInARegularFile) {
    ASSERT_EQ(mkdir(kSettings, 0700), 0);
    EXPECT_EQ(PathOf("a"), "0x0900");
}

TEST_F(Share, LeavesABufferThatIsTooSmallAlone) {
    WriteFile(kSettings, "[a]\npath=/srv/a\n");
    std::array<char, 8> path = {"sevench"};
    EXPECT_EQ(ZAFOSharePathGet("a", path.data(), 6), -1);
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BUFFER_TOO_SMALL);
    EXPECT_STREQ(path.data(), "sevench");
    EXPECT_EQ(ZAFOSharePathGet("a", path.data(), 7), 0);
    EXPECT_STREQ(path.data(), "/srv/a");
}

TEST_F(Share, RefusesBadArguments) {
    char path[8];
    const int results[] = {ZAFOSharePathGet(nullptr, path, sizeof path),
                           ZAFOSharePathGet("", path, sizeof path),
                           ZAFOSharePathGet("a", nullptr, 8), ZAFOSharePathGet("a", path, 0)};
    EXPECT_THAT(results, testing::Each(-1));
    EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
}

}  // namespace
}  // namespace zafo::share_test
