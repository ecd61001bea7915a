#include "Resident.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* From the page tables: the figure in /proc/self/status lags behind. */
int64_t ResidentKiB(void)
{
    static char text[4096];
    const int file = open("/proc/self/smaps_rollup", O_RDONLY);
    const ssize_t length = file < 0 ? -1 : read(file, text, sizeof text - 1);
    if (length < 0) {
        perror("/proc/self/smaps_rollup");
        exit(1);
    }
    close(file);
    text[length] = '\0';
    const char *const line = strstr(text, "Rss:");
    return line == NULL ? 0 : strtol(line + strlen("Rss:"), NULL, 10);
}
