// SPDX-License-Identifier: Apache-2.0
//
// LDIF change records (RFC 2849): "dn:", "changetype:", then modifications that end in "-". A
// "replace" or "delete" line counts as an attribute line, which is how the second modification of a
// record knows that it needs the separator.
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>

#include "platform/crypt.h"
#include "platform/error.h"
#include "src/frame/guard.h"
#include "src/frame/log.h"
#include "src/frame/memory.h"
#include "src/frame/own_file.h"
#include "src/frame/text.h"
#include "zafoldap/debug.h"
#include "zafoldap/ldif.h"

namespace {

constexpr size_t kMaxEncodedValue = 1024;

// Limits on skipping names that are taken and cannot be freed: anyone who knows the process id can
// guess the next names and create folders there. The nearest names are tried first; after that the
// number takes random leaps, since nobody can block every name.
constexpr int kMaxNames = 1000;
constexpr int kNearNames = 100;
constexpr unsigned int kMaxLeap = 1U << 24;

int g_file_sequence = 0;

int NextNumber(bool leap) {
    unsigned int next = static_cast<unsigned int>(g_file_sequence);
    unsigned int distance = 0;
    if (leap && getrandom(&distance, sizeof distance, 0) == sizeof distance)
        next += distance % kMaxLeap;
    next &= INT_MAX;
    g_file_sequence = static_cast<int>((next + 1) & INT_MAX);
    return static_cast<int>(next);
}

void CountAttribute(ZAFOLDAP_LDIF *ldif) {
    ++ldif->nAttrInEntry;
    ++ldif->nAttr;
}

// Change files hold password hashes under a name that others can guess, so the file is always
// created anew; a file or link left under that name is never reused. Fails with EEXIST if whatever
// has the name cannot be removed.
int OpenNewFile(const char *path) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int fd = open(path, kFlags, 0600);
    if (fd >= 0 || errno != EEXIST) return fd;
    if (unlink(path) == 0) return open(path, kFlags, 0600);
    errno = EEXIST;
    return -1;
}

void LogNoFile(const char *path, int reason) {
    struct stat status {};
    if (reason == EEXIST && lstat(path, &status) == 0) {
        ZAFO_LOG("no change file can be made: %s is %s", path, zafo::WhatItIs(status).c_str());
    } else {
        ZAFO_LOG("no change file can be made: %s: %s", path, strerror(reason));
    }
}

// Creates a file under the next free name, which is stored in the record.
int OpenNextFile(ZAFOLDAP_LDIF *ldif) {
    for (int n = 0; n < kMaxNames; ++n) {
        snprintf(ldif->szPath, sizeof ldif->szPath, "/tmp/%d_%d.ldif", getpid(),
                 NextNumber(n >= kNearNames));
        const int fd = OpenNewFile(ldif->szPath);
        if (fd >= 0) return fd;
        if (errno != EEXIST) break;
    }
    LogNoFile(ldif->szPath, errno);
    return -1;
}

FILE *OpenStream(int fd) {
    FILE *file = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (file == nullptr && fd >= 0) {
        ZAFO_LOG("a change file cannot be opened: %s", strerror(errno));
        close(fd);
    }
    return file;
}

// The first line of a "replace" or "delete" modification, separated from the previous one.
void StartModification(ZAFOLDAP_LDIF *ldif, const char *kind, const char *attribute) {
    ZAFOLDAPLdifSepAttr(ldif);
    ZAFOLDAPLdifAttr(ldif, kind, "%s", attribute);
}

// Every writer checks the record and its file first.
bool IsOpen(const ZAFOLDAP_LDIF *ldif, int line = __builtin_LINE()) {
    if (ldif != nullptr && ldif->pFile != nullptr) return true;
    zafo::BadArgument(__FILE_NAME__, line,
                      ldif == nullptr ? "((void *)0) != pLDIF" : "((void *)0) != pLDIF->pFile");
    return false;
}

// Functions that write attributes also check what they write.
bool CanWrite(const ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format,
              int line = __builtin_LINE()) {
    if (!IsOpen(ldif, line)) return false;
    if (attribute != nullptr && format != nullptr) return true;
    zafo::BadArgument(__FILE_NAME__, line,
                      attribute == nullptr ? "((void *)0) != szAttr" : "NULL != szValueFmt");
    return false;
}

}  // namespace

