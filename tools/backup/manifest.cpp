// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/manifest.h"

#include <algorithm>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

using Json = nlohmann::ordered_json;

[[noreturn]] void BadManifest(const std::string &what) {
    throw JobError(Exit::kDamaged, "manifest.json: " + what);
}

const Json &Member(const Json &object, const char *key) {
    const auto found = object.find(key);
    if (found == object.end()) BadManifest(fmt::format("\"{}\" is missing", key));
    return *found;
}

std::string TextOf(const Json &object, const char *key, bool may_be_empty = false) {
    const Json &member = Member(object, key);
    if (!member.is_string()) BadManifest(fmt::format("\"{}\" is not a text", key));
    auto text = member.get<std::string>();
    if (text.empty() && !may_be_empty) BadManifest(fmt::format("\"{}\" is empty", key));
    return text;
}

std::uint64_t NumberOf(const Json &object, const char *key) {
    const Json &member = Member(object, key);
    if (!member.is_number_unsigned()) BadManifest(fmt::format("\"{}\" is not a count", key));
    return member.get<std::uint64_t>();
}

std::string DigestOf(const Json &object, const char *key) {
    std::string text = TextOf(object, key);
    const bool is_hex = std::ranges::all_of(
        text, [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
    if (text.size() != 64 || !is_hex) BadManifest(fmt::format("\"{}\" is not a SHA-256", key));
    return text;
}

// Read the format first: nothing else is known about a newer one.
int FormatOf(const Json &object) {
    const std::uint64_t format = NumberOf(object, "format");
    if (format == 0) BadManifest("\"format\" is 0");
    if (format > kFormat)
        throw JobError(Exit::kNewerFormat,
                       fmt::format("format {} is newer than {}", format, kFormat));
    return static_cast<int>(format);
}

}  // namespace

std::string UtcText(std::time_t when) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(when));
}

std::string ToJson(const Manifest &manifest) {
    Json config = Json::array();
    for (const ConfigDigest &file : manifest.config)
        config.push_back({{"name", file.name}, {"sha256", file.sha256}});
    const Json object = {
        {"format", manifest.format},
        {"product_version", manifest.product_version},
        {"task", manifest.task},
        {"number", manifest.number},
        {"created", manifest.created},
        {"suffix", manifest.suffix},
        {"slapd_version", manifest.slapd_version},
        {"entries", manifest.entries},
        {"ldif_bytes", manifest.ldif_bytes},
        {"sha256", manifest.sha256},
        {"config", config},
    };
    // Text that is not UTF-8 (a suffix may be in any encoding) must not lose the backup.
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

Manifest ManifestFrom(std::string_view text) {
    const Json object = Json::parse(text, nullptr, false);
    if (!object.is_object()) BadManifest("it is not a JSON object");
    Manifest manifest;
    manifest.format = FormatOf(object);
    manifest.product_version = TextOf(object, "product_version");
    manifest.task = TextOf(object, "task");
    manifest.number = NumberOf(object, "number");
    manifest.created = TextOf(object, "created");
    manifest.suffix = TextOf(object, "suffix");
    manifest.slapd_version = TextOf(object, "slapd_version", true);
    manifest.entries = NumberOf(object, "entries");
    manifest.ldif_bytes = NumberOf(object, "ldif_bytes");
    manifest.sha256 = DigestOf(object, "sha256");
    const Json &config = Member(object, "config");
    if (!config.is_array()) BadManifest("\"config\" is not a list");
    for (const Json &file : config) {
        if (!file.is_object()) BadManifest("\"config\" contains something other than files");
        manifest.config.push_back({TextOf(file, "name"), DigestOf(file, "sha256")});
    }
    return manifest;
}

}  // namespace zafo::backup
