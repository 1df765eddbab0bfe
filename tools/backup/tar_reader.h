// SPDX-License-Identifier: Apache-2.0
//
// The members of a tar (POSIX.1 ustar) as ArchiveWriter writes it: regular files with short names.
// Anything else (long names, extended headers, sparse maps, links) is refused before it is read, so
// that no header controls how much memory is used.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace zafo::backup {

class TarReader {
  public:
    // Returns the next bytes of the tar, valid until the next call; empty at the end.
    using Source = std::function<std::string_view()>;
    using Take = std::function<void(std::string_view)>;

    explicit TarReader(Source source) : source_(std::move(source)) {}

    // Moves to the next member; the current one must have been read. False at the end of the tar,
    // after which only a little padding is allowed. Throws Fault kDamaged.
    bool Next();

    const std::string &Name() const { return name_; }

    // Passes the current member's bytes to `take`, block by block. Throws Fault kDamaged, also for
    // a member of more than `limit` bytes.
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
