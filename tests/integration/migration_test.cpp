// SPDX-License-Identifier: Apache-2.0
//
// All accounts of this system migrated to the appliance's own server and back, checked against the
// files, hashes and passwords that real programs know.
#include <crypt.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "platform/group.h"
#include "platform/ldap.h"
#include "platform/user.h"
#include "tests/integration/server_fixture.h"
#include "tests/rig/build.h"
#include "tests/rig/system_log.h"

namespace zafo::test {

namespace {

using rig::SystemLog;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *kSmbPasswd = "/usr/zafo/etc/private/smbpasswd";
constexpr const char *kAccountConf = "/usr/zafo/etc/account.conf";
constexpr const char *kSystemFiles[] = {"/etc/passwd", "/etc/shadow", "/etc/group", "/etc/gshadow"};
constexpr unsigned kFirstUid = 2000;
constexpr unsigned kFirstGid = 5000;
constexpr unsigned kRounds = 7;  // memberships rotate with this period

const std::string kNoHash(32, 'X');

// The compared facts of each account, as one text.
using Accounts = std::map<std::string, std::string>;

std::string PasswordOf(unsigned i) {
    return "Pass-word-" + std::to_string(i);
}

// Hashes of several kinds, made by crypt(3).
std::string HashOf(unsigned i) {
    const char *const settings[] = {"$1$salt", "$5$rounds=1000$salt", "$6$rounds=1000$salt"};
    const std::string setting = settings[i % std::size(settings)] + std::to_string(i) + "$";
    crypt_data data{};
    return crypt_r(PasswordOf(i).c_str(), setting.c_str(), &data);
}

std::string NameOf(unsigned i) {
    return "user." + std::to_string(i);
}
std::string GroupOf(unsigned i) {
    return (i % 10 == 0 ? "Team " : "team") + std::to_string(i);
}
std::string FullNameOf(unsigned i) {
    return (i % 5 == 0 ? "Müller, Anna " : "Bob O'Brien ") + std::to_string(i);
}
std::string SambaHashOf(unsigned i, char letter) {
    std::string digits = std::to_string(i);
    return std::string(32 - digits.size(), letter) + digits;
}

class Migration : public SharedServerTest {
  protected:
    Migration() {
        Server();
        for (const char *path : kSystemFiles)
            before_.push_back(FileContent(path));
    }
    ~Migration() override {
        EmptyLocal();
        EmptyDirectory();
    }

    // Removes all ordinary local accounts and all stored data.
    void EmptyLocal() const {
        for (size_t i = 0; i < before_.size(); ++i)
            WriteFile(kSystemFiles[i], before_[i]);
        for (const char *path : {kSmbPasswd, kAccountConf})
            std::filesystem::remove(path);
    }

    // Leaves only what enabling has created in the directory.
    static void EmptyDirectory() {
        std::string changes;
        for (const rig::LdifEntry &entry : Content()) {
            const bool ours = entry.dn.starts_with("uid=user.") ||
                              entry.dn.starts_with("cn=team") || entry.dn.starts_with("cn=Team ") ||
                              entry.dn.starts_with("uid=x");
            if (ours) changes += "dn: " + entry.dn + "\nchangetype: delete\n\n";
        }
        if (!changes.empty()) Server().Change(changes);
    }

