// SPDX-License-Identifier: Apache-2.0
#include "host/core/service_description.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "base/appliance_paths.h"
#include "base/blanks.h"
#include "base/whole_file.h"
#include "host/core/section_text.h"

namespace zafo {

namespace {

constexpr int kStopSeconds = 30;
constexpr int kMostStopSeconds = 3600;

int StopSecondsOf(const std::string &text) {
    int number = 0;
    const char *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    const bool valid = error == std::errc() && at == end && number > 0;
    return valid ? std::min(number, kMostStopSeconds) : kStopSeconds;
}

// The pairs of both files; the appliance's own settings take precedence.
std::optional<Pairs> ReadDescription(const std::string &name) {
    const std::string file = "/" + name + ".conf";
    std::string text;
    if (!ReadIfPresent(kServiceFolder + file, &text)) return {};
    Pairs pairs = PlainPairs(text);
    if (ReadWhole(kServiceDefaultsFolder + file, &text) != ReadResult::kDone) return {};
    Pairs defaults = PlainPairs(text);
    pairs.merge(defaults);
    return pairs;
}

}  // namespace

bool IsServiceName(const char *name) {
    return name != nullptr && *name != '\0' && *name != '.' && *name != '-' &&
           std::string_view(name).find_first_of("/ \t\r\n") == std::string_view::npos;
}

std::optional<Service> DescribeService(const std::string &name) {
    std::optional<Pairs> pairs = ReadDescription(name);
    if (!pairs) return {};
    Service service;
    service.start = WordsOf((*pairs)["start"]);
    service.stopped = WordsOf((*pairs)["stopped"]);
    service.program = (*pairs)["program"];
    service.pid_file = (*pairs)["pid_file"];
    service.stop_seconds = StopSecondsOf((*pairs)["stop_seconds"]);
    service.restart = (*pairs)["restart"] == "yes";
    if (service.start.empty() || !service.pid_file.starts_with('/')) return {};
    return service;
}

std::string SwitchOfService(const std::string &name) {
    return kServiceFolder + ("/" + name) + ".enabled";
}

}  // namespace zafo
