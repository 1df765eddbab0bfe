/* SPDX-License-Identifier: Apache-2.0
 *
 * Backup of the local directory server: settings and progress.
 */
#ifndef ZAFOLDAP_BACKUP_H
#define ZAFOLDAP_BACKUP_H

#include "platform/schedule.h"
#include "platform/szlist.h"
#include "zafoldap/api.h"

/* Settings of a backup task, one section of "/usr/zafo/etc/ldapbackup.conf". */
typedef struct ZAFOLDAP_BACKUP_CONFIG {
    QLIBSZLIST *plistBuffer; /* owns the strings */
    const char *szTask;      /* section name, "backup" by default */
    const char *szDestShare; /* shared folder that receives the backups, or NULL */
    const char *szDestDir;   /* the share's path, or a plain folder */
    int blEnabled;           /* 1: scheduled backups are on */
    ZAFOSCHEDULE schedule;   /* when, and the command to run */
    int nMaxFile;            /* backup files to keep, 10 by default */
} ZAFOLDAP_BACKUP_CONFIG;

/* What the backup program is doing. */
typedef struct ZAFOLDAP_PROGRESS {
    QLIBSZLIST *plistBuffer; /* owns the strings */
    int blRunning;           /* 1: no failure so far and the program is alive */
    const char *szOperation; /* "backup" or "restore" */
    const char *szTask;      /* task name */
    const char *szAction;    /* current action */
    int nTotal;              /* number of stages */
    int nStage;              /* current stage */
    int nStatus;             /* 0 while working and after success, else the program's exit code */
    int nPid;                /* process id of the backup program */
} ZAFOLDAP_PROGRESS;

#endif
