// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zafo::cli {

// A record filled by one library function and released by another.
template <typename T, int (*Free)(T *)>
class LibraryRecord {
  public:
    LibraryRecord() = default;
    ~LibraryRecord() { Free(&record_); }
    LibraryRecord(const LibraryRecord &) = delete;
    LibraryRecord &operator=(const LibraryRecord &) = delete;

    T *Address() { return &record_; }
    const T &operator*() const { return record_; }

  private:
    T record_{};
};

}  // namespace zafo::cli
