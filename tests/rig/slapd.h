// SPDX-License-Identifier: Apache-2.0
//
// The example directory under the real slapd, for the tests of one binary, and the system's
// OpenLDAP clients, which bypass the library and the tool front so that their results can be
// compared.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "host/root/directory/example_directory.h"

namespace zafo::rig {

struct ProgramRun {
    int exit_code;  // 128 + the signal's number if one ended it
    std::string out;
    std::string err;
};

// Runs a program found on PATH with `input` as its standard input; throws std::runtime_error if it
// cannot be started.
ProgramRun RunProgram(const std::vector<std::string> &argv, std::string_view input = "");

class ExampleDirectory {
  public:
    // The directory of this process, started on first use, stopped at exit.
    static ExampleDirectory &Get();

    // Another server with options of host/root/directory/start; `work` is its --work folder, which
    // must not be shared.
    ExampleDirectory(std::string work, unsigned port, const std::vector<std::string> &options);
    ~ExampleDirectory();
    ExampleDirectory(const ExampleDirectory &) = delete;
    ExampleDirectory &operator=(const ExampleDirectory &) = delete;

    // The administrator of the first tree; a second tree has its own, with the same password.
    const char *BindDN() const { return "cn=admin,dc=example,dc=com"; }
    const std::string &Password() const { return password_; }

    // "127.0.0.1:PORT", for a connection record.
    std::string Uri() const;

    // Runs a client of the system, bound as the administrator of the first tree.
    ProgramRun Client(const std::string &tool, const std::vector<std::string> &arguments,
                      std::string_view input = "") const;

    // The entries at and below `base`, read with ldapsearch; throws if it fails.
    std::vector<LdifEntry> Read(const std::string &base, const std::string &scope = "sub",
                                const std::vector<std::string> &filter_and_attributes = {}) const;

    // Applies change records, or adds entries; throws if ldapmodify fails.
    void Change(std::string_view ldif) const;
    void Add(const LdifEntry &entry) const;

    // Whether the server accepts a password, checked with the system's ldapwhoami; throws on any
    // result other than success or "invalid credentials".
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

// The kinds of server that hold accounts (host/root/directory/start --variant). `schema` is what
// each one's schema contains, as the bits of zafoldap/object_class.h.
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

// The server of a variant: clear text, one nearly empty tree below dc=example,dc=com, started on
// first use (50 ms), stopped at exit.
ExampleDirectory &VariantDirectory(std::string_view name);

// Prints a test's parameter.
std::ostream &operator<<(std::ostream &out, const Variant &variant);

}  // namespace zafo::rig
