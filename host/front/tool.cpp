// SPDX-License-Identifier: Apache-2.0
#include "host/front/tool.h"

namespace zafo::front {

namespace {

// "-s" is the scope for ldapsearch and the new password for the passwd tools.
constexpr Tool kTools[] = {
    {"ldapsearch", Family::kClient, "abdDeEfFhHloOpPRsSTUwXyYz", "wy", 0, true},
    {"ldapmodify", Family::kClient, "dDeEfhHjoOpPRSUwXyY", "wy", 0, false},
    {"ldappasswd", Family::kClient, "adDeEhHoOpPRstTUwXyY", "wysTat", 0, false},
    {"slappasswd", Family::kHash, "choTs", "sT", 0, false},
    {"slapadd", Family::kOffline, "bdfFjlnoS", "", 'l', false},
    {"slapcat", Family::kOffline, "abdfFHlnos", "", 0, false},
    {"slapindex", Family::kOffline, "bdfFno", "", 0, false},
    {"openssl", Family::kRandom, "", "", 0, false},
};

}  // namespace

const Tool *FindTool(std::string_view name) {
    for (const Tool &tool : kTools) {
        if (tool.name == name) return &tool;
    }
    return nullptr;
}

}  // namespace zafo::front
