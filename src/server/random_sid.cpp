// SPDX-License-Identifier: Apache-2.0
#include "src/server/random_sid.h"

#include <cstdlib>

#include "base/appliance_paths.h"
#include "platform/process.h"
#include "src/core/tool_output.h"
#include "src/frame/log.h"

namespace zafo {

namespace {

constexpr const char *kSeeds =
    "file:/usr/zafo/etc/smb.conf:/etc/passwd:/etc/shadow:/etc/groups:/var/log/messages";
constexpr int kParts = 3;
constexpr size_t kMaxLine = 256;

// Four random bytes in decimal.
std::optional<std::string> RandomNumber() {
    const ToolOutput output(QLIBCPopen(zafo::kOpenssl, "r", "rand", "-rand", kSeeds, "-hex", "4",
                                       static_cast<char *>(nullptr)));
    char line[kMaxLine];
    if (!ReadOnlyLine(output, line, sizeof line, __FILE_NAME__)) return {};
    return std::to_string(std::strtoul(line, nullptr, 16));
}

}  // namespace

std::optional<std::string> RandomDomainSID() {
    std::string sid = "S-1-5-21";
    for (int i = 0; i < kParts; ++i) {
        const auto number = RandomNumber();
        if (!number) return {};
        ZAFO_DEBUG_LOG("Generate SID[%d] = %s", i, number->c_str());
        sid.append("-").append(*number);
    }
    ZAFO_DEBUG_LOG("SID: %s", sid.c_str());
    return sid;
}

}  // namespace zafo
