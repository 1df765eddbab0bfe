// SPDX-License-Identifier: Apache-2.0
//
// Why a command failed, in words for a person and in codes for a script.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/cli/message.h"

namespace zafo::cli {

// What the texts can mention. Unset ones read as general words ("the server").
struct Facts {
    std::string connection = {};  // name of the saved connection
    std::string server = {};      // address
    std::string bind_dn = {};
    std::string subject = {};  // the DN, file, name or value in question
    std::string reason = {};   // words of the system or of a check
    std::string finish = {};   // the commands that do what is left
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

// A failure that the program itself finds.
Failure OwnFailure(Message id, const Facts &facts, std::string detail = {});

// The failure behind an errno when it is that no more files can be open; else nothing. `facts` say what cannot be
// {reason}: "started", "read".
std::optional<Failure> WantOfDescriptors(int error, const Facts &facts);

// The failure behind a library error code (ZAFOLDAPErrGet) and, when that is 0,
// a platform code (QLIBCErrGet). `tool_words` is what the tool wrote to its standard
// error: it tells apart what the tools' exit codes throw together.
Failure LibraryFailure(int library_code, int platform_code, const Facts &facts,
                       std::string_view tool_words);

}  // namespace zafo::cli
