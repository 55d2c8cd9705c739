// SPDX-License-Identifier: MIT
//
// Makes litter and measures how long it stays.
//
//   litter latency COUNT PAUSE FOLDER…   makes a file in one folder after the other, COUNT times, PAUSE milliseconds
//                                        apart; prints for each folder a line of the microseconds that each file
//                                        stayed
//   litter storm FOLDER FILES WRITERS    WRITERS processes make FILES files at once; prints the seconds that they
//                                        took, the seconds from then on until all files were gone, and how many
//                                        were still there when nothing had moved for ten seconds
//   litter make FOLDER FILES WRITERS     makes them and does not wait
//
// Whether files are gone is asked of the file system's count of free inodes: to walk over them would slow down whoever
// removes them.
#define _GNU_SOURCE
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { files_per_folder = 500, most_folders = 16, longest_standstill = 10 };

static void fail(const char* what) {
    perror(what);
    exit(1);
}

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

static void make_file(const char* path) {
    const int file = open(path, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
    if (file < 0 || close(file) != 0) fail(path);
}

static void wait_until_deleted(int inotify, const char* name) {
    static char buffer[65536] __attribute__((aligned(__alignof__(struct inotify_event))));
    for (;;) {
        struct pollfd wait = {inotify, POLLIN, 0};
        if (poll(&wait, 1, 10000) <= 0) {
            fprintf(stderr, "litter: %s stays\n", name);
            exit(1);
        }
        const ssize_t got = read(inotify, buffer, sizeof buffer);
        for (char* at = buffer; at < buffer + got;) {
            const struct inotify_event* const event = (const struct inotify_event*)(const void*)at;
            if (event->len > 0 && strcmp(event->name, name) == 0) return;
            at += sizeof *event + event->len;
        }
    }
}

static int latency(int count, int pause, int folders, char** folder) {
    int inotify[most_folders];
    double* const stays = calloc((size_t)count * (size_t)folders, sizeof *stays);
    if (folders > most_folders || stays == NULL) fail("litter");
    for (int i = 0; i < folders; ++i) {
        inotify[i] = inotify_init1(IN_CLOEXEC);
        if (inotify_add_watch(inotify[i], folder[i], IN_DELETE) < 0) fail(folder[i]);
    }
    for (int round = 0; round < count; ++round) {
        for (int i = 0; i < folders; ++i) {
            char name[32], path[4096];
            snprintf(name, sizeof name, "._%d", round);
            snprintf(path, sizeof path, "%s/%s", folder[i], name);
            usleep((useconds_t)pause * 1000);
            const double begun = now();
            make_file(path);
            wait_until_deleted(inotify[i], name);
            stays[i * count + round] = now() - begun;
        }
    }
    for (int i = 0; i < folders; ++i) {
        for (int round = 0; round < count; ++round)
            printf("%.1f ", stays[i * count + round] * 1e6);
        puts("");
    }
    return 0;
}

static unsigned long free_files(const char* folder) {
    struct statvfs facts;
    if (statvfs(folder, &facts) != 0) fail(folder);
    return facts.f_ffree;
}

static int storm(const char* folder, int files, int writers, int stays_behind) {
    char path[4096];
    const int each = files / writers;
    for (int writer = 0; writer < writers; ++writer) {
        for (int box = 0; box * files_per_folder < each; ++box) {
            snprintf(path, sizeof path, "%s/%d-%d", folder, writer, box);
            if (mkdir(path, 0755) != 0 && access(path, F_OK) != 0) fail(path);
        }
    }
    usleep(500000);  // whoever watches the folders has seen them
    const unsigned long before = free_files(folder);
    const double begun = now();
    for (int writer = 0; writer < writers; ++writer) {
        if (fork() != 0) continue;
        for (int i = 0; i < each; ++i) {
            snprintf(path, sizeof path, "%s/%d-%d/._%d", folder, writer, i / files_per_folder, i);
            make_file(path);
        }
        _exit(0);
    }
    for (int status = 0; wait(&status) > 0;) {
        if (status != 0) return 1;
    }
    const double written = now();
    double moved = written;
    for (unsigned long free = free_files(folder), last = 0; !stays_behind && free < before; free = free_files(folder)) {
        if (free != last) moved = now();
        if (now() - moved > longest_standstill) break;
        last = free;
        usleep(1000);
    }
    const unsigned long free = free_files(folder);
    printf("%.6f %.6f %lu\n", written - begun, now() - written, free < before ? before - free : 0);
    return 0;
}

int main(int count, char** words) {
    if (count >= 5 && strcmp(words[1], "latency") == 0) {
        return latency(atoi(words[2]), atoi(words[3]), count - 4, words + 4);
    }
    if (count == 5 && (strcmp(words[1], "storm") == 0 || strcmp(words[1], "make") == 0)) {
        return storm(words[2], atoi(words[3]), atoi(words[4]), strcmp(words[1], "make") == 0);
    }
    fputs("usage: litter latency COUNT PAUSE FOLDER... | storm FOLDER FILES WRITERS | make FOLDER FILES WRITERS\n",
          stderr);
    return 2;
}
