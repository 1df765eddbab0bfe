// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/job_error.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "tools/cli/display_text.h"

namespace zafo::backup {

namespace {

Exit ExitOfWriting(int reason) {
    switch (reason) {
        case ENOSPC:
            return Exit::kFullWhileWriting;
        case EDQUOT:
            return Exit::kQuotaExceeded;
        case EFBIG:
            return Exit::kFileTooLarge;
        // Missing or no longer writable: a share that has gone away can report any of these.
        case ENOENT:
        case ENOTDIR:
        case ELOOP:
        case EACCES:
        case EPERM:
        case EROFS:
        case EIO:
        case ESTALE:
        case ENODEV:
        case ENXIO:
        case EREMOTEIO:
        case EHOSTDOWN:
        case EHOSTUNREACH:
        case ENOTCONN:
        case ETIMEDOUT:
            return Exit::kBadPlace;
        default:
            return Exit::kSystem;
    }
}

}  // namespace

JobError SystemError(Exit exit, const std::string &doing, int reason) {
    return {exit, fmt::format("{}: {}", doing, std::strerror(reason))};
}

bool IsShortage(int reason) {
    return reason == EMFILE || reason == ENFILE || reason == ENOMEM || reason == ENOBUFS;
}

JobError ReadingError(const std::string &path, int reason) {
    return SystemError(IsShortage(reason) ? Exit::kSystem : Exit::kBadPlace, "cannot read " + path,
                       reason);
}

JobError WritingError(const std::string &path, int reason) {
    return SystemError(ExitOfWriting(reason), "cannot write " + path, reason);
}

std::string OneLine(std::string_view words) {
    while (!words.empty()) {
        const std::string_view line = words.substr(0, words.find('\n'));
        words.remove_prefix(std::min(line.size() + 1, words.size()));
        if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
        std::string clean(line);
        std::ranges::replace_if(
            clean, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
        return cli::OneLine(clean);
    }
    return {};
}

}  // namespace zafo::backup