    // Users and groups as useradd(8) and pdbedit(8) leave them.
    void FillLocal(unsigned users, unsigned groups, bool samba = true) const {
        std::string text[4] = {before_[0], before_[1], before_[2], before_[3]};
        std::string smb, mail = "[mail]\n", full = "[full-name]\n", about = "[description]\n";
        std::vector<std::string> members(groups);
        for (unsigned i = 0; i < users; ++i) {
            const std::string name = NameOf(i), uid = std::to_string(kFirstUid + i);
            std::string gecos = FullNameOf(i);
            if (gecos.find(',') != std::string::npos) full += name + "=" + gecos + "\n";
            std::replace(gecos.begin(), gecos.end(), ',', ' ');
            text[0] += name + ":x:" + uid + ":" + std::to_string(kFirstGid + i % groups) + ":" +
                       gecos + ":/srv/home/" + name + ":/bin/" + (i % 2 ? "sh" : "bash") + "\n";
            text[1] += name + ":" + (i % 11 == 3 ? "!" : "") + HashOf(i) +
                       ":19000:" + (i % 4 == 1 ? "100000" : "0") +
                       ":99999:7::" + (i % 3 ? "" : "30000") + ":\n";
            smb += name + ":" + uid + ":" + SambaHashOf(i, 'A') + ":" + SambaHashOf(i, 'f') +
                   ":[U          ]:LCT-5F000000:\n";
            mail += name + "=" + name + "@example.com\n";
            for (unsigned g = i % kRounds; g < groups; g += kRounds)
                members[g] += (members[g].empty() ? "" : ",") + name;
        }
        for (unsigned g = 0; g < groups; ++g) {
            text[2] += GroupOf(g) + ":x:" + std::to_string(kFirstGid + g) + ":" + members[g] + "\n";
            text[3] += GroupOf(g) + ":!::" + members[g] + "\n";
            about += GroupOf(g) + "=Group number " + std::to_string(g) + "\n";
        }
        for (size_t i = 0; i < 4; ++i)
            WriteFile(kSystemFiles[i], text[i]);
        WriteFile(kAccountConf, mail + full + about);
        if (samba) WriteFile(kSmbPasswd, smb);
    }

    // The local users and groups with the tests' names.
    static Accounts LocalUsers(bool samba = true) {
        Accounts accounts;
        StringList names;
        EXPECT_GE(ZAFOUserEnum(names.Slot(), ZAFO_ACCOUNT_LOCAL), 0);
        for (const std::string &name : names.Content()) {
            if (!name.starts_with("user.")) continue;
            ZAFOUSER *user = nullptr;
            EXPECT_EQ(ZAFOUserGet(name.c_str(), &user), 0) << name;
            char lm[33] = "", nt[33] = "";
            if (samba) {
                EXPECT_EQ(QLIBUserSmbPasswdGet(name.c_str(), lm, sizeof lm, nt, sizeof nt), 0);
            }
            std::string text;
            for (const std::string &field :
                 {std::to_string(user->pw_uid), std::to_string(user->pw_gid),
                  std::string(user->szPasswd), std::string(user->szFullname),
                  std::string(user->pw_dir), std::string(user->pw_shell),
                  std::to_string(user->nExpire), std::to_string(user->blDisallowChangePasswd),
                  std::string(user->szMail != nullptr ? user->szMail : "(none)"), std::string(lm),
                  std::string(nt)}) {
                text += field + "|";
            }
            accounts[name] = text;
            ZAFOUserFree(user);
        }
        return accounts;
    }
    static Accounts LocalGroups() {
        Accounts accounts;
        StringList names;
        EXPECT_GE(ZAFOGroupEnum(names.Slot(), ZAFO_ACCOUNT_LOCAL), 0);
        for (const std::string &name : names.Content()) {
            if (!name.starts_with("team") && !name.starts_with("Team ")) continue;
            ZAFOGROUP *group = nullptr;
            EXPECT_EQ(ZAFOGroupGet(name.c_str(), &group), 0) << name;
            std::vector<std::string> members;
            for (char **psz = group->pszMembers; psz != nullptr && *psz != nullptr; ++psz)
                members.emplace_back(*psz);
            std::sort(members.begin(), members.end());
            std::string text = std::to_string(group->nGid);
            for (const std::string &member : members)
                text += "|" + member;
            accounts[name] = text;
            ZAFOGroupFree(group);
        }
        return accounts;
    }

    static std::string LocalFiles() {
        std::string all;
        for (const char *path : kSystemFiles)
            all += FileContent(path) + "\f";
        return all + FileContent(kSmbPasswd) + "\f" + FileContent(kAccountConf);
    }

    static int ToDirectory(const ZAFOLDAP_HOST *host) {
        return ZAFOLDAPBrowserMigrateGroupToLDAP(host) != 0
                   ? -1
                   : ZAFOLDAPBrowserMigrateUserToLDAP(host);
    }
    static int ToLocal(const ZAFOLDAP_HOST *host) {
        return ZAFOLDAPBrowserMigrateGroupToLocal(host) != 0
                   ? -1
                   : ZAFOLDAPBrowserMigrateUserToLocal(host);
    }

