// SPDX-License-Identifier: Apache-2.0
#include "platform/crypt.h"

#include <sys/wait.h>
#include <unistd.h>

#include <set>

#include <gtest/gtest.h>

#include "tests/host/owners.h"

namespace {

using zafo::test::ModeOf;
using zafo::test::ReadFile;
using zafo::test::WriteFile;

const char *const kFolder = "/usr/zafo/etc/private";
const char *const kKeyFile = "/usr/zafo/etc/private/machine.key";

class PasswordCipher : public testing::Test {
  protected:
    void SetUp() override {
        if (sizeof(void *) == 4) GTEST_SKIP() << "this build has no Nettle";
        unlink(kKeyFile);
    }
};

std::string Encrypt(const std::string &clear) {
    char buffer[1369];
    return QLIBCryptSzEncrypt(clear.c_str(), buffer, sizeof buffer) == 0 ? buffer : "(failed)";
}

std::string Decrypt(const std::string &cipher) {
    char buffer[1024];
    return QLIBCryptSzDecrypt(cipher.c_str(), buffer, sizeof buffer) == 0 ? buffer : "(failed)";
}

TEST_F(PasswordCipher, RoundTripsTextsOfEveryLengthWithinTheBuffersCallersHave) {
    for (size_t length = 0; length <= 1023; ++length) {
        std::string clear;
        for (size_t i = 0; i < length; ++i)
            clear += static_cast<char>(1 + (i * 37 + length) % 255);
        const std::string cipher = Encrypt(clear);
        ASSERT_LE(cipher.size(), 1368U) << length;
        ASSERT_EQ(Decrypt(cipher), clear) << length;
    }
}

TEST_F(PasswordCipher, GivesPrintableTextWithoutWhatSectionFilesQuote) {
    const std::string cipher = Encrypt(std::string(1023, 'x'));
    for (const char c : cipher) {
        ASSERT_TRUE(c > ' ' && c < 0x7F) << static_cast<int>(c);
    }
    EXPECT_EQ(cipher.find_first_of("\"\\#;="), std::string::npos);
}

TEST_F(PasswordCipher, NeverGivesTheSameTextTwice) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i)
        seen.insert(Encrypt("secret"));
    EXPECT_EQ(seen.size(), 100U);
}

// Every length, so that the last group of the text has every possible size, and every replacement
// of the last character, since several characters may encode the same bytes.
TEST_F(PasswordCipher, RefusesEveryChangedCharacter) {
    for (const char *clear : {"secre", "secret", "secret7", "secret78"}) {
        const std::string cipher = Encrypt(clear);
        for (size_t i = 0; i < cipher.size(); ++i) {
            for (char other = i + 1 < cipher.size() ? '~' : '!'; other <= '~'; ++other) {
                std::string changed = cipher;
                changed[i] = other == '~' ? (cipher[i] == 'A' ? 'B' : 'A') : other;
                if (changed == cipher) continue;
                QLIBCErrSet(0);
                ASSERT_EQ(Decrypt(changed), "(failed)") << clear << " " << i << " " << other;
                ASSERT_EQ(QLIBCErrGet(), 0x0F00);
            }
        }
    }
}

TEST_F(PasswordCipher, RefusesTextThatIsNotItsOwn) {
    const std::string cipher = Encrypt("secret");
    for (const std::string &text :
         {std::string(), std::string("x"), std::string("c2VjcmV0"), std::string(2000, '}'),
          cipher + "0", cipher.substr(1), cipher.substr(0, cipher.size() - 1), " " + cipher}) {
        QLIBCErrSet(0);
        char clear[4096];
        EXPECT_EQ(QLIBCryptSzDecrypt(text.c_str(), clear, sizeof clear), -1) << text;
        EXPECT_EQ(QLIBCErrGet(), 0x0F00) << text;
    }
}

TEST_F(PasswordCipher, AnotherMachinesKeyDoesNotOpenIt) {
    const std::string cipher = Encrypt("secret");
    WriteFile(kKeyFile, std::string(32, 'k'));
    EXPECT_EQ(Decrypt(cipher), "(failed)");
    EXPECT_EQ(QLIBCErrGet(), 0x0F00);
}

TEST_F(PasswordCipher, MakesAPrivateKeyOnFirstUseAndLeavesNothingElse) {
    Encrypt("secret");
    EXPECT_EQ(ModeOf(kKeyFile), 0600U);
    EXPECT_EQ(ReadFile(kKeyFile).size(), 32U);
    for (const auto &entry : std::filesystem::directory_iterator(kFolder)) {
        EXPECT_EQ(entry.path().string().find(".machine.key."), std::string::npos) << entry.path();
    }
}

TEST_F(PasswordCipher, DecipheringMakesNoKey) {
    const std::string cipher = Encrypt("secret");
    unlink(kKeyFile);
    EXPECT_EQ(Decrypt(cipher), "(failed)");
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    EXPECT_FALSE(std::filesystem::exists(kKeyFile));
}

