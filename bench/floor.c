/* SPDX-License-Identifier: Apache-2.0 */
#define _GNU_SOURCE
#include "bench/floor.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

int floor_read(FILE *stream, struct floor_count *count) {
    char *line = NULL;
    size_t capacity = 0;
    ssize_t size;
    count->entries = 0;
    count->bytes = 0;
    while ((size = getdelim(&line, &capacity, '\n', stream)) > 0) {
        count->bytes += (size_t)size;
        if (line[0] == '\n') count->entries++;
    }
    free(line);
    return ferror(stream) ? -1 : 0;
}

static FILE *start(char *const argv[], pid_t *child) {
    int ends[2];
    posix_spawn_file_actions_t actions;
    FILE *stream;
    int error;
    if (pipe2(ends, O_CLOEXEC) != 0) return NULL;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    error = posix_spawnp(child, argv[0], &actions, NULL, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    stream = error == 0 ? fdopen(ends[0], "r") : NULL;
    if (stream == NULL) close(ends[0]);
    return stream;
}

int floor_run(char *const argv[], struct floor_count *count) {
    int status = -1;
    pid_t child = 0;
    FILE *stream = start(argv, &child);
    if (stream == NULL) return -1;
    const int result = floor_read(stream, count);
    fclose(stream);
    if (waitpid(child, &status, 0) != child || result != 0) return -1;
    return status;
}
