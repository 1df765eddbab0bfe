// SPDX-License-Identifier: Apache-2.0
//
// The layers of the project and the includes between them.
#pragma once

#include <string>
#include <vector>

namespace zafo::meta {

// A file of the tree that includes another; both paths are relative to the tree's root.
struct Include {
    std::string file;
    std::string target;

    bool operator==(const Include &) const = default;
};

// The includes between the product's own files.
std::vector<Include> IncludesOfTheTree();

// Internal decisions of the library that programs also compile in, besides its interface.
std::vector<std::string> OfferedToPrograms();

// Why an include is not allowed; empty if it goes downwards or stays within its layer.
std::string WrongWith(const Include &include);

// Every cycle of folders that include each other, as "a b c", once and in alphabetical order.
std::vector<std::string> FolderCircles(const std::vector<Include> &includes);

}  // namespace zafo::meta
