// SPDX-License-Identifier: Apache-2.0
//
// What the backup program ends with. The same code says different things after a backup and after
// a restore: callers turn it into an error of their own by the operation's column.
//
//   code   after a backup                              after a restore
//   0      done                                        done
//   1      another backup or restore runs              the same
//   2      no folder to write into: none is set, it    the file cannot be read, is none, or is empty
//          is no folder, a link, not writable, inside
//          the database, or went away
//   3      anything else                               anything else
//   4      too little space, seen before writing       -
//   5      slapcat failed, or its entries are cut      the server cannot be stopped, or does not
//                                                      serve the restored entries (the old are back)
//   6      the folder's file system is full            -
//   7      the folder's quota is used up               the entries do not fit into the database
//   8      the file would be too large for the folder  damaged, no backup, or with lines that are orders to
//                                                      slapadd, an entry at the administrator's DN, or other
//                                                      bytes than were confirmed
//   9      -                                           no room for the loaded copy
//   10     -                                           a backup of another suffix
//   11     -                                           written by a newer version of this program
//   12     -                                           made with a newer slapd
//   13     -                                           the root partition is full
#pragma once

#include <string_view>

namespace zafo::backup {

enum class Operation { kBackup, kRestore };

// Named after the column in which a code says something of its own.
enum class Exit {
    kDone = 0,
    kBusy = 1,
    kBadPlace = 2,
    kSystem = 3,
    kTooFull = 4,
    kServer = 5,
    kFullWhileWriting = 6,
    kDatabaseFull = 7,
    kDamaged = 8,
    kRootFull = 9,
    kNotOurs = 10,
    kNewerFormat = 11,
    kOtherSlapd = 12,
    kRootFullWhileWriting = 13,

    // The other meaning of 7 and 8.
    kQuotaExceeded = kDatabaseFull,
    kFileTooLarge = kDamaged,
};

// What a code means, for a person; of a code that the program never gives too.
std::string_view WordsFor(Operation operation, int code);

// "backup", "restore": as the progress file names them.
std::string_view Name(Operation operation);

}  // namespace zafo::backup
