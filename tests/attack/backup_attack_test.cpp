// SPDX-License-Identifier: Apache-2.0
//
// Backups and restores under attack: by an account with write access to the backup folder, and by a
// person who gives the administrator a backup to restore.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/attack/crafted_backup.h"
#include "tests/tools/on_terminal.h"

namespace zafo::test {
namespace {

namespace fs = std::filesystem;

using namespace zafo::rig;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr const char *kAdminDn = "cn=admin,dc=example,dc=com";
constexpr const char *kSecretFile = "/srv/secret";
constexpr const char *kKeyInBase64 = "LS0tLS1CRUdJTi";  // "-----BEGIN"
constexpr const char *kSecret = "the machine's own secret";

// --- The backup folder ----------------------------------------------------------------

// A folder in which everyone may create files, but not remove those of others.
class SharedFolder : public BackupAttack {
  protected:
    void SetUp() override {
        SKIP_WITHOUT_OTHER_ACCOUNTS();
        BackupAttack::SetUp();
        fs::permissions(kFolder, fs::perms(01777));
    }

    static void Plant(const std::string &name, const std::string &bytes = "") {
        WriteFile("/tmp/planted", bytes, 0644);
        const ProgramRun run = AsNobody({"cp", "/tmp/planted", std::string(kFolder) + "/" + name});
        ASSERT_EQ(run.exit_code, 0) << run.err;
    }
};

TEST_F(SharedFolder, EmptyFilesWithHighNumbersRemoveNoBackup) {
    ASSERT_EQ(ServerLine("backup config set --keep 3").exit_code, 0);
    const std::vector<std::string> own = {Make(), Make()};
    for (const char *name :
         {"zafoldap-000900-20270101T000000Z.tar.zst", "zafoldap-000901-20270101T000000Z.tar.zst",
          "zafoldap-000902-20270101T000000Z.tar.zst"})
        Plant(name);
    const ProgramRun run = ServerLine("backup now");
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("zafoldap-000900-20270101T000000Z.tar.zst does not count: it "
                                   "belongs to user 65534, not to root"));
    for (const std::string &path : own)
        EXPECT_TRUE(fs::exists(path)) << path;
    EXPECT_EQ(Files().size(), 6U) << "what does not count is not removed either";
}

TEST_F(SharedFolder, AStrangersCompleteBackupIsNotTheLatest) {
    const std::string own = Make();
    const std::string bytes = ReadFile(Crafted(own, [](auto &) {}));
    Plant("zafoldap-000900-20270101T000000Z.tar.zst", bytes);
    const ProgramRun run = ServerLine("restore --latest --dry-run");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("would restore the backup " + own));
}

TEST_F(SharedFolder, ANumberWithoutASuccessorDoesNotEndBackups) {
    const std::string name = "zafoldap-999999999999999999-20270101T000000Z.tar.zst";
    const std::string own = Make();
    fs::copy_file(own, std::string(kFolder) + "/" + name);
    Plant("zafoldap-999999999999999998-20270101T000000Z.tar.zst", ReadFile(own));
    EXPECT_THAT(Make(), HasSubstr("/zafoldap-000002-"));
    EXPECT_THAT(Make(), HasSubstr("/zafoldap-000003-"));
    EXPECT_THAT(Files(), Contains(name));
}

TEST_F(SharedFolder, IsWarnedOfWithTheRemedy) {
    const ProgramRun set = ServerLine(std::string("backup config set --dir ") + kFolder);
    EXPECT_THAT(set.err, AllOf(HasSubstr("/backups is writable by everybody"),
                               HasSubstr("hint: chmod go-w /backups")));
    const Json finding = Finding(ZafoldapserverJson({"check"}, 0), "backup-destination");
    EXPECT_EQ(finding["severity"], "warning") << finding;
    EXPECT_EQ(finding["fix"], "chmod go-w /backups");
    EXPECT_EQ(RunProgram({"chmod", "go-w", kFolder}).exit_code, 0);
    EXPECT_THAT(ServerLine(std::string("backup config set --dir ") + kFolder).err,
                Not(HasSubstr("can be written")));
}

TEST_F(SharedFolder, IsWarnedOfWhenOnlyAFolderAboveItHasAnotherOwner) {
    fs::create_directories("/srv/share/backups");
    ASSERT_EQ(chown("/srv/share", kNobody, kNobody), 0);
    const ProgramRun set = ServerLine("backup config set --dir /srv/share/backups");
    EXPECT_THAT(set.err, AllOf(HasSubstr("/srv/share belongs to user 65534"),
                               HasSubstr("chown -h root /srv/share")));
    fs::remove_all("/srv/share");
}

