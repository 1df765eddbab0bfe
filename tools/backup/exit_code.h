// SPDX-License-Identifier: Apache-2.0
//
// Exit codes of the backup program. A code can mean different things for a backup and a restore;
// callers map it to their own error by the operation's column.
//
//   code   after a backup                              after a restore
//   0      done                                        done
//   1      another backup or restore is running        the same
//   2      no usable folder: none is set, it is not a  the file cannot be read, is not a regular
//          folder, is a link, is not writable, is      file, or is empty
//          inside the database, or went away
//   3      anything else                               anything else
//   4      too little space, found before writing      -
//   5      slapcat failed, or its output is truncated  the server cannot be stopped, or does not
//                                                      serve the restored entries (the old are
//                                                      back)
//   6      the folder's file system is full            -
//   7      the folder's quota is used up               the entries do not fit into the database
//   8      the file would be too large for the folder  damaged, not a backup, with directives to
//                                                      slapadd, with an entry at the
//                                                      administrator's DN, or not the bytes that
//                                                      were confirmed
//   9      -                                           no room for the loaded copy
//   10     -                                           a backup of another suffix
//   11     -                                           written by a newer version of this program
//   12     -                                           made with a newer slapd
//   13     -                                           the root partition is full
#pragma once

#include <string_view>

namespace zafo::backup {

enum class Operation { kBackup, kRestore };

// Named after the column in which the code has a specific meaning.
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

    // The other meanings of 7 and 8.
    kQuotaExceeded = kDatabaseFull,
    kFileTooLarge = kDamaged,
};

// The meaning of a code as text, also for codes that the program never returns.
std::string_view WordsFor(Operation operation, int code);

// "backup", "restore": as named in the progress file.
std::string_view Name(Operation operation);

}  // namespace zafo::backup
