// SPDX-License-Identifier: Apache-2.0
//
// Defaults for new accounts on this system: "/etc/login.defs" (login.defs(5)) and
// "/etc/default/useradd" (useradd(8)). Either may be missing.
#pragma once

#include <cstdint>
#include <string>

namespace zafo {

struct NumberRange {
    uint32_t first;
    uint32_t last;

    bool Holds(uint32_t number) const { return first <= number && number <= last; }
};

// The numbers of the ordinary accounts, as opposed to the system's own: UID_MIN to UID_MAX, or
// GID_MIN to GID_MAX, and those that accounts get in a directory, which they keep when they are
// migrated here.
class OrdinaryNumbers {
  public:
    static OrdinaryNumbers OfUsers() { return OrdinaryNumbers("UID_MIN", "UID_MAX"); }
    static OrdinaryNumbers OfGroups() { return OrdinaryNumbers("GID_MIN", "GID_MAX"); }

    bool Hold(uint32_t number) const { return local_.Holds(number) || kDirectory.Holds(number); }

  private:
    static constexpr NumberRange kDirectory{1000000, 2097151};

    OrdinaryNumbers(const char *first, const char *last);

    NumberRange local_;
};

struct NewUserDefaults {
    std::string home;       // the folder above home folders
    std::string shell;      // the login shell
    std::string most_days;  // after which a password must be changed; empty: never
    std::string warn_days;  // of warning before that; empty: none
};

NewUserDefaults ReadNewUserDefaults();

}  // namespace zafo
