// SPDX-License-Identifier: Apache-2.0
//
// Copies all accounts between the appliance's local database and a directory. An account that
// cannot be copied is logged and skipped.
#include <strings.h>
#include <sys/random.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
#include <optional>

#include "platform/error.h"
#include "platform/group.h"
#include "platform/user.h"
#include "src/accounts/account_owner.h"
#include "src/core/check_connection.h"
#include "src/core/list.h"
#include "src/core/own_record.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/text.h"
#include "zafoldap/browser.h"
#include "zafoldap/debug.h"
#include "zafoldap/group.h"
#include "zafoldap/migrate.h"
#include "zafoldap/object_class.h"
#include "zafoldap/password.h"
#include "zafoldap/user.h"

namespace {

constexpr char kCryptScheme[] = "{crypt}";
constexpr size_t kCryptSchemeLength = sizeof kCryptScheme - 1;
constexpr size_t kPasswordSize = 1024;
constexpr size_t kUnusedDescriptionSize = 1024;
constexpr size_t kHashSize = 33;  // 32 hexadecimal digits and the final zero

// For log lines.
template <class Record>
const char *NameOf(const zafo::AccountOwner<Record> &account) {
    const Record *p = account.get();
    return p != nullptr && p->szName != nullptr ? p->szName : "";
}

// --- Shared by both directions ------------------------------------------------

// Allocates a list of names; false when out of memory.
bool Make(std::optional<zafo::List> *list) {
    try {
        list->emplace();
        return true;
    } catch (const std::bad_alloc &) {
        ZAFO_LOG("QLIBCSzListAlloc failed.[0x%04X]", zafo::PlatformError());
        return false;
    }
}

enum class Outcome {
    kSkipped,  // the reason was logged
    kDone,     // as far as possible; failures on the way were logged
    kEnd,      // no other account can be copied either
};

// Tries each account of a list in turn. Returns -1 if one of them ends the batch.
template <class Copy>
int ForEach(const zafo::List &accounts, const char *kind, const Copy &copy) {
    ZAFO_DEBUG_LOG("%d %ss to be added.", accounts.size(), kind);
    for (int i = 0; i < accounts.size(); ++i) {
        ZAFO_DEBUG_LOG("Try to add %s %d: %s", kind, i, accounts[i]);
        const Outcome outcome = copy(accounts[i]);
        if (outcome == Outcome::kEnd) return -1;
        if (outcome == Outcome::kDone) ZAFO_DEBUG_LOG("Create %s successfully.", accounts[i]);
    }
    return 0;
}

bool HasSamba(const ZAFOLDAP_HOST &host) {
    return (host.nSchema & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) != 0;
}

// --- Into the directory -------------------------------------------------------

bool AddSambaHashes(const char *name, zafo::List *extra) {
    char lm_hash[kHashSize] = "";
    char nt_hash[kHashSize] = "";
    const int result = QLIBUserSmbPasswdGet(name, lm_hash, sizeof lm_hash, nt_hash, sizeof nt_hash);
    if (zafo::Ended(lm_hash, zafo::Ended(nt_hash, result)) != 0) {
        ZAFO_LOG("Get NTLM failed. [%s] [0x%04X]", name, zafo::PlatformError());
        return false;
    }
    const char *const items[] = {"sambaNTPassword", nt_hash, "sambaLMPassword", lm_hash};
    for (const char *item : items)
        extra->Push(item);
    return true;
}

Outcome CopyUserToDirectory(const ZAFOLDAP_HOST *host, const char *name, zafo::List *extra) {
    if (QLIBCSzListRemoveAll(extra->get()) < 0) {  // hashes of the previous user
        ZAFO_LOG("QLIBCSzListRemoveAll failed. [%s] [0x%04X]", name, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    zafo::User user;
    if (ZAFOUserGet(name, user.Next()) != 0) {
        ZAFO_LOG("ZAFOUserGet failed. [%s]. [0x%04X]", name, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    if (HasSamba(*host) && !AddSambaHashes(name, extra)) return Outcome::kSkipped;
    if (ZAFOLDAPBrowserUserCreateWithCryptedPass(host, user.get(), extra->get(), nullptr) != 0) {
        ZAFO_LOG("ZAFOLDAPBrowserUserCreate failed. [%s][0x%04X]", name, zafo::PlatformError());
    }
    return Outcome::kDone;
}

int UsersToDirectory(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> names;
    std::optional<zafo::List> extra;
    if (!Make(&names) || !Make(&extra)) return -1;
    if (ZAFOUserEnum(names->address(), ZAFO_ACCOUNT_LOCAL) < 0) {
        ZAFO_LOG("ZAFOUserEnum failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    return ForEach(*names, "user",
                   [&](const char *name) { return CopyUserToDirectory(host, name, &*extra); });
}

Outcome CopyGroupToDirectory(const ZAFOLDAP_HOST *host, const char *name,
                             zafo::GroupDescription *buffer) {
    zafo::Group group;
    if (ZAFOGroupGet(name, group.Next()) != 0) {
        ZAFO_LOG("ZAFOGroupGet failed. [%s]. [0x%04X]", name, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    const char *description = "";
    buffer->Empty();
    if (ZAFOGroupDescGet(name, &buffer->text, &buffer->size) != 0) {
        ZAFO_LOG("Get group %s description failed.[0x%04X]", name, zafo::PlatformError());
    } else if (buffer->text != nullptr) {
        description = buffer->text;
    }
    if (ZAFOLDAPBrowserGroupCreate(host, group.get(), description, nullptr, nullptr) != 0) {
        ZAFO_LOG("ZAFOLDAPBrowserGroupCreate failed. [%s][0x%04X]", name, zafo::PlatformError());
    }
    return Outcome::kDone;
}

int GroupsToDirectory(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> names;
    if (!Make(&names)) return -1;
    if (ZAFOGroupEnum(names->address(), ZAFO_ACCOUNT_LOCAL) < 0) {
        ZAFO_LOG("ZAFOGroupEnum failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    zafo::GroupDescription description;
    return ForEach(*names, "group", [&](const char *name) {
        return CopyGroupToDirectory(host, name, &description);
    });
}

// --- Into the local database --------------------------------------------------

// Without seeding, every process would generate the same, known numbers.
void SeedOnce() {
    [[maybe_unused]] static const bool kSeeded = [] {
        unsigned int seed = 0;
        if (getrandom(&seed, sizeof seed, 0) != sizeof seed) {
            seed = static_cast<unsigned int>(std::time(nullptr));
        }
        std::srand(seed);
        return true;
    }();
}

// What becomes of a directory user's password.
struct LocalPassword {
    char *record;          // for the local record; NULL: nobody can log in
    const char *imported;  // crypt(5) hash to store; NULL: none
    char random[kPasswordSize];
};

void TakePassword(const ZAFOUSER &user, LocalPassword *password) {
    char *stored = user.szPasswd;
    if (stored != nullptr && strncasecmp(stored, kCryptScheme, kCryptSchemeLength) == 0) {
        password->record = stored + kCryptSchemeLength;
        password->imported = password->record;
        return;
    }
    ZAFO_LOG(
        "Password for user %s is not in crypt form. Reset it to random. Please change it as soon "
        "as possible.",
        user.szName);
    SeedOnce();
    char *random = password->random;
    std::snprintf(random, kPasswordSize, "%d-%d", std::rand(),
                  static_cast<int>(std::time(nullptr)));
    // The plain text must never be taken for a hash.
    const bool is_hashed = ZAFOLDAPEncryptPasswd(random, random, kPasswordSize) == 0;
    password->record = is_hashed ? random : nullptr;
    password->imported = nullptr;
}

bool IsUserNameFree(const char *name, zafo::User *local) {
    if (ZAFOUserGetLocal(name, local->Next()) == 0) {
        ZAFO_LOG("user name [%s] is occupied in local DB.", name);
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_USER) return true;
    ZAFO_LOG("ZAFOUserGetLocal failed. [%s] [0x%04X]", name, zafo::PlatformError());
    return false;
}

bool IsUidFree(uint32_t uid, zafo::User *local) {
    if (ZAFOUserGetLocalByUID(uid, local->Next()) == 0) {
        ZAFO_LOG("user uid [%lu] is occupied by [%s] in local DB.", static_cast<unsigned long>(uid),
                 NameOf(*local));
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_USER) return true;
    ZAFO_LOG("ZAFOUserGetLocalByUID failed. [%lu] [0x%04X]", static_cast<unsigned long>(uid),
             zafo::PlatformError());
    return false;
}

bool IsRoomForAUser() {
    const int remaining = QLIBUserNumRemained();
    if (remaining > 0) return true;
    if (remaining < 0) {
        ZAFO_LOG("QLIBUserNumRemained failed. [%d]. [0x%04X]", remaining, zafo::PlatformError());
    } else {
        ZAFO_LOG("The limit of local account has been reached.");
    }
    return false;
}

// The Samba hashes of an entry; "" for a missing one.
struct SambaHashes {
    const char *nt = "";
    const char *lm = "";
};

SambaHashes SambaHashesOf(const zafo::OwnResult &entry, const char *name) {
    SambaHashes hashes;
    if (const char *nt = ZAFOLDAPResultGetFirst(&entry, "sambaNTPassword")) {
        hashes.nt = nt;
    } else {
        ZAFO_LOG("get NT Hash failed. [%s] ", name);
    }
    if (const char *lm = ZAFOLDAPResultGetFirst(&entry, "sambaLMPassword")) {
        hashes.lm = lm;
    } else {
        ZAFO_LOG("get LM Hash failed. [%s] ", name);
    }
    return hashes;
}

bool ImportPassword(const char *name, const char *crypt_hash, const SambaHashes &samba) {
    if (QLIBUserImportPasswd(&name, &crypt_hash, &samba.lm, &samba.nt, 1) == 0) return true;
    ZAFO_LOG("QLIBUserImportPasswd failed. [%s] [0x%04X]", name, zafo::PlatformError());
    return false;
}

// Working storage for copying users, reused for each of them.
struct UserTransit {
    zafo::User user;
    zafo::User local;
    zafo::OwnResult entry;
    zafo::MultiResult multi_result;
};

Outcome CopyUserToLocal(const ZAFOLDAP_HOST *host, const char *dn, UserTransit *transit) {
    if (ZAFOLDAPBrowserUserGet(host, dn, transit->user.Next(), &transit->entry) != 1) {
        ZAFO_LOG("ZAFOLDAPBrowserUserGet failed. [%s]. [0x%04X]", dn, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    ZAFOUSER user = *transit->user.get();  // a copy with another password; borrows the strings
    LocalPassword password;
    TakePassword(user, &password);
    user.szPasswd = password.record;

    if (!IsUserNameFree(user.szName, &transit->local)) return Outcome::kSkipped;
    if (!IsUidFree(user.pw_uid, &transit->local)) return Outcome::kSkipped;
    if (!IsRoomForAUser()) return Outcome::kEnd;
    if (ZAFOUserSetOne(0, &user, transit->multi_result.get()) != 0) {
        ZAFO_LOG("ZAFOUserSet failed. [%s] [0x%04X]", user.szName, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    SambaHashes samba;
    if (HasSamba(*host)) samba = SambaHashesOf(transit->entry, user.szName);
    if (password.imported != nullptr && !ImportPassword(user.szName, password.imported, samba)) {
        return Outcome::kSkipped;
    }
    return Outcome::kDone;
}

int UsersToLocal(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> dns;
    if (!Make(&dns)) return -1;
    UserTransit transit;
    if (ZAFOLDAPResultInit(&transit.entry) != 0) return -1;
    transit.multi_result.reset(QLIBCMResultAlloc());
    if (transit.multi_result == nullptr) return -1;
    if (ZAFOLDAPBrowserUserEnumAll(host, dns->address(), nullptr) < 0) {
        ZAFO_LOG("ZAFOLDAPBrowserUserEnumAll failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    return ForEach(*dns, "user",
                   [&](const char *dn) { return CopyUserToLocal(host, dn, &transit); });
}

bool IsGroupNameFree(const char *name, zafo::Group *local) {
    if (ZAFOGroupGetLocal(name, local->Next()) == 0) {
        ZAFO_LOG("group name [%s] is occupied in local DB.", name);
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_GROUP) return true;
    ZAFO_LOG("ZAFOGroupGetLocal failed. [%s] [0x%04X]", name, zafo::PlatformError());
    return false;
}

bool IsGidFree(uint32_t gid, zafo::Group *local) {
    if (ZAFOGroupGetLocalByGID(gid, local->Next()) == 0) {
        ZAFO_LOG("group gid [%lu] is occupied by [%s] in local DB.",
                 static_cast<unsigned long>(gid), NameOf(*local));
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_GROUP) return true;
    ZAFO_LOG("ZAFOGroupGetLocalByGID failed. [%lu] [0x%04X]", static_cast<unsigned long>(gid),
             zafo::PlatformError());
    return false;
}

Outcome CopyGroupToLocal(const ZAFOLDAP_HOST *host, const char *dn, zafo::Group *owner,
                         zafo::Group *local) {
    char description[kUnusedDescriptionSize];  // not used: ZAFOGroupSet takes none
    if (ZAFOLDAPBrowserGroupGet(host, dn, owner->Next(), description, sizeof description) != 1) {
        ZAFO_LOG("ZAFOLDAPBrowserGroupGet failed. [%s]. [0x%04X]", dn, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    const ZAFOGROUP &group = *owner->get();
    if (!IsGroupNameFree(group.szName, local)) return Outcome::kSkipped;
    if (!IsGidFree(group.nGid, local)) return Outcome::kSkipped;
    if (ZAFOGroupSet(0, &group) != 0) {
        ZAFO_LOG("ZAFOGroupSet failed. [%s] [0x%04X]", group.szName, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    return Outcome::kDone;
}

int GroupsToLocal(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> dns;
    if (!Make(&dns)) return -1;
    if (ZAFOLDAPBrowserGroupEnumAll(host, dns->address(), nullptr) < 0) {
        ZAFO_LOG("ZAFOLDAPBrowserGroupEnumAll failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    zafo::Group group;
    zafo::Group local;
    return ForEach(*dns, "group",
                   [&](const char *dn) { return CopyGroupToLocal(host, dn, &group, &local); });
}

}  // namespace

int ZAFOLDAPBrowserMigrateUserToLDAP(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return UsersToDirectory(host); });
}

int ZAFOLDAPBrowserMigrateGroupToLDAP(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return GroupsToDirectory(host); });
}

int ZAFOLDAPBrowserMigrateUserToLocal(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return UsersToLocal(host); });
}

int ZAFOLDAPBrowserMigrateGroupToLocal(const ZAFOLDAP_HOST *host) {
    if (!zafo::IsConnection(host, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return GroupsToLocal(host); });
}
