// SPDX-License-Identifier: Apache-2.0
//
// LDIF change records (RFC 2849): "dn:", "changetype:", then modifications that
// end in "-". A "replace" or "delete" line counts as an attribute line, which is
// how a second modification of a record knows that it needs the separator.
#include "zafoldap/ldif.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "frame/guard.h"
#include "frame/log.h"
#include "frame/own_file.h"
#include "frame/text.h"
#include "platform/crypt.h"
#include "platform/error.h"
#include "zafoldap/debug.h"

namespace {

constexpr size_t kMaxEncodedValue = 1024;

// Names that are taken and cannot be freed: whoever knows the process's number can guess the next
// ones and put folders there. The nearest names are tried first; then the number leaps, and nobody
// has put anything at all of them.
constexpr int kMaxNames = 1000;
constexpr int kNearNames = 100;
constexpr unsigned int kMaxLeap = 1U << 24;

int g_nFileSequence = 0;

int NextNumber(bool blLeap) {
    unsigned int nNext = static_cast<unsigned int>(g_nFileSequence);
    unsigned int nLeap = 0;
    if (blLeap && getrandom(&nLeap, sizeof nLeap, 0) == sizeof nLeap) nNext += nLeap % kMaxLeap;
    nNext &= INT_MAX;
    g_nFileSequence = static_cast<int>((nNext + 1) & INT_MAX);
    return static_cast<int>(nNext);
}

void CountAttribute(ZAFOLDAP_LDIF *pLDIF) {
    ++pLDIF->nAttrInEntry;
    ++pLDIF->nAttr;
}

// Change files hold password hashes under a name that others can guess: the file
// is always a new one, never what somebody left under that name or linked there.
// EEXIST: something is there that cannot be removed.
int OpenNewFile(const char *szPath) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int fd = open(szPath, kFlags, 0600);
    if (fd >= 0 || errno != EEXIST) return fd;
    if (unlink(szPath) == 0) return open(szPath, kFlags, 0600);
    errno = EEXIST;
    return -1;
}

void LogNoFile(const char *szPath, int nReason) {
    struct stat status {};
    if (nReason == EEXIST && lstat(szPath, &status) == 0) {
        ZAFO_LOG("no change file can be made: %s is %s", szPath, zafo::WhatItIs(status).c_str());
    } else {
        ZAFO_LOG("no change file can be made: %s: %s", szPath, strerror(nReason));
    }
}

// A new file under the next free name, which is left in the record.
int OpenNextFile(ZAFOLDAP_LDIF *pLDIF) {
    for (int n = 0; n < kMaxNames; ++n) {
        snprintf(pLDIF->szPath, sizeof pLDIF->szPath, "/tmp/%d_%d.ldif", getpid(),
                 NextNumber(n >= kNearNames));
        const int fd = OpenNewFile(pLDIF->szPath);
        if (fd >= 0) return fd;
        if (errno != EEXIST) break;
    }
    LogNoFile(pLDIF->szPath, errno);
    return -1;
}

FILE *OpenStream(int fd) {
    FILE *pFile = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (pFile == nullptr && fd >= 0) {
        ZAFO_LOG("a change file cannot be opened: %s", strerror(errno));
        close(fd);
    }
    return pFile;
}

// The first line of a "replace" or "delete" modification, separated from the one before.
void StartModification(ZAFOLDAP_LDIF *pLDIF, const char *szKind, const char *szAttr) {
    ZAFOLDAPLdifSepAttr(pLDIF);
    ZAFOLDAPLdifAttr(pLDIF, szKind, "%s", szAttr);
}

}  // namespace

// Every writer checks the record and its file first.
#define REQUIRE_OPEN_FILE()                                                                   \
    do {                                                                                      \
        if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");               \
        if (pLDIF->pFile == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF->pFile"); \
    } while (false)

