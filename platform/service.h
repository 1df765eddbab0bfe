/* SPDX-License-Identifier: Apache-2.0
 *
 * The appliance's services, by name.
 *
 * The host platform describes a service in the key=value file
 * "/usr/zafo/etc.defaults/service/NAME.conf"; keys of "/usr/zafo/etc/service/NAME.conf", which
 * need not exist, take precedence:
 *   start         program and arguments, with blanks between them, that starts the service in
 *                 the background and exits with 0 once the service is ready
 *   pid_file      where the service writes its process id, an absolute path
 *   program       the program file of the service's process; may be missing
 *   stopped       program and arguments that run after the service has ended, also when it ended
 *                 by itself; its exit code is ignored; may be missing
 *   stop_seconds  how long it may take to end, 1 to 3600 (default 30)
 *   restart       "yes": the service is restarted when it ends by itself (default: it is not)
 * Other keys are the start program's own. Both programs run in "/" with PATH and LC_ALL=C as their
 * whole environment and with no descriptor of the caller but its standard error.
 *
 * A service that ends with an exit code other than 0, or by a signal other than SIGTERM, SIGINT and
 * SIGHUP, ended by itself. With `restart` a separate process, "zafo-service-keeper NAME", notices
 * that, reports it in the system log, counts it in "/run/zafo-service/NAME.ends" and runs the start
 * program: immediately; when the service repeatedly lasts less than ten seconds, after 0.25 to 2 s;
 * when a start fails, after 0.25 to 30 s. It does so only while the service is enabled and has been
 * neither stopped nor started by anyone else since; otherwise the keeper ends. A signal sent to the
 * keeper ends only the keeper: the service keeps running, and nothing restarts it until it has been
 * stopped and started. The service's process must be a descendant of the start program.
 *
 * A service is enabled while "/usr/zafo/etc/service/NAME.enabled" exists. A successful start
 * records the id and the start time of the service's process in "/run/zafo-service/NAME",
 * followed by those of its keeper; starting and stopping one service exclude each other
 * ("/run/zafo-service/NAME.lock"). The service's process is the recorded one. If none is recorded,
 * or it has ended, it is the process that the pid file names, provided that it runs `program`; so a
 * service started by hand is found, too. Any other process that a pid file names is foreign.
 *
 * Where systemd runs ("/run/systemd/system" is a folder) and has a unit NAME.service, systemd
 * starts, stops and enables it instead.
 */
#ifndef ZAFO_PLATFORM_SERVICE_H
#define ZAFO_PLATFORM_SERVICE_H

#include "platform/api.h"

ZAFO_BEGIN_DECLS

/* Starts a service. It counts as started if, within five seconds after its start program exited
 * with 0, its pid file names a living process, which runs `program` if that key is set. `nFlags`
 * must be 0. 0, also when it is already running; -1 with 0xD100 (it is not enabled, or it did not
 * start: its own messages went to standard error), 0x0900 (no such service, or its program cannot
 * be started) or 0x0D00. */
ZAFO_API int QLIBServiceStart(const char *szName, int nFlags);

/* Ends a service and returns when its process and its pid file are gone; a zombie counts as gone.
 * `nFlags` must be 0. 0, also when it is not running; -1 with 0xD200 (it does not end in time, and
 * is left alone), 0x0900 or 0x0D00. Only the service's own process is ever sent a signal (SIGTERM,
 * no other): a pid file that names a foreign one is a stale file and is removed. */
ZAFO_API int QLIBServiceStop(const char *szName, int nFlags);

/* 1 when the service is enabled, else 0 (with 0x0D00 if `szName` cannot be a service's name). */
ZAFO_API int QLIBServiceIsEnabled(const char *szName);

/* Enables or disables a service; it is neither started nor stopped.
 * 0; -1 with 0x0900 (no such service), 0x0B00 or 0x0D00. */
ZAFO_API int QLIBServiceEnable(const char *szName);
ZAFO_API int QLIBServiceDisable(const char *szName);

ZAFO_END_DECLS

#endif
