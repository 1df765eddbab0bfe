/* SPDX-License-Identifier: Apache-2.0
 *
 * Linkage of the exported functions.
 */
#ifndef ZAFOLDAP_API_H
#define ZAFOLDAP_API_H

#define ZAFOLDAP_API __attribute__((visibility("default")))

/* Parameter `nFormat` is a printf format for the arguments from `nFirst` on. */
#define ZAFOLDAP_PRINTF(nFormat, nFirst) __attribute__((format(printf, nFormat, nFirst)))

#ifdef __cplusplus
#define ZAFOLDAP_BEGIN_DECLS extern "C" {
#define ZAFOLDAP_END_DECLS }
#else
#define ZAFOLDAP_BEGIN_DECLS
#define ZAFOLDAP_END_DECLS
#endif

#endif
