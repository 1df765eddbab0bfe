// SPDX-License-Identifier: Apache-2.0
#include <signal.h>

#include <gtest/gtest.h>

#include "tools/backup/job_error.h"
#include "tools/restore/loading_configuration.h"
#include "tools/restore/staging.h"

namespace zafo::test {
namespace {

using namespace zafo::backup;

const LoadingChange kChange{.directory = "/etc/openldap/data",
                            .new_directory = "/etc/openldap/data.new"};

TEST(LoadingConfiguration, KeepsAllButFolderAndPassword) {
    EXPECT_EQ(LoadingConfiguration("# directory /etc/openldap/data\n"
                                   "include /etc/ldap/schema/core.schema\n"
                                   "access to *\n  by * read\n\n"
                                   "database mdb\n"
                                   "suffix \"dc=example,dc=com\"\n"
                                   "rootpw \"{CRYPT}secret\"\n"
                                   "directory /etc/openldap/data\n"
                                   "maxsize 1048576\n"
                                   "index uid eq",
                                   kChange),
              "# directory /etc/openldap/data\n"
              "include /etc/ldap/schema/core.schema\n"
              "access to *\n  by * read\n\n"
              "database mdb\n"
              "suffix \"dc=example,dc=com\"\n"
              "directory \"/etc/openldap/data.new\"\n"
              "maxsize 1048576\n"
              "index uid eq");
}

TEST(LoadingConfiguration, FindsTheFolderInEveryWayOfWritingIt) {
    for (const char *line :
         {"directory /etc/openldap/data\n", "directory\t\"/etc/openldap/data\"\n",
          "DIRECTORY  /etc/openldap/data/  \n", "directory\n /etc/openldap/data\n",
          "directory /etc/openldap/data", "directory /etc/openldap/data\r\n"})
        EXPECT_EQ(LoadingConfiguration(line, kChange), "directory \"/etc/openldap/data.new\"\n")
            << line;
}

TEST(LoadingConfiguration, LeavesOtherDatabasesWhereTheyAre) {
    EXPECT_EQ(LoadingConfiguration("directory /var/other\ndirectory /etc/openldap/data\n", kChange),
              "directory /var/other\ndirectory \"/etc/openldap/data.new\"\n");
}

TEST(LoadingConfiguration, LeavesOutAPasswordOnSeveralLines) {
    EXPECT_EQ(LoadingConfiguration("ROOTPW\n  secret\ndirectory /etc/openldap/data\n", kChange),
              "directory \"/etc/openldap/data.new\"\n");
}

TEST(LoadingConfiguration, TakesAnIncludedFileFromElsewhere) {
    LoadingChange change = kChange;
    change.include = "/etc/openldap/acls.conf";
    change.new_include = "/etc/openldap/data.new/acls.conf";
    EXPECT_EQ(
        LoadingConfiguration("include /etc/openldap/acls.conf\ndirectory /etc/openldap/data\n",
                             change),
        "include \"/etc/openldap/data.new/acls.conf\"\ndirectory \"/etc/openldap/data.new\"\n");
}

TEST(LoadingConfiguration, NeedsADatabaseInTheFolder) {
    for (const char *text : {"", "\n", "directory /var/other\n", "# directory /etc/openldap/data\n",
                             "directory\n", "directoryx /etc/openldap/data\n"})
        EXPECT_THROW(LoadingConfiguration(text, kChange), JobError) << text;
}

struct LoadRow {
    int wait_status;
    const char *words;
    Exit exit;
};

constexpr int ExitCode(int code) {
    return code << 8;
}

// slapadd's own messages.
const LoadRow kLoads[] = {
    {ExitCode(1), "slapadd: dn=\"cn=x\" (line=277): (65) unrecognized objectClass 'nonsense'",
     Exit::kDamaged},
    {ExitCode(1),
     "<= str2entry NULL (smr_normalize entryUUID 21)\nslapadd: could not parse entry (line=87)",
     Exit::kDamaged},
    {ExitCode(1),
     "=> mdb_idl_insert_keys: c_put id failed: MDB_MAP_FULL: Environment mapsize limit reached "
     "(-30792)\n"
     "slapadd: could not add entry dn=\"cn=users\" (line=12): txn_aborted! Internal error (80)",
     Exit::kDatabaseFull},
    {ExitCode(1), "mdb_db_open: cannot be opened: No space left on device (28).",
     Exit::kDatabaseFull},
    {SIGBUS, "", Exit::kDatabaseFull},
    {SIGKILL, "", Exit::kSystem},
    {ExitCode(1), "slapadd: bad configuration file!", Exit::kSystem},
    {ExitCode(127), "", Exit::kSystem},
};

TEST(Loading, ThatFailsSaysWhetherTheFileOrTheRoomIsToBlame) {
    for (const LoadRow &row : kLoads)
        EXPECT_EQ(ExitOfLoading(row.wait_status, row.words), row.exit) << row.words;
}

}  // namespace
}  // namespace zafo::test
