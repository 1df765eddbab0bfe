// SPDX-License-Identifier: Apache-2.0
//
// Files under names that others know, in folders that others may write to: whose a file is, and
// what stands there instead.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace zafo {

// Whether it is root's or the effective user's.
bool IsOurs(const struct stat &status);

// A regular file of ours with one link. What has a second one may stand here under a name that a
// stranger gave it: whoever may write to a folder may link files there that are not his, where the
// kernel lets him (fs.protected_hardlinks 0).
bool IsOwnFile(const struct stat &status);

// Whether others may make files in the folder.
bool IsShared(const struct stat &folder);

// Whether, all the same, what is ours stays there under its name: its owner is no stranger, and
// the others may only remove what is theirs.
bool KeepsNames(const struct stat &folder);

// "a folder of user 65534, mode 0755", for a log line. By number: asking for names could ask the
// directory.
std::string WhatItIs(const struct stat &status);

}  // namespace zafo
