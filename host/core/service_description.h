// SPDX-License-Identifier: Apache-2.0
//
// The description of a service in its key=value files (platform/service.h).
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
    bool restart = false;  // start it again if it exits by itself
};

// The name becomes part of file names and of a unit's name.
bool IsServiceName(const char *name);

// Nothing if there is no such service, or its description is incomplete.
std::optional<Service> DescribeService(const std::string &name);

// The file that exists while the service is enabled.
std::string SwitchOfService(const std::string &name);

}  // namespace zafo
