// SPDX-License-Identifier: Apache-2.0
//
// Copying all accounts between the appliance's local database and a directory. One that cannot
// be copied is logged and passed over.
#include <strings.h>
#include <sys/random.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
#include <optional>

#include "accounts/account_owner.h"
#include "core/check_connection.h"
#include "core/list.h"
#include "core/own_record.h"
#include "frame/guard.h"
#include "frame/log.h"
#include "frame/text.h"
#include "platform/error.h"
#include "platform/group.h"
#include "platform/user.h"
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
constexpr size_t kDescriptionSize = 1024;
constexpr size_t kHashSize = 33;  // 32 hexadecimal digits and the final zero

// For a line in the log.
template <class Record>
const char *NameOf(const zafo::AccountOwner<Record> &account) {
    const Record *p = account.get();
    return p != nullptr && p->szName != nullptr ? p->szName : "";
}

// --- The common shape ---------------------------------------------------------

// Whether there is room for a list of names.
bool Make(std::optional<zafo::List> *pList) {
    try {
        pList->emplace();
        return true;
    } catch (const std::bad_alloc &) {
        ZAFO_LOG("QLIBCSzListAlloc failed.[0x%04X]", zafo::PlatformError());
        return false;
    }
}

enum class Outcome {
    kSkipped,  // was logged
    kDone,     // as far as it can be; what failed on the way was logged
    kEnd,      // no other account can be copied either
};

