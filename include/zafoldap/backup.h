/* SPDX-License-Identifier: Apache-2.0
 *
 * Backup and restore of the local directory server, and their schedule.
 *
 * The work is done by "/usr/zafo/bin/zafoldapbackup": without arguments it makes a
 * backup, with "-r FILE" it restores one. These functions prepare its environment, run it, wait,
 * and turn its exit code into a library error. Settings are sections of
 * "/usr/zafo/etc/ldapbackup.conf" (platform/file.h), one for each task; the task in use is
 * "backup":
 *
 *     [backup]
 *     enabled=yes
 *     schedule=1,4,0,4,0,0          platform/schedule.h
 *     dest_share=Backups            or dest_dir=/volume1/backups
 *     max_file=10
 *
 * Readers and writers of the file exclude each other with "/tmp/.zafoldap_conf.lock"
 * (zafoldap/lock.h) and never wait: while another process writes, a call fails with library error
 * -65542.
 *
 *     if (ZAFOLDAPServerBackup() != 0) {
 *         ZAFOLDAP_PROGRESS progress;
 *         if (ZAFOLDAPServerProgressGet(&progress) == 1 && progress.nStatus != 0)
 *             ZAFOLDAPServerBackupSetError(progress.nStatus);
 *         ZAFOLDAPServerProgressFree(&progress);
 *         …ZAFOLDAPErrGet()…
 *     }
 */
#ifndef ZAFOLDAP_BACKUP_H
#define ZAFOLDAP_BACKUP_H

#include "platform/schedule.h"
#include "platform/szlist.h"
#include "zafoldap/api.h"

ZAFOLDAP_BEGIN_DECLS

/* --- Settings --------------------------------------------------------------- */

/* Settings of a backup task. */
typedef struct ZAFOLDAP_BACKUP_CONFIG {
    QLIBSZLIST *plistBuffer; /* owns the strings of a record that ConfigGet has filled */
    const char *szTask;      /* section name; NULL means "backup" */
    const char *szDestShare; /* shared folder that receives the backups, or NULL */
    const char *szDestDir;   /* the share's path, or a plain folder; NULL: none, or no such share */
    int blEnabled;           /* 1: scheduled backups are on */
    ZAFOSCHEDULE schedule;   /* when, and the command to run */
    int nMaxFile;            /* backup files to keep, 10 by default */
} ZAFOLDAP_BACKUP_CONFIG;

/* Fills the record from the section `szTask` (NULL: "backup"). If the section is missing or cannot
 * be read for any reason, the record holds the defaults: off, nothing scheduled, no destination, 10
 * files. A section without "schedule" means every day at 04:00. The command is the one that runs
 * ZAFOLDAPServerBackup: "/usr/zafo/bin/zafoldapserver --backup now 2>/dev/null >&2". The record's
 * previous contents are not freed; ConfigFree releases the new ones.
 * 0; -1, the record holding what was read so far (still to be released by ConfigFree), with library
 * error -65542, 0x0200, 0x0D00, 0x0900 (the lock cannot be made), or with neither slot changed for
 * a schedule of fewer than six numbers, which the log shows. */
ZAFOLDAP_API int ZAFOLDAPBackupConfigGet(ZAFOLDAP_BACKUP_CONFIG *pConfig, const char *szTask);

/* Stores the record in its section, which is created if missing. The schedule is stored only while
 * it is enabled, so that switching it off and on again keeps it. The destination is the share, else
 * the folder, else the one in the file; it must pass BackupIsValidDest. With `nMaxFile` of 0 or
 * less the number in the file stays. The scheduler is not updated: use
 * ZAFOLDAPServerBackupSchedule for that.
 * 0; -1 with library error -65545 (the destination cannot be used; no setting is changed) or
 * -65542, with 0x0200, 0x0D00, or as QLIBCFileSetSection (platform/file.h). */
ZAFOLDAP_API int ZAFOLDAPBackupConfigSet(const ZAFOLDAP_BACKUP_CONFIG *pConfig);

/* Frees the list and zeroes the record; NULL is accepted. Always 0. */
ZAFOLDAP_API int ZAFOLDAPBackupConfigFree(ZAFOLDAP_BACKUP_CONFIG *pConfig);

/* 1 when `szPath` is a folder, not a link to one, that this process may read, write and enter; else
 * 0. */
ZAFOLDAP_API int ZAFOLDAPBackupIsValidDest(const char *szPath);

/* --- Backup and restore ----------------------------------------------------- */

