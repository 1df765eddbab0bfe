// SPDX-License-Identifier: Apache-2.0
//
// The database loaded alongside the one in use.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "tools/backup/child.h"
#include "tools/backup/job_error.h"
#include "tools/restore/journal.h"
#include "tools/restore/places.h"

namespace zafo::backup {

// Disk space that a database needs for that many bytes of LDIF. Measured with the template's
// indexes: 2.6 times as much for 100,000 users of the kind that the library creates, 3.7 for 5,000;
// 2.3 for large groups; 9 for entries that are nothing but long names, each of which is in three
// indexes. If the estimate is too low, loading fails and nothing is changed; if it is too high, a
// backup that fits would be refused.
std::uint64_t RoomFor(std::uint64_t ldif_bytes);

// A database folder, removed by the destructor unless released.
class SpareFolder {
  public:
    explicit SpareFolder(std::string path);
    ~SpareFolder();
    SpareFolder(const SpareFolder &) = delete;
    SpareFolder &operator=(const SpareFolder &) = delete;

    void Release() { released_ = true; }

  private:
    std::string path_;
    bool released_ = false;
};

// The folder "data.new" while its database is being built.
class Staging {
  public:
    // Creates the folder, and derives the loading configuration from the server's. `rules`: its
    // access rules, if they are not installed yet. Throws JobError.
    Staging(const Places &places, std::string_view configuration,
            const std::optional<std::string> &rules);

    // The configuration of this database.
    const std::string &Configuration() const { return configuration_; }

    // Truncates the loaded file after its last page. slapadd makes it a sparse file of the maximum
    // size, whose hole copying programs may fill in; a server's file is only as large as its
    // entries.
    void Trim() const;

    // Counts the entries and looks for the suffix's. Throws JobError kDamaged unless all are
    // present. Calls `tick` from time to time.
    void Verify(std::uint64_t entries, const std::string &suffix,
                const std::function<void(std::uint64_t)> &tick) const;

    // Leaves only the database, marked as filled, with the settings of the one in use, and synced.
    // Returns the folder.
    FolderId Finish() const;

    // From now on the journal decides what happens to the folder.
    void Release() { folder_.Release(); }

  private:
    Places places_;
    SpareFolder folder_;
    std::string configuration_;
    std::string rules_;
};

// slapadd(8) while it is loading.
class Loader {
  public:
    // Starts it with that configuration file. Throws JobError.
    explicit Loader(const std::string &configuration);

    // Passes on the next block of LDIF. Throws JobError when slapadd has given up.
    void Add(std::string_view block);

    // Ends the input. Throws JobError: kDatabaseFull when the entries do not fit into the database
    // or its file system, kDamaged when an entry is refused, kSystem for any other failure of
    // slapadd.
    void Finish();

  private:
    [[noreturn]] void Fail(int wait_status) const;

    Pipe pipe_;
    Child child_;
};

// The exit code for slapadd's status and messages.
Exit ExitOfLoading(int wait_status, std::string_view words);

}  // namespace zafo::backup
