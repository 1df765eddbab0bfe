// SPDX-License-Identifier: Apache-2.0
//
// What mount(8) may be given as the export of home folders. The text comes from a directory, and
// mount(8) runs as root: it takes a file for a disk image, a folder or device for what it is, and a
// leading "-" for an option. No tool runs here.
#pragma once

#include <string_view>

namespace zafo {

// Why a text is no HOST:/PATH (zafoldap/home.h says what one is); nullptr: it is one.
const char *FaultOfNfsSource(std::string_view source);

}  // namespace zafo
