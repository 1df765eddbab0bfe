// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldap/account_copy.h"

#include <cstdlib>
#include <memory>

#include "base/ascii.h"

namespace zafo::cli {

namespace {

constexpr std::string_view kCryptScheme = "{crypt}";
constexpr size_t kHashSize = 33;  // 32 digits and the terminator

std::string TextOf(const char *sz) {
    return sz == nullptr ? "" : sz;
}

struct FoundEntry {
    ZAFOLDAP_RESULT result{};
    FoundEntry() { ZAFOLDAPResultInit(&result); }
    ~FoundEntry() { ZAFOLDAPResultFree(&result); }
    FoundEntry(const FoundEntry &) = delete;
    FoundEntry &operator=(const FoundEntry &) = delete;

    std::string First(const char *attribute) const {
        return TextOf(ZAFOLDAPResultGetFirst(&result, attribute));
    }
};

// The key of the latest failure of the library or the platform.
std::string Reported(const AccountDirectory &directory) {
    return std::string(LatestFailure(directory.Out(), {}).Key());
}

Candidate AsRead(const ZAFOUSER &user) {
    return {.name = TextOf(user.szName),
            .number = user.pw_uid,
            .group = user.pw_gid,
            .home = TextOf(user.pw_dir),
            .shell = TextOf(user.pw_shell)};
}

Candidate AsRead(const ZAFOGROUP &group) {
    return {.name = TextOf(group.szName), .number = group.nGid, .group = std::nullopt};
}

// Samba's hashes accompany a password that is kept.
std::string ImportHashes(const AccountDirectory &directory, const ZAFOUSER &user,
                         const FoundEntry &entry) {
    const bool samba = directory.HasClass(ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT);
    const std::string nt = samba ? entry.First("sambaNTPassword") : "";
    const std::string lm = samba ? entry.First("sambaLMPassword") : "";
    const char *name = user.szName, *crypt = user.szPasswd + kCryptScheme.size();
    const char *lm_hash = lm.c_str(), *nt_hash = nt.c_str();
    return QLIBUserImportPasswd(&name, &crypt, &lm_hash, &nt_hash, 1) == 0 ? ""
                                                                           : Reported(directory);
}

// Locks the account if the password has another form (platform/user.h): an invented one could be
// guessed.
std::string UserToLocal(const AccountDirectory &directory, const std::string &dn,
                        const Target &target) {
    UserRecord user;
    FoundEntry entry;
    if (ZAFOLDAPBrowserUserGet(directory.Record(), dn.c_str(), user.Address(), &entry.result) != 1)
        return Reported(directory);
    if (std::string reason = Refusal(AsRead(*user.Get()), target); !reason.empty()) return reason;
    ZAFOUSER record = *user.Get();
    const bool kept = IsCryptHash(TextOf(record.szPasswd));
    if (!kept) record.szPasswd = nullptr;
    if (QLIBUserNumRemained() <= 0 || ZAFOUserSetOne(0, &record, nullptr) != 0)
        return Reported(directory);
    return kept ? ImportHashes(directory, record, entry) : "";
}

std::string GroupToLocal(const AccountDirectory &directory, const std::string &dn,
                         const Target &target) {
    GroupRecord group;
    char description[1024];  // not used here
    if (ZAFOLDAPBrowserGroupGet(directory.Record(), dn.c_str(), group.Address(), description,
                                sizeof description) != 1)
        return Reported(directory);
    if (std::string reason = Refusal(AsRead(*group.Get()), target); !reason.empty()) return reason;
    return ZAFOGroupSet(0, group.Get()) == 0 ? "" : Reported(directory);
}

std::string UserToDirectory(const AccountDirectory &directory, const std::string &name) {
    UserRecord user;
    if (ZAFOUserGet(name.c_str(), user.Address()) != 0) return Reported(directory);
    std::vector<std::string> extra;
    if (directory.HasClass(ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT)) {
        char lm[kHashSize] = "", nt[kHashSize] = "";
        if (QLIBUserSmbPasswdGet(name.c_str(), lm, sizeof lm, nt, sizeof nt) != 0)
            return Reported(directory);
        extra = {"sambaNTPassword", nt, "sambaLMPassword", lm};
    }
    const NameList list(extra);
    return ZAFOLDAPBrowserUserCreateWithCryptedPass(directory.Record(), user.Get(), list.Get(),
                                                    nullptr) == 0
               ? ""
               : Reported(directory);
}

std::string GroupToDirectory(const AccountDirectory &directory, const std::string &name) {
    GroupRecord group;
    if (ZAFOGroupGet(name.c_str(), group.Address()) != 0) return Reported(directory);
    char *text = nullptr;
    size_t size = 0;
    const bool described = ZAFOGroupDescGet(name.c_str(), &text, &size) == 0;
    const std::unique_ptr<char, void (*)(void *)> description(text, std::free);
    return ZAFOLDAPBrowserGroupCreate(directory.Record(), group.Get(),
                                      described && text != nullptr ? text : "", nullptr,
                                      nullptr) == 0
               ? ""
               : Reported(directory);
}

}  // namespace

bool IsCryptHash(std::string_view password) {
    return StartsWithIgnoringCase(password, kCryptScheme);
}

std::string CopyAccount(const AccountDirectory &directory, const Candidate &account,
                        const Target &target) {
    ForgetErrors(directory.Out());
    const bool users = &target.kind == &kUserKind;
    if (target.local) {
        return users ? UserToLocal(directory, account.dn, target)
                     : GroupToLocal(directory, account.dn, target);
    }
    return users ? UserToDirectory(directory, account.name)
                 : GroupToDirectory(directory, account.name);
}

}  // namespace zafo::cli