    // The saved connection, with the server facts that a migration needs.
    class Host {
      public:
        Host() {
            EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host_, nullptr), 1);
            host_.nSSLType = ZAFOLDAP_SSL_OFF;  // a third of the time, over thousands of calls
            EXPECT_EQ(ZAFOLDAPHostGetSupportedSchema(&host_), 0);
            EXPECT_EQ(ZAFOLDAPBrowserCheckServerType(&host_), 0);
            if (host_.szLoginSuffix == nullptr) {
                EXPECT_EQ(ZAFOLDAPHostSet(&host_, LDAP_HOST_ATTR_LOGIN_SUFFIX, "example.com"), 0);
            }
        }
        Host(const Host &) = delete;
        Host &operator=(const Host &) = delete;
        ~Host() { ZAFOLDAPHostFree(&host_); }
        operator const ZAFOLDAP_HOST *() const { return &host_; }
        void ForgetSamba() {
            host_.nSchema &= ~static_cast<unsigned int>(ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT);
        }

      private:
        ZAFOLDAP_HOST host_{};
    };

    static rig::LdifEntry Entry(const std::string &dn) {
        for (const rig::LdifEntry &entry : Content()) {
            if (entry.dn == dn) return entry;
        }
        return rig::LdifEntry("");
    }
    static std::string ValueOf(const rig::LdifEntry &entry, const std::string &attribute) {
        const std::vector<std::string> values = entry.All(attribute);
        return values.size() == 1 ? values[0] : std::to_string(values.size()) + " values";
    }
    static bool Binds(const std::string &name, const std::string &password) {
        return Server().Client({Server().UserDN(name), password}, "ldapwhoami", {}).exit_code == 0;
    }
    static void AddUser(const std::string &name, unsigned uid, unsigned gid,
                        const std::string &password) {
        Server().Change(
            "dn: " + Server().UserDN(name) +
            "\nchangetype: add\nobjectClass: account\nobjectClass: posixAccount\nuid: " + name +
            "\ncn: " + name + "\nuidNumber: " + std::to_string(uid) +
            "\ngidNumber: " + std::to_string(gid) + "\nhomeDirectory: /home/" + name +
            "\nuserPassword: " + password + "\n");
    }

