/* SPDX-License-Identifier: Apache-2.0
 *
 * The platform's error slot: the reason of the last generic failure.
 *
 * The slot is process-wide state of the base library. A function that fails stores a code; nothing
 * is cleared on success, so the slot is meaningful only right after a call that reported a failure.
 * Log lines print the slot as "[0x%04X]".
 */
#ifndef ZAFO_PLATFORM_ERROR_H
#define ZAFO_PLATFORM_ERROR_H

#include "platform/api.h"

ZAFO_BEGIN_DECLS

enum {
    QLIB_ERR_NONE = 0x0000,              /* no error recorded */
    QLIB_ERR_OUT_OF_MEMORY = 0x0200,     /* an allocation failed */
    QLIB_ERR_OPEN_FAILED = 0x0900,       /* a file or child program could not be opened */
    QLIB_ERR_READ_FAILED = 0x0A00,       /* a file or pipe could not be read */
    QLIB_ERR_WRITE_FAILED = 0x0B00,      /* a file could not be written or replaced */
    QLIB_ERR_BAD_ARGUMENT = 0x0D00,      /* an argument failed its check */
    QLIB_ERR_BUFFER_TOO_SMALL = 0x0E00,  /* a result does not fit the caller's buffer */
    QLIB_ERR_BAD_FORMAT = 0x0F00,        /* a file or text is damaged: it does not parse */
    QLIB_ERR_NO_SUCH_GROUP = 0x1800,     /* no such group */
    QLIB_ERR_NO_SUCH_USER = 0x1D00,      /* no such user */
    QLIB_ERR_SECTION_NOT_FOUND = 0x2200, /* a configuration section does not exist */
    QLIB_ERR_NOT_SUPPORTED = 0x2600,     /* the function is missing in this build of the platform */
    QLIB_ERR_SERVICE_START = 0xD100,     /* a service could not be started */
    QLIB_ERR_SERVICE_STOP = 0xD200       /* a service could not be stopped */
};

/* Stores `nCode` in the slot and returns it. */
ZAFO_API int QLIBCErrSet(int nCode);

/* The slot's value; 0 until something failed. */
ZAFO_API int QLIBCErrGet(void);

ZAFO_END_DECLS

#endif
