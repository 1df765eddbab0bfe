// SPDX-License-Identifier: Apache-2.0
#include "tools/zafoldapbackup/configuration_copy.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

#include <fmt/format.h>

#include "base/appliance_paths.h"
#include "base/blanks.h"
#include "base/unique_fd.h"
#include "tools/backup/archive_format.h"
#include "tools/backup/child.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

bool IsComment(std::string_view line) {
    return line.starts_with('#') || line.starts_with(';');
}

}  // namespace

std::optional<std::string> ReadConfiguration(const std::string &path) {
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!fd.IsOpen() && errno == ENOENT) return std::nullopt;
    if (!fd.IsOpen()) throw SystemError(Exit::kSystem, "cannot read " + path, errno);
    std::string text;
    std::array<char, 16384> block{};
    ssize_t n = 0;
    while ((n = ReadSome(fd.Get(), block.data(), block.size())) > 0) {
        text.append(block.data(), static_cast<std::size_t>(n));
        if (text.size() > kLargestConfig)
            throw JobError(Exit::kSystem,
                           fmt::format("{} has more than {} bytes", path, kLargestConfig));
    }
    if (n < 0) throw SystemError(Exit::kSystem, "cannot read " + path, errno);
    return text;
}

std::string SectionIn(std::string_view text, std::string_view section) {
    std::string found;
    bool inside = false;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::string_view words = Trim(line);
        if (words.starts_with('[') && words.ends_with(']'))
            inside = Trim(words.substr(1, words.size() - 2)) == section;
        if (inside && !words.empty() && !IsComment(words)) found.append(words).append("\n");
    }
    return found;
}

void SaveConfiguration(ArchiveWriter *writer, const std::string &browser_conf) {
    if (const auto text = ReadConfiguration(kSlapdConf)) writer->AddFile(kSlapdConfMember, *text);
    if (const auto text = ReadConfiguration(kAccessRules))
        writer->AddFile(kAccessRulesMember, *text);
    const auto connections = ReadConfiguration(browser_conf);
    const std::string own = SectionIn(connections.value_or(""), kOwnConnection);
    if (!own.empty()) writer->AddFile(kConnectionMember, own);
}

}  // namespace zafo::backup
