// SPDX-License-Identifier: Apache-2.0
//
// Why a command failed, in words for a person and in codes for a script. Every
// text comes from one table, under the (section, key) pair that the library
// gives for its error codes; the programs' own conditions have the section
// "zafoldap".
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

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
    int exit_code = 1;
    int ldap_code = 0;  // 0: none
    std::string section = {};
    std::string key = {};
    std::string message = {};
    std::string hint = {};
    std::string detail = {};  // the tool's own words, or the input with a caret under the fault
};

struct MessageRow {
    std::string_view section;
    std::string_view key;
    int exit_code;
    std::string_view message;  // what and where
    std::string_view hint;     // what to do next
};

std::span<const MessageRow> MessageTable();

// The row of a pair; nullptr: none.
const MessageRow *FindMessage(std::string_view section, std::string_view key);

// A failure of the programs' own: `key` is one of section "zafoldap".
Failure OwnFailure(std::string_view key, const Facts &facts, std::string detail = {});

// The failure behind an errno when it is that no more files can be open; else nothing. `facts` say what cannot be
// {reason}: "started", "read".
std::optional<Failure> WantOfDescriptors(int error, const Facts &facts);

// The failure of a pair of the library's section "ldap_error".
Failure LibraryRefusal(std::string_view key, const Facts &facts);

// The failure behind a library error code (ZAFOLDAPErrGet) and, when that is 0,
// a platform code (QLIBCErrGet). `tool_words` is what the tool wrote to its standard
// error: it tells apart what the tools' exit codes throw together.
Failure LibraryFailure(int library_code, int platform_code, const Facts &facts,
                       std::string_view tool_words);

}  // namespace zafo::cli
