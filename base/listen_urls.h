// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace zafo {

// The URLs that the directory server listens on, read as its start program reads them: the words of
// "listen = URLS", in the first of the service's settings files whose last such line has any.
// Otherwise "ldap:///" and "ldaps:///", all addresses of the machine.
std::vector<std::string> ListenUrls(std::initializer_list<const char *> settings);

}  // namespace zafo
