// SPDX-License-Identifier: Apache-2.0
//
// The ways of another platform: what its functions do otherwise than ours where nobody has promised
// anything. A program with other_platform.cpp in it has them for the library's own calls; everybody
// else's go to our platform.
#pragma once

#include <string>
#include <vector>

#include "platform/szhash.h"

namespace zafo::core_test {

enum class Decoding {
    kOurs,
    kTouches1024,      // bytes of the buffer, however short the text is
    kLeavesTheLength,  // alone
    kTakesARoom,       // for the length: text and final zero must fit
    kLengthBeyond,     // the buffer
};

struct PlatformWays {
    bool positive_success = false;      // 7 in the place of 0
    bool wipes_before_copying = false;  // an item that goes, before the new one is copied
    bool found_is_zero = false;         // for a directive
    bool absent_section_fails = false;  // and gives no reason
    bool absent_key_fails = false;      // to be removed
    bool normalises_rdn = false;        // "uid = ann" is "uid=ann"
    bool fills_buffers = false;         // to the last byte, with "x"
    int failing_inserts = 0;            // as many, from the next on
    int failing_pops = 0;
    int failing_empties = 0;  // QLIBCSzListRemoveAll
    bool cannot_sort = false;
    int lost_item = 0;  // the nth from now on is not given
    Decoding decoding = Decoding::kOurs;

    // What was done.
    std::vector<std::string> given_null;       // functions that were
    std::vector<const QLIBSZHASH *> sections;  // maps that sections were added with

    static PlatformWays &Get();
};

// Sets the ways for as long as it lives, and then finds that no function was given NULL.
class OtherPlatform {
  public:
    OtherPlatform() { PlatformWays::Get() = {}; }
    ~OtherPlatform();
    OtherPlatform(const OtherPlatform &) = delete;
    OtherPlatform &operator=(const OtherPlatform &) = delete;

    PlatformWays &operator*() const { return PlatformWays::Get(); }
    PlatformWays *operator->() const { return &PlatformWays::Get(); }
};

}  // namespace zafo::core_test
