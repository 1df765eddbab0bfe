// SPDX-License-Identifier: Apache-2.0
//
// What may be passed to mount(8) as the export of home folders. The text comes from a directory,
// and mount(8) runs as root: it would mount a file as a disk image, accept a folder or a device,
// and read a leading "-" as an option. Runs no tool.
#pragma once

#include <string_view>

namespace zafo {

// Why a text is not HOST:/PATH (defined in zafoldap/home.h); nullptr if it is.
const char *FaultOfNfsSource(std::string_view source);

}  // namespace zafo
