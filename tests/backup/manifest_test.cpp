// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/backup/sealed_archive.h"
#include "tools/backup/job_error.h"

namespace zafo::manifest_test {
namespace {

using namespace zafo::backup;
using zafo::test::GoodManifest;

TEST(BackupManifest, SurvivesARoundTrip) {
    EXPECT_EQ(ManifestFrom(ToJson(GoodManifest())), GoodManifest());
}

TEST(BackupManifest, KeepsOddTexts) {
    Manifest manifest = GoodManifest();
    manifest.suffix = "o=\"Müller \\2C Söhne\",c=\tDE";
    manifest.entries = ~std::uint64_t{0};
    manifest.slapd_version = "";
    EXPECT_EQ(ManifestFrom(ToJson(manifest)), manifest);
}

TEST(BackupManifest, IsWrittenForATextThatIsNotUtf8) {
    Manifest manifest = GoodManifest();
    manifest.suffix = "o=M\xFCller";
    EXPECT_EQ(ManifestFrom(ToJson(manifest)).suffix, "o=M\uFFFDller");
}

TEST(BackupManifest, MayHoldMoreThanIsKnown) {
    std::string json = ToJson(GoodManifest());
    json.insert(json.find('{') + 1, "\"remark\": [1, {\"x\": null}],");
    EXPECT_EQ(ManifestFrom(json), GoodManifest());
}

struct Case {
    const char *name;
    const char *text;   // this text in the JSON of a valid manifest …
    const char *other;  // … is replaced with this
    const char *words;
};

void PrintTo(const Case &one, std::ostream *out) {
    *out << one.name;
}

class DamagedManifest : public ::testing::TestWithParam<Case> {};

TEST_P(DamagedManifest, IsRefused) {
    std::string json = ToJson(GoodManifest());
    const size_t at = json.find(GetParam().text);
    ASSERT_NE(at, std::string::npos);
    json.replace(at, std::string_view(GetParam().text).size(), GetParam().other);
    try {
        ManifestFrom(json);
        FAIL() << "accepted: " << json;
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kDamaged);
        EXPECT_THAT(error.what(), testing::HasSubstr(GetParam().words));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Manifests, DamagedManifest,
    ::testing::Values(
        Case{"Cut", "]\n}", "]\n", "not a JSON object"},
        Case{"NoObject", "{", "[{", "not a JSON object"},
        Case{"TextBehind", "]\n}", "]\n}}", "not a JSON object"},
        Case{"FormatMissing", "\"format\"", "\"f\"", "\"format\" is missing"},
        Case{"FormatZero", "\"format\": 1", "\"format\": 0", "\"format\" is 0"},
        Case{"FormatText", "\"format\": 1", "\"format\": \"1\"", "\"format\" is not a count"},
        Case{"ProductMissing", "\"product_version\"", "\"p\"", "\"product_version\" is missing"},
        Case{"TaskMissing", "\"task\"", "\"t\"", "\"task\" is missing"},
        Case{"TaskEmpty", "\"task\": \"backup\"", "\"task\": \"\"", "\"task\" is empty"},
        Case{"NumberMissing", "\"number\"", "\"n\"", "\"number\" is missing"},
        Case{"NumberNegative", "\"number\": 7", "\"number\": -7", "\"number\" is not a count"},
        Case{"NumberBroken", "\"number\": 7", "\"number\": 7.5", "\"number\" is not a count"},
        Case{"NumberBeyondCounting", "\"number\": 7", "\"number\": 18446744073709551616",
             "\"number\" is not a count"},
        Case{"CreatedMissing", "\"created\"", "\"c\"", "\"created\" is missing"},
        Case{"SuffixMissing", "\"suffix\"", "\"s\"", "\"suffix\" is missing"},
        Case{"SuffixNull", "\"suffix\": \"dc=example,dc=com\"", "\"suffix\": null",
             "\"suffix\" is not a text"},
        Case{"SlapdMissing", "\"slapd_version\"", "\"s\"", "\"slapd_version\" is missing"},
        Case{"EntriesMissing", "\"entries\"", "\"e\"", "\"entries\" is missing"},
        Case{"EntriesTrue", "\"entries\": 3", "\"entries\": true", "\"entries\" is not a count"},
        Case{"BytesMissing", "\"ldif_bytes\"", "\"l\"", "\"ldif_bytes\" is missing"},
        Case{"DigestMissing", "\"sha256\"", "\"s\"", "\"sha256\" is missing"},
        Case{"DigestShort", "\"sha256\": \"", "\"sha256\": \"ab\", \"x\": \"",
             "\"sha256\" is not a SHA-256"},
        Case{"DigestOfOtherLetters", "\"sha256\": \"", "\"sha256\": \"G",
             "\"sha256\" is not a SHA-256"},
        Case{"ConfigMissing", "\"config\"", "\"c\"", "\"config\" is missing"},
        Case{"ConfigText", "\"config\": [", "\"config\": 1, \"c\": [", "\"config\" is not a list"},
        Case{"ConfigOfNumbers", "\"config\": [", "\"config\": [1,", "something other than files"},
        Case{"ConfigNameMissing", "\"name\"", "\"n\"", "\"name\" is missing"}),
    [](const auto &one) { return one.param.name; });

TEST(BackupManifest, OfANewerFormatIsRefusedAsSuch) {
    try {
        ManifestFrom(R"({"format": 2, "everything": "is different"})");
        FAIL() << "nothing was thrown";
    } catch (const JobError &error) {
        EXPECT_EQ(error.code, Exit::kNewerFormat);
    }
}

}  // namespace
}  // namespace zafo::manifest_test
