// SPDX-License-Identifier: Apache-2.0
#include "src/server/cleared_environment.h"

#include <unistd.h>

#include <cstdlib>

namespace zafo {

namespace {

// The array restored into `environ`. The C library copies it when a variable is next added and
// never frees it, since it did not allocate it. It is never destroyed: the environment may be read
// while the process exits.
std::vector<char *> &GivenBack() {
    static auto &array = *new std::vector<char *>;
    return array;
}

}  // namespace

// `environ` may be the C library's array, which clearenv frees, or the one restored earlier;
// neither owns the strings.
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
