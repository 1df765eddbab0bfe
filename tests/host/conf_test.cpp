// SPDX-License-Identifier: Apache-2.0
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/ldap.h"
#include "tests/host/owners.h"

namespace {

using testing::UnorderedElementsAre;
using zafo::test::Folder;
using zafo::test::NewMap;
using zafo::test::ReadFile;
using zafo::test::WriteFile;

// Whether only the directory server may read the file, through its group; if that group does not
// exist or cannot be assigned, only the owner.
testing::AssertionResult IsForTheServer(const std::string &path) {
    struct stat facts {};
    if (stat(path.c_str(), &facts) != 0) return testing::AssertionFailure() << "no " << path;
    const group *server = getgrnam("openldap");
    Folder folder;
    WriteFile(folder / "probe", "");
    const bool can_give = server != nullptr && chown((folder / "probe").c_str(),
                                                     static_cast<uid_t>(-1), server->gr_gid) == 0;
    const mode_t expected = can_give ? 0640 : 0600;
    if ((facts.st_mode & 07777) != expected || (can_give && facts.st_gid != server->gr_gid)) {
        return testing::AssertionFailure()
               << "mode " << std::oct << facts.st_mode << ", group " << std::dec << facts.st_gid;
    }
    return testing::AssertionSuccess();
}

class Conf : public testing::Test {
  protected:
    // The value of a directive, "(absent)" or "(failed)".
    std::string Get(const char *key) const {
        char buffer[64];
        const int result = ZAFOLDAPInfoGetFromConf(path_.c_str(), key, buffer, sizeof buffer);
        return result == 1 ? buffer : result == 0 ? "(absent)" : "(failed)";
    }
    int SetOne(const char *key, const std::string &value) const {
        return ZAFOLDAPConfSetOne(path_.c_str(), template_.c_str(), key, value.c_str(), 0);
    }

