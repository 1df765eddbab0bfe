// SPDX-License-Identifier: Apache-2.0
//
// The outside of zstd (RFC 8878 section 3.1.1): headers of frames and blocks, which say how much memory a
// decompressor needs and where a frame ends. Looked at before a decompressor sees the bytes: a second frame could ask
// for another window than the first, or hold another compressed stream.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zafo::backup {

class ZstdFrame {
  public:
    // The next bytes of the file. Throws Fault kDamaged for what is not one frame with a window of at
    // most kLargestWindow.
    void Add(std::string_view block);

    bool IsComplete() const { return state_ == State::kEnd; }

  private:
    enum class State { kHead, kRest, kBlock, kSkip, kEnd };

    void TakeHead();
    void TakeBlock();
    void Await(State state, std::size_t bytes);

    State state_ = State::kHead;
    std::array<std::uint8_t, 16> bytes_{};  // of a header
    std::size_t have_ = 0;
    std::uint64_t wanted_ = 6;  // bytes until the state is over
    bool has_checksum_ = false;
    bool last_ = false;
};

}  // namespace zafo::backup
