/* SPDX-License-Identifier: Apache-2.0
 *
 * Child processes. Every function takes an argument vector; no shell is ever
 * involved. A child starts with standard input from /dev/null, the caller's
 * standard error, the caller's environment and working folder, default signal
 * dispositions, and no other open descriptor of the caller.
 *
 * Anyone on the machine can read argument vectors, so a directory tool of "/usr/zafo/bin" gets no
 * secret in one: `-w SECRET` of ldapsearch, ldapmodify and ldappasswd is passed as `-y /dev/fd/N`,
 * `-s SECRET` (`-a SECRET`) of ldappasswd as `-T` (`-t`), `-s SECRET` of slappasswd as `-T`, in any
 * spelling that getopt accepts. N, from 3 on, is an open file in memory that holds only the secret.
 * The caller's vector is not written to. If such a file cannot be made, the tool is not started.
 */
#ifndef ZAFO_PLATFORM_PROCESS_H
#define ZAFO_PLATFORM_PROCESS_H

#include <stdio.h>
#include <sys/types.h>

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* Starts `szPath` with the arguments after the mode, up to a NULL of type
 * char * (argv[0] is `szPath`), and returns a stream that reads the child's standard output. The
 * mode must be "r". The stream is closed with QLIBCPclose and belongs to one thread at a time.
 * NULL with 0x0900 when the child, the pipe or a secret's file cannot be made, 0x0200 when out of
 * memory, 0x0D00 for bad arguments. A path that cannot be executed is a failure to start. */
ZAFO_API FILE *QLIBCPopen(const char *szPath, const char *szMode, ... /* const char *, NULL */);

/* The same with a NULL-terminated vector; argv[0] is passed as given. */
ZAFO_API FILE *QLIBCPopenv(const char *szPath, const char *szMode, char *const argv[]);

/* Closes the stream, waits for the child and returns its wait status as
 * waitpid gives it. Never kills the child. -1 with 0x0D00 for NULL or for a
 * stream that QLIBCPopen did not return (which is left open). */
ZAFO_API int QLIBCPclose(FILE *pStream);

/* Runs a program with up to four arguments (a NULL ends them early) and
 * waits. An argument that begins with "/" and ends in "/" followed by "*" is
 * replaced by the entries of that folder, dot files included, or passed as it is when
 * there are none. Standard output goes to /dev/null. A copy by "/bin/cp" into a folder that another
 * user owns is made with that user's privileges, even when the caller is root, because the owner
 * could make it follow any link. The host platform runs "/bin/mount" with two arguments, neither of
 * them an option, as an NFS mount without executables, set-id bits and devices ("-t nfs -o
 * nosuid,nodev,noexec"), which fails if the source is a file, folder or device.
 * 0 when it exited with 0; -1 with 0x0900 when it, or such a folder, could not be opened, with
 * 0x0200 when out of memory; else the exit code, or 128 plus the signal's number. */
ZAFO_API int QLIBCExec(const char *szPath, const char *szArg1, const char *szArg2,
                       const char *szArg3, const char *szArg4);

/* Runs a program with the arguments after the option bits, up to a NULL, and
 * waits. The bits choose what happens to the output on the appliance; the host
 * platform sends standard output to /dev/null whatever they are.
 * The wait status; -1 with 0x0900 when it could not be started, with 0x0200 when out of memory. */
ZAFO_API int QLIBCExecl(const char *szPath, int nOptions, ... /* const char *, NULL */);

/* Runs a program with a NULL-terminated vector and waits. With `nFlags` 1
 * standard output goes to /dev/null, with 0 it is the caller's.
 * Results as QLIBCExec. */
ZAFO_API int QLIBCExecv(const char *szPath, char *const argv[], int nFlags);

/* Why the calling thread's last child could not be started, as an errno: EMFILE and ENFILE when out
 * of descriptors, EAGAIN of processes, ENOMEM of memory, ENOENT and EACCES for the program itself,
 * and so on; 0 when it was started, or no start was ever attempted. If `szPath` is not NULL, the
 * program's path is copied there, cut to fit. */
ZAFO_API int QLIBCStartError(char *szPath, size_t cbPath);

/* 1 when a process with this id exists (a zombie does not count), else 0. */
ZAFO_API int QLIBCProcAlive(pid_t pid);

/* The process id in a pid file; 0 when the file is absent or unreadable, holds
 * no positive number, or names a process that does not exist. */
ZAFO_API pid_t QLIBCReadPidFile(const char *szPath);

ZAFO_END_DECLS

#endif
