/* SPDX-License-Identifier: Apache-2.0
 *
 * The floors: a plain C program that runs the same tool and only looks for the ends of lines and
 * entries.
 */
#ifndef ZAFO_BENCH_FLOOR_H
#define ZAFO_BENCH_FLOOR_H

#include <stddef.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

struct floor_count {
    long entries;
    size_t bytes;
};

/* Reads LDIF to its end, line by line. Returns 0 or -1. */
int floor_read(FILE *stream, struct floor_count *count);

/* Runs a program found on PATH, reads its output, waits for it. Returns its wait status or -1. */
int floor_run(char *const argv[], struct floor_count *count);

#ifdef __cplusplus
}
#endif

#endif
