// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/crypt_hash.h"

#include <algorithm>
#include <cstddef>

#include "base/ascii.h"

namespace zafo {

namespace {

constexpr std::string_view kScheme = "{crypt}";
constexpr size_t kLongestHash = 383;  // CRYPT_OUTPUT_SIZE of crypt(3) with its end
constexpr size_t kDesLength = 13;
constexpr size_t kExtendedDesLength = 20;
constexpr std::string_view kDigits =
    "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

bool OfDigits(std::string_view text) {
    return text.find_first_not_of(kDigits) == std::string_view::npos;
}

// Characters that no setting and no hash contains, crypt(5).
bool IsHashCharacter(char c) {
    return c > ' ' && c < 0x7F && std::string_view(":;*!\\").find(c) == std::string_view::npos;
}

// "$id$settings$hash", with more parts for some methods.
bool IsModular(std::string_view hash) {
    return hash.starts_with('$') && std::count(hash.begin(), hash.end(), '$') >= 3 &&
           std::all_of(hash.begin(), hash.end(), IsHashCharacter);
}

bool IsCryptHash(std::string_view hash) {
    if (IsModular(hash)) return true;
    if (hash.starts_with('_')) return hash.size() == kExtendedDesLength && OfDigits(hash.substr(1));
    return hash.size() == kDesLength && OfDigits(hash);
}

bool IsLocked(std::string_view hash) {
    const size_t end = hash.find_first_not_of("!*");
    return end != 0 && (end == std::string_view::npos ||
                        std::all_of(hash.begin() + static_cast<std::ptrdiff_t>(end), hash.end(),
                                    IsHashCharacter));
}

}  // namespace

std::string_view CryptHashIn(std::string_view text) {
    if (StartsWithIgnoringCase(text, kScheme)) text.remove_prefix(kScheme.size());
    if (text.empty() || text.size() > kLongestHash) return {};
    return IsCryptHash(text) || IsLocked(text) ? text : std::string_view();
}

}  // namespace zafo