// --- What is confirmed and what is restored -----------------------------------------------

class Confirmed : public BackupAttack {
  protected:
    void SetUp() override {
        BackupAttack::SetUp();
        file_ = Make();
        other_ = WithEntries(file_,
                             "dn: cn=mallory,dc=example,dc=com\ncn: mallory\n"
                             "objectClass: organizationalRole\n\n");
    }

    // Runs a restore, with `meanwhile` called between the question and its answer.
    template <typename Meanwhile>
    static int RestoreWhile(Meanwhile meanwhile, std::string *seen) {
        OnTerminal program({"restore", "--latest"}, "/usr/zafo/bin/zafoldapserver");
        program.Answer("to continue: ", "");
        meanwhile();
        program.Answer("to continue: ", "dc=example,dc=com\n");
        const int exit_code = program.Finish();
        *seen = program.Seen();
        return exit_code;
    }

    std::string file_, other_;
};

TEST_F(Confirmed, AnotherFileUnderTheSameNameIsNotRestored) {
    std::string seen;
    EXPECT_EQ(RestoreWhile([&] { fs::rename(other_, file_); }, &seen), 0) << seen;
    EXPECT_THAT(Database(), AllOf(HasSubstr("dn: dc=example,dc=com"), Not(HasSubstr("mallory"))));
}

TEST_F(Confirmed, OtherBytesInTheSameFileAreNotRestored) {
    const auto overwrite = [&] {
        std::ofstream(file_, std::ios::in | std::ios::trunc) << ReadFile(other_);
    };
    std::string seen;
    EXPECT_EQ(RestoreWhile(overwrite, &seen), 1);
    EXPECT_THAT(seen, AllOf(HasSubstr("was changed after it was"), HasSubstr("confirmed")));
    EXPECT_THAT(Database(), Not(HasSubstr("mallory")));
    EXPECT_EQ(ServerLine("status").exit_code, 0);
}

// --- What entries a backup may hold -------------------------------------------------------

struct Form {
    const char *name;
    const char *text;
};

void PrintTo(const Form &form, std::ostream *out) {
    *out << form.name;
}

// slapadd of OpenLDAP 2.5 loads the file into the database for each of the first ones; the others
// are variants.
constexpr const char *kRole =
    "dn: cn=x,dc=example,dc=com\nobjectClass: organizationalRole\ncn: x\n";
const Form kForms[] = {
    {"Plain", "description:< file:///srv/secret\n\n"},
    {"TheServersKey", "description:< file:///usr/zafo/etc/openldap/tls/server.key\n\n"},
    {"WithAnOption", "description;lang-de:< file:///srv/secret\n\n"},
    {"WithoutABlank", "description:<file:///srv/secret\n\n"},
    {"Folded", "description:< fi\n le:///srv/secret\n\n"},
    {"BehindATab", "\tdescription:< file:///srv/secret\n\n"},
    {"WithCarriageReturns", "description:<\r file:///srv/secret\r\n\n"},
    {"Include", "\ninclude: file:///srv/entry.ldif\n\n"},
    {"IncludeInCapitals", "\nINCLUDE:file:///srv/entry.ldif\n\n"},
    {"IncludeBehindAComment", "\n# x\ninclude: file:///srv/entry.ldif\n\n"},
    {"BehindANumber",
     "\n5\ndn: cn=y,dc=example,dc=com\nobjectClass: organizationalRole\ncn: y\n"
     "description:< file:///srv/secret\n\n"},
    {"FoldedBeforeTheSign", "description:\n < file:///srv/secret\n\n"},
    {"FoldedBeforeTheColon", "description\n :< file:///srv/secret\n\n"},
    {"FoldedName", "descrip\n tion:< file:///srv/secret\n\n"},
    {"BlankBeforeTheColon", "description :< file:///srv/secret\n\n"},
    {"BlankBeforeTheSign", "description: < file:///srv/secret\n\n"},
    {"BehindAnEncodedValue", "description::< file:///srv/secret\n\n"},
    {"InAComment", "# x\n description:< file:///srv/secret\n\n"},
    {"Change", "changetype: add\ndescription: x\n\n"},
    {"Control", "control: 1.2.3.4\n\n"},
    {"SecondDn", "dn: cn=z,dc=example,dc=com\n\n"},
};

class OrdersToSlapadd : public BackupAttack, public testing::WithParamInterface<Form> {};

