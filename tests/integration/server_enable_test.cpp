// SPDX-License-Identifier: Apache-2.0
//
// Enabling and resetting the appliance's own server: the result, and what stays the same when it is
// repeated.
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <filesystem>
#include <regex>

#include "tests/integration/server_fixture.h"
#include "tests/rig/ldif_reader.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAreArray;
using testing::SizeIs;

constexpr const char *kExpected = "/mnt/src/tests/integration/golden/new_directory.ldif";

class NewServer : public SharedServerTest {};

// Masks what differs between machines, days or password hashes.
std::vector<rig::LdifEntry> Masked(std::vector<rig::LdifEntry> entries) {
    static const std::regex kSID("S-1-5-21-\\d+-\\d+-\\d+");
    for (rig::LdifEntry &entry : entries) {
        for (auto &[name, value] : entry.values) {
            value = std::regex_replace(value, kSID, "S-1-5-21-RANDOM");
            if (name == "userPassword" && value.starts_with("{CRYPT}$6$")) value = "SHA512";
            if (name == "shadowLastChange" || name == "sambaPwdLastSet") value = "NOW";
        }
    }
    return entries;
}

TEST_F(NewServer, HoldsTheDirectoryOfANewAppliance) {
    Server();
    EXPECT_THAT(Masked(Content()), ElementsAreArray(rig::ParseLdif(FileContent(kExpected))));
}

struct FileRow {
    const char *path;
    bool servers;  // owned by the server's user, otherwise by root
    bool group;    // readable by the server's group
    mode_t mode;
};

constexpr FileRow kFiles[] = {
    {"/usr/zafo/etc/openldap/slapd.conf", false, true, S_IFREG | 0640},
    {"/usr/zafo/etc/openldap/slapd-acls.conf", false, true, S_IFREG | 0640},
    {"/usr/zafo/etc/openldap/data", true, true, S_IFDIR | 0700},
    {"/usr/zafo/etc/openldap/data/data.mdb", true, true, S_IFREG | 0600},
    {"/usr/zafo/etc/openldap/data/dn2id.bdb", true, true, S_IFREG | 0600},
    {"/usr/zafo/etc/openldap/tls/ca.key", false, false, S_IFREG | 0600},
    {"/usr/zafo/etc/openldap/tls/ca.pem", false, false, S_IFREG | 0644},
    {"/usr/zafo/etc/openldap/tls/server.key", false, true, S_IFREG | 0640},
    {"/usr/zafo/etc/openldap/tls/server.pem", false, false, S_IFREG | 0644},
    {"/usr/zafo/etc/private/ldapbrowser.conf", false, false, S_IFREG | 0600},
    {"/usr/zafo/etc/ssl/ca.pem", false, false, S_IFREG | 0644},
};

TEST_F(NewServer, FilesBelongToThoseWhoNeedThem) {
    if (!HasServerUser()) GTEST_SKIP() << "slapd has no user of its own in this root";
    Server();
    for (const FileRow &row : kFiles) {
        struct stat status {};
        ASSERT_EQ(lstat(row.path, &status), 0) << row.path;
        EXPECT_STREQ(getpwuid(status.st_uid)->pw_name, row.servers ? "openldap" : "root")
            << row.path;
        EXPECT_STREQ(getgrgid(status.st_gid)->gr_name, row.group ? "openldap" : "root") << row.path;
        EXPECT_EQ(status.st_mode, row.mode) << row.path << std::oct << " has " << status.st_mode;
    }
}

TEST_F(NewServer, LeavesNoTemporaryFiles) {
    Server();
    for (const char *folder : {"/tmp", "/usr/zafo/etc/openldap", "/usr/zafo/etc/openldap/tls"}) {
        for (const auto &item : fs::directory_iterator(folder)) {
            const std::string name = item.path().filename();
            EXPECT_FALSE(name.ends_with(".ldif") || name.find(".new.") != std::string::npos ||
                         name.find(".owner.") != std::string::npos)
                << item.path();
        }
    }
}

TEST_F(NewServer, ConfigurationIsCleanToSlaptest) {
    Server();
    const rig::ProgramRun run = rig::RunProgram({"slaptest", "-u", "-f", kConfiguration});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.err, "config file testing succeeded\n");
}

TEST_F(NewServer, SavedConnectionIsTheAdministratorsWithStartTls) {
    const ZAFOLDAP_HOST &host = Server().Host();
    EXPECT_STREQ(host.szUri, "localhost");
    EXPECT_STREQ(host.szBaseDN, Server().Settings().suffix.c_str());
    EXPECT_STREQ(host.szBindDN, Server().Settings().admin.c_str());
    EXPECT_STREQ(host.szBindPasswd, Server().Settings().password.c_str());
    EXPECT_EQ(host.nSSLType, 2);
    EXPECT_EQ(host.nServerType, 1);
}

TEST_F(NewServer, SavedConnectionWorks) {
    const SearchOutcome outcome =
        Search(&Server().Host(), {.filter = "(objectClass=posixGroup)", .attributes = {"cn"}});
    EXPECT_EQ(outcome.result, 0);
    EXPECT_THAT(outcome.entries, SizeIs(3));
}

TEST_F(NewServer, EnabledAgainIsTheSame) {
    Server();
    const std::string before = Slapcat();
    const std::string configuration = FileContent(kAccessRules);
    ASSERT_EQ(Enable(Server().Settings()), 0);
    EXPECT_EQ(Slapcat(), before);
    EXPECT_EQ(FileContent(kAccessRules), configuration);
    EXPECT_THAT(DomainSIDs(), SizeIs(1));
}

TEST_F(NewServer, WithoutSettingsIsStoppedAndStartedAndNoMore) {
    Server().Change("dn: " + Server().GroupDN("administrators") +
                    "\nchangetype: modify\ndelete: memberUid\nmemberUid: admin\n-\n"
                    "delete: member\nmember: " +
                    Server().UserDN("admin") + "\n");
    const int pid = ServerPid();
    const std::string before = Slapcat();
    const auto written = fs::last_write_time(kConfiguration);
    EXPECT_EQ(ZAFOLDAPServerEnable(nullptr), 0);
    EXPECT_NE(ServerPid(), 0);
    EXPECT_NE(ServerPid(), pid);
    EXPECT_EQ(Slapcat(), before);
    EXPECT_EQ(fs::last_write_time(kConfiguration), written);
    EXPECT_EQ(ZAFOLDAPServerDefaultAdd(), 0);
}

}  // namespace
}  // namespace zafo::test
