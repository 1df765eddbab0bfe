/* SPDX-License-Identifier: Apache-2.0
 *
 * The appliance's own directory server.
 */
#ifndef ZAFOLDAP_SERVER_H
#define ZAFOLDAP_SERVER_H

#include "zafoldap/api.h"

/* Settings of the local server. Borrows its strings. */
typedef struct ZAFOLDAP_SERVER_PARAM {
    const char *szSuffix; /* base DN; slapd's "suffix" */
    const char *szRootDN; /* administrator DN; slapd's "rootdn" */
    const char *szRootPW; /* administrator password in clear */
    unsigned int nCurUid; /* first uid to hand out */
    unsigned int nCurGid; /* first gid to hand out */
    unsigned int nMaxUid; /* highest uid of the pool */
    unsigned int nMaxGid; /* highest gid of the pool */
    unsigned int nMinUid; /* lowest uid of the pool */
    unsigned int nMinGid; /* lowest gid of the pool */
} ZAFOLDAP_SERVER_PARAM;

#endif
