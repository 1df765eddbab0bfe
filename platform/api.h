/* SPDX-License-Identifier: Apache-2.0
 *
 * Linkage of the platform functions. They are plain C functions that an
 * appliance's base libraries, or this project's host platform, provide.
 */
#ifndef ZAFO_PLATFORM_API_H
#define ZAFO_PLATFORM_API_H

#define ZAFO_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define ZAFO_BEGIN_DECLS extern "C" {
#define ZAFO_END_DECLS }
#else
#define ZAFO_BEGIN_DECLS
#define ZAFO_END_DECLS
#endif

#endif
