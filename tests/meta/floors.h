// SPDX-License-Identifier: Apache-2.0
//
// The floors of the house and the includes between them.
#pragma once

#include <string>
#include <vector>

namespace zafo::meta {

// A file of the tree that includes another one; both as paths from the tree's root.
struct Include {
    std::string file;
    std::string target;

    bool operator==(const Include &) const = default;
};

// What the product's own files include of each other.
std::vector<Include> IncludesOfTheTree();

// The library's own judgements that programs compile in besides its interface.
std::vector<std::string> OfferedToPrograms();

// What stands in the way of an include; empty when it goes downwards, or within its own floor.
std::string WrongWith(const Include &include);

// Every circle of folders that include each other, as "a b c", each once and in alphabetical order.
std::vector<std::string> FolderCircles(const std::vector<Include> &includes);

}  // namespace zafo::meta
