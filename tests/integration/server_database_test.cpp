// SPDX-License-Identifier: Apache-2.0
//
// The database without its server: loading entries, looking for one, and whether there are any.
#include <filesystem>

#include "platform/service.h"
#include "tests/integration/server_fixture.h"
#include "tests/rig/ldif_reader.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::ElementsAre;

constexpr int kRefused = 1;  // slapadd's exit code

// A change file with one entry.
class LoadFile {
  public:
    explicit LoadFile(const std::string &dn = "",
                      const std::vector<std::pair<const char *, std::string>> &attributes = {}) {
        EXPECT_EQ(ZAFOLDAPLdifInit(&ldif_, nullptr), 0);
        path_ = ldif_.szPath;
        if (!dn.empty()) ZAFOLDAPLdifTargetDN(&ldif_, dn.c_str());
        for (const auto &[name, value] : attributes)
            ZAFOLDAPLdifAttr(&ldif_, name, "%s", value.c_str());
    }
    LoadFile(const LoadFile &) = delete;
    LoadFile &operator=(const LoadFile &) = delete;

    int Load() {
        ZAFOLDAPErrReset();
        QLIBCErrSet(QLIB_ERR_NONE);
        return ZAFOLDAPServerSlapadd(&ldif_);
    }
    int ExitCode() const { return ldif_.nExitCode; }
    bool Exists() const { return fs::exists(path_); }

  private:
    ZAFOLDAP_LDIF ldif_{};
    std::string path_;
};

std::vector<std::pair<const char *, std::string>> Box(const std::string &name) {
    return {{"cn", name}, {"objectClass", "organizationalRole"}};
}

std::string BoxDN(const std::string &name) {
    return "cn=" + name + "," + ServerSettings().suffix;
}

// The server's own answer on whether an entry exists, and how it writes its DN.
std::string DNByServer(const std::string &dn) {
    const rig::ProgramRun run =
        rig::RunProgram({"ldapsearch", "-x", "-LLL", "-o", "ldif-wrap=no", "-H", "ldap://localhost",
                         "-s", "base", "-b", dn, "1.1"});
    if (run.exit_code != 0) return {};
    return rig::ParseLdif(run.out).at(0).dn;
}

// --- Loading -----------------------------------------------------------------------------

class Loading : public SharedServerTest {};

TEST_F(Loading, RunningServerIsStartedAgainAndShowsTheEntry) {
    Server();
    const int pid = ServerPid();
    const std::string dn = BoxDN("loaded");
    LoadFile file(dn, Box("loaded"));
    EXPECT_EQ(file.Load(), 0);
    EXPECT_FALSE(file.Exists());
    EXPECT_NE(ServerPid(), 0);
    EXPECT_NE(ServerPid(), pid);
    EXPECT_EQ(DNByServer(dn), dn);
    Server().Change("dn: " + dn + "\nchangetype: delete\n");
}

TEST_F(Loading, FileWithoutEntriesIsDeletedAndTheServerNotStopped) {
    Server();
    const int pid = ServerPid();
    LoadFile file;
    EXPECT_EQ(file.Load(), 0);
    EXPECT_FALSE(file.Exists());
    EXPECT_EQ(ServerPid(), pid);
}

// --- Looking for an entry -------------------------------------------------------------------

struct ProbeRow {
    const char *rdn;
    bool found;
};

// The DN is put into a filter unescaped: one with special characters is not found.
constexpr ProbeRow kProbes[] = {
    {"cn=plain", true},
    {"cn=Two  blanks", true},
    {"cn=Zoë Müller", true},
    {"cn=日本", true},
    {"cn=O'Brien & sons", true},
    {"cn=a/b:c", true},
    {"cn=one+description=two", true},
    {"cn=with=sign", true},
    {"cn=star*", false},
    {"cn=(brackets)", false},
    {"cn=comma\\, inside", false},
    {"cn=quote\\\"inside", false},
    {"cn=back\\\\slash", false},
    {"cn=\\23 first", false},
};

class Probe : public SharedServerTest {};

TEST_F(Probe, FindsTheDNAsTheServerWritesIt) {
    for (const ProbeRow &row : kProbes) {
        const std::string asked = std::string(row.rdn) + "," + Server().Settings().suffix;
        Server().Change("dn:: " + rig::Base64(asked) +
                        "\nchangetype: add\nobjectClass: organizationalRole\n");
        const std::string dn = DNByServer(asked);
        EXPECT_NE(dn, "") << asked;
        EXPECT_EQ(ZAFOLDAPServerDNIsExist(dn.c_str()), row.found ? 1 : 0) << dn;
        Server().Change("dn:: " + rig::Base64(asked) + "\nchangetype: delete\n");
        EXPECT_EQ(ZAFOLDAPServerDNIsExist(dn.c_str()), 0) << dn << ", deleted";
    }
}

TEST_F(Probe, OtherSpellingsAreNotTheDN) {
    const std::string suffix = Server().Settings().suffix;
    ASSERT_EQ(ZAFOLDAPServerDNIsExist(("cn=users," + suffix).c_str()), 1);
    for (const std::string &dn : {"cn=Users," + suffix, "CN=users," + suffix, "cn=users, " + suffix,
                                  " cn=users," + suffix, "cn=users," + suffix + " "}) {
        EXPECT_EQ(ZAFOLDAPServerDNIsExist(dn.c_str()), 0) << dn;
        EXPECT_NE(DNByServer(dn), "") << dn << " is one to the server";
    }
}

