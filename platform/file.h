/* SPDX-License-Identifier: Apache-2.0
 *
 * Section files: text files of "[section]" headings over "key=value" lines.
 * A line that begins with '#' or ';' is a comment. Blanks around keys and
 * values are ignored; a value in double quotes keeps them and may hold the
 * escapes \" \\ \n \r \t. Anything else makes it a damaged file, which is refused with
 * 0x0F00 and never rewritten.
 *
 * Writers keep comments, blank lines, order and keys that they were not told
 * to change. They replace the file in one step (temporary file, fsync,
 * rename) under an flock on "FILE.lock", so that readers see the old or the new
 * text and concurrent writers lose nothing. A new file, and every file below a
 * folder called "private", gets mode 0600; otherwise the mode is kept.
 */
#ifndef ZAFO_PLATFORM_FILE_H
#define ZAFO_PLATFORM_FILE_H

#include "platform/szhash.h"
#include "platform/szlist.h"

ZAFO_BEGIN_DECLS

/* Adds the pairs of section `szSection` to `pHash`.
 * The number of pairs; 0 with 0x2200 when the file or the section does not
 * exist or the section is empty; -1 with 0x0900 (not readable), 0x0F00
 * (damaged), 0x0D00 or 0x0200. */
ZAFO_API int QLIBCFileGetSection(const char *szFile, const char *szSection, QLIBSZHASH *pHash);

/* Adds a section with the pairs of `pHash` (NULL: none) at the end of the
 * file, which is created if missing. An existing section is left unchanged, and the call
 * succeeds. `nFlags` must be 0.
 * 0; -1 with 0x0900, 0x0B00, 0x0F00, 0x0D00 or 0x0200. */
ZAFO_API int QLIBCFileAddSection(const char *szFile, const char *szSection, const QLIBSZHASH *pHash,
                                 int nFlags);

/* Stores `pHash` into section `szSection`. Of a map that QLIBCFileGetSection filled only the
 * keys that the caller has set or removed since are stored or removed; changes that others have
 * made to other keys meanwhile are kept. Any other map replaces all keys of the section.
 * `szNewName` renames the section (NULL: keep).
 * `nFlags` must be 0.
 * 0; -1 with 0x2200 (no such section), 0x0900, 0x0B00, 0x0F00, 0x0D00 or 0x0200. */
ZAFO_API int QLIBCFileSetSection(const char *szFile, const char *szSection, const char *szNewName,
                                 const QLIBSZHASH *pHash, int nFlags);

/* Adds the "key=value" pairs of a file without sections to `pHash`. Lines
 * without "=" are ignored.
 * The number of pairs; -1 with 0x0900 (cannot be opened), 0x0A00, 0x0D00 or 0x0200. */
ZAFO_API int QLIBCFileGetPair(const char *szFile, QLIBSZHASH *pHash);

/* Appends the names of all sections to the list, in file order.
 * Their number, 0 when the file does not exist; -1 as QLIBCFileGetSection. */
ZAFO_API int QLIBCFileEnumSection(const char *szFile, QLIBSZLIST **ppList);

/* Removes a section with its keys; comments above the heading go with it.
 * 1 removed, 0 no such section; -1 as QLIBCFileSetSection. */
ZAFO_API int QLIBCFileRemoveSection(const char *szFile, const char *szSection);

ZAFO_END_DECLS

#endif
