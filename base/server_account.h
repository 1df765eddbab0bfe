// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <optional>

namespace zafo {

// The user, and the group of the same name, that the appliance's directory server runs as if the
// system has them; otherwise it runs as the user who starts it.
inline constexpr char kServerAccount[] = "openldap";

// The group through which the server reads its files; nothing if the system does not have it.
std::optional<gid_t> ServerGroup();

}  // namespace zafo