TEST_P(OrdersToSlapadd, AreRefusedBeforeItReadsThem) {
    // slapadd runs as the server's user, and so can read its files: its key, for one.
    fs::create_directories("/srv");
    WriteFile(kSecretFile, kSecret, 0644);
    WriteFile("/srv/entry.ldif",
              "dn: cn=included,dc=example,dc=com\nobjectClass: organizationalRole\ncn: included\n"
              "description: " +
                  std::string(kSecret) + "\n\n",
              0644);
    const std::string crafted = WithEntries(Make(), std::string(kRole) + GetParam().text);
    const ProgramRun run = RunProgram({kBackupTool, "-r", crafted});
    EXPECT_EQ(run.exit_code, 8) << run.err;
    EXPECT_THAT(run.err, HasSubstr(": line "));
    EXPECT_THAT(Database(), AllOf(HasSubstr("dn: dc=example,dc=com"), Not(HasSubstr(kSecret)),
                                  Not(HasSubstr(kKeyInBase64)), Not(HasSubstr("cn=x,"))));
    EXPECT_EQ(ServerLine("backup verify " + crafted).exit_code, 1);
}

INSTANTIATE_TEST_SUITE_P(Forms, OrdersToSlapadd, testing::ValuesIn(kForms),
                         [](const auto &form) { return form.param.name; });

TEST_F(BackupAttack, ARefusedLineIsNamedWithItsEntry) {
    const std::string crafted =
        WithEntries(Make(), std::string(kRole) + "description:< file:///srv/secret\n\n");
    const ProgramRun run = ServerLine("restore " + crafted + " --yes");
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_THAT(run.err, AllOf(HasSubstr("in the entry \"dn: cn=x,dc=example,dc=com\""),
                               HasSubstr("to be read from a file or URL")));
}

TEST_F(BackupAttack, ANulInAnEntryIsRefused) {
    const std::string crafted =
        WithEntries(Make(), kRole + std::string("description: a\0\nx: b\n\n", 21));
    EXPECT_THAT(RunProgram({kBackupTool, "-r", crafted}).err,
                HasSubstr("contains a control character"));
}

// --- An entry at the administrator's DN ---------------------------------------------------

const Form kNames[] = {
    {"AsItStands", "dn: cn=admin,dc=example,dc=com\ncn: admin\n"},
    {"InCapitals", "dn: CN=ADMIN,DC=example,DC=com\ncn: admin\n"},
    {"WithBlanks", "dn: cn = admin , dc=example, dc=com\ncn: admin\n"},
    {"Escaped", "dn: cn=\\61dmin,dc=example,dc=com\ncn: admin\n"},
    {"Encoded", "dn:: Y249YWRtaW4sZGM9ZXhhbXBsZSxkYz1jb20=\ncn: admin\n"},
    {"Folded", "dn: cn=adm\n in,dc=example,dc=com\ncn: admin\n"},
    {"ByNumber", "dn: 2.5.4.3=admin,dc=example,dc=com\ncn: admin\n"},
    {"ByLongName", "dn: commonName=admin,dc=example,dc=com\ncn: admin\n"},
    // "ａdmin" with a full-width letter, which slapd considers equal.
    {"InFullWidth", "dn:: Y249772BZG1pbixkYz1leGFtcGxlLGRjPWNvbQ==\ncn:: 772BZG1pbg==\n"},
};

constexpr const char *kPlanted =
    "objectClass: organizationalRole\nobjectClass: simpleSecurityObject\n"
    "userPassword: planted\n\n";

class AdministratorsEntry : public BackupAttack, public testing::WithParamInterface<Form> {};

TEST_P(AdministratorsEntry, IsNotRestored) {
    const std::string crafted = WithEntries(Make(), GetParam().text + std::string(kPlanted));
    const ProgramRun run = RunProgram({kBackupTool, "-r", crafted});
    EXPECT_EQ(run.exit_code, 8) << run.err;
    EXPECT_THAT(run.err, HasSubstr("has an entry cn=admin,dc=example,dc=com"));
    const ProgramRun bind =
        RunProgram({"/usr/bin/ldapwhoami", "-x", "-ZZ", "-o", "TLS_REQCERT=never", "-H",
                    "ldap://localhost", "-D", kAdminDn, "-w", "planted"});
    EXPECT_EQ(bind.exit_code, 49) << bind.out << bind.err;
}

INSTANTIATE_TEST_SUITE_P(Names, AdministratorsEntry, testing::ValuesIn(kNames),
                         [](const auto &form) { return form.param.name; });

