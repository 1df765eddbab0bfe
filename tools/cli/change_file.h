// SPDX-License-Identifier: Apache-2.0
//
// A change to one entry, written as an LDIF file in "/tmp" and applied with ldapmodify(1).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/cli/directory.h"

namespace zafo::cli {

// The file, removed on every path.
class ChangeFile {
  public:
    // Throws Failure if the file cannot be created.
    ChangeFile(const std::string &dn, const char *type);
    ~ChangeFile();
    ChangeFile(const ChangeFile &) = delete;
    ChangeFile &operator=(const ChangeFile &) = delete;

    void Replace(const std::string &attribute, const std::string &value);  // empty: removes it
    // "add" or "delete"; writes nothing without values.
    void Values(const char *how, const char *attribute, const std::vector<std::string> &values);

    // Nothing once the server has made the change. A truncated file (disk full) is never run: a
    // truncated record means something else, "delete: memberUid" alone removes every member.
    std::optional<Failure> Apply(Streams &streams, const ZAFOLDAP_HOST &host, const Facts &facts);

  private:
    void Value(const std::string &attribute, const std::string &value);
    void NoteFault();

    ZAFOLDAP_LDIF file_{};
    int fault_ = 0;  // errno of the first write that failed
};

}  // namespace zafo::cli
