// SPDX-License-Identifier: Apache-2.0
//
// The appliance's own server in a private appliance root, set up once for a test binary.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/tools/program.h"

namespace zafo::rig {

constexpr const char *kServerPassword = "Sesame-open-1";
constexpr const char *kSlapdConf = "/usr/zafo/etc/openldap/slapd.conf";
constexpr const char *kRules = "/usr/zafo/etc/openldap/slapd-acls.conf";
constexpr const char *kServerCertificate = "/usr/zafo/etc/openldap/tls/server.pem";
constexpr const char *kServerKey = "/usr/zafo/etc/openldap/tls/server.key";

// Runs a zafoldapserver command line, split at blanks; its standard input is a valid password.
ProgramRun ServerLine(std::string_view line, std::string_view input = kServerPassword);
Json ServerLineJson(std::string_view line, int exit_code = 0,
                    std::string_view input = kServerPassword);

// Every file, folder and link below the folders, with mode, owner and content: must be the same
// before and after a refusal.
std::string TreeBelow(const std::vector<std::string> &folders);

// The result of one check of `check --json`; an empty object if there is none.
Json Finding(const Json &document, std::string_view id);

// Replaces a file's content for its lifetime.
class ChangedFile {
  public:
    ChangedFile(std::string path, std::string_view text);
    ~ChangedFile();
    ChangedFile(const ChangedFile &) = delete;
    ChangedFile &operator=(const ChangedFile &) = delete;

  private:
    std::string path_;
    std::string kept_;  // a copy beside it; empty: the file did not exist
};

// Mounts a file system over a folder for its lifetime; Mounted is false if that is impossible.
class MountedOver {
  public:
    MountedOver(std::string folder, const std::string &options);
    ~MountedOver();
    MountedOver(const MountedOver &) = delete;
    MountedOver &operator=(const MountedOver &) = delete;
    bool Mounted() const { return mounted_; }

  private:
    std::string folder_;
    bool mounted_;
};

}  // namespace zafo::rig
