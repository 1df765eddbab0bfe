// SPDX-License-Identifier: Apache-2.0
//
// What the key=value files say of a service (platform/service.h).
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zafo {

struct Service {
    std::vector<std::string> start;
    std::vector<std::string> stopped;
    std::string program;
    std::string pid_file;
    int stop_seconds = 0;
    bool restart = false;  // it is started again when it ends by itself
};

// A name becomes part of file names and of a unit's name.
bool IsServiceName(const char *name);

// Nothing when there is no such service, or its description lacks what makes it one.
std::optional<Service> DescribeService(const std::string &name);

// The file that exists while the service is enabled.
std::string SwitchOfService(const std::string &name);

}  // namespace zafo