TEST_F(BackupAttack, AnEntryAtTheAdministratorsDnCanBeLeftOut) {
    const std::string crafted = WithEntries(
        Make(), std::string("dn: cn=Admin,dc=example,dc=com\ncn: admin\n") + kPlanted +
                    "dn: cn=kept,dc=example,dc=com\nobjectClass: organizationalRole\ncn: kept\n\n");
    const ProgramRun refused = ServerLine("restore " + crafted + " --yes");
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_THAT(refused.err, HasSubstr("zafoldapserver restore --without-admin-entry"));
    const ProgramRun run = ServerLine("restore " + crafted + " --without-admin-entry --yes");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("the entry cn=admin,dc=example,dc=com was left out"));
    EXPECT_THAT(Database(), AllOf(HasSubstr("dn: cn=kept,"), Not(HasSubstr("dn: cn=Admin,"))));
    EXPECT_EQ(Users(), "admin\n");
}

// --- Passwords ----------------------------------------------------------------------------

TEST_F(BackupAttack, PasswordsThatAreNotHashedAreCounted) {
    const std::string crafted =
        WithEntries(Make(), std::string(kRole) +
                                "objectClass: simpleSecurityObject\nuserPassword: sesame\n"
                                "userPassword:: e0NSWVBUfSQ2JGE=\nuserPassword: {CLEARTEXT}x\n\n");
    EXPECT_THAT(ServerLine("backup verify " + crafted).err,
                HasSubstr("1 account in it has a password that is not hashed"));
    EXPECT_THAT(ServerLine("backup verify " + Make()).err, Not(HasSubstr("not hashed")));
}

// --- Locks and the progress ---------------------------------------------------------------

TEST_F(BackupAttack, AStrangerHoldsNoLock) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    Make();
    ASSERT_EQ(ServerLine("restart").exit_code, 0);
    for (const char *lock : {"/var/run/ldap-server-start.lock", kJobLock}) {
        ASSERT_TRUE(fs::exists(lock)) << lock;
        EXPECT_NE(AsNobody({"flock", "--nonblock", lock, "true"}).exit_code, 0) << lock;
    }
}

TEST_F(BackupAttack, TheProgressIsNotWrittenToAStrangersFile) {
    SKIP_WITHOUT_OTHER_ACCOUNTS();
    const std::string folder = "/tmp/progress";
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms(0777));
    ASSERT_EQ(AsNobody({"touch", folder + "/own.new"}).exit_code, 0);
    ASSERT_EQ(AsNobody({"ln", folder + "/own.new", folder + "/kept"}).exit_code, 0);
    const ProgramRun run = RunProgram({"env", "LDAP_BKP_PROGRESS_FILE=" + folder + "/own",
                                       std::string("LDAP_BKP_DEST_DIR=") + kFolder, kBackupTool});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(ReadFile(folder + "/own"), HasSubstr("operation=backup"));
    EXPECT_EQ(ReadFile(folder + "/kept"), "");
    fs::remove_all(folder);
}

// --- A machine without a configuration ----------------------------------------------------

// Must be last: it replaces the server.
TEST_F(BackupAttack, TextOfABackupsConfigurationIsNeverInstalled) {
    const std::string crafted = Crafted(Make(), [](std::vector<Member> &members) {
        std::string &conf = Named(members, "config/slapd.conf").bytes;
        conf.insert(conf.find("moduleload"), "moduleload /tmp/evil.so\ninclude /tmp/evil.conf\n");
        conf.insert(conf.find("TLSCertificateFile"), "authz-regexp .* cn=evil\n");
        const size_t hash = conf.find("rootpw ");
        conf.replace(hash, conf.find('\n', hash) - hash, "rootpw evil");
        Named(members, "config/slapd-acls.conf").bytes = "access to * by * manage # evil\n";
        std::string &connection = Named(members, "config/ldapbrowser.conf").bytes;
        connection += "uri=evil.example.com\n";
    });
    const std::string rules = ReadFile(kRules);
    ASSERT_EQ(ServerLine("reset --yes").exit_code, 0);
    const ProgramRun run = ServerLine("restore " + crafted + " --yes");
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_THAT(run.err, AllOf(HasSubstr("slapd.conf was rewritten; that of the backup differs in "
                                         "authz-regexp, include, moduleload"),
                               HasSubstr("the access rules were rewritten"),
                               HasSubstr("is not a hash and was not used")));
    EXPECT_THAT(ReadFile(kSlapdConf),
                AllOf(HasSubstr("dc=example,dc=com"), Not(HasSubstr("evil"))));
    EXPECT_EQ(ReadFile(kRules), rules);
    EXPECT_THAT(ReadFile(kConnections), Not(HasSubstr("evil")));
    EXPECT_EQ(ServerLine("enable --suffix dc=example,dc=com --password-stdin").exit_code, 0);
}

}  // namespace
}  // namespace zafo::test