TEST_F(PasswordCipher, RefusesADamagedKeyFile) {
    for (const size_t size : {0U, 31U, 33U}) {
        SCOPED_TRACE(size);
        WriteFile(kKeyFile, std::string(size, 'k'));
        EXPECT_EQ(Encrypt("secret"), "(failed)");
        EXPECT_EQ(QLIBCErrGet(), 0x0F00);
        EXPECT_EQ(ReadFile(kKeyFile).size(), size);
    }
}

TEST_F(PasswordCipher, RefusesALinkAsKeyFile) {
    WriteFile("/tmp/other.key", std::string(32, 'k'));
    ASSERT_EQ(symlink("/tmp/other.key", kKeyFile), 0);
    EXPECT_EQ(Encrypt("secret"), "(failed)");
    EXPECT_EQ(QLIBCErrGet(), 0x0F00);
    unlink(kKeyFile);
}

TEST_F(PasswordCipher, FailsWithoutTheKeysFolder) {
    ASSERT_EQ(rename(kFolder, "/usr/zafo/etc/away"), 0);
    EXPECT_EQ(Encrypt("secret"), "(failed)");
    EXPECT_EQ(QLIBCErrGet(), 0x0900);
    ASSERT_EQ(rename("/usr/zafo/etc/away", kFolder), 0);
}

TEST_F(PasswordCipher, ProcessesThatCreateTheKeyConcurrentlyAgree) {
    for (int round = 0; round < 20; ++round) {
        unlink(kKeyFile);
        zafo::test::Folder folder;
        constexpr int kProcesses = 8;
        ASSERT_TRUE(zafo::test::InProcesses(kProcesses, [&](int i) {
            WriteFile(folder / std::to_string(i), Encrypt("secret"));
            return 0;
        }));
        for (int i = 0; i < kProcesses; ++i) {
            ASSERT_EQ(Decrypt(ReadFile(folder / std::to_string(i))), "secret");
        }
    }
}

TEST_F(PasswordCipher, ChecksTextsAndBuffers) {
    char small[16];
    char large[4096];
    EXPECT_EQ(QLIBCryptSzEncrypt(nullptr, large, sizeof large), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    QLIBCErrSet(0);
    EXPECT_EQ(QLIBCryptSzEncrypt(std::string(1024, 'x').c_str(), large, sizeof large), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
    EXPECT_EQ(QLIBCryptSzEncrypt("secret", small, sizeof small), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    const std::string cipher = Encrypt("sixteen letters!");
    QLIBCErrSet(0);
    EXPECT_EQ(QLIBCryptSzDecrypt(cipher.c_str(), small, sizeof small), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_EQ(QLIBCryptSzDecrypt(nullptr, large, sizeof large), -1);
    EXPECT_EQ(QLIBCryptSzDecrypt(cipher.c_str(), nullptr, 0), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST(NtHash, IsMd4OfTheUtf16Form) {
    if (sizeof(void *) == 4) GTEST_SKIP() << "this build has no Nettle";
    const std::pair<const char *, const char *> rows[] = {
        {"", "31D6CFE0D16AE931B73C59D7E0C089C0"},
        {"password", "8846F7EAEE8FB117AD06BDD830B7586C"},
        {"SecREt01", "CD06CA7C7E10C99B1D33B7485A2ED808"},
    };
    for (const auto &[clear, expected] : rows) {
        char hash[33];
        EXPECT_EQ(QLIBSmbNtEncrypt(clear, hash, sizeof hash), 0);
        EXPECT_STREQ(hash, expected);
    }
}

TEST(NtHash, TakesEveryUnicodeLetterAndRefusesOtherBytes) {
    if (sizeof(void *) == 4) GTEST_SKIP() << "this build has no Nettle";
    char hash[33];
    EXPECT_EQ(QLIBSmbNtEncrypt("\xC3\xA9\xF0\x9F\x98\x80", hash, sizeof hash), 0);
    for (const char *text : {"\xFF", "\xC3", "\xED\xA0\x80", "a\x80"}) {
        QLIBCErrSet(0);
        EXPECT_EQ(QLIBSmbNtEncrypt(text, hash, sizeof hash), -1);
        EXPECT_EQ(QLIBCErrGet(), 0x0F00);
    }
}

TEST(NtHash, ChecksItsArguments) {
    if (sizeof(void *) == 4) GTEST_SKIP() << "this build has no Nettle";
    char hash[33];
    EXPECT_EQ(QLIBSmbNtEncrypt("x", hash, 32), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0E00);
    EXPECT_EQ(QLIBSmbNtEncrypt(nullptr, hash, sizeof hash), -1);
    EXPECT_EQ(QLIBSmbNtEncrypt("x", nullptr, 33), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x0D00);
}

TEST(Ciphers, OfABuildWithoutThemSaySo) {
    if (sizeof(void *) != 4) GTEST_SKIP() << "this build has them";
    char buffer[2048];
    EXPECT_EQ(QLIBCryptSzEncrypt("x", buffer, sizeof buffer), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x2600);
    EXPECT_EQ(QLIBCryptSzDecrypt("x", buffer, sizeof buffer), -1);
    EXPECT_EQ(QLIBSmbNtEncrypt("x", buffer, sizeof buffer), -1);
    EXPECT_EQ(QLIBCErrGet(), 0x2600);
}

}  // namespace
