// SPDX-License-Identifier: MIT
//
// The least that a scan can do: list every folder through a large buffer, ask for the facts of folders and of names
// that the rules claim, compare bytes. No plan, no safety, no Unicode: the yardstick for what those cost.
//   bare_scan ROOT      prints how many entries it claims
#define _GNU_SOURCE
#include <ctype.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

struct record {
    uint64_t inode;
    int64_t offset;
    uint16_t length;
    uint8_t kind;
    char name[];
};

enum target { file = 1, folder = 2, any = 3 };

static const struct {
    const char* name;
    enum target target;
} rules[] = {
    {".DS_Store", any},
    {".apdisk", file},
    {".VolumeIcon.icns", file},
    {"Thumbs.db", file},
    {"desktop.ini", file},
    {".AppleDouble", folder},
    {"__MACOSX", folder},
    {".fseventsd", folder},
    {".Spotlight-V100", folder},
    {".TemporaryItems", folder},
    {".Trashes", folder},
    {"$Recycle.bin", folder},
    {"System Volume Information", folder},
};

static const char* const kept[] = {"ttf", "otf", "ttc", "dfont", "eps", "ps", "ai", "indd", "qxd"};

static int is_kept(const char* name) {
    const char* dot = strrchr(name, '.');
    if (dot == name || dot[1] == 0) return 0;
    for (size_t i = 0; i < sizeof kept / sizeof *kept; ++i) {
        if (strcasecmp(dot + 1, kept[i]) == 0) return 1;
    }
    return 0;
}

// 0: no, 1: claimed
static int claims(const char* name, int is_folder) {
    const char first = name[0];
    if (first == '.' && name[1] == '_' && !is_folder) return !is_kept(name);
    if (first != '.' && first != '_' && first != '$' && first != 'T' && first != 't' && first != 'd' && first != 'D' &&
        first != 'S' && first != 's') {
        return 0;
    }
    for (size_t i = 0; i < sizeof rules / sizeof *rules; ++i) {
        if ((first | 0x20) != (rules[i].name[0] | 0x20)) continue;
        if ((rules[i].target & (is_folder ? folder : file)) && strcasecmp(name, rules[i].name) == 0) return 1;
    }
    return 0;
}

struct level {
    int descriptor;
    char** names;
    size_t count, next;
};

static char buffer[256 * 1024];
static long claimed;
static long long bytes;
static dev_t device;

static void list(int descriptor, struct level* level) {
    level->descriptor = descriptor;
    level->names = NULL;
    level->count = level->next = 0;
    size_t room = 0;
    for (;;) {
        const long got = syscall(SYS_getdents64, descriptor, buffer, sizeof buffer);
        if (got <= 0) return;
        for (long at = 0; at < got;) {
            const struct record* entry = (const struct record*)(buffer + at);
            at += entry->length;
            const char* name = entry->name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
            const int is_folder = entry->kind == DT_DIR;
            const int is_claimed = claims(name, is_folder);
            if (!is_folder && !is_claimed) continue;
            struct stat facts;
            if (fstatat(descriptor, name, &facts, AT_SYMLINK_NOFOLLOW) != 0) continue;
            if (is_folder && facts.st_dev != device) continue;
            if (is_claimed) {
                ++claimed;
                if (!is_folder) bytes += facts.st_size;
                continue;
            }
            if (level->count == room) {
                room = room ? 2 * room : 16;
                level->names = realloc(level->names, room * sizeof(char*));
            }
            level->names[level->count++] = strdup(name);
        }
    }
}

int main(int count, char** words) {
    if (count != 2) return 2;
    const int root = open(words[1], O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat facts;
    if (root < 0 || fstat(root, &facts) != 0) return 1;
    device = facts.st_dev;
    size_t depth = 0, room = 64;
    struct level* levels = malloc(room * sizeof *levels);
    list(root, &levels[depth++]);
    while (depth > 0) {
        struct level* top = &levels[depth - 1];
        if (top->next == top->count) {
            close(top->descriptor);
            free(top->names);
            --depth;
            continue;
        }
        char* name = top->names[top->next++];
        const int child = openat(top->descriptor, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        free(name);
        if (child < 0) continue;
        if (depth == room) levels = realloc(levels, (room *= 2) * sizeof *levels);
        list(child, &levels[depth++]);
    }
    printf("%ld claimed, %lld bytes\n", claimed, bytes);
    return 0;
}
