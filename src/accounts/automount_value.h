// SPDX-License-Identifier: Apache-2.0
//
// The automount maps (RFC 2307bis, autofs(5)) of home folders. The map "auto_master" assigns the
// map "auto_home" to "/home"; its key "*" holds the location of every user's folder:
// "-fstype=nfs HOST:PATH/&", where "&" stands for the user. In the path, "$", blanks and "&" are
// escaped with a backslash. Runs no tool.
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

// "automountMapName=MAP,BASE", and the same with "automountKey=KEY," prepended.
std::string AutomountMapDN(const ZAFOLDAP_HOST &host, const char *map);
std::string AutomountKeyDN(const ZAFOLDAP_HOST &host, const char *key, const char *map);

// A path as written in the value, without a final "/"; nothing if it is too long.
std::optional<std::string> EscapedPath(std::string_view path);

// The value for a host and an escaped path.
std::string AutomountValue(std::string_view host, std::string_view escaped);

// "HOST:PATH/" from such a value, still escaped; nothing if the value has another form. What was
// understood at the end of the text (blanks, then the "&") is cut off.
std::optional<std::string> EscapedExportOf(std::string_view *text);

// The text without its escapes; nothing if it is too long.
std::optional<std::string> Unescaped(std::string_view escaped);

}  // namespace zafo
