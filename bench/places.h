// SPDX-License-Identifier: Apache-2.0
//
// What bench/run lays out in its private appliance root.
#pragma once

namespace zafo::bench {

inline constexpr const char *kAddress = "localhost";
inline constexpr const char *kBindDN = "cn=admin,dc=example,dc=com";
inline constexpr const char *kPasswordFile = "/var/lib/example-directory/password";
inline constexpr const char *kTool = "/usr/zafo/bin/ldapsearch";
inline constexpr const char *kPrograms = "/mnt/build/bench/";
inline constexpr const char *kAnswer = "/tmp/answer.ldif";  // what the tool says for all users

inline constexpr const char *kUsersBase = "cn=users,dc=example,dc=com";
inline constexpr const char *kUsersFilter = "(objectClass=posixAccount)";

}  // namespace zafo::bench
