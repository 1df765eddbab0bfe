// SPDX-License-Identifier: Apache-2.0
#include "tools/backup/exit_code.h"

#include <array>

namespace zafo::backup {

namespace {

struct Row {
    std::string_view backup;
    std::string_view restore;
};

constexpr std::string_view kUnexpected = "it failed for another reason";

constexpr std::array<Row, 14> kRows = {{
    {"done", "done"},
    {"another backup or restore is running", "another backup or restore is running"},
    {"there is no folder that backups can be written to", "the backup file cannot be read"},
    {kUnexpected, kUnexpected},
    {"too little space is left in the backup folder", kUnexpected},
    {"the entries could not be read from the database",
     "the server could not be stopped, or did not serve the restored entries"},
    {"the backup file system is full", kUnexpected},
    {"the quota of the backup folder is used up", "the entries do not fit into the database"},
    {"the backup would be too large for its file system",
     "the file is damaged, is not a backup, or contains what must not be restored"},
    {kUnexpected, "too little space is left for a second database"},
    {kUnexpected, "the backup is for another suffix"},
    {kUnexpected, "the backup was written by a newer version of this program"},
    {kUnexpected, "the backup was made with a newer slapd"},
    {kUnexpected, "the root partition is full"},
}};

}  // namespace

std::string_view WordsFor(Operation operation, int code) {
    if (code < 0 || static_cast<std::size_t>(code) >= kRows.size()) return kUnexpected;
    const Row &row = kRows[static_cast<std::size_t>(code)];
    return operation == Operation::kBackup ? row.backup : row.restore;
}

std::string_view Name(Operation operation) {
    return operation == Operation::kBackup ? "backup" : "restore";
}

}  // namespace zafo::backup
