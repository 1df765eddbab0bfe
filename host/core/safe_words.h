// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zafo {

// The words, program first, with which to run a command of QLIBCExec safely:
//
// - "/bin/mount SOURCE FOLDER" guesses the type of the source and mounts it without any restriction.
//   A caller that gives no options cannot want either: the source is on the network, and nothing on
//   it is meant to be executed. So exactly such a pair is mounted as NFS only (a file, a folder or a
//   device then fails, even one called "HOST:" in the working folder), without executables, set-id
//   bits or devices.
// - When root has cp(1) write into another user's folder, that user could place a link there just
//   before, and root would write to its target; such a copy is run with only the rights of the
//   folder's owner.
//
// Any other words stay as they are.
std::vector<std::string> SafeWords(std::vector<std::string> words);

}  // namespace zafo