    Folder folder_;
    std::string path_ = folder_ / "slapd.conf";
    std::string template_ = folder_ / "slapd.conf.template";
};

TEST_F(Conf, GivesTheFirstDirectiveOfAName) {
    WriteFile(path_,
              "# uri comment\n#base dc=no\nuri ldap://a/ ldap://b/\n\nBASE\t dc=example,dc=com \r\n"
              "base dc=second\nrootdn \"cn=Directory Manager,dc=a\"\nsuffix \"dc=a\"\nlonely\n"
              "pw \"a\\\"b\\\\c\\,\"\nindex \"a\" \"b\"\nopen \"x\nlast=x");
    EXPECT_EQ(Get("uri"), "ldap://a/ ldap://b/");
    EXPECT_EQ(Get("base"), "dc=example,dc=com");
    EXPECT_EQ(Get("RootDN"), "cn=Directory Manager,dc=a");
    EXPECT_EQ(Get("suffix"), "dc=a");
    EXPECT_EQ(Get("lonely"), "");
    EXPECT_EQ(Get("pw"), "a\"b\\c\\,");
    EXPECT_EQ(Get("index"), "\"a\" \"b\"");
    EXPECT_EQ(Get("open"), "\"x");
    EXPECT_EQ(Get("bindpw"), "(absent)");
    EXPECT_EQ(Get("dc=example,dc=com"), "(absent)");
}

TEST_F(Conf, ALineThatBeginsWithBlanksContinuesTheOneBefore) {
    WriteFile(
        path_,
        "suffix\n  \"dc=a\"\n# comment\n rootdn hidden\naccess to *\n\tby * read\n\n uri x\n");
    EXPECT_EQ(Get("suffix"), "dc=a");
    EXPECT_EQ(Get("rootdn"), "(absent)");
    EXPECT_EQ(Get("access"), "to * by * read");
    EXPECT_EQ(Get("uri"), "x");
}

TEST_F(Conf, AnAbsentKeyLeavesTheBufferAlone) {
    WriteFile(path_, "uri x\n");
    char buffer[16] = "untouched";
    EXPECT_EQ(ZAFOLDAPInfoGetFromConf(path_.c_str(), "base", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "untouched");
}

TEST_F(Conf, ReportsWhyItFailed) {
    char buffer[4];
    const auto get = [&](const char *path, const char *key) {
        QLIBCErrSet(0);
        const int result = ZAFOLDAPInfoGetFromConf(path, key, buffer, sizeof buffer);
        return result == -1 ? QLIBCErrGet() : 0;
    };
    EXPECT_EQ(get(path_.c_str(), "uri"), 0x0900);
    EXPECT_EQ(get(folder_.Path().c_str(), "uri"), 0x0A00);
    WriteFile(path_, "uri long\n");
    EXPECT_EQ(get(path_.c_str(), "uri"), 0x0E00);
    EXPECT_EQ(get(nullptr, "uri"), 0x0D00);
    EXPECT_EQ(get(path_.c_str(), nullptr), 0x0D00);
    EXPECT_EQ(get(path_.c_str(), ""), 0x0D00);
    EXPECT_EQ(ZAFOLDAPInfoGetFromConf(path_.c_str(), "uri", nullptr, 0), -1);
}

// A placeholder in a template, and its replacement for a server.
struct TemplateWord {
    const char *suffix;
    const char *admin;
    const char *line;
    const char *written;
};

class ConfTemplate : public Conf, public testing::WithParamInterface<TemplateWord> {};

TEST_P(ConfTemplate, WordsStandForTheServersNames) {
    const TemplateWord &row = GetParam();
    WriteFile(template_, std::string("suffix x\nrootdn y\n") + row.line + "\n");
    const auto map = NewMap({{"suffix", row.suffix}, {"rootdn", row.admin}});
    ASSERT_EQ(ZAFOLDAPConfSet(path_.c_str(), template_.c_str(), map.get(), 0), 0);
    const std::string text = ReadFile(path_);
    EXPECT_EQ(text.substr(text.find('\n', text.find("rootdn")) + 1),
              std::string(row.written) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Conf, ConfTemplate,
    testing::Values(TemplateWord{"dc=a,dc=b", "cn=x,dc=a,dc=b", "to \"${suffix}\" by \"${rootdn}\"",
                                 "to \"dc=a,dc=b\" by \"cn=x,dc=a,dc=b\""},
                    TemplateWord{"dc=a", "cn=x,dc=a", "# ${rootdn_parent}", "# dc=a"},
                    TemplateWord{"dc=a", "cn=x\\,y,dc=a", "\"${rootdn_parent}\"", "\"dc=a\""},
                    TemplateWord{"dc=a", "cn=\"x,y\",dc=a", "\"${rootdn_parent}\"", "\"dc=a\""},
                    TemplateWord{"dc=a", "cn=x", "\"${rootdn_parent}\"", "\"\""},
                    TemplateWord{"o=a\\\"b", "cn=x", "\"${suffix}\"", "\"o=a\\\\\\\"b\""},
                    TemplateWord{"o=a (b)*\\2C?%", "cn=x", "ldap:///${suffix_in_url}?sub",
                                 "ldap:///o=a%20%28b%29%2A%5C2C%3F%25?sub"},
                    TemplateWord{"dc=${rootdn}", "cn=x", "${suffix}${suffix",
                                 "dc=${rootdn}${suffix"},
                    TemplateWord{"dc=a", "cn=x", "$ ${other} $6$ ${", "$ ${other} $6$ ${"}));

TEST_F(Conf, LinesOfTheTemplateFollowAChangedSuffix) {
    WriteFile(template_, "suffix x\nto \"${suffix}\"\nby \"${rootdn}\"\nrootdn y\n");
    const auto map = NewMap({{"suffix", "dc=a"}, {"rootdn", "cn=x,dc=a"}});
    ASSERT_EQ(ZAFOLDAPConfSet(path_.c_str(), template_.c_str(), map.get(), 0), 0);
    WriteFile(path_, ReadFile(path_) + "to \"dc=a\" by hand\n");
    ASSERT_EQ(SetOne("suffix", "dc=b"), 0);
    EXPECT_EQ(
        ReadFile(path_),
        "suffix dc=b\nto \"dc=b\"\nby \"cn=x,dc=a\"\nrootdn cn=x,dc=a\nto \"dc=a\" by hand\n");
}

TEST_F(Conf, IsRewrittenFromTheTemplate) {
    WriteFile(template_,
              "# server\ninclude /a\n\nsuffix \"dc=x\"\nrootdn\n  cn=x\nRootPW secret\n# end\n");
    WriteFile(path_, "old text\n");
    chmod(path_.c_str(), 0644);
    const auto map = NewMap({{"suffix", "dc=example,dc=com"},
                             {"rootdn", "cn=Directory Manager,dc=com"},
                             {"rootpw", "a\"b\\c"},
                             {"extra", ""}});
    EXPECT_EQ(ZAFOLDAPConfSet(path_.c_str(), template_.c_str(), map.get(), 0), 0);
    EXPECT_EQ(
        ReadFile(path_),
        "# server\ninclude /a\n\nsuffix dc=example,dc=com\n"
        "rootdn \"cn=Directory Manager,dc=com\"\nRootPW \"a\\\"b\\\\c\"\n# end\nextra \"\"\n");
    EXPECT_EQ(Get("rootpw"), "a\"b\\c");
}

TEST_F(Conf, IsReadableByTheDirectoryServerOnly) {
    WriteFile(template_, "suffix dc=x\n");
    EXPECT_EQ(SetOne("rootpw", "new"), 0);
    EXPECT_TRUE(IsForTheServer(path_));
    chmod(path_.c_str(), 0644);
    EXPECT_EQ(SetOne("rootpw", "changed"), 0);
    EXPECT_TRUE(IsForTheServer(path_));
    const auto map = NewMap();
    EXPECT_EQ(ZAFOLDAPConfSet(path_.c_str(), template_.c_str(), map.get(), 0), 0);
    EXPECT_TRUE(IsForTheServer(path_));
}

TEST_F(Conf, AValueOfSeveralWordsIsWrittenAsOne) {
    WriteFile(template_, "limits users size=10\n");
    EXPECT_EQ(SetOne("limits", "users size=unlimited"), 0);
    EXPECT_EQ(ReadFile(path_), "limits \"users size=unlimited\"\n");
}

TEST_F(Conf, OneKeyIsChangedInTheFileItself) {
    WriteFile(template_, "suffix dc=x\n");
    EXPECT_EQ(SetOne("rootpw", "one"), 0);
    EXPECT_EQ(SetOne("suffix", "dc=y"), 0);
    EXPECT_EQ(ReadFile(path_), "suffix dc=y\nrootpw one\n");
    EXPECT_EQ(ReadFile(template_), "suffix dc=x\n");
}

TEST_F(Conf, RoundTripsValues) {
    WriteFile(template_, "");
    for (const std::string value : {"", " ", "a b", "\"", "\\", "\\\"", "\"a\" \"b\"", "#x", " x ",
                                    "{SSHA}abc/+=", "Zo\xC3\xAB", "a\\, b", "\tx", "100%n"}) {
        ASSERT_EQ(SetOne("key", value), 0);
        EXPECT_EQ(Get("key"), value);
    }
}

TEST_F(Conf, RefusesWhatWouldBecomeAnotherDirective) {
    WriteFile(template_, "suffix dc=x\n");
    for (const auto &[key, value] : {std::pair{"rootpw", "a\nrootdn cn=evil"},
                                     {"rootpw", "a\rb"},
                                     {"", "x"},
                                     {"a b", "x"},
                                     {"#a", "x"},
                                     {"a\nb", "x"}}) {
        QLIBCErrSet(0);
        EXPECT_EQ(SetOne(key, value), -1) << key;
        EXPECT_EQ(QLIBCErrGet(), 0x0D00) << key;
    }
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(Conf, NeedsTemplateAndFolder) {
    const auto map = NewMap();
    EXPECT_EQ(ZAFOLDAPConfSet(path_.c_str(), template_.c_str(), map.get(), 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    WriteFile(template_, "");
    QLIBCErrSet(0);
    EXPECT_EQ(ZAFOLDAPConfSet((folder_ / "no/x").c_str(), template_.c_str(), map.get(), 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_EQ(ZAFOLDAPConfSet(path_.c_str(), template_.c_str(), map.get(), 1), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST_F(Conf, ManyProcessesThatSetOneKeyEachLoseNothing) {
    WriteFile(template_, "suffix dc=x\n");
    EXPECT_TRUE(zafo::test::InProcesses(
        16, [&](int i) { return SetOne((std::string("key") + std::to_string(i)).c_str(), "v"); }));
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(Get((std::string("key") + std::to_string(i)).c_str()), "v");
}

TEST_F(Conf, ATemporaryFileIsEmptyReadableByTheServerAndInTheSameFolder) {
    char path[256];
    EXPECT_EQ(ZAFOLDAPGenTmpConf(path_.c_str(), 0, path, sizeof path), 0);
    EXPECT_EQ(std::filesystem::path(path).parent_path(), folder_.Path());
    EXPECT_EQ(ReadFile(path), "");
    EXPECT_TRUE(IsForTheServer(path));
    char second[256];
    EXPECT_EQ(ZAFOLDAPGenTmpConf(path_.c_str(), 0, second, sizeof second), 0);
    EXPECT_STRNE(path, second);
}

TEST_F(Conf, ATemporaryFileWhosePathDoesNotFitIsNotMade) {
    char path[8];
    EXPECT_EQ(ZAFOLDAPGenTmpConf(path_.c_str(), 0, path, sizeof path), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_TRUE(folder_.Names().empty());
    char large[256];
    EXPECT_EQ(ZAFOLDAPGenTmpConf((folder_ / "no/x").c_str(), 0, large, sizeof large), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_EQ(ZAFOLDAPGenTmpConf(nullptr, 0, large, sizeof large), -1);
    EXPECT_EQ(ZAFOLDAPGenTmpConf(path_.c_str(), 1, large, sizeof large), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

}  // namespace
