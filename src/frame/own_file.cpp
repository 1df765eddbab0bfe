// SPDX-License-Identifier: Apache-2.0
#include "src/frame/own_file.h"

#include <cstdio>

namespace zafo {

namespace {

constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;

const char *KindOf(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFREG:
            return "a file";
        case S_IFDIR:
            return "a folder";
        case S_IFLNK:
            return "a link";
        case S_IFIFO:
            return "a FIFO";
        case S_IFSOCK:
            return "a socket";
        default:
            return "a device";
    }
}

}  // namespace

bool IsOurs(const struct stat &status) {
    return status.st_uid == 0 || status.st_uid == geteuid();
}

bool IsOwnFile(const struct stat &status) {
    return S_ISREG(status.st_mode) && status.st_nlink == 1 && IsOurs(status);
}

bool IsShared(const struct stat &folder) {
    return !IsOurs(folder) || (folder.st_mode & kOthersWrite) != 0;
}

bool KeepsNames(const struct stat &folder) {
    return IsOurs(folder) &&
           ((folder.st_mode & kOthersWrite) == 0 || (folder.st_mode & S_ISVTX) != 0);
}

std::string WhatItIs(const struct stat &status) {
    char text[96];
    const int n = snprintf(text, sizeof text, "%s of user %u, mode %04o", KindOf(status.st_mode),
                           status.st_uid, status.st_mode & 07777U);
    if (!S_ISDIR(status.st_mode) && status.st_nlink > 1) {
        snprintf(text + n, sizeof text - static_cast<size_t>(n), ", %lu links",
                 static_cast<unsigned long>(status.st_nlink));
    }
    return text;
}

}  // namespace zafo