    // Runs the call in processes that are killed later and later, until one runs to its end;
    // returns how many that took, -1 when it failed.
    template <typename Call, typename AtRest>
    static int UntilDone(Call call, AtRest at_rest) {
        for (useconds_t round = 1;; ++round) {
            const pid_t pid = fork();
            if (pid == 0) _exit(call() == 0 ? 0 : 1);
            usleep(round * 75'000);
            kill(pid, SIGKILL);
            int status = 0;
            waitpid(pid, &status, 0);
            at_rest();
            if (WIFEXITED(status)) return WEXITSTATUS(status) == 0 ? static_cast<int>(round) : -1;
        }
    }

  private:
    std::vector<std::string> before_;
};

TEST_F(Migration, OfManyAccountsThereAndBackLosesNothing) {
    const unsigned user_count = rig::IsScaledDown() ? 50 : 500, group_count = user_count / 10;
    FillLocal(user_count, group_count);
    const Accounts users = LocalUsers(), groups = LocalGroups();
    ASSERT_EQ(users.size(), user_count);
    ASSERT_EQ(groups.size(), group_count);
    const Host host;
    ASSERT_EQ(ToDirectory(host), 0);
    EXPECT_EQ(ValueOf(Entry(Server().GroupDN("team3")), "description"), "Group number 3");
    for (const unsigned i : {0U, 1U, 2U, user_count - 1}) {
        EXPECT_TRUE(Binds(NameOf(i), PasswordOf(i))) << i;
        EXPECT_FALSE(Binds(NameOf(i), PasswordOf(i + 1))) << i;
    }
    EXPECT_FALSE(Binds(NameOf(3), PasswordOf(3))) << "it was locked";
    const rig::LdifEntry entry = Entry(Server().UserDN(NameOf(5)));
    EXPECT_EQ(ValueOf(entry, "gecos"), FullNameOf(5));
    EXPECT_EQ(ValueOf(entry, "sambaNTPassword"), SambaHashOf(5, 'f'));
    EXPECT_EQ(ValueOf(entry, "sambaLMPassword"), SambaHashOf(5, 'A'));

    EmptyLocal();
    ASSERT_THAT(LocalUsers(), IsEmpty());
    ASSERT_EQ(ToLocal(host), 0);
    EXPECT_EQ(LocalUsers(), users);
    EXPECT_EQ(LocalGroups(), groups);
    ZAFOUSER *user = nullptr;
    ASSERT_EQ(ZAFOUserGet(NameOf(8).c_str(), &user), 0);
    crypt_data data{};
    EXPECT_STREQ(crypt_r(PasswordOf(8).c_str(), user->szPasswd, &data), user->szPasswd);
    ZAFOUserFree(user);
    EXPECT_EQ(rig::RunProgram({"sh", "-c", "pwck -rq; grpck -r"}).out.find("user."),
              std::string::npos);
}

TEST_F(Migration, RunAgainChangesNothing) {
    FillLocal(12, 4);
    const Host host;
    ASSERT_EQ(ToDirectory(host), 0);
    const std::string directory = Slapcat();
    const std::string files = LocalFiles();
    EXPECT_EQ(ToDirectory(host), 0);
    EXPECT_EQ(ToLocal(host), 0);
    EXPECT_EQ(ToLocal(host), 0);
    EXPECT_EQ(Slapcat(), directory);
    EXPECT_THAT(LocalUsers().size(), 12U);
    FillLocal(12, 4);
    EXPECT_EQ(LocalFiles(), files);
    ASSERT_EQ(ToLocal(host), 0);
    const std::string after = LocalFiles();
    ASSERT_EQ(ToLocal(host), 0);
    EXPECT_EQ(LocalFiles(), after);
}

TEST_F(Migration, ToDirectorySkipsWhatIsTakenThere) {
    FillLocal(4, 2);
    AddUser(NameOf(1), 9001, kFirstGid, "{crypt}!");     // same name
    AddUser("x", kFirstUid + 2, kFirstGid, "{crypt}!");  // same number
    const Host host;
    SystemLog::Get().Clear();
    ASSERT_EQ(ToDirectory(host), 0);
    EXPECT_THAT(SystemLog::Get().Messages(),
                Contains(HasSubstr("ZAFOLDAPBrowserUserCreate failed. [user.1][0x")));
    EXPECT_EQ(ValueOf(Entry(Server().UserDN(NameOf(1))), "uidNumber"), "9001");
    EXPECT_EQ(Entry(Server().UserDN(NameOf(2))).dn, "");
    EXPECT_TRUE(Binds(NameOf(0), PasswordOf(0)));
    EXPECT_EQ(ValueOf(Entry(Server().UserDN(NameOf(3))), "uidNumber"),
              std::to_string(kFirstUid + 3));
}

TEST_F(Migration, ToLocalSkipsWhatIsTakenThere) {
    FillLocal(4, 2);
    const Host host;
    ASSERT_EQ(ToDirectory(host), 0);
    EmptyLocal();
    ASSERT_EQ(ZAFOLDAPBrowserMigrateGroupToLocal(host), 0);
    ASSERT_EQ(rig::RunProgram({"useradd", "-N", "-M", "-g", std::to_string(kFirstGid), "-u", "9001",
                               "--badname", NameOf(1)})
                  .exit_code,
              0);
    ASSERT_EQ(rig::RunProgram({"useradd", "-N", "-M", "-g", std::to_string(kFirstGid), "-u",
                               std::to_string(kFirstUid + 2), "occupant"})
                  .exit_code,
              0);
    SystemLog::Get().Clear();
    ASSERT_EQ(ZAFOLDAPBrowserMigrateUserToLocal(host), 0);
    const std::vector<std::string> log = SystemLog::Get().Messages();
    EXPECT_THAT(log, Contains(HasSubstr("user name [user.1] is occupied in local DB.")));
    EXPECT_THAT(log, Contains(HasSubstr("user uid [2002] is occupied by [occupant] in local DB.")));
    const Accounts users = LocalUsers();
    EXPECT_TRUE(users.contains(NameOf(0)) && users.contains(NameOf(3)));
    EXPECT_FALSE(users.contains(NameOf(2)));
    EXPECT_THAT(users.at(NameOf(1)), testing::StartsWith("9001|"));
}

TEST_F(Migration, ToLocalGivesARandomPasswordForAHashThatCryptDoesNotKnow) {
    FillLocal(1, 1);
    const Host host;
    ASSERT_EQ(ZAFOLDAPBrowserMigrateGroupToLDAP(host), 0);
    AddUser("xssha", 9001, kFirstGid, "{SSHA}1w9dBSTZ6RrVZ/9JXaqe1mMPJFSSAdHw");
    AddUser("xcrypt", 9002, kFirstGid, "{cRyPt}" + HashOf(1));
    SystemLog::Get().Clear();
    ASSERT_EQ(ZAFOLDAPBrowserMigrateUserToLocal(host), 0);
    EXPECT_THAT(SystemLog::Get().Messages(),
                Contains(HasSubstr("Password for user xssha is not in crypt form. Reset it to "
                                   "random. Please change it as soon as possible.")));
    const std::string shadow = FileContent("/etc/shadow");
    EXPECT_THAT(shadow, HasSubstr("\nxssha:$1$"));
    EXPECT_THAT(shadow, Not(HasSubstr("SSHA")));
    EXPECT_THAT(shadow, HasSubstr("\nxcrypt:" + HashOf(1) + ":"));
    EXPECT_THAT(FileContent(kSmbPasswd), Not(HasSubstr("xssha:")));
}

TEST_F(Migration, EndsAtTheLimitOfLocalUsersAndKeepsThoseBeforeIt) {
    FillLocal(6, 1);
    const Host host;
    ASSERT_EQ(ToDirectory(host), 0);
    EmptyLocal();
    ASSERT_EQ(ZAFOLDAPBrowserMigrateGroupToLocal(host), 0);
    WriteFile(kAccountConf, "[limit]\nusers=4\n");
    SystemLog::Get().Clear();
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLocal(host), -1);
    EXPECT_THAT(SystemLog::Get().Messages(),
                Contains(HasSubstr("The limit of local account has been reached.")));
    EXPECT_EQ(QLIBUserNumRemained(), 0);
    const Accounts users = LocalUsers();
    EXPECT_EQ(users.size(), 4U);
    WriteFile(kAccountConf, FileContent(kAccountConf) + "[limit]\nusers=10\n");
    EXPECT_EQ(ZAFOLDAPBrowserMigrateUserToLocal(host), 0);
    EXPECT_EQ(LocalUsers().size(), 6U);
}

