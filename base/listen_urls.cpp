// SPDX-License-Identifier: Apache-2.0
#include "base/listen_urls.h"

#include "base/blanks.h"
#include "base/lines.h"
#include "base/whole_file.h"

namespace zafo {

namespace {

constexpr std::string_view kKey = "listen";

// The value of the last line "listen = VALUE".
std::string_view ListenIn(std::string_view text) {
    std::string_view value;
    while (!text.empty()) {
        const std::string_view line = TakeLine(&text);
        const size_t equals = line.find('=');
        if (equals != line.npos && Trim(line.substr(0, equals)) == kKey)
            value = Trim(line.substr(equals + 1));
    }
    return value;
}

}  // namespace

std::vector<std::string> ListenUrls(std::initializer_list<const char *> settings) {
    for (const char *path : settings) {
        std::string text;
        if (ReadWhole(path, &text) != ReadResult::kDone) continue;
        std::vector<std::string> urls = WordsOf(ListenIn(text));
        if (!urls.empty()) return urls;
    }
    return {"ldap:///", "ldaps:///"};
}

}  // namespace zafo