int ZAFOLDAPLdifInit(ZAFOLDAP_LDIF *ldif, const char *path) {
    if (ldif == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");

    *ldif = {};
    int fd = -1;
    if (path != nullptr) {
        zafo::CopyText(path, ldif->szPath, sizeof ldif->szPath);
        fd = open(ldif->szPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    } else {
        fd = zafo::Guarded(-1, [=] { return OpenNextFile(ldif); });
    }
    ldif->pFile = OpenStream(fd);
    return ldif->pFile != nullptr ? 0 : zafo::FailWith(QLIB_ERR_OPEN_FAILED);
}

int ZAFOLDAPLdifTargetDN(ZAFOLDAP_LDIF *ldif, const char *dn) {
    if (!IsOpen(ldif)) return -1;
    if (dn == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szDN");
    if (ldif->nEntry > 0) fputc('\n', ldif->pFile);
    fprintf(ldif->pFile, "dn: %s\n", dn);
    ldif->nAttrInEntry = 0;
    ++ldif->nEntry;
    return 0;
}

int ZAFOLDAPLdifChangeType(ZAFOLDAP_LDIF *ldif, const char *type) {
    if (!IsOpen(ldif)) return -1;
    if (type == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szType");
    fprintf(ldif->pFile, "changetype: %s\n", type);
    return 0;
}

int ZAFOLDAPLdifLine(ZAFOLDAP_LDIF *ldif, const char *format, ...) {
    if (!IsOpen(ldif)) return -1;
    if (format == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szFmt");
    va_list args;
    va_start(args, format);
    vfprintf(ldif->pFile, format, args);
    va_end(args);
    fputc('\n', ldif->pFile);
    return 0;
}

int ZAFOLDAPLdifSepAttr(ZAFOLDAP_LDIF *ldif) {
    if (ldif == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    if (ldif->pFile == nullptr) return ZAFO_BAD_ARGUMENT("NULL != pLDIF->pFile");
    if (ldif->nAttrInEntry > 0) fputs("-\n", ldif->pFile);
    return 0;
}

int ZAFOLDAPLdifVAttr(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format,
                      va_list args) {
    if (!CanWrite(ldif, attribute, format)) return -1;
    fprintf(ldif->pFile, "%s: ", attribute);
    vfprintf(ldif->pFile, format, args);
    fputc('\n', ldif->pFile);
    CountAttribute(ldif);
    return 0;
}

int ZAFOLDAPLdifAttr(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format, ...) {
    if (!CanWrite(ldif, attribute, format)) return -1;
    va_list args;
    va_start(args, format);
    ZAFOLDAPLdifVAttr(ldif, attribute, format, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifVAttr64(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format,
                        va_list args) {
    if (!CanWrite(ldif, attribute, format)) return -1;
    char value[kMaxEncodedValue] = "";
    vsnprintf(value, sizeof value, format, args);
    const std::unique_ptr<char, zafo::FreeMemory> encoded(
        SzBase64EncodeOneLine(value, std::strlen(value) + 1));
    if (encoded != nullptr) {
        fprintf(ldif->pFile, "%s:: %s\n", attribute, encoded.get());
    } else {
        fprintf(ldif->pFile, "%s: %s\n", attribute, value);
    }
    CountAttribute(ldif);
    return 0;
}

int ZAFOLDAPLdifAttr64(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format, ...) {
    if (!CanWrite(ldif, attribute, format)) return -1;
    va_list args;
    va_start(args, format);
    ZAFOLDAPLdifVAttr64(ldif, attribute, format, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifAttrReplace(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format, ...) {
    if (!CanWrite(ldif, attribute, format)) return -1;
    StartModification(ldif, "replace", attribute);
    va_list args;
    va_start(args, format);
    ZAFOLDAPLdifVAttr(ldif, attribute, format, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifAttrDelete(ZAFOLDAP_LDIF *ldif, const char *attribute, const char *format, ...) {
    if (!IsOpen(ldif)) return -1;
    if (attribute == nullptr) return ZAFO_BAD_ARGUMENT("NULL != szAttr");
    StartModification(ldif, "delete", attribute);
    if (format == nullptr) return 0;
    va_list args;
    va_start(args, format);
    ZAFOLDAPLdifVAttr(ldif, attribute, format, args);
    va_end(args);
    return 0;
}

int ZAFOLDAPLdifIsEmpty(const ZAFOLDAP_LDIF *ldif) {
    if (ldif == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF"), 1;
    return ldif->nAttr < 1 ? 1 : 0;
}

int ZAFOLDAPLdifClose(ZAFOLDAP_LDIF *ldif) {
    if (ldif == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    if (ldif->pFile != nullptr) fclose(ldif->pFile);
    ldif->pFile = nullptr;
    return 0;
}

int ZAFOLDAPLdifUnlink(ZAFOLDAP_LDIF *ldif) {
    if (ldif == nullptr) return ZAFO_BAD_ARGUMENT("((void *)0) != pLDIF");
    if (ldif->szPath[0] != '\0' && ZAFOLDAPDebugEnabled() == 0) unlink(ldif->szPath);
    ldif->szPath[0] = '\0';
    return 0;
}