/* Runs one backup of the task "backup" and waits until it ends, which may take minutes. An empty
 * database is not backed up: -1 with neither slot changed, and nothing is run.
 *
 * The program's environment consists of the variables of BackupSetEnv alone. It replaces the
 * calling process's own environment until the call returns, which restores it: other threads must
 * not use the environment or run programs meanwhile.
 * 0; -1 as BackupConfigGet, or with -65536 for any exit code of the program: to get the reason,
 * pass the "status" of its progress to BackupSetError. If signal 1, 2, 4, 6, 7 or 8 ends the
 * program, the error is what BackupSetError gives for that number. */
ZAFOLDAP_API int ZAFOLDAPServerBackup(void);

/* Replaces the directory with the contents of a backup file. The environment is handled as in a
 * backup.
 * 0; -1 with 0x0D00 (NULL or empty), or with library error
 *   -65543, -65544, -65542  a backup is running, a restore is running, it is not known which
 *   -65546  the file is not readable, not a backup, damaged, or of another directory
 *   -65547  the backup was made by a newer product     -65548  by a newer server
 *   -65549  the database is full      -65550  the system partition is full
 *   -65536  anything else, such as a server that does not stop or start, or a killed program
 * After any of these the old directory is in place and the progress file is removed. */
ZAFOLDAP_API int ZAFOLDAPServerRestore(const char *szBackupFile);

/* Registers the task "backup" with the scheduler as its settings say, or removes it if `blEnable`
 * is 0. Without settings an empty schedule is registered, which never runs.
 * 0; -1 as BackupConfigGet, or as ZAFOScheduleSet and ZAFOScheduleRemove (platform/schedule.h). */
ZAFOLDAP_API int ZAFOLDAPServerBackupSchedule(int blEnable);

/* Sets the variables that the backup program reads, in the calling process's environment:
 *   LDAP_BROWSER_CONF         "/usr/zafo/etc/private/ldapbrowser.conf", the saved connections
 *   LDAP_BKP_PROGRESS_FILE    "/var/log/zafoldap.progress"
 *   LDAP_BKP_PREFIX           "zafoldap", with which the names of backup files begin
 * and, with a record,
 *   LDAP_BKP_TASK             szTask
 *   LDAP_BKP_DEST_DIR         szDestDir
 *   LDAP_BKP_SCHEDULE_ENABLED "yes" or "no"
 *   LDAP_BKP_MAX_BACKUP_FILE  nMaxFile, decimal
 * A NULL text removes its variable. Always 0. */
ZAFOLDAP_API int ZAFOLDAPServerBackupSetEnv(const ZAFOLDAP_BACKUP_CONFIG *pConfig);

/* Sets the library error for an exit code of a backup:
 *   1     -65543 or -65544 when the progress is that of a backup or of a restore, else -65542
 *   2     -65545 the destination cannot be used
 *   4, 6, 7, 8  -65549 the destination is full
 *   else  -65536
 * Always 0. */
ZAFOLDAP_API int ZAFOLDAPServerBackupSetError(int nCode);

/* --- Progress --------------------------------------------------------------- */

/* What the backup program is doing, or did last. Unknown texts are NULL, unknown numbers 0. */
typedef struct ZAFOLDAP_PROGRESS {
    QLIBSZLIST *plistBuffer; /* owns the strings */
    int blRunning;           /* 1: no failure so far and the program is alive */
    const char *szOperation; /* "backup" or "restore" */
    const char *szTask;      /* task name */
    const char *szAction;    /* current action, for a person */
    int nTotal;              /* number of stages */
    int nStage;              /* current stage, from 1 */
    int nStatus;             /* 0 while working and after success, else the program's exit code */
    int nPid;                /* process id of the backup program */
} ZAFOLDAP_PROGRESS;

/* Reads the progress from "/var/log/zafoldap.progress". The record's previous contents are not
 * freed; ProgressFree releases the new ones.
 * 1; 0 when there is no such file, the platform error is then 0; -1 with 0x0200, 0x0A00 or 0x0D00.
 * The record is empty after 0 and -1. */
ZAFOLDAP_API int ZAFOLDAPServerProgressGet(ZAFOLDAP_PROGRESS *pProgress);

/* Frees the list and zeroes the record; NULL is accepted. Always 0. */
ZAFOLDAP_API int ZAFOLDAPServerProgressFree(ZAFOLDAP_PROGRESS *pProgress);

ZAFOLDAP_END_DECLS

#endif
