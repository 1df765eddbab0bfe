// SPDX-License-Identifier: Apache-2.0
//
// What creating accounts logs only while the debug switch is on.
#include <filesystem>

#include "tests/accounts/writing_fixture.h"
#include "zafoldap.h"

namespace zafo::accounts_test {
namespace {

class DebugCreate : public WritingTest {
  protected:
    DebugCreate() {
        EXPECT_EQ(ZAFOLDAPDebugEnabled(), 1);
        host_.nSchema = ZAFOLDAP_CLASS_POSIX_ACCOUNT | ZAFOLDAP_CLASS_POSIX_GROUP;
    }
    // Change files are kept in debug mode.
    ~DebugCreate() override {
        for (const auto &entry : std::filesystem::directory_iterator("/tmp")) {
            if (entry.path().extension() == ".ldif") std::filesystem::remove(entry.path());
        }
    }

    // The log of each of the three creations when the tools answer like this.
    std::vector<Texts> Said(const std::vector<Step> &steps, size_t failing = SIZE_MAX,
                            int code = 0) {
        std::vector<Texts> said;
        for (const auto &[source, create] :
             {std::pair<std::string, std::function<int()>>{"user_create",
                                                           [this] {
                                                               UserRecord user(Anna());
                                                               return ZAFOLDAPBrowserUserCreate(
                                                                   &host_, &user, nullptr, nullptr);
                                                           }},
              {"user_create",
               [this] {
                   UserRecord user(Anna());
                   return ZAFOLDAPBrowserUserCreateWithCryptedPass(&host_, &user, nullptr, nullptr);
               }},
              {"group_create", [this] {
                   const GroupRecord group("staff", 2001);
                   return ZAFOLDAPBrowserGroupCreate(&host_, &group, nullptr, nullptr, nullptr);
               }}}) {
            Prepare(steps, failing, code);
            EXPECT_EQ(create(), -1);
            Texts texts;
            for (const std::string &message : log_.Messages()) {
                if (message.starts_with("ldap_browser_" + source + ".cpp:"))
                    texts.push_back(message.substr(message.find(' ') + 1));
            }
            said.push_back(texts);
        }
        return said;
    }
};

TEST_F(DebugCreate, NameThatIsTakenIsLogged) {
    EXPECT_THAT(Said({{"ldapsearch", "dn: uid=x\n\n"}}),
                ElementsAre(ElementsAre("user anna.smith exists in db."),
                            ElementsAre("user [anna.smith] exists in db."),
                            ElementsAre("group [staff] exists in db.")));
}

TEST_F(DebugCreate, NumberThatIsTakenIsLogged) {
    EXPECT_THAT(Said({{"ldapsearch"}, {"ldapsearch", "dn: uid=x\n\n"}}),
                ElementsAre(ElementsAre("uid number 1027 exists in db."),
                            ElementsAre("uid number [1027] exists in db."),
                            ElementsAre("gid number [2001] exists in db.")));
}

TEST_F(DebugCreate, RefusedEntryIsLoggedWithItsMessageOrThePlatformsError) {
    EXPECT_THAT(
        Said({{"ldapsearch"}, {"slappasswd", kHash}, {"ldapmodify"}}, 2, 68),
        ElementsAre(ElementsAre("ZAFOLDAPModify failed [anna.smith], ldap_already_exists (68)"),
                    ElementsAre("ZAFOLDAPModify failed [anna.smith] [0x1234]"),
                    ElementsAre("ZAFOLDAPModify failed [staff] [0x1234]")));
}

TEST_F(DebugCreate, PasswordThatCannotBeHashedIsLogged) {
    Prepare({{"ldapsearch"}, {"slappasswd"}});
    UserRecord user(Anna());
    EXPECT_EQ(ZAFOLDAPBrowserUserCreate(&host_, &user, nullptr, nullptr), -1);
    EXPECT_EQ(LoggedTexts().back(), "ZAFOLDAPEncryptPassword failed. [anna.smith] [0x1234]");
}

}  // namespace
}  // namespace zafo::accounts_test
