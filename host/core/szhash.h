// SPDX-License-Identifier: Apache-2.0
//
// The map that implements QLIBSZHASH, for readers and writers of section files.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/szhash.h"

namespace zafo {

// Ordered, so that a file written from a map always looks the same.
using Pairs = std::map<std::string, std::string, std::less<>>;

// The content of a file's section when a map was filled from it.
struct LoadedSection {
    std::string file;
    std::string section;
    Pairs pairs;
};

}  // namespace zafo

struct QLIBSZHASH {
    zafo::Pairs pairs;
    std::optional<zafo::LoadedSection> loaded;
};
