// SPDX-License-Identifier: Apache-2.0
//
// Settings that do not fit into the system's account files: "/usr/zafo/etc/account.conf", a section
// file (platform/file.h) with one key per account:
//
//   [limit]        users=4096          how many ordinary users the appliance allows
//   [mail]         anna=a@example.com  a user's mail address
//   [full-name]    anna=Müller, Anna   a full name that a GECOS field cannot hold
//   [description]  design=Designers    a group's description
#pragma once

#include <string>
#include <string_view>

namespace zafo {

inline constexpr char kMailSection[] = "mail";
inline constexpr char kFullNameSection[] = "full-name";
inline constexpr char kDescriptionSection[] = "description";

// The text of an account in a section, empty when there is none. 0, or a platform error code.
int ReadAccountText(const char *section, const std::string &name, std::string *text);

// Stores the text of an account; an empty one is removed. 0, or a platform error code.
int StoreAccountText(const char *section, const std::string &name, std::string_view text);

// How many ordinary users the appliance allows. 0, or a platform error code: 0x0F00 when the
// setting is not a number.
int ReadUserLimit(int *limit);

}  // namespace zafo
