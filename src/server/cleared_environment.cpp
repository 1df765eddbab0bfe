// SPDX-License-Identifier: Apache-2.0
#include "src/server/cleared_environment.h"

#include <unistd.h>

#include <cstdlib>

namespace zafo {

namespace {

// The array that the process is given back. The C library copies it when it next adds a
// variable and never frees it, being none of its own. It outlives everything: the environment
// may be asked while the process ends.
std::vector<char *> &GivenBack() {
    static auto &array = *new std::vector<char *>;
    return array;
}

}  // namespace

// The array may be the C library's, which clearenv frees, or the one given back before; the
// strings are neither's.
ClearedEnvironment::ClearedEnvironment() {
    for (char **at = environ; at != nullptr && *at != nullptr; ++at)
        kept_.push_back(*at);
    kept_.push_back(nullptr);
    GivenBack().reserve(kept_.size());
    clearenv();
}

ClearedEnvironment::~ClearedEnvironment() {
    clearenv();
    GivenBack() = kept_;
    environ = GivenBack().data();
}

}  // namespace zafo