// Tries each account of a list in turn. -1 when one of them ends the batch.
template <class Copy>
int ForEach(const zafo::List &accounts, const char *szKind, const Copy &copy) {
    ZAFO_DEBUG_LOG("%d %ss to be added.", accounts.size(), szKind);
    for (int i = 0; i < accounts.size(); ++i) {
        ZAFO_DEBUG_LOG("Try to add %s %d: %s", szKind, i, accounts[i]);
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

bool AddSambaHashes(const char *szName, zafo::List *pExtra) {
    char szLmHash[kHashSize] = "";
    char szNtHash[kHashSize] = "";
    const int nResult =
        QLIBUserSmbPasswdGet(szName, szLmHash, sizeof szLmHash, szNtHash, sizeof szNtHash);
    if (zafo::Ended(szLmHash, zafo::Ended(szNtHash, nResult)) != 0) {
        ZAFO_LOG("Get NTLM failed. [%s] [0x%04X]", szName, zafo::PlatformError());
        return false;
    }
    const char *const rgItem[] = {"sambaNTPassword", szNtHash, "sambaLMPassword", szLmHash};
    for (const char *szItem : rgItem)
        pExtra->Push(szItem);
    return true;
}

Outcome CopyUserToDirectory(const ZAFOLDAP_HOST *pHost, const char *szName, zafo::List *pExtra) {
    if (QLIBCSzListRemoveAll(pExtra->get()) < 0) {  // the hashes of the user before
        ZAFO_LOG("QLIBCSzListRemoveAll failed. [%s] [0x%04X]", szName, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    zafo::User user;
    if (ZAFOUserGet(szName, user.Next()) != 0) {
        ZAFO_LOG("ZAFOUserGet failed. [%s]. [0x%04X]", szName, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    if (HasSamba(*pHost) && !AddSambaHashes(szName, pExtra)) return Outcome::kSkipped;
    if (ZAFOLDAPBrowserUserCreateWithCryptedPass(pHost, user.get(), pExtra->get(), nullptr) != 0) {
        ZAFO_LOG("ZAFOLDAPBrowserUserCreate failed. [%s][0x%04X]", szName, zafo::PlatformError());
    }
    return Outcome::kDone;
}

int UsersToDirectory(const ZAFOLDAP_HOST *pHost) {
    std::optional<zafo::List> names;
    std::optional<zafo::List> extra;
    if (!Make(&names) || !Make(&extra)) return -1;
    if (ZAFOUserEnum(names->address(), ZAFO_ACCOUNT_LOCAL) < 0) {
        ZAFO_LOG("ZAFOUserEnum failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    return ForEach(*names, "user",
                   [&](const char *szName) { return CopyUserToDirectory(pHost, szName, &*extra); });
}

Outcome CopyGroupToDirectory(const ZAFOLDAP_HOST *pHost, const char *szName,
                             zafo::GroupDescription *pDescription) {
    zafo::Group group;
    if (ZAFOGroupGet(szName, group.Next()) != 0) {
        ZAFO_LOG("ZAFOGroupGet failed. [%s]. [0x%04X]", szName, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    const char *szDescription = "";
    pDescription->Empty();
    if (ZAFOGroupDescGet(szName, &pDescription->text, &pDescription->size) != 0) {
        ZAFO_LOG("Get group %s description failed.[0x%04X]", szName, zafo::PlatformError());
    } else if (pDescription->text != nullptr) {
        szDescription = pDescription->text;
    }
    if (ZAFOLDAPBrowserGroupCreate(pHost, group.get(), szDescription, nullptr, nullptr) != 0) {
        ZAFO_LOG("ZAFOLDAPBrowserGroupCreate failed. [%s][0x%04X]", szName, zafo::PlatformError());
    }
    return Outcome::kDone;
}

int GroupsToDirectory(const ZAFOLDAP_HOST *pHost) {
    std::optional<zafo::List> names;
    if (!Make(&names)) return -1;
    if (ZAFOGroupEnum(names->address(), ZAFO_ACCOUNT_LOCAL) < 0) {
        ZAFO_LOG("ZAFOGroupEnum failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    zafo::GroupDescription description;
    return ForEach(*names, "group", [&](const char *szName) {
        return CopyGroupToDirectory(pHost, szName, &description);
    });
}

// --- Into the local database --------------------------------------------------

// The numbers of a process that has not seeded them are known to everybody.
void SeedOnce() {
    [[maybe_unused]] static const bool kSeeded = [] {
        unsigned int nSeed = 0;
        if (getrandom(&nSeed, sizeof nSeed, 0) != sizeof nSeed) {
            nSeed = static_cast<unsigned int>(std::time(nullptr));
        }
        std::srand(nSeed);
        return true;
    }();
}

// What becomes of the password of a directory user.
struct LOCAL_PASSWORD {
    char *szRecord;        // of the local record; NULL: one with which nobody can log in
    const char *szImport;  // crypt(5) hash to be stored; NULL: none
    char szRandom[kPasswordSize];
};

void TakePassword(const ZAFOUSER &user, LOCAL_PASSWORD *pPassword) {
    char *szStored = user.szPasswd;
    if (szStored != nullptr && strncasecmp(szStored, kCryptScheme, kCryptSchemeLength) == 0) {
        pPassword->szRecord = szStored + kCryptSchemeLength;
        pPassword->szImport = pPassword->szRecord;
        return;
    }
    ZAFO_LOG(
        "Password for user %s is not in crypt form. Reset it to random. Please change it as soon "
        "as possible.",
        user.szName);
    SeedOnce();
    char *szRandom = pPassword->szRandom;
    std::snprintf(szRandom, kPasswordSize, "%d-%d", std::rand(),
                  static_cast<int>(std::time(nullptr)));
    // The text itself must never be taken for a hash.
    const bool blHashed = ZAFOLDAPEncryptPasswd(szRandom, szRandom, kPasswordSize) == 0;
    pPassword->szRecord = blHashed ? szRandom : nullptr;
    pPassword->szImport = nullptr;
}

bool IsUserNameFree(const char *szName, zafo::User *pLocal) {
    if (ZAFOUserGetLocal(szName, pLocal->Next()) == 0) {
        ZAFO_LOG("user name [%s] is occupied in local DB.", szName);
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_USER) return true;
    ZAFO_LOG("ZAFOUserGetLocal failed. [%s] [0x%04X]", szName, zafo::PlatformError());
    return false;
}

bool IsUidFree(uint32_t uid, zafo::User *pLocal) {
    if (ZAFOUserGetLocalByUID(uid, pLocal->Next()) == 0) {
        ZAFO_LOG("user uid [%lu] is occupied by [%s] in local DB.", static_cast<unsigned long>(uid),
                 NameOf(*pLocal));
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_USER) return true;
    ZAFO_LOG("ZAFOUserGetLocalByUID failed. [%lu] [0x%04X]", static_cast<unsigned long>(uid),
             zafo::PlatformError());
    return false;
}

bool IsRoomForAUser() {
    const int nRemained = QLIBUserNumRemained();
    if (nRemained > 0) return true;
    if (nRemained < 0) {
        ZAFO_LOG("QLIBUserNumRemained failed. [%d]. [0x%04X]", nRemained, zafo::PlatformError());
    } else {
        ZAFO_LOG("The limit of local account has been reached.");
    }
    return false;
}

// The Samba hashes of an entry, "" for one that it lacks.
struct SAMBA_HASHES {
    const char *szNt = "";
    const char *szLm = "";
};

SAMBA_HASHES SambaHashesOf(const zafo::OwnResult &entry, const char *szName) {
    SAMBA_HASHES hashes;
    if (const char *szNt = ZAFOLDAPResultGetFirst(&entry, "sambaNTPassword")) {
        hashes.szNt = szNt;
    } else {
        ZAFO_LOG("get NT Hash failed. [%s] ", szName);
    }
    if (const char *szLm = ZAFOLDAPResultGetFirst(&entry, "sambaLMPassword")) {
        hashes.szLm = szLm;
    } else {
        ZAFO_LOG("get LM Hash failed. [%s] ", szName);
    }
    return hashes;
}

bool ImportPassword(const char *szName, const char *szCryptHash, const SAMBA_HASHES &samba) {
    if (QLIBUserImportPasswd(&szName, &szCryptHash, &samba.szLm, &samba.szNt, 1) == 0) return true;
    ZAFO_LOG("QLIBUserImportPasswd failed. [%s] [0x%04X]", szName, zafo::PlatformError());
    return false;
}

// What the users of a batch go through on their way.
struct USER_TRANSIT {
    zafo::User user;
    zafo::User local;
    zafo::OwnResult entry;
    zafo::MultiResult multiResult;
};

Outcome CopyUserToLocal(const ZAFOLDAP_HOST *pHost, const char *szDN, USER_TRANSIT *pTransit) {
    if (ZAFOLDAPBrowserUserGet(pHost, szDN, pTransit->user.Next(), &pTransit->entry) != 1) {
        ZAFO_LOG("ZAFOLDAPBrowserUserGet failed. [%s]. [0x%04X]", szDN, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    ZAFOUSER user = *pTransit->user.get();  // with another password, its strings are borrowed
    LOCAL_PASSWORD password;
    TakePassword(user, &password);
    user.szPasswd = password.szRecord;

    if (!IsUserNameFree(user.szName, &pTransit->local)) return Outcome::kSkipped;
    if (!IsUidFree(user.pw_uid, &pTransit->local)) return Outcome::kSkipped;
    if (!IsRoomForAUser()) return Outcome::kEnd;
    if (ZAFOUserSetOne(0, &user, pTransit->multiResult.get()) != 0) {
        ZAFO_LOG("ZAFOUserSet failed. [%s] [0x%04X]", user.szName, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    SAMBA_HASHES samba;
    if (HasSamba(*pHost)) samba = SambaHashesOf(pTransit->entry, user.szName);
    if (password.szImport != nullptr && !ImportPassword(user.szName, password.szImport, samba)) {
        return Outcome::kSkipped;
    }
    return Outcome::kDone;
}

int UsersToLocal(const ZAFOLDAP_HOST *pHost) {
    std::optional<zafo::List> dns;
    if (!Make(&dns)) return -1;
    USER_TRANSIT transit;
    if (ZAFOLDAPResultInit(&transit.entry) != 0) return -1;
    transit.multiResult.reset(QLIBCMResultAlloc());
    if (transit.multiResult == nullptr) return -1;
    if (ZAFOLDAPBrowserUserEnumAll(pHost, dns->address(), nullptr) < 0) {
        ZAFO_LOG("ZAFOLDAPBrowserUserEnumAll failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    return ForEach(*dns, "user",
                   [&](const char *szDN) { return CopyUserToLocal(pHost, szDN, &transit); });
}

bool IsGroupNameFree(const char *szName, zafo::Group *pLocal) {
    if (ZAFOGroupGetLocal(szName, pLocal->Next()) == 0) {
        ZAFO_LOG("group name [%s] is occupied in local DB.", szName);
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_GROUP) return true;
    ZAFO_LOG("ZAFOGroupGetLocal failed. [%s] [0x%04X]", szName, zafo::PlatformError());
    return false;
}

bool IsGidFree(uint32_t gid, zafo::Group *pLocal) {
    if (ZAFOGroupGetLocalByGID(gid, pLocal->Next()) == 0) {
        ZAFO_LOG("group gid [%lu] is occupied by [%s] in local DB.",
                 static_cast<unsigned long>(gid), NameOf(*pLocal));
        return false;
    }
    if (QLIBCErrGet() == QLIB_ERR_NO_SUCH_GROUP) return true;
    ZAFO_LOG("ZAFOGroupGetLocalByGID failed. [%lu] [0x%04X]", static_cast<unsigned long>(gid),
             zafo::PlatformError());
    return false;
}

Outcome CopyGroupToLocal(const ZAFOLDAP_HOST *pHost, const char *szDN, zafo::Group *pGroup,
                         zafo::Group *pLocal) {
    char szDescription[kDescriptionSize];  // the local database takes none
    if (ZAFOLDAPBrowserGroupGet(pHost, szDN, pGroup->Next(), szDescription, sizeof szDescription) !=
        1) {
        ZAFO_LOG("ZAFOLDAPBrowserGroupGet failed. [%s]. [0x%04X]", szDN, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    const ZAFOGROUP &group = *pGroup->get();
    if (!IsGroupNameFree(group.szName, pLocal)) return Outcome::kSkipped;
    if (!IsGidFree(group.nGid, pLocal)) return Outcome::kSkipped;
    if (ZAFOGroupSet(0, &group) != 0) {
        ZAFO_LOG("ZAFOGroupSet failed. [%s] [0x%04X]", group.szName, zafo::PlatformError());
        return Outcome::kSkipped;
    }
    return Outcome::kDone;
}

int GroupsToLocal(const ZAFOLDAP_HOST *pHost) {
    std::optional<zafo::List> dns;
    if (!Make(&dns)) return -1;
    if (ZAFOLDAPBrowserGroupEnumAll(pHost, dns->address(), nullptr) < 0) {
        ZAFO_LOG("ZAFOLDAPBrowserGroupEnumAll failed, [0x%04X]", zafo::PlatformError());
        return -1;
    }
    zafo::Group group;
    zafo::Group local;
    return ForEach(*dns, "group",
                   [&](const char *szDN) { return CopyGroupToLocal(pHost, szDN, &group, &local); });
}

}  // namespace

int ZAFOLDAPBrowserMigrateUserToLDAP(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return UsersToDirectory(pHost); });
}

int ZAFOLDAPBrowserMigrateGroupToLDAP(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return GroupsToDirectory(pHost); });
}

int ZAFOLDAPBrowserMigrateUserToLocal(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return UsersToLocal(pHost); });
}

int ZAFOLDAPBrowserMigrateGroupToLocal(const ZAFOLDAP_HOST *pHost) {
    if (!zafo::IsConnection(pHost, __FILE_NAME__)) return -1;
    return zafo::Guarded(-1, [&] { return GroupsToLocal(pHost); });
}
