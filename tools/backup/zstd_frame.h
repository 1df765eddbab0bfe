// SPDX-License-Identifier: Apache-2.0
//
// The zstd framing (RFC 8878 section 3.1.1): frame and block headers, which say how much memory a
// decompressor needs and where a frame ends. Checked before the decompressor sees the bytes: a
// second frame could ask for another window, or hold another compressed stream.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zafo::backup {

class ZstdFrame {
  public:
    // Checks the next bytes of the file. Throws Fault kDamaged unless they form a single frame with
    // a window of at most kLargestWindow.
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
    std::uint64_t wanted_ = 6;  // bytes left in this state
    bool has_checksum_ = false;
    bool last_ = false;
};

}  // namespace zafo::backup
