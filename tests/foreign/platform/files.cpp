// SPDX-License-Identifier: Apache-2.0
//
// Section files, key=value files and text codings, in memory.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "tests/foreign/platform/state.h"

namespace zafo::foreign {

namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<std::string> Decode(const std::string &text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::string bytes;
    uint32_t group = 0;
    int bits = 0;
    size_t padding = 0;
    for (const char c : text) {
        const char *digit = std::strchr(kDigits, c);
        if (c == '=') {
            ++padding;
            continue;
        }
        if (c == '\0' || digit == nullptr || padding != 0) return std::nullopt;
        group = (group << 6) | static_cast<uint32_t>(digit - kDigits);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes += static_cast<char>(group >> bits & 255);
        }
    }
    return padding > 2 ? std::nullopt : std::optional(bytes);
}

Pairs *Section(const Step &step, const char *file, const char *section) {
    auto &sections = step.platform().sections;
    const auto in = sections.find(file);
    if (in == sections.end()) return nullptr;
    const auto found = in->second.find(section);
    return found == in->second.end() ? nullptr : &found->second;
}

int Given(const Step &step, const char *file, const char *section, const QLIBSZHASH *map) {
    return step.Given(file, "file") && step.Given(section, "section") && step.Live(map, "map");
}

}  // namespace

std::string Base64(const std::string &bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t group = 0;
        for (size_t j = 0; j < 3; ++j)
            group =
                group << 8 | (i + j < bytes.size() ? static_cast<unsigned char>(bytes[i + j]) : 0U);
        for (size_t j = 0; j < 4; ++j)
            text += i + j > bytes.size() ? '=' : kDigits[group >> (18 - 6 * j) & 63];
    }
    return text;
}

}  // namespace zafo::foreign

using namespace zafo::foreign;

int QLIBCFileGetSection(const char *szFile, const char *szSection, QLIBSZHASH *pHash) {
    const Step step("QLIBCFileGetSection", {Text(szFile), Text(szSection)});
    if (step.Fails()) return step.Result();
    if (!Given(step, szFile, szSection, pHash)) return -1;
    const Pairs *pairs = Section(step, szFile, szSection);
    // A result below 1 means that there is none; the error slot need not be set.
    if (pairs == nullptr || pairs->empty())
        return step.temperament().success == 0 ? step.Success(0) : step.Success(-1);
    Assign(pHash, *pairs);
    return step.Success(static_cast<int>(pairs->size()));
}

int QLIBCFileAddSection(const char *szFile, const char *szSection, const QLIBSZHASH *pHash,
                        int nFlags) {
    const Step step("QLIBCFileAddSection",
                    {Text(szFile), Text(szSection), Hex(static_cast<unsigned>(nFlags))}, pHash);
    if (step.Fails()) return step.Result();
    if (!Given(step, szFile, szSection, pHash)) return -1;
    if (nFlags != 0) return step.Fault("flags");
    step.platform().sections[szFile][szSection] = PairsOf(pHash);
    return step.Success();
}

int QLIBCFileSetSection(const char *szFile, const char *szSection, const char *szNewName,
                        const QLIBSZHASH *pHash, int nFlags) {
    const Step step(
        "QLIBCFileSetSection",
        {Text(szFile), Text(szSection), Text(szNewName), Hex(static_cast<unsigned>(nFlags))},
        pHash);
    if (step.Fails()) return step.Result();
    if (!Given(step, szFile, szSection, pHash)) return -1;
    if (nFlags != 0) return step.Fault("flags");
    Pairs *pairs = Section(step, szFile, szSection);
    if (pairs == nullptr) return step.Failure(QLIB_ERR_SECTION_NOT_FOUND);
    *pairs = PairsOf(pHash);
    if (szNewName != nullptr) {
        auto section = step.platform().sections[szFile].extract(szSection);
        section.key() = szNewName;
        step.platform().sections[szFile].insert(std::move(section));
    }
    return step.Success();
}

int QLIBCFileGetPair(const char *szFile, QLIBSZHASH *pHash) {
    const Step step("QLIBCFileGetPair", {Text(szFile)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szFile, "file") || !step.Live(pHash, "map")) return -1;
    const auto found = step.platform().pairs.find(szFile);
    if (found == step.platform().pairs.end()) return step.Failure(QLIB_ERR_OPEN_FAILED);
    Assign(pHash, found->second);
    return step.Success();
}

