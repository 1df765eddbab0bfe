// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/crypt.h"
#include "platform/error.h"

namespace {

struct Free {
    void operator()(char *text) const { std::free(text); }
};

std::string Encode(const std::string &bytes) {
    const std::unique_ptr<char, Free> text(SzBase64EncodeOneLine(bytes.data(), bytes.size()));
    return text ? text.get() : "(null)";
}

std::optional<std::string> Decode(const std::string &text) {
    std::vector<char> buffer(text.size() / 4 * 3 + 1);
    size_t count = 0;
    if (ZAFOEncodingBase64Decode(text.data(), text.size(), buffer.data(), &count) == 0) return {};
    return std::string(buffer.data(), count);
}

struct Row {
    std::string bytes;
    std::string text;
};

// The vectors of RFC 4648 section 10, and bytes that use the last letters of the alphabet.
const Row kRows[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {std::string("alice", 6), "YWxpY2UA"},
    {std::string(3, '\0'), "AAAA"},
    {"\xFB\xEF\xBE\xFF\xFF\xFF", "++++////"},
};

TEST(Base64, EncodesOnOneLineAndDecodes) {
    for (const Row &row : kRows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(Encode(row.bytes), row.text);
        EXPECT_EQ(Decode(row.text), row.bytes);
    }
}

TEST(Base64, RoundTripsEveryByteAndAllLengths) {
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(Decode(Encode(bytes)), bytes) << i;
        bytes += static_cast<char>(i * 7);
    }
}

TEST(Base64, LongDataStaysOnOneLine) {
    const std::string bytes(10 << 20, 'x');
    const std::string text = Encode(bytes);
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(Decode(text), bytes);
}

TEST(Base64, RefusesWhatIsNotBase64) {
    for (const char *text :
         {"Z",     "Zg",       "Zg=",      "Zg===", "====",    "Z===",          "=g==",
          "Zm9v=", "Zm9v====", "Zg==Zg==", "Zm 9v", "Zm9v\n",  "\nZm9v",        "Zm9-",
          "Zm9_",  "Zm=v",     "Zh==",     "Zm9=",  "Zm9\x80", "Zm9v\xC3\xA9=="}) {
        SCOPED_TRACE(text);
        QLIBCErrSet(0);
        EXPECT_EQ(Decode(text), std::nullopt);
        EXPECT_EQ(QLIBCErrGet(), 0x0F00);
    }
}

TEST(Base64, ReadsOnlyTheGivenCharacters) {
    char buffer[8];
    size_t count = 0;
    EXPECT_NE(ZAFOEncodingBase64Decode("Zm9vYmFy", 4, buffer, &count), 0);
    EXPECT_EQ(std::string(buffer, count), "foo");
}

TEST(Base64, RefusesNullArguments) {
    char buffer[8];
    size_t count = 0;
    QLIBCErrSet(0);
    EXPECT_EQ(ZAFOEncodingBase64Decode(nullptr, 0, buffer, &count), 0);
    EXPECT_EQ(ZAFOEncodingBase64Decode("", 0, nullptr, &count), 0);
    EXPECT_EQ(ZAFOEncodingBase64Decode("", 0, buffer, nullptr), 0);
    EXPECT_EQ(SzBase64EncodeOneLine(nullptr, 0), nullptr);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

}  // namespace
