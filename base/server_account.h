// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <optional>

namespace zafo {

// The user, and the group of the same name, that the appliance's directory server runs as where
// the system has them; else it runs as who starts it.
inline constexpr char kServerAccount[] = "openldap";

// The group that the server reads its files with; nothing if the system does not have it.
std::optional<gid_t> ServerGroup();

}  // namespace zafo
