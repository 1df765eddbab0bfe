// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace zafo::front {

// Whether a DN names an entry of a kind that not every server's schema has: an automount map or key, a Samba
// domain. A server that lacks the kind calls such a DN invalid.
bool IsOfOptionalKind(std::string_view dn);

// The one record of a change file, in plain LDIF without folded lines, as far as the changes are concerned whose
// refusal is an answer. None of them is what is no file, holds several records or is longer than 4 KiB.
class ChangeRecord {
  public:
    explicit ChangeRecord(const char *path);

    // Takes one value of an attribute out and puts another in, together: a server that says the
    // value is not there says that another client was quicker.
    bool IsSwap() const;

    // Adds an entry of an optional kind: it is made unless it is there.
    bool AddsOptionalEntry() const;

    // Adds "admin" to one of the groups that every directory of the appliance begins with.
    bool JoinsDefaultGroup() const;

  private:
    char text_[4096];
    std::string_view record_;
};

}  // namespace zafo::front
