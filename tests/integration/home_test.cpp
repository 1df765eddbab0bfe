// SPDX-License-Identifier: Apache-2.0
//
// Automount maps in a real directory and home folders in an export mounted by the real mount(8).
#include "tests/accounts/home_fixture.h"
#include "tests/integration/pool_fixture.h"
#include "tests/rig/cipher.h"

namespace zafo::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr const char *kEveryKey = "automountKey=*,automountMapName=auto_home,dc=example,dc=com";

// Exports are simulated, except in RealHomes.
class Homes : public testing::Test {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_CIPHER();
        SKIP_UNLESS_FOLDERS_CAN_BE_GIVEN_AWAY();
        ASSERT_EQ(ZAFOLDAPBrowserConfSet(server_.Host(), nullptr), 0);
        for (const char *name : {"ann", "bob", "cy"}) {
            const std::string text = name;
            server_.Change("dn: uid=" + text +
                           ",cn=users,dc=example,dc=com\nchangetype: add\n"
                           "objectClass: account\nobjectClass: posixAccount\nuid: " +
                           text + "\ncn: " + text + "\nhomeDirectory: /home/" + text +
                           "\nuidNumber: 4001\ngidNumber: 4002\n");
        }
        server_.Flush();
    }
    ~Homes() override {
        fs::remove("/usr/zafo/etc/private/ldapbrowser.conf");
        for (const auto &entry :
             server_.Server().Read("dc=example,dc=com", "sub", {"objectClass=automount", "1.1"}))
            server_.Change("dn: " + entry.dn + "\nchangetype: delete\n");
        for (const auto &entry :
             server_.Server().Read("dc=example,dc=com", "sub", {"objectClass=automountMap", "1.1"}))
            server_.Change("dn: " + entry.dn + "\nchangetype: delete\n");
    }

    std::vector<rig::LdifEntry> Maps() const {
        return server_.Server().Read("dc=example,dc=com", "sub",
                                     {"(|(objectClass=automount)(objectClass=automountMap))", "*",
                                      "modifyTimestamp", "entryCSN"});
    }
    std::string Information() const { return server_.Read(kEveryKey, "automountInformation"); }

    const Exports exports_;
    PoolServer server_;
};

TEST_F(Homes, MapsArePublishedAndEveryUserGetsAFolder) {
    const fs::path homes = exports_.Add();
    fs::create_directory(homes / "bob");
    const Ownership bobs = OwnershipOf(homes / "bob");
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("server", "/homes/"), 0);
    EXPECT_THAT(Maps(), SizeIs(4));
    EXPECT_EQ(server_.Read("automountKey=/home,automountMapName=auto_master,dc=example,dc=com",
                           "automountInformation"),
              "auto_home");
    EXPECT_EQ(Information(), "-fstype=nfs server:/homes/&");
    EXPECT_EQ(OwnershipOf(homes / "ann"), kAnnsFolder);
    EXPECT_EQ(OwnershipOf(homes / "bob"), bobs);
    EXPECT_EQ(OwnershipOf(homes / "cy"), kAnnsFolder);
}

TEST_F(Homes, SecondCallWithAnotherHostChangesTheKeyOfAllUsersAlone) {
    exports_.Add("/homes");
    exports_.Add("/homes", "other");
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("server", "/homes"), 0);
    const auto before = Maps();
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("other", "/homes"), 0);
    const auto after = Maps();
    ASSERT_THAT(after, SizeIs(4));
    for (size_t i = 0; i < after.size(); ++i)
        EXPECT_EQ(after[i] == before[i], after[i].dn != kEveryKey) << after[i];
    EXPECT_EQ(Information(), "-fstype=nfs other:/homes/&");
}

TEST_F(Homes, AwkwardPathIsPublishedEscapedAndReadBack) {
    const fs::path homes = exports_.Add("/a b$c&d");
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("server", "/a b$c&d/"), 0);
    EXPECT_EQ(Information(), R"(-fstype=nfs server:/a\ b\$c\&d/&)");
    EXPECT_TRUE(fs::is_directory(homes / "ann"));
    const User dora("dora");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(server_.Host(), &dora), 0);
    EXPECT_EQ(OwnershipOf(homes / "dora"), kAnnsFolder);
    EXPECT_EQ(exports_.Mounted().back(), exports_.MountCall("server:/a b$c&d/"));
}

TEST_F(Homes, MapsStayWhenTheExportCannotBeMounted) {
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("server", "/no"), 0);
    EXPECT_EQ(Information(), "-fstype=nfs server:/no/&");
    const User ann;
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(server_.Host(), &ann), -1);
}

TEST_F(Homes, FolderWithoutMapsIsAFailure) {
    const User ann;
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(server_.Host(), &ann), -1);
    EXPECT_EQ(ZAFOLDAPErrGet(), 32);
}

// --- the kernel's own NFS, where the machine has it ----------------------------

// Prints the reason when it is unavailable.
constexpr const char *kStartServer = R"(
for kind in nfs4 nfsd; do
    grep -qw "$kind" /proc/filesystems || { echo "the kernel has no $kind"; exit 1; }
done
for program in exportfs rpc.nfsd rpc.mountd /usr/sbin/mount.nfs; do
    command -v "$program" >/dev/null || { echo "$program is not installed"; exit 1; }
done
exec 2>&1
set -e
mkdir -p /var/lib/nfs/v4recovery "$1"
mount -t nfsd nfsd /proc/fs/nfsd
rpc.mountd
rpc.nfsd --no-nfs-version 3 1
exportfs -o rw,no_root_squash,insecure,fsid=1 "localhost:$1"
ln -sf /usr/sbin/mount.nfs /sbin/mount.nfs
)";
constexpr const char *kStopServer = R"(
ln -sf /mnt/root/mount.nfs /sbin/mount.nfs
[ -e /proc/fs/nfsd/threads ] || exit 0
exportfs -ua
rpc.nfsd 0
umount /proc/fs/nfsd
)";

class RealHomes : public Homes {
  protected:
    void SetUp() override {
        Homes::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        const auto run = rig::RunProgram(
            {"timeout", "20", "bash", "-c", kStartServer, "start", homes_.string()});
        if (run.exit_code != 0) GTEST_SKIP() << "no NFS server: " << run.out;
    }
    ~RealHomes() override { rig::RunProgram({"timeout", "20", "bash", "-c", kStopServer}); }

    const fs::path homes_ = "/var/lib/exports/real";
};

TEST_F(RealHomes, EveryUserGetsAFolderOverTheNetwork) {
    EXPECT_EQ(ZAFOLDAPServerAutomountCreate("localhost", homes_.c_str()), 0);
    EXPECT_EQ(OwnershipOf(homes_ / "ann"), kAnnsFolder);
    EXPECT_EQ(OwnershipOf(homes_ / "cy"), kAnnsFolder);
    const User dora("dora");
    EXPECT_EQ(ZAFOLDAPBrowserUserHomeCreate(server_.Host(), &dora), 0);
    EXPECT_EQ(OwnershipOf(homes_ / "dora"), kAnnsFolder);
}

}  // namespace
}  // namespace zafo::test
