// SPDX-License-Identifier: Apache-2.0
#include "host/sdk/full_name.h"

#include <algorithm>

namespace zafo {

namespace {

bool EndsAField(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == ',' || c == ':' || byte < ' ' || byte == 0x7F;
}

}  // namespace

std::string GecosOf(std::string_view full_name) {
    std::string gecos(full_name);
    std::replace_if(gecos.begin(), gecos.end(), EndsAField, ' ');
    return gecos;
}

std::string FullNameFrom(std::string_view gecos, const std::string &stored) {
    const std::string_view first = gecos.substr(0, gecos.find(','));
    return !stored.empty() && GecosOf(stored) == first ? stored : std::string(first);
}

}  // namespace zafo