int QLIBCFileEnumSection(const char *szFile, QLIBSZLIST **ppList) {
    const Step step("QLIBCFileEnumSection", {Text(szFile)});
    if (step.Fails()) return step.Result();
    const auto &sections = step.platform().sections[szFile];
    for (const auto &[name, pairs] : sections)
        Append(ppList, name);
    return step.Success(static_cast<int>(sections.size()));
}

int QLIBCFileRemoveSection(const char *szFile, const char *szSection) {
    const Step step("QLIBCFileRemoveSection", {Text(szFile), Text(szSection)});
    if (step.Fails()) return step.Result();
    return step.Success(static_cast<int>(step.platform().sections[szFile].erase(szSection)));
}

int QLIBCryptSzEncrypt(const char *szClear, char *szCipher, size_t cbCipher) {
    const Step step("QLIBCryptSzEncrypt", {Text(szClear), Decimal(cbCipher)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szClear, "text") || !step.Put(Platform::Encipher(szClear), szCipher, cbCipher))
        return -1;
    return step.Success();
}

int QLIBCryptSzDecrypt(const char *szCipher, char *szClear, size_t cbClear) {
    const Step step("QLIBCryptSzDecrypt", {Text(szCipher), Decimal(cbClear)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szCipher, "text")) return -1;
    const std::string cipher = szCipher;
    if (cipher.size() < 2 || cipher.front() != '<' || cipher.back() != '>')
        return step.Failure(QLIB_ERR_BAD_FORMAT);
    if (!step.Put({cipher.rbegin() + 1, cipher.rend() - 1}, szClear, cbClear)) return -1;
    return step.Success();
}

int ZAFOEncodingBase64Decode(const char *szText, size_t cbText, void *pBuffer, size_t *pcbDecoded) {
    const Step step("ZAFOEncodingBase64Decode", {Text(szText), Decimal(cbText)});
    if (step.Fails()) return step.Result() < 0 ? 0 : step.Result();
    if (!step.Given(szText, "text") || !step.Given(pBuffer, "buffer") ||
        !step.Given(pcbDecoded, "length"))
        return 0;
    const std::optional<std::string> bytes = Decode({szText, cbText});
    const DecodedLength way = step.temperament().decoded_length;
    if (!bytes || (way == DecodedLength::kReadAsCapacity && *pcbDecoded < bytes->size())) {
        step.Failure(QLIB_ERR_BAD_FORMAT);
        return 0;
    }
    auto *buffer = static_cast<char *>(pBuffer);
    if (step.Fills()) {
        std::memset(buffer, step.fill_byte(), std::max<size_t>(1024, cbText + 1));
    } else {
        std::memcpy(buffer, bytes->data(), bytes->size());
        for (size_t i = bytes->size(); step.temperament().decoder_fills && i < 1024; ++i)
            buffer[i] = '\0';
    }
    if (way == DecodedLength::kTold || way == DecodedLength::kReadAsCapacity)
        *pcbDecoded = bytes->size();
    if (way == DecodedLength::kBeyondBuffer) *pcbDecoded = bytes->size() + 1000000;
    return step.Success(step.temperament().success == 0 ? 1 : step.temperament().success);
}

char *SzBase64EncodeOneLine(const void *pData, size_t cbData) {
    const std::string bytes =
        pData == nullptr ? "" : std::string(static_cast<const char *>(pData), cbData);
    const Step step("SzBase64EncodeOneLine", {bytes, Decimal(cbData)});
    if (step.Fails() || !step.Given(pData, "data")) return nullptr;
    return Copy(Base64(bytes).c_str());
}

int QLIBSmbNtEncrypt(const char *szClear, char *szHash, size_t cbHash) {
    const Step step("QLIBSmbNtEncrypt", {Text(szClear), Decimal(cbHash)});
    if (step.Fails()) return step.Result();
    if (!step.Given(szClear, "text") || !step.Put(Platform::NtHash(szClear), szHash, cbHash))
        return -1;
    return step.Success();
}
