// SPDX-License-Identifier: Apache-2.0
//
// Checks on files in folders that others can write to: who owns the file, and what it is.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace zafo {

// Owned by root or the effective user.
bool IsOurs(const struct stat &status);

// A regular file of ours with one link. Where fs.protected_hardlinks is 0, anyone who can write to
// a folder can hard-link other users' files into it, so a second link may be a stranger's doing.
bool IsOwnFile(const struct stat &status);

// Whether others can create files in the folder.
bool IsShared(const struct stat &folder);

// Whether our files nevertheless keep their names there: the folder is ours, and others can remove
// only their own files.
bool KeepsNames(const struct stat &folder);

// "a folder of user 65534, mode 0755", for a log line. The user is given by number: looking up the
// name might query the directory.
std::string WhatItIs(const struct stat &status);

}  // namespace zafo