TEST_F(Migration, WithoutSambasClassCarriesNoSambaHashes) {
    FillLocal(2, 1);
    Host host;
    host.ForgetSamba();
    ASSERT_EQ(ToDirectory(host), 0);
    EXPECT_THAT(Entry(Server().UserDN(NameOf(0))).All("sambaNTPassword"), IsEmpty());
    EmptyDirectory();
    const Host knowing;
    ASSERT_EQ(ToDirectory(knowing), 0);
    EmptyLocal();
    ASSERT_EQ(ToLocal(host), 0);
    EXPECT_THAT(FileContent(kSmbPasswd), Not(HasSubstr("user.")));
    EXPECT_EQ(LocalUsers().size(), 2U);
}

TEST_F(Migration, OfAUserWithoutSambaHashesSaysSoAsSambaDoes) {
    FillLocal(1, 1, /*samba=*/false);
    const Host host;
    ASSERT_EQ(ToDirectory(host), 0);
    EXPECT_EQ(ValueOf(Entry(Server().UserDN(NameOf(0))), "sambaNTPassword"), kNoHash);
    EmptyLocal();
    ASSERT_EQ(ToLocal(host), 0);
    EXPECT_THAT(FileContent(kSmbPasswd), Not(HasSubstr("user.")));
    EXPECT_EQ(LocalUsers().size(), 1U);
}

TEST_F(Migration, ThatIsKilledIsCompleteAfterItHasRunToItsEnd) {
    constexpr unsigned kUsers = 15, kGroups = 3;
    FillLocal(kUsers, kGroups);
    Host host;
    // Samba hashes are added in a second step, which is skipped for an account that already exists.
    host.ForgetSamba();
    const Accounts users = LocalUsers(/*samba=*/false), groups = LocalGroups();
    ASSERT_GT(UntilDone([&] { return ToDirectory(host); }, [] {}), 1);
    EmptyLocal();
    const int rounds = UntilDone([&] { return ToLocal(host); },
                                 [&] {
                                     for (const auto &[name, text] : LocalUsers(false))
                                         EXPECT_EQ(text, users.at(name));
                                 });
    ASSERT_GT(rounds, 1);
    EXPECT_EQ(LocalUsers(false), users);
    EXPECT_EQ(LocalGroups(), groups);
}

}  // namespace

}  // namespace zafo::test
