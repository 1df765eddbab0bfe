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

// Allocates a list of names. 0 or -1.
int Make(std::optional<zafo::List> *list) {
    try {
        list->emplace();
        return 0;
    } catch (const std::bad_alloc &) {
        return ZAFO_FAILURE("QLIBCSzListAlloc failed.[0x%04X]", zafo::PlatformError());
    }
}

// Copying an account returns 0, even if failures on the way were logged; -1 if it is skipped and
// the reason was logged; or this, if no other account can be copied either.
constexpr int kEndOfBatch = 1;

// Tries each account of a list in turn. Returns -1 if one of them ends the batch.
template <class Copy>
int ForEach(const zafo::List &accounts, const char *kind, const Copy &copy) {
    ZAFO_DEBUG_LOG("%d %ss to be added.", accounts.size(), kind);
    for (int i = 0; i < accounts.size(); ++i) {
        ZAFO_DEBUG_LOG("Try to add %s %d: %s", kind, i, accounts[i]);
        const int result = copy(accounts[i]);
        if (result == kEndOfBatch) return -1;
        if (result == 0) ZAFO_DEBUG_LOG("Create %s successfully.", accounts[i]);
    }
    return 0;
}

bool HasSamba(const ZAFOLDAP_HOST &host) {
    return (host.nSchema & ZAFOLDAP_CLASS_SAMBA_SAM_ACCOUNT) != 0;
}

// --- Into the directory -------------------------------------------------------

int AddSambaHashes(const char *name, zafo::List *extra) {
    char lm_hash[kHashSize] = "";
    char nt_hash[kHashSize] = "";
    const int result = QLIBUserSmbPasswdGet(name, lm_hash, sizeof lm_hash, nt_hash, sizeof nt_hash);
    if (zafo::Ended(lm_hash, zafo::Ended(nt_hash, result)) != 0) {
        return ZAFO_FAILURE("Get NTLM failed. [%s] [0x%04X]", name, zafo::PlatformError());
    }
    const char *const items[] = {"sambaNTPassword", nt_hash, "sambaLMPassword", lm_hash};
    for (const char *item : items)
        extra->Push(item);
    return 0;
}

int CopyUserToDirectory(const ZAFOLDAP_HOST *host, const char *name, zafo::List *extra) {
    if (QLIBCSzListRemoveAll(extra->get()) < 0) {  // hashes of the previous user
        return ZAFO_FAILURE("QLIBCSzListRemoveAll failed. [%s] [0x%04X]", name,
                            zafo::PlatformError());
    }
    zafo::User user;
    if (ZAFOUserGet(name, user.Next()) != 0) {
        return ZAFO_FAILURE("ZAFOUserGet failed. [%s]. [0x%04X]", name, zafo::PlatformError());
    }
    if (HasSamba(*host) && AddSambaHashes(name, extra) != 0) return -1;
    if (ZAFOLDAPBrowserUserCreateWithCryptedPass(host, user.get(), extra->get(), nullptr) != 0) {
        ZAFO_LOG("ZAFOLDAPBrowserUserCreate failed. [%s][0x%04X]", name, zafo::PlatformError());
    }
    return 0;
}

int UsersToDirectory(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> names;
    std::optional<zafo::List> extra;
    if (Make(&names) != 0 || Make(&extra) != 0) return -1;
    if (ZAFOUserEnum(names->address(), ZAFO_ACCOUNT_LOCAL) < 0) {
        return ZAFO_FAILURE("ZAFOUserEnum failed, [0x%04X]", zafo::PlatformError());
    }
    return ForEach(*names, "user",
                   [&](const char *name) { return CopyUserToDirectory(host, name, &*extra); });
}

