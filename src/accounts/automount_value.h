// SPDX-License-Identifier: Apache-2.0
//
// The automount maps (RFC 2307bis, autofs(5)) of home folders. The map "auto_master" names
// the map "auto_home" for "/home"; the key "*" of that one holds where every user's
// folder is: "-fstype=nfs HOST:PATH/&", "&" being the user. In the path a backslash
// stands before every "$", blank and "&". No tool runs here.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zafoldap/host.h"

namespace zafo {

inline constexpr char kMasterMap[] = "auto_master";
inline constexpr char kHomeMap[] = "auto_home";
inline constexpr char kHomeKey[] = "/home";
inline constexpr char kAnyKey[] = "*";
inline constexpr char kAutomountInformation[] = "automountInformation";

// "automountMapName=MAP,BASE", and "automountKey=KEY," before it.
std::string AutomountMapDN(const ZAFOLDAP_HOST &host, const char *map);
std::string AutomountKeyDN(const ZAFOLDAP_HOST &host, const char *key, const char *map);

// A path as it stands in the value, one "/" at its end dropped; nothing when it does not fit.
std::optional<std::string> EscapedPath(std::string_view path);

// The value for a host and an escaped path.
std::string AutomountValue(std::string_view host, std::string_view escaped);

// "HOST:PATH/" as it stands in such a value, still escaped; nothing when it is of another form.
// The value loses at its end what was understood: blanks, then the "&".
std::optional<std::string> EscapedExportOf(std::string_view *text);

// An escaped text as it was; nothing when it does not fit.
std::optional<std::string> Unescaped(std::string_view escaped);

}  // namespace zafo
