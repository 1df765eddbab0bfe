// SPDX-License-Identifier: Apache-2.0
//
// Someone with write access to the directory chooses what root mounts, and what is in it.
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

#include "platform/error.h"
#include "platform/process.h"
#include "tests/accounts/home_fixture.h"
#include "tests/attack/stranger.h"
#include "tests/integration/pool_fixture.h"
#include "tests/rig/system_log.h"
#include "zafoldap/home.h"

namespace zafo::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The kernel's options for the mount at a folder; empty if nothing is mounted there.
std::string OptionsOf(const std::string &folder) {
    std::string options;
    for (const std::string &line : LinesOf("/proc/self/mountinfo")) {
        std::istringstream words(line);
        std::string id, parent, device, root, point, shown;
        words >> id >> parent >> device >> root >> point >> shown;
        if (point == folder) options = shown;
    }
    return options;
}

class Mounting : public testing::Test {
  protected:
    void SetUp() override { rig::SystemLog::Get().Clear(); }
    static bool IsMountPointLeft() { return fs::exists(fs::symlink_status(Exports::MountPoint())); }

    const Exports exports_;
};

// --- mounts ------------------------------------------------------------

TEST_F(Mounting, RefusesOtherSourcesThanNetworkExportsBeforeAnythingIsMade) {
    const std::string bell = "nas:/homes\a";
    const std::string forged = "nas:/homes\nuser:1 all is well";
    const std::string c1 =
        "nas:/homes\xC2\x9B"
        "2J";
    for (const std::string &source : {std::string("/home/op/evil.img"),
                                      std::string("/etc"),
                                      std::string("/dev/sda1"),
                                      std::string("evil.img"),
                                      std::string(""),
                                      std::string(":/homes"),
                                      std::string("nas:"),
                                      std::string("nas:homes"),
                                      std::string("-obind:/homes"),
                                      std::string("--bind"),
                                      std::string("//nas/homes"),
                                      std::string("LABEL=root"),
                                      std::string("UUID=1234:/x/../.."),
                                      std::string("/tmp:/homes"),
                                      std::string("./nas:/homes"),
                                      std::string("nas,other:/homes"),
                                      std::string("sshfs#op@nas:/homes"),
                                      std::string("op@nas:/homes"),
                                      std::string("nas:/homes#x"),
                                      std::string("nas:/homes//x"),
                                      std::string("nas:/homes/../etc"),
                                      std::string("nas:/.."),
                                      std::string("na s:/homes"),
                                      std::string("[::1:/homes"),
                                      std::string("[nas]:/homes"),
                                      std::string("[::1]x:/homes"),
                                      std::string(254, 'a') + ":/homes",
                                      "nas:/" + std::string(5000, 'a'),
                                      bell,
                                      forged,
                                      c1}) {
        SCOPED_TRACE(source);
        rig::SystemLog::Get().Clear();
        QLIBCErrSet(0);
        EXPECT_EQ(ZAFOLDAPNFSMount(source.c_str()), -1);
        EXPECT_EQ(QLIBCErrGet(), QLIB_ERR_BAD_ARGUMENT);
        EXPECT_FALSE(IsMountPointLeft());
        EXPECT_THAT(rig::SystemLog::Get().Messages(),
                    ElementsAre(HasSubstr("nfs mount refused: ")));
    }
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
}

TEST_F(Mounting, TakesEveryFormOfANetworkExport) {
    for (const char *source :
         {"nas:/", "nas.example.com:/volume1/homes", "192.168.1.5:/homes", "[::1]:/homes",
          "[fe80::1%eth0]:/homes", "nas_1:/a b$c&d/", "nas:/..a/b..", "nas:/zo\xC3\xAB:/x"}) {
        EXPECT_EQ(ZAFOLDAPNFSMount(source), -1) << source << " is exported by nobody";
        ASSERT_THAT(exports_.Mounted(), Not(IsEmpty())) << source;
        EXPECT_EQ(exports_.Mounted().back(), Exports::MountCall(source));
    }
}

// mount(8) treats anything that exists as a disk image, even if its name looks like a server's.
TEST_F(Mounting, FileInTheWorkingFolderIsNotAServer) {
    const fs::path before = fs::current_path();
    fs::create_directories("/tmp/trap/nas:");
    std::ofstream("/tmp/trap/nas:/homes") << "a disk image";
    fs::current_path("/tmp/trap");
    EXPECT_EQ(ZAFOLDAPNFSMount("nas:/homes"), -1);
    fs::current_path(before);
    fs::remove_all("/tmp/trap");
    EXPECT_THAT(exports_.Mounted(), ElementsAre(Exports::MountCall("nas:/homes")))
        << "the NFS client was not asked";
}

