// SPDX-License-Identifier: Apache-2.0
//
// Offsets and types of the fields of the public records, which programs are compiled against. Every
// record has one row per field, in order, with its offset on a 64-bit and on a 32-bit machine; the
// last row is its size.
#include <cstddef>
#include <type_traits>

#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

struct Place {
    const char *field;
    bool has_its_type;
    size_t is;
    size_t on_64, on_32;
};

template <class Field, class Type>
Place Row(const char *name, size_t is, size_t on_64, size_t on_32) {
    return {name, std::is_same_v<Field, Type>, is, on_64, on_32};
}

#define PLACE(record, field, type, on_64, on_32) \
    Row<decltype(record::field), type>(#record "." #field, offsetof(record, field), on_64, on_32)
#define SIZE(record, on_64, on_32) Row<record, record>(#record, sizeof(record), on_64, on_32)

const Place kPlaces[] = {
    PLACE(ZAFOLDAP_HOST, plistBuffer, QLIBSZLIST *, 0, 0),
    PLACE(ZAFOLDAP_HOST, szUri, const char *, 8, 4),
    PLACE(ZAFOLDAP_HOST, szBaseDN, const char *, 16, 8),
    PLACE(ZAFOLDAP_HOST, szBindDN, const char *, 24, 12),
    PLACE(ZAFOLDAP_HOST, szBindPasswd, const char *, 32, 16),
    PLACE(ZAFOLDAP_HOST, szLoginSuffix, const char *, 40, 20),
    PLACE(ZAFOLDAP_HOST, nServerType, int, 48, 24),
    PLACE(ZAFOLDAP_HOST, nSchema, unsigned int, 52, 28),
    PLACE(ZAFOLDAP_HOST, nSSLType, int, 56, 32),
    SIZE(ZAFOLDAP_HOST, 64, 36),

    PLACE(ZAFOLDAP_RESULT, pFile, FILE *, 0, 0),
    PLACE(ZAFOLDAP_RESULT, nEntry, int, 8, 4),
    PLACE(ZAFOLDAP_RESULT, plistAttr, QLIBSZLIST *, 16, 8),
    PLACE(ZAFOLDAP_RESULT, plistValue, QLIBSZLIST *, 24, 12),
    PLACE(ZAFOLDAP_RESULT, nExitCode, int, 32, 16),
    PLACE(ZAFOLDAP_RESULT, nReserved, int, 36, 20),
    PLACE(ZAFOLDAP_RESULT, szErrFile, char[256], 40, 24),
    SIZE(ZAFOLDAP_RESULT, 296, 280),

    PLACE(ZAFOLDAP_SEARCH_REQUEST, szBase, const char *, 0, 0),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, szFilter, const char *, 8, 4),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, szExtra, const char *, 16, 8),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, szScope, const char *, 24, 12),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, plistAttr, QLIBSZLIST *, 32, 16),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, blBaseAsIs, int, 40, 20),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, nOffset, int, 44, 24),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, nCount, int, 48, 28),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, nSizeLimit, int, 52, 32),
    SIZE(ZAFOLDAP_SEARCH_REQUEST, 56, 36),

    PLACE(ZAFOLDAP_LDIF, pFile, FILE *, 0, 0),
    PLACE(ZAFOLDAP_LDIF, szPath, char[256], 8, 4),
    PLACE(ZAFOLDAP_LDIF, nAttr, int, 264, 260),
    PLACE(ZAFOLDAP_LDIF, nAttrInEntry, int, 268, 264),
    PLACE(ZAFOLDAP_LDIF, nEntry, int, 272, 268),
    PLACE(ZAFOLDAP_LDIF, nExitCode, int, 276, 272),
    SIZE(ZAFOLDAP_LDIF, 280, 276),

    PLACE(ZAFOLDAP_SERVER_PARAM, szSuffix, const char *, 0, 0),
    PLACE(ZAFOLDAP_SERVER_PARAM, szRootDN, const char *, 8, 4),
    PLACE(ZAFOLDAP_SERVER_PARAM, szRootPW, const char *, 16, 8),
    PLACE(ZAFOLDAP_SERVER_PARAM, nCurUid, unsigned int, 24, 12),
    PLACE(ZAFOLDAP_SERVER_PARAM, nCurGid, unsigned int, 28, 16),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMaxUid, unsigned int, 32, 20),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMaxGid, unsigned int, 36, 24),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMinUid, unsigned int, 40, 28),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMinGid, unsigned int, 44, 32),
    SIZE(ZAFOLDAP_SERVER_PARAM, 48, 36),

    PLACE(ZAFOLDAP_BACKUP_CONFIG, plistBuffer, QLIBSZLIST *, 0, 0),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, szTask, const char *, 8, 4),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, szDestShare, const char *, 16, 8),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, szDestDir, const char *, 24, 12),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, blEnabled, int, 32, 16),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, schedule, ZAFOSCHEDULE, 36, 20),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, nMaxFile, int, 1084, 1068),
    SIZE(ZAFOLDAP_BACKUP_CONFIG, 1088, 1072),
    PLACE(ZAFOSCHEDULE, rgField, int[6], 0, 0),
    PLACE(ZAFOSCHEDULE, szCommand, char[1024], 24, 24),
    SIZE(ZAFOSCHEDULE, 1048, 1048),

    PLACE(ZAFOLDAP_PROGRESS, plistBuffer, QLIBSZLIST *, 0, 0),
    PLACE(ZAFOLDAP_PROGRESS, blRunning, int, 8, 4),
    PLACE(ZAFOLDAP_PROGRESS, szOperation, const char *, 16, 8),
    PLACE(ZAFOLDAP_PROGRESS, szTask, const char *, 24, 12),
    PLACE(ZAFOLDAP_PROGRESS, szAction, const char *, 32, 16),
    PLACE(ZAFOLDAP_PROGRESS, nTotal, int, 40, 20),
    PLACE(ZAFOLDAP_PROGRESS, nStage, int, 44, 24),
    PLACE(ZAFOLDAP_PROGRESS, nStatus, int, 48, 28),
    PLACE(ZAFOLDAP_PROGRESS, nPid, int, 52, 32),
    SIZE(ZAFOLDAP_PROGRESS, 56, 36),

    PLACE(ZAFOLDAP_BROWSER_OPTIONS, szFilter, const char *, 0, 0),
    PLACE(ZAFOLDAP_BROWSER_OPTIONS, szNameAttr, const char *, 8, 4),
    SIZE(ZAFOLDAP_BROWSER_OPTIONS, 16, 8),
};

TEST(RecordLayout, EveryFieldHasItsType) {
    for (const Place &place : kPlaces)
        EXPECT_TRUE(place.has_its_type) << place.field;
}

TEST(RecordLayout, AttributeNumbersAreThoseOfTheListOfAConnection) {
    EXPECT_EQ(LDAP_HOST_ATTR_MIN, -1);
    EXPECT_EQ(LDAP_HOST_ATTR_URI, 0);
    EXPECT_EQ(LDAP_HOST_ATTR_BASEDN, 1);
    EXPECT_EQ(LDAP_HOST_ATTR_BINDDN, 2);
    EXPECT_EQ(LDAP_HOST_ATTR_BINDPW, 3);
    EXPECT_EQ(LDAP_HOST_ATTR_LOGIN_SUFFIX, 4);
    EXPECT_EQ(LDAP_HOST_ATTR_MAX, 5);
}

TEST(RecordLayout, EveryFieldIsInItsPlace) {
    for (const Place &place : kPlaces)
        EXPECT_EQ(place.is, sizeof(void *) == 8 ? place.on_64 : place.on_32) << place.field;
}

}  // namespace
}  // namespace zafo::core_test
