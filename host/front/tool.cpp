// SPDX-License-Identifier: Apache-2.0
#include "host/front/tool.h"

namespace zafo::front {

namespace {

// "-s" is the scope for ldapsearch and the new password for the passwd tools.
constexpr Tool kTools[] = {
    {"ldapsearch", "abdDeEfFhHloOpPRsSTUwXyYz", "wy", Family::kClient, 0, true},
    {"ldapmodify", "dDeEfhHjoOpPRSUwXyY", "wy", Family::kClient, 0, false},
    {"ldappasswd", "adDeEhHoOpPRstTUwXyY", "wysTat", Family::kClient, 0, false},
    {"slappasswd", "choTs", "sT", Family::kHash, 0, false},
    {"slapadd", "bdfFjlnoS", "", Family::kOffline, 'l', false},
    {"slapcat", "abdfFHlnos", "", Family::kOffline, 0, false},
    {"slapindex", "bdfFno", "", Family::kOffline, 0, false},
    {"openssl", "", "", Family::kRandom, 0, false},
};

}  // namespace

const Tool *FindTool(std::string_view name) {
    for (const Tool &tool : kTools) {
        if (tool.name == name) return &tool;
    }
    return nullptr;
}

}  // namespace zafo::front
