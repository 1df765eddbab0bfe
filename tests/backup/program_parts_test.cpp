// SPDX-License-Identifier: Apache-2.0
//
// The backup program's decisions, each in isolation.
#include <cstdlib>
#include <limits>

#include <gtest/gtest.h>

#include "tools/backup/destination.h"
#include "tools/backup/job_error.h"
#include "tools/zafoldapbackup/configuration_copy.h"
#include "tools/zafoldapbackup/environment.h"
#include "tools/zafoldapbackup/missing_configuration.h"
#include "tools/zafoldapbackup/slapd_version.h"

namespace {

using namespace zafo::backup;

TEST(BackupEnvironment, SaysHowManyBackupsToKeep) {
    const std::pair<const char *, std::uint64_t> kCases[] = {
        {nullptr, 10}, {"", 10}, {"0", 10},  {"-3", 10},  {"many", 10}, {"5x", 10},
        {" 5", 10},    {"1", 1}, {"25", 25}, {"0007", 7}, {"+3", 10},   {"5.5", 10}};
    for (const auto &[text, keep] : kCases)
        EXPECT_EQ(KeepFrom(text), keep) << (text != nullptr ? text : "not set");
}

TEST(BackupEnvironment, TakesANumberBeyondCountingForNoLimit) {
    EXPECT_EQ(KeepFrom("99999999999999999999999"), std::numeric_limits<std::uint64_t>::max());
}

TEST(BackupEnvironment, HasDefaultsForWhatIsNotSet) {
    clearenv();
    const Environment environment = ReadEnvironment();
    EXPECT_EQ(environment.progress_file, "/var/log/zafoldap.progress");
    EXPECT_EQ(environment.prefix, "zafoldap");
    EXPECT_EQ(environment.task, "backup");
    EXPECT_EQ(environment.folder, "");
    EXPECT_EQ(environment.keep, 10u);
}

TEST(BackupEnvironment, IsWhatTheCallerSets) {
    clearenv();
    setenv("LDAP_BROWSER_CONF", "/a", 1);
    setenv("LDAP_BKP_PROGRESS_FILE", "/b", 1);
    setenv("LDAP_BKP_PREFIX", "c", 1);
    setenv("LDAP_BKP_TASK", "d", 1);
    setenv("LDAP_BKP_DEST_DIR", "/e", 1);
    setenv("LDAP_BKP_MAX_BACKUP_FILE", "4", 1);
    const Environment environment = ReadEnvironment();
    EXPECT_EQ(environment.browser_conf, "/a");
    EXPECT_EQ(environment.progress_file, "/b");
    EXPECT_EQ(environment.prefix, "c");
    EXPECT_EQ(environment.task, "d");
    EXPECT_EQ(environment.folder, "/e");
    EXPECT_EQ(environment.keep, 4u);
    clearenv();
}

TEST(BackupEnvironment, MustNotLeadOutOfTheFolder) {
    setenv("LDAP_BKP_PREFIX", "../x", 1);
    EXPECT_THROW(ReadEnvironment(), JobError);
    unsetenv("LDAP_BKP_PREFIX");
}

TEST(BackupSpace, IsExpectedFromTheNewestBackup) {
    constexpr std::uint64_t kSpare = 4U << 20;
    EXPECT_EQ(NeededBytes({}, 0), kSpare);
    EXPECT_EQ(NeededBytes({}, 400), kSpare + 100);
    const std::vector<FoundBackup> found = {{"new", 2, 0, 1000}, {"old", 1, 0, 500000}};
    EXPECT_EQ(NeededBytes(found, 400), kSpare + 1100);
}

TEST(SavedSection, IsTakenAloneAndWithoutComments) {
    constexpr const char *kText =
        "# all\nstray=1\n[other]\nbindpw=no\n\n[root]\n# mine\nuri=localhost\n ; old\n  bindpw = x "
        "y \n\n"
        "[third]\nuri=z\n";
    EXPECT_EQ(SectionIn(kText, "root"), "[root]\nuri=localhost\nbindpw = x y\n");
    EXPECT_EQ(SectionIn(kText, "third"), "[third]\nuri=z\n");
    EXPECT_EQ(SectionIn(kText, "roo"), "");
    EXPECT_EQ(SectionIn("", "root"), "");
    EXPECT_EQ(SectionIn("[ root ]\na=b", "root"), "[ root ]\na=b\n");
}

TEST(SlapdVersion, IsTheFirstWordOfItsLine) {
    EXPECT_EQ(VersionIn("@(#) $OpenLDAP: slapd 2.5.13+dfsg-5 (Feb  8 2023 01:56:12) $\n\tDebian\n"),
              "2.5.13+dfsg-5");
    EXPECT_EQ(VersionIn("@(#) $OpenLDAP: slapd 2.6.7\n"), "2.6.7");
    for (const char *words : {"", "slapd", "$OpenLDAP: slapd ", "$OpenLDAP: slapd X.Y"})
        EXPECT_EQ(VersionIn(words), "") << words;
}

TEST(SlapdVersion, IsKnownOfTheInstalledOne) {
    EXPECT_TRUE(SlapdVersion().starts_with("2.")) << SlapdVersion();
}

// --- What of a backup's configuration is taken ------------------------------------------------

TEST(ValuesOfABackup, ArePlainDns) {
    for (const char *dn :
         {"dc=example,dc=com", "cn=the admin,dc=example,dc=com", "o=M\xC3\xBCller"})
        EXPECT_TRUE(IsPlainDn(dn)) << dn;
    for (const char *dn :
         {"", "example", "=a", "dc=", "dc=a,", ",dc=a", "dc=a,,dc=b", "dc=a\nmoduleload x",
          "dc=\"a\"", "dc=a\\2Cb", "dc=a+o=b", "dc=a;dc=b", "dc=a#", "dc=[a]"})
        EXPECT_FALSE(IsPlainDn(dn)) << dn;
    EXPECT_FALSE(IsPlainDn("dc=" + std::string(2000, 'a')));
}

TEST(ValuesOfABackup, AreHashes) {
    for (const char *hash : {"{CRYPT}$1$abcdefgh$0123456789./ABCDEFGHIJ",
                             "{CRYPT}$6$rounds=20000$a$b", "{SSHA}W6ph5Mm5Pz8GgiULbPgzG37mj9g="})
        EXPECT_TRUE(IsPasswordHash(hash)) << hash;
    for (const char *text : {"", "secret", "{CLEARTEXT}secret", "{CRYPT}", "{CRYPT}a b",
                             "{CRYPT}a\ninclude /x", "{SASL}a@b", "CRYPT}a"})
        EXPECT_FALSE(IsPasswordHash(text)) << text;
}

TEST(ValuesOfABackup, AreNotDifferencesOfTheConfiguration) {
    EXPECT_TRUE(DifferingDirectives("suffix a\nrootpw x\n# c\nindex  uid\n\teq\n",
                                    "index uid eq\nrootdn b\n")
                    .empty());
    EXPECT_EQ(DifferingDirectives("moduleload a\nmoduleload b\nindex uid eq\n", "index cn eq\n"),
              (std::vector<std::string>{"index", "moduleload"}));
}

}  // namespace
