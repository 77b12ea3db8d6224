/// Stand-in for the platform's logging service: whole lines on standard error.
#include "dlog.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

/* 0 until first used, so that logging needs no initialiser of its own. */
static int s_threshold;

static int ThresholdFromEnvironment(void) {
    const char* letter = getenv("CRI_DLOG_THRESHOLD");
    switch (letter ? letter[0] : 'E') {
        case 'D':
            return DLOG_DEBUG;
        case 'I':
            return DLOG_INFO;
        case 'W':
            return DLOG_WARN;
        case 'S':
            return DLOG_SILENT;
        default:
            return DLOG_ERROR;
    }
}

static int Threshold(void) {
    int threshold = __atomic_load_n(&s_threshold, __ATOMIC_RELAXED);
    if (threshold == 0) {
        threshold = ThresholdFromEnvironment();
        __atomic_store_n(&s_threshold, threshold, __ATOMIC_RELAXED);
    }
    return threshold;
}

/* What standard error was at load; without a mode when it was closed. */
static struct stat s_standardError;
static int s_remembered;

__attribute__((constructor)) static void RememberStandardError(void) {
    if (__atomic_exchange_n(&s_remembered, 1, __ATOMIC_ACQ_REL)) return;
    if (fstat(STDERR_FILENO, &s_standardError) != 0) s_standardError.st_mode = 0;
}

/* A program that was started without it opens something of its own under its number. */
static int IsStandardError(void) {
    RememberStandardError(); /* for who logs before the constructors have run */
    struct stat now;
    return s_standardError.st_mode != 0 && fstat(STDERR_FILENO, &now) == 0 &&
           now.st_dev == s_standardError.st_dev && now.st_ino == s_standardError.st_ino;
}

static char Letter(int priority) {
    static const char letters[] = "???DIWE";
    return priority >= DLOG_DEBUG && priority <= DLOG_ERROR ? letters[priority] : '?';
}

/* One write per line, so that lines of several threads never mix. */
static int WriteLine(int priority, const char* tag, const char* format, va_list arguments) {
    if (!IsStandardError()) return 0;
    char line[4096];
    const int head = snprintf(line, sizeof line - 1, "%c/%s: ", Letter(priority), tag ? tag : "");
    if (head < 0) return -1;
    size_t length = (size_t)head < sizeof line - 1 ? (size_t)head : sizeof line - 2;
    const int body = vsnprintf(line + length, sizeof line - 1 - length, format, arguments);
    if (body < 0) return -1;
    length = strlen(line);
    while (length > 0 && line[length - 1] == '\n') --length;
    line[length++] = '\n';
    const ssize_t written = write(STDERR_FILENO, line, length);
    return written < 0 ? -1 : (int)written;
}

__attribute__((visibility("default"))) void dlog_set_threshold(int priority) {
    __atomic_store_n(&s_threshold, priority, __ATOMIC_RELAXED);
}

__attribute__((visibility("default"))) int dlog_print(log_priority priority, const char* tag,
                                                      const char* format, ...) {
    if ((int)priority < Threshold()) return 0;
    va_list arguments;
    va_start(arguments, format);
    const int written = WriteLine((int)priority, tag, format, arguments);
    va_end(arguments);
    return written;
}

__attribute__((visibility("default"))) int __dlog_print(log_id_t buffer, int priority,
                                                        const char* tag, const char* format, ...) {
    (void)buffer;
    if (priority < Threshold()) return 0;
    va_list arguments;
    va_start(arguments, format);
    const int written = WriteLine(priority, tag, format, arguments);
    va_end(arguments);
    return written;
}
