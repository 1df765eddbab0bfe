// SPDX-License-Identifier: Apache-2.0
//
// The appliance's directory server as started by its service, with the system's OpenLDAP clients
// and openssl.
#pragma once

#include <pwd.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/ldap.h"
#include "platform/process.h"
#include "platform/service.h"
#include "tests/host/owners.h"
#include "tests/rig/slapd.h"

namespace zafo::test {

inline const std::string kStart = "/usr/zafo/libexec/ldap-server-start";
inline const std::string kTls = "/usr/zafo/etc/openldap/tls/";
inline const std::string kTrust = "/usr/zafo/etc/ssl/ca.pem";
inline const std::string kConf = "/usr/zafo/etc/openldap/slapd.conf";
inline const std::string kTemplate = "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
inline const std::string kAccess = "/usr/zafo/etc/openldap/slapd-acls.conf";
inline const std::string kData = "/usr/zafo/etc/openldap/data";
inline const std::string kServerPidFile = "/var/run/slapd.pid";
inline constexpr char kAdmin[] = "cn=admin,dc=example,dc=com";

// The output of a shell command that must succeed.
inline std::string Shell(const std::string &command) {
    const rig::ProgramRun run = rig::RunProgram({"/bin/bash", "-c", command});
    EXPECT_EQ(run.exit_code, 0) << command << "\n" << run.err;
    return run.out;
}

inline rig::ProgramRun StartProgram(const std::string &option = "") {
    std::vector<std::string> command = {kStart};
    if (!option.empty()) command.push_back(option);
    return rig::RunProgram(command);
}

// The server's account if files can be given to it; an ordinary user's root maps no other user.
inline const passwd *ServerAccount() {
    const passwd *account = getpwnam("openldap");
    const Folder folder;
    const bool can_give =
        account != nullptr && chown(folder.Path().c_str(), account->pw_uid, account->pw_gid) == 0;
    return can_give ? account : nullptr;
}

class LdapServer : public testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists("/usr/sbin/slapd")) GTEST_SKIP() << "slapd is not installed";
        std::filesystem::create_directories(kData);
    }

    void TearDown() override {
        if (std::filesystem::exists("/usr/zafo/etc/service/ldap-server.enabled")) {
            EXPECT_EQ(QLIBServiceStop("ldap-server", 0), 0);
        }
        for (const std::string &path :
             {std::string("/usr/zafo/etc/openldap"), std::string("/usr/zafo/etc/service"),
              std::string("/usr/zafo/etc/ssl")})
            std::filesystem::remove_all(path);
    }

    // A slapd.conf with a root password, and rules that let everyone read all but passwords.
    static void Configure(const std::string &password = "geheim") {
        password_ = password;
        const std::string hash =
            rig::RunProgram({"slappasswd", "-h", "{CRYPT}", "-c", "$6$%.16s", "-s", password}).out;
        const Map map = NewMap({{"rootpw", hash.substr(0, hash.size() - 1)}});
        ASSERT_EQ(ZAFOLDAPConfSet(kConf.c_str(), kTemplate.c_str(), map.get(), 0), 0);
        WriteFile(
            kAccess,
            "access to dn.base=\"\"\n\tby * read\naccess to attrs=userPassword\n\tby self =w\n"
            "\tby anonymous auth\naccess to *\n\tby * read\n");
        ASSERT_EQ(QLIBServiceEnable("ldap-server"), 0);
    }

    static void Start() {
        ASSERT_EQ(QLIBServiceStart("ldap-server", 0), 0);
        ASSERT_GT(QLIBCReadPidFile(kServerPidFile.c_str()), 0);
    }

    // A client bound as the administrator.
    static rig::ProgramRun Client(std::vector<std::string> command, const std::string &input = "") {
        const std::vector<std::string> bind = {"-x",   "-H", "ldap://localhost", "-D",
                                               kAdmin, "-w", password_};
        command.insert(command.begin() + 1, bind.begin(), bind.end());
        return rig::RunProgram(command, input);
    }

    static void Add(const std::string &ldif) {
        const rig::ProgramRun run = Client({"ldapadd"}, ldif);
        ASSERT_EQ(run.exit_code, 0) << run.err;
    }

    static inline std::string password_;
};

}  // namespace zafo::test