TEST_F(Probe, ParentsAndChildrenAreNotTheDN) {
    const std::string suffix = Server().Settings().suffix;
    for (const std::string &dn : {std::string("dc=example"), std::string(), "cn=none," + suffix,
                                  "cn=users,cn=users," + suffix})
        EXPECT_EQ(ZAFOLDAPServerDNIsExist(dn.c_str()), 0) << dn;
}

// --- What slapadd refuses ------------------------------------------------------------

struct RefusalRow {
    const char *name;
    const char *rdn;
    std::vector<std::pair<const char *, std::string>> attributes;
};

const RefusalRow kRefusals[] = {
    {"EntryThatExists", "cn=users", Box("users")},
    {"UnknownClass", "cn=new", {{"cn", "new"}, {"objectClass", "nonsense"}}},
    {"MissingAttribute", "cn=new", {{"cn", "new"}, {"objectClass", "posixGroup"}}},
};

void PrintTo(const RefusalRow &row, std::ostream *out) {
    *out << row.name;
}

class Orphans : public NewMachineTest {};

class Refusal : public NewMachineTest, public testing::WithParamInterface<RefusalRow> {};

TEST_P(Refusal, ExitCodeIsInTheRecordAndIsTheLibraryError) {
    QLIBServiceDisable(kService);
    Enable(settings_);
    const std::string before = Slapcat();
    LoadFile file(std::string(GetParam().rdn) + "," + settings_.suffix, GetParam().attributes);
    EXPECT_EQ(file.Load(), -1);
    EXPECT_EQ(file.ExitCode(), kRefused);
    EXPECT_EQ(LastCodes().library, kRefused);
    EXPECT_FALSE(file.Exists());
    EXPECT_EQ(Slapcat(), before);
}

INSTANTIATE_TEST_SUITE_P(Server, Refusal, testing::ValuesIn(kRefusals),
                         [](const auto &row) { return row.param.name; });

// slapadd(8) adds the entry first and checks for its parents at the end.
TEST_F(Orphans, AreReportedAndStay) {
    QLIBServiceDisable(kService);
    Enable(settings_);
    const std::string dn = "cn=new,cn=nowhere," + settings_.suffix;
    LoadFile file(dn, Box("new"));
    EXPECT_EQ(file.Load(), -1);
    EXPECT_EQ(file.ExitCode(), kRefused);
    EXPECT_THAT(ContentDNs(), Contains(dn));

    LoadFile parent("cn=nowhere," + settings_.suffix, Box("nowhere"));
    EXPECT_EQ(parent.Load(), 0);
    EXPECT_EQ(ZAFOLDAPServerDNIsExist(dn.c_str()), 1);
}

// --- Whether there is anything -----------------------------------------------------------------

class Emptiness : public NewMachineTest {
  protected:
    void Configure() const {
        const ZAFOLDAP_SERVER_PARAM record = settings_.Record();
        ASSERT_EQ(ZAFOLDAPServerConfSet(&record), 0);
        ASSERT_EQ(ZAFOLDAPServerACLConfGen(&record), 0);
    }
};

TEST_F(Emptiness, NeverMadeIsEmpty) {
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    fs::remove_all(kDatabase);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
}

TEST_F(Emptiness, EndsWithTheFirstEntryThatIsLoadedAndBeginsWithReset) {
    Configure();
    LoadFile refused(settings_.suffix, {{"objectClass", "nonsense"}});
    EXPECT_EQ(refused.Load(), -1);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    LoadFile base(settings_.suffix, {{"dc", "home"}, {"objectClass", "domain"}});
    EXPECT_EQ(base.Load(), 0);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 0);
    EXPECT_EQ(ZAFOLDAPServerDBReset(), 0);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
}

// A server without entries still has a database file. What is added through it counts only once the
// server has ended.
TEST_F(Emptiness, OfAServerThatBeganEmptyEndsWhenItStops) {
    Configure();
    ASSERT_EQ(ZAFOLDAPServerStart(), 0);
    ASSERT_GT(fs::file_size(std::string(kDatabase) + "/data.mdb"), 0U);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    const ZAFOLDAP_SERVER_PARAM record = settings_.Record();
    ASSERT_EQ(ZAFOLDAPBrowserConfSetByServerParam(&record), 0);
    ZAFOLDAP_HOST host;
    EXPECT_EQ(ZAFOLDAPHostInitByBrowserConfig(&host, nullptr), 1);
    EXPECT_EQ(ZAFOLDAPBrowserRootNodeCreate(&host), 0);
    EXPECT_EQ(ZAFOLDAPBrowserNodeCreate(&host, "box"), 0);
    ZAFOLDAPHostFree(&host);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 1);
    EXPECT_EQ(ZAFOLDAPServerStop(), 0);
    EXPECT_EQ(ZAFOLDAPServerDBIsEmpty(), 0);
    EXPECT_THAT(ContentDNs(), ElementsAre(settings_.suffix, "cn=box," + settings_.suffix));
}

}  // namespace
}  // namespace zafo::test
