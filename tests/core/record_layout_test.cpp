// SPDX-License-Identifier: Apache-2.0
//
// Where the fields of the public records are: programs are compiled against it. Every record has one
// row a field, in order, with its place on a 64-bit and on a 32-bit machine; the last row is its size.
#include <cstddef>

#include "tests/core/core_fixture.h"

namespace zafo::core_test {
namespace {

struct Place {
    const char *field;
    size_t is;
    size_t on_64, on_32;
};

#define PLACE(record, field, on_64, on_32)                        \
    Place {                                                       \
#record "." #field, offsetof(record, field), on_64, on_32 \
    }
#define SIZE(record, on_64, on_32)            \
    Place {                                   \
#record, sizeof(record), on_64, on_32 \
    }

const Place kPlaces[] = {
    PLACE(ZAFOLDAP_HOST, plistBuffer, 0, 0),
    PLACE(ZAFOLDAP_HOST, szUri, 8, 4),
    PLACE(ZAFOLDAP_HOST, szBaseDN, 16, 8),
    PLACE(ZAFOLDAP_HOST, szBindDN, 24, 12),
    PLACE(ZAFOLDAP_HOST, szBindPasswd, 32, 16),
    PLACE(ZAFOLDAP_HOST, szLoginSuffix, 40, 20),
    PLACE(ZAFOLDAP_HOST, nServerType, 48, 24),
    PLACE(ZAFOLDAP_HOST, nSchema, 52, 28),
    PLACE(ZAFOLDAP_HOST, nSSLType, 56, 32),
    SIZE(ZAFOLDAP_HOST, 64, 36),

    PLACE(ZAFOLDAP_RESULT, pFile, 0, 0),
    PLACE(ZAFOLDAP_RESULT, nEntry, 8, 4),
    PLACE(ZAFOLDAP_RESULT, plistAttr, 16, 8),
    PLACE(ZAFOLDAP_RESULT, plistValue, 24, 12),
    PLACE(ZAFOLDAP_RESULT, nExitCode, 32, 16),
    PLACE(ZAFOLDAP_RESULT, nReserved, 36, 20),
    PLACE(ZAFOLDAP_RESULT, szErrFile, 40, 24),
    SIZE(ZAFOLDAP_RESULT, 296, 280),

    PLACE(ZAFOLDAP_SEARCH_REQUEST, szBase, 0, 0),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, szFilter, 8, 4),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, szExtra, 16, 8),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, szScope, 24, 12),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, plistAttr, 32, 16),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, blBaseAsIs, 40, 20),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, nOffset, 44, 24),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, nCount, 48, 28),
    PLACE(ZAFOLDAP_SEARCH_REQUEST, nSizeLimit, 52, 32),
    SIZE(ZAFOLDAP_SEARCH_REQUEST, 56, 36),

    PLACE(ZAFOLDAP_LDIF, pFile, 0, 0),
    PLACE(ZAFOLDAP_LDIF, szPath, 8, 4),
    PLACE(ZAFOLDAP_LDIF, nAttr, 264, 260),
    PLACE(ZAFOLDAP_LDIF, nAttrInEntry, 268, 264),
    PLACE(ZAFOLDAP_LDIF, nEntry, 272, 268),
    PLACE(ZAFOLDAP_LDIF, nExitCode, 276, 272),
    SIZE(ZAFOLDAP_LDIF, 280, 276),

    PLACE(ZAFOLDAP_SERVER_PARAM, szSuffix, 0, 0),
    PLACE(ZAFOLDAP_SERVER_PARAM, szRootDN, 8, 4),
    PLACE(ZAFOLDAP_SERVER_PARAM, szRootPW, 16, 8),
    PLACE(ZAFOLDAP_SERVER_PARAM, nCurUid, 24, 12),
    PLACE(ZAFOLDAP_SERVER_PARAM, nCurGid, 28, 16),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMaxUid, 32, 20),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMaxGid, 36, 24),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMinUid, 40, 28),
    PLACE(ZAFOLDAP_SERVER_PARAM, nMinGid, 44, 32),
    SIZE(ZAFOLDAP_SERVER_PARAM, 48, 36),

    PLACE(ZAFOLDAP_BACKUP_CONFIG, plistBuffer, 0, 0),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, szTask, 8, 4),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, szDestShare, 16, 8),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, szDestDir, 24, 12),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, blEnabled, 32, 16),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, schedule, 36, 20),
    PLACE(ZAFOLDAP_BACKUP_CONFIG, nMaxFile, 1084, 1068),
    SIZE(ZAFOLDAP_BACKUP_CONFIG, 1088, 1072),
    PLACE(ZAFOSCHEDULE, rgField, 0, 0),
    PLACE(ZAFOSCHEDULE, szCommand, 24, 24),
    SIZE(ZAFOSCHEDULE, 1048, 1048),

    PLACE(ZAFOLDAP_PROGRESS, plistBuffer, 0, 0),
    PLACE(ZAFOLDAP_PROGRESS, blRunning, 8, 4),
    PLACE(ZAFOLDAP_PROGRESS, szOperation, 16, 8),
    PLACE(ZAFOLDAP_PROGRESS, szTask, 24, 12),
    PLACE(ZAFOLDAP_PROGRESS, szAction, 32, 16),
    PLACE(ZAFOLDAP_PROGRESS, nTotal, 40, 20),
    PLACE(ZAFOLDAP_PROGRESS, nStage, 44, 24),
    PLACE(ZAFOLDAP_PROGRESS, nStatus, 48, 28),
    PLACE(ZAFOLDAP_PROGRESS, nPid, 52, 32),
    SIZE(ZAFOLDAP_PROGRESS, 56, 36),

    PLACE(ZAFOLDAP_BROWSER_OPTIONS, szFilter, 0, 0),
    PLACE(ZAFOLDAP_BROWSER_OPTIONS, szNameAttr, 8, 4),
    SIZE(ZAFOLDAP_BROWSER_OPTIONS, 16, 8),
};

TEST(RecordLayout, EveryFieldIsInItsPlace) {
    for (const Place &place : kPlaces)
        EXPECT_EQ(place.is, sizeof(void *) == 8 ? place.on_64 : place.on_32) << place.field;
}

}  // namespace
}  // namespace zafo::core_test
