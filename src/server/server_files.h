// SPDX-License-Identifier: Apache-2.0
//
// Where the local server keeps what.
#pragma once

#include <cstddef>

#include "core/dn_length.h"

namespace zafo {

inline constexpr const char *kSlapdConf = "/usr/zafo/etc/openldap/slapd.conf";
inline constexpr const char *kSlapdConfTemplate =
    "/usr/zafo/etc.defaults/openldap/slapd.conf.template";
inline constexpr const char *kAccessRules = "/usr/zafo/etc/openldap/slapd-acls.conf";

inline constexpr const char *kSuffix = "suffix";

// Buffers for DNs and for directives of slapd.conf, the final zero included.
inline constexpr size_t kServerText = kMaxDN + 1;

// Reads slapd.conf's "suffix". 0; -1 with a line in the log.
int ReadSuffix(char (&suffix)[kServerText]);

}  // namespace zafo
