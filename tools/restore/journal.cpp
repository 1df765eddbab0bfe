// SPDX-License-Identifier: Apache-2.0
#include "tools/restore/journal.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <filesystem>

#include <fmt/format.h>

#include "base/whole_file.h"

namespace zafo::backup {

namespace {

constexpr std::array<std::string_view, 3> kStates = {"exchange", "starting", "undo"};
}  // namespace

std::string TextOf(const Journal &journal) {
    return fmt::format(
        "zafoldap-restore 1\nstate={}\nold={}\nnew={}\nserver={}\npid={}\nstarted={}\nend\n",
        kStates[static_cast<std::size_t>(journal.state)], journal.old_folder, journal.new_folder,
        journal.server_ran ? "running" : "stopped", journal.writer.pid, journal.writer.started);
}

std::optional<Journal> JournalFrom(const std::string &text) {
    Journal journal;
    std::array<char, 16> state{};
    std::array<char, 16> server{};
    constexpr const char *kText = "zafoldap-restore 1 state=%15s old=%" SCNu64 " new=%" SCNu64
                                  " server=%15s pid=%d started=%llu";
    if (std::sscanf(text.c_str(), kText, state.data(), &journal.old_folder, &journal.new_folder,
                    server.data(), &journal.writer.pid, &journal.writer.started) != 6)
        return std::nullopt;
    const auto *found = std::ranges::find(kStates, std::string_view(state.data()));
    if (found == kStates.end()) return std::nullopt;
    journal.state = static_cast<JournalState>(found - kStates.begin());
    journal.server_ran = std::string_view(server.data()) == "running";
    if (TextOf(journal) != text) return std::nullopt;
    return journal;
}

FoundJournal ReadJournal(const std::string &path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::symlink_status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) return {};
    if (!std::filesystem::is_regular_file(status)) return {.exists = true};
    return {.exists = true, .journal = JournalFrom(ReadHead(path))};
}

}  // namespace zafo::backup
