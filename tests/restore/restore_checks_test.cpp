// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/restore_checks.h"

#include <gtest/gtest.h>

#include "tools/backup/job_error.h"
#include "tools/restore/staging.h"

namespace zafo::test {
namespace {

using namespace zafo::backup;

struct VersionRow {
    const char *version;
    const char *than;
    bool newer;
};

constexpr VersionRow kVersions[] = {
    {"2.6.0", "2.5.13+dfsg-5", true}, {"3.0.0", "2.5.13+dfsg-5", true},
    {"2.10.1", "2.5.13", true},       {"2.5.14+dfsg-1", "2.5.13+dfsg-5", false},
    {"2.5.13", "2.5.13", false},      {"2.4.57+dfsg-3", "2.5.13", false},
    {"1.99.0", "2.5.13", false},      {"", "2.5.13", false},
    {"unknown", "2.5.13", false},     {"2.6.0", "", false},
};

TEST(RestoredVersion, CountsInItsFirstTwoNumbers) {
    for (const VersionRow &row : kVersions)
        EXPECT_EQ(IsNewerSlapd(row.version, row.than), row.newer) << row.version << " " << row.than;
}

TEST(RestoredSuffix, IsComparedAsDnsAre) {
    Manifest manifest{.suffix = "dc=Example, dc=com"};
    EXPECT_NO_THROW(CheckManifest(manifest, "DC=example,DC=com"));
    for (const char *other : {"dc=example", "dc=example,dc=org", "ou=x,dc=example,dc=com", ""}) {
        try {
            CheckManifest(manifest, other);
            ADD_FAILURE() << other;
        } catch (const JobError &error) {
            EXPECT_EQ(error.code, Exit::kNotOurs);
        }
    }
}

TEST(RoomForADatabase, GrowsWithTheEntries) {
    EXPECT_GE(RoomFor(0), 100U << 10) << "an empty database";
    EXPECT_GT(RoomFor(144U << 20), 373U << 20) << "100,000 users";
}

TEST(RoomForADatabase, IsAskedOfTheFileSystem) {
    EXPECT_NO_THROW(CheckRoom(Places("/tmp"), {.ldif_bytes = 1}));
    try {
        CheckRoom(Places("/tmp"), {.ldif_bytes = std::uint64_t{1} << 60});
        ADD_FAILURE() << "the disk is larger than expected";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kRootFull);
    }
}

}  // namespace
}  // namespace zafo::test