int CopyGroupToDirectory(const ZAFOLDAP_HOST *host, const char *name,
                         zafo::GroupDescription *buffer) {
    zafo::Group group;
    if (ZAFOGroupGet(name, group.Next()) != 0) {
        return ZAFO_FAILURE("ZAFOGroupGet failed. [%s]. [0x%04X]", name, zafo::PlatformError());
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
    return 0;
}

int GroupsToDirectory(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> names;
    if (Make(&names) != 0) return -1;
    if (ZAFOGroupEnum(names->address(), ZAFO_ACCOUNT_LOCAL) < 0) {
        return ZAFO_FAILURE("ZAFOGroupEnum failed, [0x%04X]", zafo::PlatformError());
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

int CheckUserName(const char *name, zafo::User *local) {
    if (ZAFOUserGetLocal(name, local->Next()) == 0) {
        return ZAFO_FAILURE("user name [%s] is occupied in local DB.", name);
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_USER) return 0;
    return ZAFO_FAILURE("ZAFOUserGetLocal failed. [%s] [0x%04X]", name, zafo::PlatformError());
}

int CheckUid(uint32_t uid, zafo::User *local) {
    if (ZAFOUserGetLocalByUID(uid, local->Next()) == 0) {
        return ZAFO_FAILURE("user uid [%lu] is occupied by [%s] in local DB.",
                            static_cast<unsigned long>(uid), NameOf(*local));
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_USER) return 0;
    return ZAFO_FAILURE("ZAFOUserGetLocalByUID failed. [%lu] [0x%04X]",
                        static_cast<unsigned long>(uid), zafo::PlatformError());
}

int CheckRoomForAUser() {
    const int remaining = QLIBUserNumRemained();
    if (remaining > 0) return 0;
    if (remaining == 0) return ZAFO_FAILURE("The limit of local account has been reached.");
    return ZAFO_FAILURE("QLIBUserNumRemained failed. [%d]. [0x%04X]", remaining,
                        zafo::PlatformError());
}

// A user's Samba hash in the entry ("NT" or "LM"); "" if it is missing.
const char *SambaHash(const zafo::OwnResult &entry, const char *kind, const char *attribute,
                      const char *name) {
    const char *hash = ZAFOLDAPResultGetFirst(&entry, attribute);
    if (hash != nullptr) return hash;
    ZAFO_LOG("get %s Hash failed. [%s] ", kind, name);
    return "";
}

int ImportPassword(const char *name, const char *crypt_hash, const char *nt_hash,
                   const char *lm_hash) {
    if (QLIBUserImportPasswd(&name, &crypt_hash, &lm_hash, &nt_hash, 1) == 0) return 0;
    return ZAFO_FAILURE("QLIBUserImportPasswd failed. [%s] [0x%04X]", name, zafo::PlatformError());
}

// Working storage for copying users, reused for each of them.
struct UserTransit {
    zafo::User user;
    zafo::User local;
    zafo::OwnResult entry;
    zafo::MultiResult multi_result;
};

int CopyUserToLocal(const ZAFOLDAP_HOST *host, const char *dn, UserTransit *transit) {
    if (ZAFOLDAPBrowserUserGet(host, dn, transit->user.Next(), &transit->entry) != 1) {
        return ZAFO_FAILURE("ZAFOLDAPBrowserUserGet failed. [%s]. [0x%04X]", dn,
                            zafo::PlatformError());
    }
    ZAFOUSER user = *transit->user.get();  // a copy with another password; borrows the strings
    LocalPassword password;
    TakePassword(user, &password);
    user.szPasswd = password.record;

    if (CheckUserName(user.szName, &transit->local) != 0) return -1;
    if (CheckUid(user.pw_uid, &transit->local) != 0) return -1;
    if (CheckRoomForAUser() != 0) return kEndOfBatch;
    if (ZAFOUserSetOne(0, &user, transit->multi_result.get()) != 0) {
        return ZAFO_FAILURE("ZAFOUserSet failed. [%s] [0x%04X]", user.szName,
                            zafo::PlatformError());
    }
    const char *nt_hash = "";
    const char *lm_hash = "";
    if (HasSamba(*host)) {
        nt_hash = SambaHash(transit->entry, "NT", "sambaNTPassword", user.szName);
        lm_hash = SambaHash(transit->entry, "LM", "sambaLMPassword", user.szName);
    }
    if (password.imported == nullptr) return 0;
    return ImportPassword(user.szName, password.imported, nt_hash, lm_hash);
}

int UsersToLocal(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> dns;
    if (Make(&dns) != 0) return -1;
    UserTransit transit;
    if (ZAFOLDAPResultInit(&transit.entry) != 0) return -1;
    transit.multi_result.reset(QLIBCMResultAlloc());
    if (transit.multi_result == nullptr) return -1;
    if (ZAFOLDAPBrowserUserEnumAll(host, dns->address(), nullptr) < 0) {
        return ZAFO_FAILURE("ZAFOLDAPBrowserUserEnumAll failed, [0x%04X]", zafo::PlatformError());
    }
    return ForEach(*dns, "user",
                   [&](const char *dn) { return CopyUserToLocal(host, dn, &transit); });
}

int CheckGroupName(const char *name, zafo::Group *local) {
    if (ZAFOGroupGetLocal(name, local->Next()) == 0) {
        return ZAFO_FAILURE("group name [%s] is occupied in local DB.", name);
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_GROUP) return 0;
    return ZAFO_FAILURE("ZAFOGroupGetLocal failed. [%s] [0x%04X]", name, zafo::PlatformError());
}

int CheckGid(uint32_t gid, zafo::Group *local) {
    if (ZAFOGroupGetLocalByGID(gid, local->Next()) == 0) {
        return ZAFO_FAILURE("group gid [%lu] is occupied by [%s] in local DB.",
                            static_cast<unsigned long>(gid), NameOf(*local));
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_GROUP) return 0;
    return ZAFO_FAILURE("ZAFOGroupGetLocalByGID failed. [%lu] [0x%04X]",
                        static_cast<unsigned long>(gid), zafo::PlatformError());
}

int CopyGroupToLocal(const ZAFOLDAP_HOST *host, const char *dn, zafo::Group *owner,
                     zafo::Group *local) {
    char description[kUnusedDescriptionSize];  // not used: ZAFOGroupSet takes none
    if (ZAFOLDAPBrowserGroupGet(host, dn, owner->Next(), description, sizeof description) != 1) {
        return ZAFO_FAILURE("ZAFOLDAPBrowserGroupGet failed. [%s]. [0x%04X]", dn,
                            zafo::PlatformError());
    }
    const ZAFOGROUP &group = *owner->get();
    if (CheckGroupName(group.szName, local) != 0 || CheckGid(group.nGid, local) != 0) return -1;
    if (ZAFOGroupSet(0, &group) == 0) return 0;
    return ZAFO_FAILURE("ZAFOGroupSet failed. [%s] [0x%04X]", group.szName, zafo::PlatformError());
}

int GroupsToLocal(const ZAFOLDAP_HOST *host) {
    std::optional<zafo::List> dns;
    if (Make(&dns) != 0) return -1;
    if (ZAFOLDAPBrowserGroupEnumAll(host, dns->address(), nullptr) < 0) {
        return ZAFO_FAILURE("ZAFOLDAPBrowserGroupEnumAll failed, [0x%04X]", zafo::PlatformError());
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
