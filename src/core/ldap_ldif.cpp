// SPDX-License-Identifier: Apache-2.0
//
// LDIF change records (RFC 2849): "dn:", "changetype:", then modifications that
// end in "-". A "replace" or "delete" line counts as an attribute line, which is
// how a second modification of a record knows that it needs the separator.
#include "zafoldap/ldif.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>

#include "frame/guard.h"
#include "frame/log.h"
#include "frame/memory.h"
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

// Every writer checks the record and its file first.
bool IsOpen(const ZAFOLDAP_LDIF *ldif, int line = __builtin_LINE()) {
    if (ldif != nullptr && ldif->pFile != nullptr) return true;
    zafo::BadArgument(__FILE_NAME__, line,
                      ldif == nullptr ? "((void *)0) != pLDIF" : "((void *)0) != pLDIF->pFile");
    return false;
}

// Writers of attributes check what is written, too.
bool CanWrite(const ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format,
              int line = __builtin_LINE()) {
    if (!IsOpen(ldif, line)) return false;
    if (attribute != nullptr && format != nullptr) return true;
    zafo::BadArgument(__FILE_NAME__, line,
                      attribute == nullptr ? "((void *)0) != szAttr" : "NULL != szValueFmt");
    return false;
}

}  // namespace

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
    if (!IsOpen(pLDIF)) return -1;
    if (szDN == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szDN");
    if (pLDIF->nEntry > 0) fputc('\n', pLDIF->pFile);
    fprintf(pLDIF->pFile, "dn: %s\n", szDN);
    pLDIF->nAttrInEntry = 0;
    ++pLDIF->nEntry;
    return 0;
}

int ZAFOLDAPLdifChangeType(ZAFOLDAP_LDIF *pLDIF, const char *szType) {
    if (!IsOpen(pLDIF)) return -1;
    if (szType == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szType");
    fprintf(pLDIF->pFile, "changetype: %s\n", szType);
    return 0;
}

int ZAFOLDAPLdifLine(ZAFOLDAP_LDIF *pLDIF, const char *szFmt, ...) {
    if (!IsOpen(pLDIF)) return -1;
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
    if (!CanWrite(pLDIF, szAttr, szValueFmt)) return -1;
    fprintf(pLDIF->pFile, "%s: ", szAttr);
    vfprintf(pLDIF->pFile, szValueFmt, args);
    fputc('\n', pLDIF->pFile);
    CountAttribute(pLDIF);
    return 0;
}

int ZAFOLDAPLdifAttr(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    if (!CanWrite(pLDIF, szAttr, szValueFmt)) return -1;
    va_list args;
    va_start(args, szValueFmt);
    ZAFOLDAPLdifVAttr(pLDIF, szAttr, szValueFmt, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifVAttr64(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt,
                        va_list args) {
    if (!CanWrite(pLDIF, szAttr, szValueFmt)) return -1;
    char szValue[kMaxEncodedValue] = "";
    vsnprintf(szValue, sizeof szValue, szValueFmt, args);
    const std::unique_ptr<char, zafo::FreeMemory> encoded(
        SzBase64EncodeOneLine(szValue, std::strlen(szValue) + 1));
    if (encoded != nullptr) {
        fprintf(pLDIF->pFile, "%s:: %s\n", szAttr, encoded.get());
    } else {
        fprintf(pLDIF->pFile, "%s: %s\n", szAttr, szValue);
    }
    CountAttribute(pLDIF);
    return 0;
}

int ZAFOLDAPLdifAttr64(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    if (!CanWrite(pLDIF, szAttr, szValueFmt)) return -1;
    va_list args;
    va_start(args, szValueFmt);
    ZAFOLDAPLdifVAttr64(pLDIF, szAttr, szValueFmt, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifAttrReplace(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    if (!CanWrite(pLDIF, szAttr, szValueFmt)) return -1;
    StartModification(pLDIF, "replace", szAttr);
    va_list args;
    va_start(args, szValueFmt);
    ZAFOLDAPLdifVAttr(pLDIF, szAttr, szValueFmt, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifAttrDelete(ZAFOLDAP_LDIF *pLDIF, const char *szAttr, const char *szValueFmt, ...) {
    if (!IsOpen(pLDIF)) return -1;
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
