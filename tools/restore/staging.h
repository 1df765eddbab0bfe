// SPDX-License-Identifier: Apache-2.0
//
// The database that is loaded beside the one in use.
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

// Bytes that a database takes on the disk for LDIF of that many bytes. Measured with the template's indexes: 2.6 times
// as much for 100,000 users of the kind that the library creates, 3.7 for 5,000; 2.3 for large groups; 9 for
// entries that are nothing but long names, each of which is in three indexes. Where it turns out to be too little,
// loading fails and nothing is changed; too much would refuse what fits.
std::uint64_t RoomFor(std::uint64_t ldif_bytes);

// A folder for a database. One that is not released goes with its owner.
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

// The folder "data.new" while its database is made.
class Staging {
  public:
    // Makes the folder and the configuration for loading from the server's. `rules`: its access rules, where
    // they are not in their place. Throws JobError.
    Staging(const Places &places, std::string_view configuration,
            const std::optional<std::string> &rules);

    // The configuration of the database here.
    const std::string &Configuration() const { return configuration_; }

    // Cuts the loaded file behind its last page. slapadd makes it as large as it may ever get, a hole
    // that programs which copy files may fill; a server makes it no larger than its entries.
    void Trim() const;

    // Counts the entries and looks for the suffix's. Throws JobError kDamaged unless all are there.
    // `tick` is called now and then.
    void Verify(std::uint64_t entries, const std::string &suffix,
                const std::function<void(std::uint64_t)> &tick) const;

    // Nothing but the database stays, marked as filled, with the settings of the one in use, and
    // it is on the disk. Gives the folder.
    FolderId Finish() const;

    // From now on the journal says what becomes of the folder.
    void Release() { folder_.Release(); }

  private:
    Places places_;
    SpareFolder folder_;
    std::string configuration_;
    std::string rules_;
};

// slapadd(8) while it loads.
class Loader {
  public:
    // With the configuration of that file. Throws JobError.
    explicit Loader(const std::string &configuration);

    // The next block of the LDIF. Throws JobError when slapadd has given up.
    void Add(std::string_view block);

    // The end of it. Throws JobError: kDatabaseFull when the entries do not fit into the database or
    // its file system, kDamaged when one is refused, kSystem when slapadd does not get that far.
    void Finish();

  private:
    [[noreturn]] void Fail(int wait_status) const;

    Pipe pipe_;
    Child child_;
};

// What slapadd's end and its words come to.
Exit ExitOfLoading(int wait_status, std::string_view words);

}  // namespace zafo::backup
