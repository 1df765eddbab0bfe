// SPDX-License-Identifier: Apache-2.0
//
// Unusual texts in new accounts that need no special treatment, and the home folder of a new user.
#include <unistd.h>

#include <algorithm>

#include "tests/foreign/change_fixture.h"

namespace zafo::foreign::new_account_text_test {

const std::string kBase = "dc=x,dc=example";

class NewAccountText : public ChangeTest {
  protected:
    void SetUp() override {
        ChangeTest::SetUp();
        host_.schema = 0x1 | 0x20 | 0x40;
        user_.pw_uid = 2001;
        user_.pw_gid = 100;
        group_.nGid = 3001;
    }
    // The lines of the last added entry.
    Strings Added() {
        const Strings changes = Changes();
        EXPECT_FALSE(changes.empty());
        return changes.empty() ? Strings{} : Lines(changes.back());
    }
    bool Has(const std::string &line) {
        const Strings lines = Added();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    void CreateUser(std::string name, std::string full_name = "") {
        platform().Forget();
        user_.szName = name.data();
        user_.szFullname = full_name.data();
        EXPECT_EQ(ZAFOLDAPBrowserUserCreateWithCryptedPass(host_, &user_, nullptr, nullptr), 0)
            << name;
    }
    void CreateGroup(std::string name, const std::string &description) {
        platform().Forget();
        group_.szName = name.data();
        EXPECT_EQ(ZAFOLDAPBrowserGroupCreate(host_, &group_, description.c_str(), nullptr, nullptr),
                  0)
            << name;
    }
    ZAFOUSER user_{};
    ZAFOGROUP group_{};
    Host host_;
};
ZAFO_FOREIGN_SUITE(NewAccountText);

constexpr const char *kNames[] = {"ann.o'neil",  "a b", "a-b_c.d", "a@b.c", "a$",
                                  "J\xc3\xb6rg", "a:b", "a/b",     "a(b",   "a*",
                                  "a&b|c!",      "a%s", "A",       "7",     "a{b}[c]"};

TEST_P(NewAccountText, StandsInDnAndFilterAsItIs) {
    for (const std::string name : kNames) {
        CreateUser(name);
        EXPECT_EQ(Added().at(0), "dn: uid=" + name + ",cn=users," + kBase);
        EXPECT_TRUE(Has("uid: " + name)) << name;
        EXPECT_TRUE(Has("homeDirectory: /home/" + name)) << name;
        EXPECT_EQ(Searches().at(0).at(10), "(&(objectClass=posixAccount)(uid=" + name + "))");
        CreateGroup(name, "");
        EXPECT_EQ(Added().at(0), "dn: cn=" + name + ",cn=groups," + kBase);
        EXPECT_TRUE(Has("cn: " + name)) << name;
        EXPECT_EQ(Searches().at(0).at(10), "(&(objectClass=posixGroup)(cn=" + name + "))");
    }
}

constexpr const char *kValues[] = {":b",   "<b", "b ", "J\xc3\xb6rg \xe6\xbc\xa2",
                                   "a: b", "#b", "-b"};

TEST_P(NewAccountText, StandsInValuesAsItIs) {
    for (const std::string value : kValues) {
        CreateUser("ann", value);
        EXPECT_TRUE(Has("gecos: " + value)) << value;
        CreateGroup("staff", value);
        EXPECT_TRUE(Has("description: " + value)) << value;
    }
}

TEST_P(NewAccountText, TakesAContainerAsItIs) {
    std::string name = "ann";
    user_.szName = name.data();
    group_.szName = name.data();
    EXPECT_EQ(ZAFOLDAPBrowserUserCreateWithCryptedPass(host_, &user_, nullptr, "ou=a\\,b, ou = c"),
              0);
    EXPECT_EQ(Added().at(0), "dn: uid=ann,ou=a\\,b, ou = c," + kBase);
    EXPECT_EQ(ZAFOLDAPBrowserGroupCreate(host_, &group_, nullptr, nullptr, "ou=a\\,b, ou = c"), 0);
    EXPECT_EQ(Added().at(0), "dn: cn=ann,ou=a\\,b, ou = c," + kBase);
}

TEST_P(NewAccountText, MakesADnOf1023Bytes) {
    const std::string rest = ",cn=users," + kBase;
    const std::string name(1023 - 4 - rest.size(), 'n');
    CreateUser(name);
    EXPECT_EQ(Added().at(0), "dn: uid=" + name + rest);
    const std::string group_rest = ",cn=groups," + kBase;
    const std::string group(1023 - 3 - group_rest.size(), 'g');
    CreateGroup(group, "");
    EXPECT_EQ(Added().at(0), "dn: cn=" + group + group_rest);
}

TEST_P(NewAccountText, MakesTheHomeFolderOfAUserWithAClearPassword) {
    std::string name = "ann";
    user_.szName = name.data();
    platform()
        .On("ldapsearch", "automountKey=*,automountMapName=auto_home," + kBase)
        .Prints(Entry("automountKey=*", {{"automountInformation", "-fstype=nfs nas:/homes/&"}}))
        .Always();
    platform().makes_folders = false;
    EXPECT_EQ(ZAFOLDAPBrowserUserCreateWithCryptedPass(host_, &user_, nullptr, nullptr), 0);
    EXPECT_EQ(platform().RunsOf("mount").size(), 0U);
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(host_, &user_, nullptr, nullptr), 0);
    const std::string point = "/zafoldaphomefolder." + std::to_string(getpid());
    const auto mounts = platform().RunsOf("mount");
    ASSERT_EQ(mounts.size(), 1U);
    EXPECT_EQ(mounts[0].argv, (Strings{"nas:/homes/", point}));
    const auto folders = platform().CallsOf("ZAFOFSMkdirP");
    ASSERT_EQ(folders.size(), 2U);
    EXPECT_EQ(folders[1].arguments.at(0), point + "/ann");
    EXPECT_EQ(platform().RunsOf("umount").size(), 1U);
}

TEST_P(NewAccountText, IgnoresAHomeFolderThatCannotBeMounted) {
    std::string name = "ann";
    user_.szName = name.data();
    platform()
        .On("ldapsearch", "automountKey=*")
        .Prints(Entry("automountKey=*", {{"automountInformation", "-fstype=nfs nas:/homes/&"}}));
    platform().makes_folders = false;
    platform().On("mount").Exits(32);
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(host_, &user_, nullptr, nullptr), 0);
}

}  // namespace zafo::foreign::new_account_text_test
