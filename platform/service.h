/* SPDX-License-Identifier: Apache-2.0
 *
 * The appliance's services, by name.
 */
#ifndef ZAFO_PLATFORM_SERVICE_H
#define ZAFO_PLATFORM_SERVICE_H

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* Starts a service. `nFlags` must be 0. Negative on failure. */
ZAFO_API int QLIBServiceStart(const char *szName, int nFlags);

/* Stops a service and returns when its process and its pid file are gone.
 * `nFlags` must be 0. Negative on failure. */
ZAFO_API int QLIBServiceStop(const char *szName, int nFlags);

/* Non-zero when the service is enabled. */
ZAFO_API int QLIBServiceIsEnabled(const char *szName);

ZAFO_END_DECLS

#endif
