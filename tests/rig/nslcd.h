// SPDX-License-Identifier: Apache-2.0
//
// A real client of the directory: while a NameService exists, the C library of the private root
// finds the directory's accounts, through libnss_ldap and a real nslcd.
#pragma once

#include <memory>
#include <string>

#include "tests/rig/slapd.h"

namespace zafo::rig {

class RunningTool;

class NameService {
  public:
    // What this machine lacks for it; empty: nothing.
    static std::string Missing();

    // Binds as the directory's administrator, so that shadow entries are found too.
    explicit NameService(const ExampleDirectory &directory);
    ~NameService();
    NameService(const NameService &) = delete;
    NameService &operator=(const NameService &) = delete;

    // The line that getent prints for a name or number in the map "passwd", "group" or "shadow";
    // empty if there is none. Throws if getent fails in another way.
    std::string Get(const std::string &map, const std::string &key) const;

  private:
    std::string switch_before_;
    std::unique_ptr<RunningTool> nslcd_;
};

}  // namespace zafo::rig
