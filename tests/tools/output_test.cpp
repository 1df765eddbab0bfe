// SPDX-License-Identifier: Apache-2.0
//
// Entries in every output form.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/cli/display_text.h"
#include "tools/cli/entry_writer.h"

namespace {

using namespace zafo::cli;

const Entry kZoe{.dn = "uid=zoë,ou=people,dc=x",
                 .attributes = {{"uid", {"zoë"}},
                                {"cn", {"Zoë", "Z | \"Zed\", Ms"}},
                                {"description", {" two\nlines\t\x1b[31m"}},
                                {"jpegPhoto", {"\xff\xd8\xff"}},
                                {"mail;lang-de", {""}}}};

// The standard output after writing the entry twice in one form.
std::string Printed(Form form, std::vector<std::string> columns, bool complete = true) {
    testing::internal::CaptureStdout();
    {
        Streams streams;
        Globals globals;
        globals.form = form;
        streams.Configure(globals);
        JsonDocument document(streams);
        const auto writer =
            MakeEntryWriter(streams, document, std::move(columns), /*single=*/false);
        writer->Write(kZoe);
        writer->Write(kZoe);
        writer->Finish(/*ok=*/complete, complete);
        streams.Flush();
    }
    return testing::internal::GetCapturedStdout();
}

TEST(EntryOutput, JsonKeepsEverythingAndMarksBytes) {
    const std::string entry =
        R"({"dn":"uid=zoë,ou=people,dc=x","attributes":{"uid":["zoë"],)"
        R"("cn":["Zoë","Z | \"Zed\", Ms"],)"
        R"("description":[{"binary":true,"base64_prefix":"IHR3bwpsaW5lcwkbWzMxbQ=="}],)"
        R"("jpegPhoto":[{"binary":true,"base64_prefix":"/9j/"}],"mail;lang-de":[""]}})";
    EXPECT_EQ(Printed(Form::kJson, {}), "{\"schema\":1,\"data\":[\n" + entry + ",\n" + entry +
                                            "\n],\"complete\":true,\"ok\":true}\n");
}

TEST(EntryOutput, JsonOfAnIncompleteAnswerSaysSo) {
    EXPECT_THAT(Printed(Form::kJson, {"uid"}, /*complete=*/false),
                testing::EndsWith("\n],\"complete\":false,\"ok\":false}\n"));
}

TEST(EntryOutput, LdifEncodesWhatNeedsIt) {
    const std::string entry =
        "dn:: dWlkPXpvw6ssb3U9cGVvcGxlLGRjPXg=\n"
        "uid:: em/Dqw==\n"
        "cn:: Wm/Dqw==\n"
        "cn: Z | \"Zed\", Ms\n"
        "# value of description may be cut at a zero byte\n"
        "description:: IHR3bwpsaW5lcwkbWzMxbQ==\n"
        "# value of jpegPhoto may be cut at a zero byte\n"
        "jpegPhoto:: /9j/\n"
        "mail;lang-de:\n\n";
    EXPECT_EQ(Printed(Form::kLdif, {}), entry + entry);
}

TEST(EntryOutput, PlainHasColumnsBetweenTabs) {
    const std::string line = "uid=zoë,ou=people,dc=x\tZoë|Z \\| \"Zed\", Ms\t\t<binary: /9j/>\n";
    EXPECT_EQ(Printed(Form::kPlain, {"dn", "cn", "sn", "jpegphoto"}), line + line);
}

TEST(EntryOutput, PlainWithoutColumnsHasALineForEachValue) {
    EXPECT_THAT(Printed(Form::kPlain, {}),
                testing::StartsWith("uid=zoë,ou=people,dc=x\tuid\tzoë\n"
                                    "uid=zoë,ou=people,dc=x\tcn\tZoë\n"
                                    "uid=zoë,ou=people,dc=x\tcn\tZ | \"Zed\", Ms\n"));
}

TEST(EntryOutput, CsvQuotesAndTakesOptionsIntoTheColumn) {
    const std::string line = "zoë,\"Zoë|Z \\| \"\"Zed\"\", Ms\",\n";
    EXPECT_EQ(Printed(Form::kCsv, {"uid", "cn", "mail"}), "uid,cn,mail\n" + line + line);
}

TEST(EntryOutput, TableAlignsAndKeepsControlCharactersFromTheTerminal) {
    EXPECT_EQ(Printed(Form::kTable, {"uid", "cn", "mail"}),
              "uid  cn                  mail\n"
              "zoë  Zoë; Z | \"Zed\", Ms\n"
              "zoë  Zoë; Z | \"Zed\", Ms\n");
    EXPECT_THAT(Printed(Form::kTable, {}), testing::Not(testing::HasSubstr("\x1b")));
}

TEST(EntryOutput, TableWithoutColumnsShowsBlocks) {
    EXPECT_THAT(Printed(Form::kTable, {}),
                testing::StartsWith("uid=zoë,ou=people,dc=x\n"
                                    "  uid           zoë\n"
                                    "  cn            Zoë\n"
                                    "                Z | \"Zed\", Ms\n"));
}

TEST(BinaryMark, GoesToBytesAndToBinarySyntaxes) {
    EXPECT_TRUE(IsBinary("description", "\xff"));
    EXPECT_TRUE(IsBinary("description", "a\x01"));
    EXPECT_TRUE(IsBinary("userCertificate;binary", "0"));
    EXPECT_TRUE(IsBinary("JPEGPHOTO", ""));
    EXPECT_FALSE(IsBinary("description", "Zoë\n\t"));
    EXPECT_FALSE(IsBinary("postalAddress", ""));
}

TEST(LdifText, FollowsSafeString) {
    EXPECT_EQ(LdifLine("cn", "plain"), "cn: plain\n");
    EXPECT_EQ(LdifLine("cn", ""), "cn:\n");
    for (const char *value : {" blank", ":colon", "<less", "end ", "Zoë", "a\nb"}) {
        EXPECT_THAT(LdifLine("cn", value), testing::StartsWith("cn:: ")) << value;
    }
}

TEST(Text, Base64FollowsRfc4648) {
    const std::pair<const char *, const char *> kVectors[] = {
        {"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
        {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"foobar", "Zm9vYmFy"}};
    for (const auto &[bytes, text] : kVectors)
        EXPECT_EQ(Base64(bytes), text);
}

TEST(Text, IsShortenedByColumnsNotBytes) {
    EXPECT_EQ(Shortened("Zoë Müller", 10), "Zoë Müller");
    EXPECT_EQ(Shortened("Zoë Müller", 5), "Zoë …");
    EXPECT_EQ(Shortened("日本語", 5), "日本…");
    EXPECT_EQ(Shortened("日本語", 4), "日…");
}

}  // namespace
