// SPDX-License-Identifier: Apache-2.0
#include "tests/core/other_platform.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "platform/crypt.h"
#include "platform/error.h"
#include "platform/file.h"
#include "platform/group.h"
#include "platform/ldap.h"
#include "platform/share.h"
#include "platform/szlist.h"
#include "platform/user.h"

namespace zafo::core_test {

PlatformWays &PlatformWays::Get() {
    static PlatformWays ways;
    return ways;
}

OtherPlatform::~OtherPlatform() {
    EXPECT_EQ(PlatformWays::Get().given_null, std::vector<std::string>());
    PlatformWays::Get() = {};
}

namespace {

// The ways towards the library; towards our platform's own functions and the tests, ours.
const PlatformWays &WaysFor(const void *caller) {
    static const PlatformWays kOurs;
    Dl_info info{};
    const bool library = dladdr(caller, &info) != 0 && info.dli_fname != nullptr &&
                         std::strstr(info.dli_fname, "libzafoldap.so") != nullptr;
    return library ? PlatformWays::Get() : kOurs;
}

template <class Function>
Function *Ours(Function *, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

int Success(const PlatformWays &ways, int result) {
    return ways.positive_success && result == 0 ? 7 : result;
}

// The same for a function that has written a text.
int Written(const PlatformWays &ways, char *buffer, size_t size, int result) {
    if (!ways.fills_buffers) return Success(ways, result);
    std::memset(buffer, 'x', size);
    return Success(ways, 0);
}

// An item's text is gone before anything else happens.
void Wipe(const PlatformWays &ways, const QLIBSZLIST *list, int index) {
    if (!ways.wipes_before_copying || index < 0 || index >= list->nItem) return;
    char *text = const_cast<char *>(Ours(&QLIBCSzListGet, "QLIBCSzListGet")(list, index));
    std::memset(text, '~', std::strlen(text));
}

void NoteNull(const void *argument, const char *function) {
    if (argument == nullptr) PlatformWays::Get().given_null.emplace_back(function);
}

std::string WithoutBlanks(const char *text) {
    std::string tight = text;
    std::erase(tight, ' ');
    return tight;
}

int Decode(Decoding decoding, const std::string &decoded, char *buffer, size_t *size) {
    if (decoding == Decoding::kTakesARoom && *size < decoded.size() + 1) return 0;
    if (decoding == Decoding::kTouches1024) std::memset(buffer, 0, 1024);
    std::memcpy(buffer, decoded.data(), decoded.size());
    if (decoding == Decoding::kTouches1024) *size = decoded.size();
    if (decoding == Decoding::kLengthBeyond) *size = size_t{1} << 30;
    return 7;
}

}  // namespace
}  // namespace zafo::core_test

using namespace zafo::core_test;

#define CALLER WaysFor(__builtin_return_address(0))
#define OURS(function) Ours(&function, #function)

// Lists and maps ------------------------------------------------------------------------------

void QLIBCSzListFree(QLIBSZLIST *pList) {
    if (&CALLER == &PlatformWays::Get()) NoteNull(pList, "QLIBCSzListFree");
    OURS(QLIBCSzListFree)(pList);
}

int QLIBCSzListPush(QLIBSZLIST **ppList, const char *sz) {
    return Success(CALLER, OURS(QLIBCSzListPush)(ppList, sz));
}

int QLIBCSzListInsert(QLIBSZLIST **ppList, int nIndex, const char *sz) {
    const PlatformWays &ways = CALLER;
    if (ways.failing_inserts > 0) {
        --PlatformWays::Get().failing_inserts;
        return -1;
    }
    return Success(ways, OURS(QLIBCSzListInsert)(ppList, nIndex, sz));
}

const char *QLIBCSzListGet(const QLIBSZLIST *pList, int nIndex) {
    const bool library = &CALLER == &PlatformWays::Get();
    int &left = PlatformWays::Get().lost_item;
    if (library && left > 0 && --left == 0) return nullptr;
    return OURS(QLIBCSzListGet)(pList, nIndex);
}

int QLIBCSzListPop(QLIBSZLIST *pList) {
    const PlatformWays &ways = CALLER;
    if (ways.failing_pops > 0 && PlatformWays::Get().failing_pops-- > 0) return -1;
    return Success(ways, OURS(QLIBCSzListPop)(pList));
}

int QLIBCSzListSortItems(QLIBSZLIST *pList, int nFlags) {
    const PlatformWays &ways = CALLER;
    if (ways.cannot_sort) return -1;
    return Success(ways, OURS(QLIBCSzListSortItems)(pList, nFlags));
}

int QLIBCSzListRemoveAll(QLIBSZLIST *pList) {
    const PlatformWays &ways = CALLER;
    if (ways.failing_empties > 0 && PlatformWays::Get().failing_empties-- > 0) return -1;
    return Success(ways, OURS(QLIBCSzListRemoveAll)(pList));
}

int QLIBCSzListSet(QLIBSZLIST **ppList, int nIndex, const char *sz) {
    const PlatformWays &ways = CALLER;
    Wipe(ways, *ppList, nIndex);
    return Success(ways, OURS(QLIBCSzListSet)(ppList, nIndex, sz));
}

int QLIBCSzListRemove(QLIBSZLIST *pList, int nIndex) {
    const PlatformWays &ways = CALLER;
    Wipe(ways, pList, nIndex);
    return Success(ways, OURS(QLIBCSzListRemove)(pList, nIndex));
}

int QLIBCSzHashSetValue(QLIBSZHASH *pHash, const char *szKey, const char *szValue) {
    return Success(CALLER, OURS(QLIBCSzHashSetValue)(pHash, szKey, szValue));
}

int QLIBCSzHashRemoveKey(QLIBSZHASH *pHash, const char *szKey) {
    const PlatformWays &ways = CALLER;
    const bool absent = QLIBCSzHashGetValue(pHash, szKey) == nullptr;
    if (ways.absent_key_fails && absent) return -1;
    return Success(ways, OURS(QLIBCSzHashRemoveKey)(pHash, szKey));
}

// Settings ------------------------------------------------------------------------------------

int QLIBCFileGetSection(const char *szFile, const char *szSection, QLIBSZHASH *pHash) {
    const PlatformWays &ways = CALLER;
    const int earlier = QLIBCErrGet();
    const int result = OURS(QLIBCFileGetSection)(szFile, szSection, pHash);
    if (!ways.absent_section_fails || result != 0) return result;
    QLIBCErrSet(earlier);
    return -1;
}

int QLIBCFileAddSection(const char *szFile, const char *szSection, const QLIBSZHASH *pHash,
                        int nFlags) {
    PlatformWays::Get().sections.push_back(pHash);
    return Success(CALLER, OURS(QLIBCFileAddSection)(szFile, szSection, pHash, nFlags));
}

int ZAFOLDAPInfoGetFromConf(const char *szConf, const char *szKey, char *szBuf, size_t cbBuf) {
    const PlatformWays &ways = CALLER;
    const int result = OURS(ZAFOLDAPInfoGetFromConf)(szConf, szKey, szBuf, cbBuf);
    if (ways.fills_buffers) return Written(ways, szBuf, cbBuf, result);
    return ways.found_is_zero && result == 1 ? 0 : result;
}

int ZAFOLDAPSecretGet(char *szBuf, size_t cbBuf) {
    return Written(CALLER, szBuf, cbBuf, OURS(ZAFOLDAPSecretGet)(szBuf, cbBuf));
}

int ZAFOLDAPLoginSuffixGet(char *szBuf, size_t cbBuf) {
    return Written(CALLER, szBuf, cbBuf, OURS(ZAFOLDAPLoginSuffixGet)(szBuf, cbBuf));
}

int ZAFOLDAPSSLToString(int nSSLType, char *szBuf, size_t cbBuf) {
    return Written(CALLER, szBuf, cbBuf, OURS(ZAFOLDAPSSLToString)(nSSLType, szBuf, cbBuf));
}

int ZAFOSharePathGet(const char *szShare, char *szBuf, size_t cbBuf) {
    const PlatformWays &ways = CALLER;
    const int result = OURS(ZAFOSharePathGet)(szShare, szBuf, cbBuf);
    if (!ways.fills_buffers) return result;
    Written(ways, szBuf, cbBuf, 0);
    return 0;
}

// DNs -----------------------------------------------------------------------------------------

int ZAFOLDAPDNDomainName(const char *szDN, char *szBuf, size_t cbBuf) {
    const PlatformWays &ways = CALLER;
    const int result = OURS(ZAFOLDAPDNDomainName)(szDN, szBuf, cbBuf);
    if (!ways.fills_buffers) return result;
    Written(ways, szBuf, cbBuf, 0);
    return 0;
}

int ZAFOLDAPDNFirstDomainComponent(const char *szDN, char *szBuf, size_t cbBuf) {
    return Written(CALLER, szBuf, cbBuf, OURS(ZAFOLDAPDNFirstDomainComponent)(szDN, szBuf, cbBuf));
}

int ZAFOLDAPRDNExtract(const char *szDN, int nIndex, char *szRDN, size_t cbRDN) {
    const PlatformWays &ways = CALLER;
    const int result = OURS(ZAFOLDAPRDNExtract)(szDN, nIndex, szRDN, cbRDN);
    if (ways.normalises_rdn) std::strcpy(szRDN, WithoutBlanks(szRDN).c_str());
    return Written(ways, szRDN, cbRDN, result);
}

int ZAFOLDAPRDNPairExtract(const char *szRDN, char *szAttr, size_t cbAttr, char *szValue,
                           size_t cbValue) {
    const PlatformWays &ways = CALLER;
    const int result = OURS(ZAFOLDAPRDNPairExtract)(szRDN, szAttr, cbAttr, szValue, cbValue);
    Written(ways, szValue, cbValue, result);
    return Written(ways, szAttr, cbAttr, result);
}

// Codings and accounts --------------------------------------------------------------------------

int QLIBCryptSzEncrypt(const char *szClear, char *szCipher, size_t cbCipher) {
    return Written(CALLER, szCipher, cbCipher,
                   OURS(QLIBCryptSzEncrypt)(szClear, szCipher, cbCipher));
}

int QLIBCryptSzDecrypt(const char *szCipher, char *szClear, size_t cbClear) {
    return Written(CALLER, szClear, cbClear, OURS(QLIBCryptSzDecrypt)(szCipher, szClear, cbClear));
}

int QLIBSmbNtEncrypt(const char *szClear, char *szHash, size_t cbHash) {
    return Written(CALLER, szHash, cbHash, OURS(QLIBSmbNtEncrypt)(szClear, szHash, cbHash));
}

int ZAFOEncodingBase64Decode(const char *szText, size_t cbText, void *pBuffer, size_t *pcbDecoded) {
    const PlatformWays &ways = CALLER;
    const auto ours = OURS(ZAFOEncodingBase64Decode);
    if (ways.decoding == Decoding::kOurs) return ours(szText, cbText, pBuffer, pcbDecoded);
    std::string decoded(cbText, '\0');
    size_t size = 0;
    if (ours(szText, cbText, decoded.data(), &size) == 0) return 0;
    decoded.resize(size);
    return Decode(ways.decoding, decoded, static_cast<char *>(pBuffer), pcbDecoded);
}

int ZAFOUserAlloc(ZAFOUSER **ppUser, const char *szName, const char *szPasswd, uint32_t pw_uid,
                  uint32_t pw_gid, const char *szFullname, const char *pw_dir, const char *pw_shell,
                  long nExpire, int blDisallowChangePasswd, const char *szMail) {
    return Success(CALLER,
                   OURS(ZAFOUserAlloc)(ppUser, szName, szPasswd, pw_uid, pw_gid, szFullname, pw_dir,
                                       pw_shell, nExpire, blDisallowChangePasswd, szMail));
}

int ZAFOGroupAlloc(ZAFOGROUP **ppGroup, const char *szName, uint32_t nGid,
                   const char *const *pszMembers) {
    return Success(CALLER, OURS(ZAFOGroupAlloc)(ppGroup, szName, nGid, pszMembers));
}

void ZAFOUserFree(ZAFOUSER *pUser) {
    if (&CALLER == &PlatformWays::Get()) NoteNull(pUser, "ZAFOUserFree");
    OURS(ZAFOUserFree)(pUser);
}

void ZAFOGroupFree(ZAFOGROUP *pGroup) {
    if (&CALLER == &PlatformWays::Get()) NoteNull(pGroup, "ZAFOGroupFree");
    OURS(ZAFOGroupFree)(pGroup);
}