int ZAFOLDAPLdifInit(ZAFOLDAP_LDIF *pLDIF, const char *szPath) {
    if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");

    *pLDIF = {};
    int fd = -1;
    if (szPath != nullptr) {
        zafo::CopyText(szPath, pLDIF->szPath, sizeof pLDIF->szPath);
        fd = open(pLDIF->szPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    } else {
        fd = zafo::Guarded(-1, [=] { return OpenNextFile(pLDIF); });
    }
    pLDIF->pFile = OpenStream(fd);
    if (pLDIF->pFile != nullptr) return 0;
    QLIBCErrSet(QLIB_ERR_OPEN_FAILED);
    return -1;
}

int ZAFOLDAPLdifTargetDN(ZAFOLDAP_LDIF *pLDIF, const char *szDN) {
    REQUIRE_OPEN_FILE();
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szDN");
    if (pLDIF->nEntry > 0) fputc('\n', pLDIF->pFile);
    fprintf(pLDIF->pFile, "dn: %s\n", szDN);
    pLDIF->nAttrInEntry = 0;
    ++pLDIF->nEntry;
    return 0;
}

int ZAFOLDAPLdifChangeType(ZAFOLDAP_LDIF *pLDIF, const char *szType) {
    REQUIRE_OPEN_FILE();
    if (szType == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szType");
    fprintf(pLDIF->pFile, "changetype: %s\n", szType);
    return 0;
}

int ZAFOLDAPLdifLine(ZAFOLDAP_LDIF *pLDIF, const char *szFmt, ...) {
    REQUIRE_OPEN_FILE();
    if (szFmt == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szFmt");
    va_list args;
    va_start(args, szFmt);
    vfprintf(pLDIF->pFile, szFmt, args);
    va_end(args);
    fputc('\n', pLDIF->pFile);
    return 0;
}

int ZAFOLDAPLdifSepAttr(ZAFOLDAP_LDIF *pLDIF) {
    if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    if (pLDIF->pFile == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pLDIF->pFile");
    if (pLDIF->nAttrInEntry > 0) fputs("-\n", pLDIF->pFile);
    return 0;
}

int ZAFOLDAPLdifVAttr(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt,
                      va_list args) {
    REQUIRE_OPEN_FILE();
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValueFmt == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValueFmt");
    fprintf(pLDIF->pFile, "%s: ", szAttr);
    vfprintf(pLDIF->pFile, szValueFmt, args);
    fputc('\n', pLDIF->pFile);
    CountAttribute(pLDIF);
    return 0;
}

int ZAFOLDAPLdifAttr(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    REQUIRE_OPEN_FILE();
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValueFmt == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValueFmt");
    va_list args;
    va_start(args, szValueFmt);
    ZAFOLDAPLdifVAttr(pLDIF, szAttr, szValueFmt, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifVAttr64(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt,
                        va_list args) {
    REQUIRE_OPEN_FILE();
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValueFmt == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValueFmt");
    char szValue[kMaxEncodedValue] = "";
    vsnprintf(szValue, sizeof szValue, szValueFmt, args);
    char *szEncoded = SzBase64EncodeOneLine(szValue, std::strlen(szValue) + 1);
    if (szEncoded != nullptr) {
        fprintf(pLDIF->pFile, "%s:: %s\n", szAttr, szEncoded);
    } else {
        fprintf(pLDIF->pFile, "%s: %s\n", szAttr, szValue);
    }
    free(szEncoded);
    CountAttribute(pLDIF);
    return 0;
}

int ZAFOLDAPLdifAttr64(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    REQUIRE_OPEN_FILE();
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValueFmt == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValueFmt");
    va_list args;
    va_start(args, szValueFmt);
    ZAFOLDAPLdifVAttr64(pLDIF, szAttr, szValueFmt, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifAttrReplace(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    REQUIRE_OPEN_FILE();
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != szAttr");
    if (szValueFmt == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szValueFmt");
    StartModification(pLDIF, "replace", szAttr);
    va_list args;
    va_start(args, szValueFmt);
    ZAFOLDAPLdifVAttr(pLDIF, szAttr, szValueFmt, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifAttrDelete(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    REQUIRE_OPEN_FILE();
    if (szAttr == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szAttr");
    StartModification(pLDIF, "delete", szAttr);
    if (szValueFmt == nullptr) return 0;
    va_list args;
    va_start(args, szValueFmt);
    ZAFOLDAPLdifVAttr(pLDIF, szAttr, szValueFmt, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifIsEmpty(const ZAFOLDAP_LDIF *pLDIF) {
    if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF"), 1;
    return pLDIF->nAttr < 1 ? 1 : 0;
}

int ZAFOLDAPLdifClose(ZAFOLDAP_LDIF *pLDIF) {
    if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    if (pLDIF->pFile != nullptr) fclose(pLDIF->pFile);
    pLDIF->pFile = nullptr;
    return 0;
}

int ZAFOLDAPLdifUnlink(ZAFOLDAP_LDIF *pLDIF) {
    if (pLDIF == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    if (pLDIF->szPath[0] != '\0' && ZAFOLDAPDebugEnabled() == 0) unlink(pLDIF->szPath);
    pLDIF->szPath[0] = '\0';
    return 0;
}
