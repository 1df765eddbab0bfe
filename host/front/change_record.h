// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace zafo::front {

// Whether a DN names an entry of a kind that not every server's schema has: an automount map or
// key, a Samba domain. A server that lacks it calls such a DN invalid.
bool IsOfOptionalKind(std::string_view dn);

// The only record of a change file, in plain LDIF without folded lines. Recognises the changes
// whose refusal is an answer; none of them if the file is missing, has several records or is longer
// than 4 KiB.
class ChangeRecord {
  public:
    explicit ChangeRecord(const char *path);

    // Swaps one value of an attribute for another: a server that answers that the value is missing
    // says that another client was faster.
    bool IsSwap() const;

    // Adds an entry of an optional kind: it is created unless it exists.
    bool AddsOptionalEntry() const;

    // Adds "admin" to one of the initial groups of every directory of the appliance.
    bool JoinsDefaultGroup() const;

  private:
    char text_[4096];
    std::string_view record_;
};

}  // namespace zafo::front
