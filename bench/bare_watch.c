// SPDX-License-Identifier: MIT
//
// The least that a live cleaner can do: it unlinks in its event loop whatever begins with "._". One inotify watch for
// each folder that is there at the start; no log, no guard, no look at what it unlinks, no gathering. The yardstick for
// the watcher's speed, not an example to follow.   bare_watch FOLDER
#define _GNU_SOURCE
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <unistd.h>

static int inotify;
static char** folders;
static int capacity;

static int watch(const char* path, const struct stat* facts, int kind, struct FTW* place) {
    (void)facts;
    (void)place;
    if (kind != FTW_D) return 0;
    const int number = inotify_add_watch(inotify, path, IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
    if (number < 0) return -1;
    if (number >= capacity) {
        capacity = 2 * number + 1024;
        folders = realloc(folders, (size_t)capacity * sizeof *folders);
        if (folders == NULL) return -1;
    }
    folders[number] = strdup(path);
    return 0;
}

int main(int count, char** words) {
    static char buffer[65536] __attribute__((aligned(__alignof__(struct inotify_event))));
    static char path[8192];
    inotify = inotify_init1(IN_CLOEXEC);
    if (count != 2 || inotify < 0 || nftw(words[1], watch, 64, FTW_PHYS) != 0) {
        perror("bare_watch");
        return 1;
    }
    puts("ready");
    fflush(stdout);
    for (ssize_t got; (got = read(inotify, buffer, sizeof buffer)) > 0;) {
        for (char* at = buffer; at < buffer + got;) {
            const struct inotify_event* const event = (const struct inotify_event*)(const void*)at;
            if (event->len > 0 && strncmp(event->name, "._", 2) == 0) {
                snprintf(path, sizeof path, "%s/%s", folders[event->wd], event->name);
                unlink(path);
            }
            at += sizeof *event + event->len;
        }
    }
    return 1;
}
