// SPDX-License-Identifier: Apache-2.0
//
// The map behind QLIBSZHASH, for the readers and writers of section files.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/szhash.h"

namespace zafo {

// Ordered, so that a file written from a map looks the same every time.
using Pairs = std::map<std::string, std::string, std::less<>>;

// What a section of a file held when a map was filled from it.
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
