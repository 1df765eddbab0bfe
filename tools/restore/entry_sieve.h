// SPDX-License-Identifier: Apache-2.0
//
// Finds the entry at one DN while LDIF streams by, and leaves it out where that is wished.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace zafo::backup {

class EntrySieve {
  public:
    using Take = std::function<void(std::string_view)>;

    // An empty DN: none is looked for. DNs are compared as ComparableDn has them; names that only slapd knows to be the
    // same (numbers of attributes, forms of Unicode) are found when they are loaded.
    EntrySieve(std::string_view dn, bool leaves_out);

    // The next block, which may end anywhere. What goes on is given to `take`, not always at once.
    void Add(std::string_view block, const Take &take);

    // The end; the last record was whole.
    void Finish(const Take &take);

    std::uint64_t Found() const { return found_; }

  private:
    void TakeHead(std::string_view *block, const Take &take);
    void TakeRest(std::string_view *block, const Take &take);
    void Decide(const Take &take);

    std::string dn_;
    bool leaves_out_;
    std::string head_;     // the lines of the DN, as they stand
    bool in_head_ = true;  // at the DN, or where a record may begin
    bool drops_ = false;
    bool begins_line_ = true;
    std::uint64_t found_ = 0;
};

}  // namespace zafo::backup
