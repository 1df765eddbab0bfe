// SPDX-License-Identifier: Apache-2.0
//
// The local accounts of the private root: test files in "/etc", restored at the end of the test.
#pragma once

#include <fcntl.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/error.h"
#include "platform/group.h"
#include "platform/user.h"
#include "tests/host/owners.h"

namespace zafo::test {

inline constexpr char kSmbPasswd[] = "/usr/zafo/etc/private/smbpasswd";
inline constexpr char kAccountConf[] = "/usr/zafo/etc/account.conf";
inline constexpr char kHash[] = "$6$salt$gS8bLq2JYyQkJcS6rY0G1dQ0q3nqJv0GJ8y5vbtH8eJd1e8m2p8n9q0r";

// Saves a file; the destructor restores it, or removes it if it did not exist.
class KeptFile {
  public:
    explicit KeptFile(std::string path) : path_(std::move(path)) {
        if (std::filesystem::exists(path_)) text_ = ReadFile(path_);
    }
    KeptFile(const KeptFile &) = delete;
    KeptFile &operator=(const KeptFile &) = delete;
    ~KeptFile() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
        if (text_) WriteFile(path_, *text_);
    }

  private:
    std::string path_;
    std::optional<std::string> text_;
};

class LocalAccounts : public testing::Test {
  protected:
    LocalAccounts() {
        WriteFile("/etc/passwd",
                  "root:x:0:0:root:/root:/bin/bash\n"
                  "daemon:x:1:1:daemon:/usr/sbin:/usr/sbin/nologin\n"
                  "nobody:x:65534:65534:nobody:/nonexistent:/usr/sbin/nologin\n"
                  "alice:x:1000:1000:Alice Liddell,12,,:/home/alice:/bin/bash\n");
        WriteFile("/etc/shadow",
                  "root:*:19000:0:99999:7:::\n"
                  "daemon:*:19000:0:99999:7:::\n"
                  "nobody:*:19000:0:99999:7:::\n"
                  "alice:" +
                      std::string(kHash) + ":19000:0:99999:7::20000:\n");
        WriteFile("/etc/group",
                  "root:x:0:\n"
                  "daemon:x:1:\n"
                  "users:x:100:\n"
                  "nogroup:x:65534:\n"
                  "staff:x:1000:alice,bob\n");
        WriteFile("/etc/gshadow", "root:*::\nstaff:!::alice,bob\n");
        std::filesystem::permissions("/etc/shadow", std::filesystem::perms(0640));
        std::filesystem::permissions("/etc/gshadow", std::filesystem::perms(0640));
        std::filesystem::remove(kSmbPasswd);
        std::filesystem::remove(kAccountConf);
        QLIBCErrSet(QLIB_ERR_NONE);
    }
    ~LocalAccounts() override {
        ZAFOUserFree(user_);
        ZAFOGroupFree(group_);
    }

    // A valid user.
    static ZAFOUSER Bob() {
        static char name[] = "bob";
        static char full_name[] = "Bob O'Brien";
        static char home[] = "/volume1/homes/bob";
        static char shell[] = "/bin/sh";
        ZAFOUSER user{};
        user.szName = name;
        user.pw_uid = 1001;
        user.pw_gid = 1000;
        user.szFullname = full_name;
        user.pw_dir = home;
        user.pw_shell = shell;
        return user;
    }

    // The platform error of a failed call, 0 on success.
    template <typename Call>
    static int ErrorOf(Call call) {
        QLIBCErrSet(QLIB_ERR_NONE);
        const int result = call();
        EXPECT_TRUE(result == 0 || result == -1) << result;
        return result == 0 ? 0 : QLIBCErrGet();
    }

    static int Add(const ZAFOUSER &user) {
        return ErrorOf([&] { return ZAFOUserSetOne(0, &user, nullptr); });
    }
    int Get(const char *name) {
        return ErrorOf([&] { return ZAFOUserGet(name, &user_); });
    }
    int GetGroup(const char *name) {
        return ErrorOf([&] { return ZAFOGroupGet(name, &group_); });
    }
    int AddGroup(const std::string &name, uint32_t gid, std::vector<std::string> members = {}) {
        std::vector<const char *> texts;
        for (const std::string &member : members)
            texts.push_back(member.c_str());
        texts.push_back(nullptr);
        EXPECT_EQ(ZAFOGroupAlloc(&group_, name.c_str(), gid, texts.data()), 0);
        return ErrorOf([&] { return ZAFOGroupSet(0, group_); });
    }
    std::vector<std::string> Members() const {
        std::vector<std::string> members;
        for (char **psz = group_->pszMembers; psz != nullptr && *psz != nullptr; ++psz)
            members.emplace_back(*psz);
        return members;
    }

    static int Import(const std::string &name, const std::string &crypt, const std::string &lm = "",
                      const std::string &nt = "") {
        const char *names[] = {name.c_str()};
        const char *crypts[] = {crypt.c_str()};
        const char *lms[] = {lm.c_str()};
        const char *nts[] = {nt.c_str()};
        return ErrorOf([&] { return QLIBUserImportPasswd(names, crypts, lms, nts, 1); });
    }

    // The line of an account, "(none)" if it has none.
    static std::string Line(const std::string &path, const std::string &name) {
        std::istringstream lines(ReadFile(path));
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with(name + ":")) return line;
        }
        return "(none)";
    }
    static std::string Hash(const std::string &name) {
        std::string line = Line("/etc/shadow", name);
        line.erase(0, line.find(':') + 1);
        return line.substr(0, line.find(':'));
    }

    // A program's exit code; its output appears in that of the test.
    static int Run(const std::string &command) {
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    ZAFOUSER *user_ = nullptr;
    ZAFOGROUP *group_ = nullptr;

  private:
    KeptFile passwd_{"/etc/passwd"}, shadow_{"/etc/shadow"}, groups_{"/etc/group"},
        gshadow_{"/etc/gshadow"}, defs_{"/etc/login.defs"}, defaults_{"/etc/default/useradd"};
};

}  // namespace zafo::test
