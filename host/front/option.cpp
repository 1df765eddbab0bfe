// SPDX-License-Identifier: Apache-2.0
#include "host/front/option.h"

#include <cstring>

namespace zafo::front {

bool HoldsOptions(const char *argument) {
    return argument[0] == '-' && argument[1] != '\0';
}

bool EndsOptions(const char *argument) {
    return std::strcmp(argument, "--") == 0;
}

Option ReadOption(const Tool &tool, char *argument, char *next) {
    Option option;
    option.flags = argument + 1;
    for (char *at = option.flags; *at != '\0'; at++) {
        if (tool.with_value.find(*at) == std::string_view::npos) continue;
        option.letter = at;
        option.value_is_next = at[1] == '\0';
        option.value = option.value_is_next ? next : at + 1;
        break;
    }
    return option;
}

char FileLetter(const Tool &tool, char letter) {
    for (size_t i = 0; i + 1 < tool.secrets.size(); i += 2) {
        if (tool.secrets[i] == letter) return tool.secrets[i + 1];
    }
    return '\0';
}

}  // namespace zafo::front
