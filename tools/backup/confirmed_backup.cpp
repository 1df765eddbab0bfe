// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/confirmed_backup.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include <fmt/format.h>

#include "base/write_all.h"
#include "tools/backup/job_error.h"

namespace zafo::backup {

namespace {

constexpr int kSeals = F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL;
constexpr std::size_t kLongestText = 16384;
constexpr std::string_view kHead = "zafoldap-confirmed 1\n";

std::string TextOf(const ConfirmedBackup &confirmed) {
    return fmt::format("{}{}\n{}\n{}\n{}\n", kHead, confirmed.file, confirmed.seal,
                       confirmed.without_administrator ? "without-administrator" : "all",
                       OneLine(confirmed.name));
}

std::string TakeLine(std::string_view *text) {
    const std::string_view line = text->substr(0, text->find('\n'));
    text->remove_prefix(std::min(line.size() + 1, text->size()));
    return std::string(line);
}

}  // namespace

UniqueFd MakeConfirmation(const ConfirmedBackup &confirmed) {
    UniqueFd fd(memfd_create("confirmed backup", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    const std::string text = TextOf(confirmed);
    if (!fd.IsOpen() || !WriteAll(fd.Get(), text) || fcntl(fd.Get(), F_ADD_SEALS, kSeals) != 0)
        throw SystemError(Exit::kSystem, "cannot pass on which backup was confirmed", errno);
    return fd;
}

std::optional<ConfirmedBackup> ConfirmationIn(int fd) {
    // Other files have no seals; a memory file that is still writable does not have all of them.
    if (fcntl(fd, F_GET_SEALS) != kSeals) return std::nullopt;
    std::string bytes(kLongestText, '\0');
    const ssize_t n = pread(fd, bytes.data(), bytes.size(), 0);
    bytes.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
    ConfirmedBackup confirmed;
    if (std::string_view text = bytes; text.starts_with(kHead)) {
        text.remove_prefix(kHead.size());
        confirmed.file = TakeLine(&text);
        confirmed.seal = TakeLine(&text);
        confirmed.without_administrator = TakeLine(&text) == "without-administrator";
        confirmed.name = TakeLine(&text);
    }
    if (TextOf(confirmed) != bytes)
        throw JobError(Exit::kDamaged, "the record of the confirmed backup cannot be read");
    return confirmed;
}

std::string PathOfDescriptor(int fd) {
    return fmt::format("/proc/{}/fd/{}", getpid(), fd);
}

}  // namespace zafo::backup
