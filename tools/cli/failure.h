// SPDX-License-Identifier: Apache-2.0
//
// Why a command failed, in words for people and in codes for scripts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/cli/message.h"

namespace zafo::cli {

// What the texts can mention. Unset facts read as general words ("the server").
struct Facts {
    std::string connection = {};  // name of the saved connection
    std::string server = {};      // address
    std::string bind_dn = {};
    std::string subject = {};  // the DN, file, name or value in question
    std::string reason = {};   // from the system or from a check
    std::string finish = {};   // the commands that finish the work
};

struct Failure {
    Message id;
    int exit_code = 1;
    int ldap_code = 0;  // 0: none
    std::string message = {};
    std::string hint = {};
    std::string detail = {};  // the tool's own words, or the input with a caret under the fault

    std::string_view Section() const { return RowOf(id).section; }
    std::string_view Key() const { return RowOf(id).key; }
};

// A failure found by the program itself.
Failure OwnFailure(Message id, const Facts &facts, std::string detail = {});

// The failure for an errno that says that no more files can be opened; nothing for any other.
// `facts.reason` says what cannot be done: "started", "read".
std::optional<Failure> WantOfDescriptors(int error, const Facts &facts);

// The failure for a library error code (ZAFOLDAPErrGet) or, if that is 0, a platform code
// (QLIBCErrGet). `tool_words` is what the tool wrote to standard error; it distinguishes failures
// that share an exit code.
Failure LibraryFailure(int library_code, int platform_code, const Facts &facts,
                       std::string_view tool_words);

// Whether a size limit ended an answer: what arrived is valid, but there is more.
bool IsCutOff(const Failure &failure);

}  // namespace zafo::cli
