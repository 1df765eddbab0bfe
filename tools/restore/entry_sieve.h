// SPDX-License-Identifier: Apache-2.0
//
// Finds the entry with a given DN in streamed LDIF, and optionally leaves it out.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace zafo::backup {

class EntrySieve {
  public:
    using Take = std::function<void(std::string_view)>;

    // Searches for nothing if the DN is empty. DNs are compared by ComparableDn; forms that only
    // slapd knows to be equal (attribute OIDs, Unicode forms) are found when they are loaded.
    EntrySieve(std::string_view dn, bool leaves_out);

    // The next block, which may end anywhere. Passes what is kept to `take`, possibly later.
    void Add(std::string_view block, const Take &take);

    // Ends the input; the last record was complete.
    void Finish(const Take &take);

    std::uint64_t Found() const { return found_; }

  private:
    void TakeHead(std::string_view *block, const Take &take);
    void TakeRest(std::string_view *block, const Take &take);
    void Decide(const Take &take);

    std::string dn_;
    bool leaves_out_;
    std::string head_;     // the lines of the DN, unchanged
    bool in_head_ = true;  // in the DN, or where a record may begin
    bool drops_ = false;
    bool begins_line_ = true;
    std::uint64_t found_ = 0;
};

}  // namespace zafo::backup