TEST_F(Mounting, ExportGrantsNoProgramsNoSetIdBitsAndNoDevices) {
    exports_.Add();
    ASSERT_EQ(ZAFOLDAPNFSMount("server:/homes"), 0);
    const std::string options = OptionsOf(Exports::MountPoint());
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
    for (const char *option : {"nosuid", "nodev", "noexec"})
        EXPECT_THAT(options, HasSubstr(option));
}

// While root creates folders, every local user can see what is mounted.
TEST_F(Mounting, AProgramInTheExportCannotMakeAnyoneRoot) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const fs::path program = exports_.Add() / "become";
    fs::permissions(program.parent_path(), fs::perms(0755));
    fs::copy_file("/usr/bin/id", program);
    ASSERT_EQ(chmod(program.c_str(), 04755), 0);
    ASSERT_EQ(ZAFOLDAPNFSMount("server:/homes"), 0);
    const rig::ProgramRun run = AsNobody({Exports::MountPoint() + "/become", "-u"});
    EXPECT_EQ(ZAFOLDAPNFSUMount(), 0);
    EXPECT_NE(run.exit_code, 0);
    EXPECT_THAT(run.out, Not(HasSubstr("0\n"))) << "no process was root";
}

// --- hostile entries --------------------------------------------------------

class HostileDirectory : public Mounting {
  protected:
    HostileDirectory() {
        server_.Change(
            "dn: automountMapName=auto_home,dc=example,dc=com\nchangetype: add\n"
            "objectClass: automountMap\nautomountMapName: auto_home\n");
        server_.Flush();
    }
    ~HostileDirectory() override {
        for (const char *filter : {"objectClass=automount", "objectClass=automountMap"}) {
            for (const auto &entry :
                 server_.Server().Read("dc=example,dc=com", "sub", {filter, "1.1"}))
                server_.Server().Change("dn: " + entry.dn + "\nchangetype: delete\n");
        }
    }

    void Publish(const std::string &value) {
        server_.Change(
            "dn: automountKey=*,automountMapName=auto_home,dc=example,dc=com\nchangetype: add\n"
            "objectClass: automount\nautomountKey: *\nautomountInformation: " +
            value + "\n");
        server_.Flush();
    }
    // Names as in the directory, which need not match the RDN.
    void AddUser(const std::string &rdn, const std::string &name) {
        server_.Change("dn: cn=" + rdn +
                       ",cn=users,dc=example,dc=com\nchangetype: add\n"
                       "objectClass: posixAccount\nobjectClass: account\nuid: " +
                       name + "\ncn: " + rdn +
                       "\nhomeDirectory: /home/x\nuidNumber: 4001\ngidNumber: 4002\n");
        server_.Flush();
    }

    PoolServer server_;
};

TEST_F(HostileDirectory, DoesNotMakeRootMountADiskImage) {
    Publish("-fstype=nfs /home/op/evil.img&");
    const User anna("anna");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(server_.Host(), &anna), -1);
    EXPECT_THAT(exports_.Mounted(), IsEmpty());
    EXPECT_THAT(rig::SystemLog::Get().Messages(), Contains(HasSubstr("nfs mount refused: ")));
}

TEST_F(HostileDirectory, CannotNameAFolderOutsideTheExport) {
    SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY();
    const fs::path homes = exports_.Add("/deep/homes");
    AddUser("a", "../../escaped");
    AddUser("b", "..");
    AddUser("c", "/tmp/escaped");
    AddUser("d", "sub/escaped");
    AddUser("e", "good");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(server_.Host(), "server", "/deep/homes"), 0);
    EXPECT_EQ(OwnershipOf(homes / "good"), kAnnsFolder);
    for (const fs::path &folder :
         {fs::path("/escaped"), fs::path("/tmp/escaped"), fs::path("/zafoldaphomefolder/escaped"),
          homes / "sub", homes.parent_path() / "escaped"}) {
        EXPECT_FALSE(fs::exists(folder)) << folder;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(homes), fs::directory_iterator()), 1);
}

TEST_F(HostileDirectory, LinkInAUsersPlaceIsNotFollowed) {
    SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY();
    const fs::path homes = exports_.Add();
    const Ownership etc = OwnershipOf("/etc");
    fs::create_symlink("/etc", homes / "anna");
    fs::create_symlink("/etc/made", homes / "bert");
    fs::create_symlink("/made", homes / "carl");
    for (const char *name : {"anna", "bert", "carl"})
        AddUser(name, name);
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateAll(server_.Host(), "server", "/homes"), 0);
    for (const char *name : {"anna", "bert", "carl"}) {
        const User user(name);
        EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreateEx("server:/homes", &user), -1) << name;
    }
    EXPECT_EQ(OwnershipOf("/etc"), etc);
    EXPECT_FALSE(fs::exists("/etc/made"));
    EXPECT_FALSE(fs::exists("/made"));
}

}  // namespace
}  // namespace zafo::test
