// SPDX-License-Identifier: Apache-2.0
//
// The limits match the server's own configuration: five digits of SHA-2 crypt rounds, bcrypt cost
// 10, yescrypt parameters "j9T" (crypt(5)).
#include "tools/zafoldapserver/stored_password.h"

#include <algorithm>

#include "base/ascii.h"

namespace zafo::cli {

namespace {

// The first five are built into slapd; the others need modules that our server does not load, and
// cannot be used to log in to it.
constexpr std::string_view kSchemes[] = {
    "{CRYPT}",  "{SSHA}",   "{SHA}",    "{SMD5}",    "{MD5}",     "{SASL}",    "{UNIX}", "{ARGON2}",
    "{SHA256}", "{SHA384}", "{SHA512}", "{SSHA256}", "{SSHA384}", "{SSHA512}", "{PBKDF2"};
constexpr size_t kMostDigitsOfRounds = 5;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsCostlySha(std::string_view rest) {
    constexpr std::string_view kRounds = "rounds=";
    if (!rest.starts_with(kRounds)) return false;
    rest.remove_prefix(kRounds.size());
    return std::find_if_not(rest.begin(), rest.end(), IsDigit) - rest.begin() >
           static_cast<std::ptrdiff_t>(kMostDigitsOfRounds);
}

bool IsCostlyBcrypt(std::string_view rest) {
    return rest.size() < 2 || rest[0] > '1' || (rest[0] == '1' && rest[1] > '0');
}

bool IsCostlyYescrypt(std::string_view rest) {
    return rest.size() < 4 || rest[0] != 'j' ||
           !(IsDigit(rest[1]) || rest[1] == '.' || rest[1] == '/') || rest[2] != 'T' ||
           rest[3] != '$';
}

// A crypt(3) hash, without its scheme.
bool IsCostlyCrypt(std::string_view hash) {
    if (!hash.starts_with('$')) return false;
    hash.remove_prefix(1);
    const std::string_view method = hash.substr(0, hash.find('$'));
    const std::string_view rest = hash.substr(std::min(method.size() + 1, hash.size()));
    if (method == "1") return false;
    if (method == "5" || method == "6") return IsCostlySha(rest);
    if (method == "y" || method == "gy") return IsCostlyYescrypt(rest);
    return method.size() != 2 || method[0] != '2' || IsCostlyBcrypt(rest);
}

}  // namespace

StoredPassword KindOf(std::string_view value) {
    const auto scheme = std::ranges::find_if(
        kSchemes, [&](std::string_view one) { return StartsWithIgnoringCase(value, one); });
    if (scheme == std::end(kSchemes)) return StoredPassword::kClear;
    const bool crypt = scheme == std::begin(kSchemes);
    return crypt && IsCostlyCrypt(value.substr(scheme->size())) ? StoredPassword::kCostly
                                                                : StoredPassword::kHash;
}

}  // namespace zafo::cli
