// SPDX-License-Identifier: Apache-2.0
//
// The members of a tar (POSIX.1 ustar) as ArchiveWriter makes it: plain files with short names. What other tars
// may have (long names, extended headers, sparse maps, links) is refused before it is read, so that no header
// decides how much memory it takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace zafo::backup {

class TarReader {
  public:
    // Gives the next bytes of the tar, which stay until it is called again; empty at the end.
    using Source = std::function<std::string_view()>;
    using Take = std::function<void(std::string_view)>;

    explicit TarReader(Source source) : source_(std::move(source)) {}

    // The next member; the one before has been read. False at the end of the tar, behind which nothing
    // but a little padding was found. Throws Fault kDamaged.
    bool Next();

    const std::string &Name() const { return name_; }

    // Gives the current member's bytes to `take`, block by block. Throws Fault kDamaged, also for a
    // member of more than `limit` bytes.
    void Read(std::uint64_t limit, const Take &take);
    std::string ReadText(std::uint64_t limit);

  private:
    std::string_view Some(std::uint64_t most);

    Source source_;
    std::string_view left_;
    std::string name_;
    std::uint64_t size_ = 0;
};

}  // namespace zafo::backup
