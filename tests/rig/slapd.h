// SPDX-License-Identifier: Apache-2.0
//
// The example directory under the real slapd, for the tests of one binary, and
// the OpenLDAP clients of the system beside the library: what the library is
// compared with does not pass through it, nor through the tool front.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "host/root/directory/example_directory.h"

namespace zafo::rig {

struct ProgramRun {
    int exit_code;  // 128 + the signal's number when one ended it
    std::string out;
    std::string err;
};

// Runs a program found on PATH with `input` as its standard input; throws
// std::runtime_error when it cannot be started.
ProgramRun RunProgram(const std::vector<std::string> &argv, std::string_view input = "");

class ExampleDirectory {
  public:
    // The directory of this process, started on first use, stopped at exit.
    static ExampleDirectory &Get();

    // One more server with the options of host/root/directory/start; --work is
    // among them, so that the two do not share a folder.
    ExampleDirectory(std::string work, unsigned port, const std::vector<std::string> &options);
    ~ExampleDirectory();
    ExampleDirectory(const ExampleDirectory &) = delete;
    ExampleDirectory &operator=(const ExampleDirectory &) = delete;

    // The administrator of the first tree; a second tree has its own, with the
    // same password.
    const char *BindDN() const { return "cn=admin,dc=example,dc=com"; }
    const std::string &Password() const { return password_; }

    // "127.0.0.1:PORT", as a connection record wants it.
    std::string Uri() const;

    // A client of the system, bound as the administrator of the first tree.
    ProgramRun Client(const std::string &tool, const std::vector<std::string> &arguments,
                      std::string_view input = "") const;

    // What ldapsearch says of `base` and below; throws when it fails.
    std::vector<LdifEntry> Read(const std::string &base, const std::string &scope = "sub",
                                const std::vector<std::string> &filter_and_attributes = {}) const;

    // Applies change records, or adds entries; throws when ldapmodify fails.
    void Change(std::string_view ldif) const;
    void Add(const LdifEntry &entry) const;

    // Whether the server lets somebody in, asked with the system's ldapwhoami; throws when
    // it says neither yes nor "invalid credentials".
    bool Binds(const std::string &dn, const std::string &password) const;

    void Stop();
    void Start();

  private:
    std::string work_;
    unsigned port_;
    std::vector<std::string> options_;
    std::string password_;
    bool running_ = false;
};

// The kinds of server that accounts live on (host/root/directory/start --variant). What
// the schema of each one has is in `schema`, as the bits of zafoldap/object_class.h.
struct Variant {
    const char *name;
    unsigned port;
    unsigned schema;
    int server_type;
};
inline constexpr Variant kVariants[] = {
    {"minimal", 1389, 0x0061, 0}, {"posix", 1390, 0x01FF, 0},     {"samba", 1391, 0x19FF, 0},
    {"apple", 1392, 0x07FF, 2},   {"appliance", 1393, 0x19FF, 1},
};

// The server of a variant: clear text, one nearly empty tree below dc=example,dc=com,
// started on first use (50 ms), stopped at exit.
ExampleDirectory &VariantDirectory(std::string_view name);

// How a test's parameter is shown.
std::ostream &operator<<(std::ostream &out, const Variant &variant);

}  // namespace zafo::rig
