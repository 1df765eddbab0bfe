/* SPDX-License-Identifier: Apache-2.0
 *
 * Users' home folders over NFS, and the automount maps (RFC 2307bis, autofs(5))
 * that tell clients where they are.
 *
 * The maps are "auto_master", whose key "/home" names the map "auto_home", and
 * "auto_home", whose key "*" holds "-fstype=nfs HOST:PATH/&" with a backslash
 * before every "$", blank and "&" of the path. To create folders, HOST:PATH is mounted on
 * "/zafoldaphomefolder.PID" with "/bin/mount"; every mount is undone in the same call. The caller
 * must be root.
 *
 * The directory says what is mounted, and root mounts it: anyone with write access to the directory
 * could name a disk image or a local folder. So only NFS exports are mounted, and anything but
 * HOST:/PATH is refused before anything is created or run:
 *   HOST   a host name or IPv4 address (letters, digits, ".", "-", "_"; the first a letter or digit;
 *          at most 253 characters), or an IPv6 address in brackets, with or without "%" and a zone
 *   PATH   begins with "/", at most 4095 bytes, without "#", "//", a component ".." and control
 *          characters; blanks, "$" and "&" are fine
 * A list of hosts is refused, too. The directory still chooses the server.
 */
#ifndef ZAFOLDAP_HOME_H
#define ZAFOLDAP_HOME_H

#include "platform/user.h"
#include "zafoldap/api.h"
#include "zafoldap/host.h"

ZAFOLDAP_BEGIN_DECLS

/* Publishes the maps for the NFS server `szHost` and the exported path
 * `szHomeFolderPath` (neither may contain a line break) in the directory of the saved connection
 * "root", then creates all users' folders. Existing maps are kept, host and path of the key "*" are
 * updated. A folder that cannot be created is only logged.
 * 0; -1 as ZAFOLDAPHostInitByBrowserConfig or ZAFOLDAPModify, with 0x0200 (the path takes
 * 4094 bytes or more when it is escaped), or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPServerAutomountCreate(const char *szHost, const char *szHomeFolderPath);

/* Creates a folder in the export HOST:PATH for every user of the directory who has none there.
 * Existing folders are left alone; a user whose folder cannot be created is logged and skipped.
 * 0; -1 when the export cannot be mounted or users cannot be listed, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserHomeCreateAll(const ZAFOLDAP_HOST *pHost, const char *szHost,
                                                  const char *szHomeFolderPath);

/* Creates one user's folder (szName, pw_uid, pw_gid) in the export that the directory's "auto_home"
 * map names.
 * 0; -1 when the map is missing or not of this form, when its DN or its value has more than 1023
 * bytes (0x0E00), or as ZAFOLDAPBrowserUserHomeCreateEx. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserHomeCreate(const ZAFOLDAP_HOST *pHost, const ZAFOUSER *pUser);

/* The same in the export `szHomePath` (HOST:PATH). The folder belongs to the user, mode 0700. A
 * name that is not one path component ("", ".", "..", or with a "/") is refused.
 * 0, also when the folder exists; -1 when something else has its name, when the export cannot be
 * mounted or the folder not be created, or 0x0D00. */
ZAFOLDAP_API int ZAFOLDAPBrowserUserHomeCreateEx(const char *szHomePath, const ZAFOUSER *pUser);

/* Mounts `szHomePath` on the process's mount point, which is created.
 * 0; -1, with 0x0D00 when it is not HOST:/PATH (see above; the log says why). */
ZAFOLDAP_API int ZAFOLDAPNFSMount(const char *szHomePath);

/* Unmounts it and removes the mount point. 0, or -1. */
ZAFOLDAP_API int ZAFOLDAPNFSUMount(void);

ZAFOLDAP_END_DECLS

#endif
