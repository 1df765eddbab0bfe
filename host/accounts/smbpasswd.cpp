// SPDX-License-Identifier: Apache-2.0
#include "host/accounts/smbpasswd.h"

#include <sys/stat.h>

#include <cstdio>
#include <ctime>

#include "base/appliance_paths.h"
#include "base/atomic_file.h"
#include "base/whole_file.h"
#include "host/accounts/account_file.h"
#include "platform/error.h"

namespace zafo {

namespace {

constexpr const char *kFile = "/usr/zafo/etc/private/smbpasswd";
constexpr size_t kHashLength = 32;
constexpr std::string_view kUserFlags = "[U          ]";

enum Field { kUid = 1, kLm, kNt, kFlags };

bool IsNone(std::string_view text) {
    return text.empty() || text == kNoSambaHash;
}

bool IsHex(std::string_view text) {
    return text.size() == kHashLength &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

// "NO PASSWORD…" and damaged text are not hashes.
std::string HashIn(std::string_view field) {
    return IsHex(field) ? std::string(field) : kNoSambaHash;
}

// "name:uid:LM:NT:[flags]:LCT-seconds:".
std::string LineFor(const SambaAccount &account) {
    char changed[32];
    std::snprintf(changed, sizeof changed, "LCT-%08llX",
                  static_cast<unsigned long long>(std::time(nullptr)));
    return Joined({account.name, std::to_string(account.uid), HashIn(account.lm),
                   HashIn(account.nt), kUserFlags, changed, ""},
                  ':');
}

}  // namespace

bool IsSambaHash(std::string_view text) {
    return IsNone(text) || IsHex(text);
}

int ReadSambaHashes(std::string_view name, uint32_t uid, SambaHashes *hashes) {
    *hashes = {};
    std::string text;
    if (!ReadIfPresent(kFile, &text)) return QLIB_ERR_OPEN_FAILED;
    const auto line = LineOf(text, name);
    if (!line) return 0;
    const Fields fields = Split(*line, ':');
    if (NumberIn(FieldAt(fields, kUid)) != uid) return 0;
    if (FieldAt(fields, kFlags).find_first_of("DN") != std::string_view::npos) return 0;
    *hashes = {HashIn(FieldAt(fields, kLm)), HashIn(FieldAt(fields, kNt))};
    return 0;
}

int StoreSambaHashes(const std::vector<SambaAccount> &accounts) {
    mkdir(kPrivateFolder, 0700);
    FileUpdate update(kFile);
    std::string text;
    if (update.Error() != 0 || !ReadIfPresent(update.Path(), &text)) return QLIB_ERR_OPEN_FAILED;
    const std::string before = text;
    for (const SambaAccount &account : accounts) {
        if (IsNone(account.lm) && IsNone(account.nt)) {
            RemoveLines(&text, account.name);
        } else {
            PutLine(&text, account.name, LineFor(account));
        }
    }
    return text == before || update.Replace(text) == 0 ? 0 : QLIB_ERR_WRITE_FAILED;
}

}  // namespace zafo
