/*
 * What the tests change of the C library for the agent that preloads this.
 *
 * CLOCK_MONOTONIC: an offset is added, a signed 64-bit little-endian count of nanoseconds in the file named
 * by ZAN_MONOTONIC_OFFSET, mapped, so that a test moves the clock by writing the file.
 *
 * syslog: each message is appended to the file named by ZAN_SYSTEM_LOG, as its priority, its length in bytes,
 * a line feed, and the text as it is. Without such a name it goes where it always does.
 */
#define _GNU_SOURCE
/* First: by it musl's dlsym, on 32 bits, knows which of its two clock_gettime is meant. */
#include <time.h>

#include <dlfcn.h>
#include <endian.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <syslog.h>
#include <unistd.h>

/* musl has no other on a processor of 32 bits, as its time_t has 64. */
#ifndef SYS_clock_gettime
#define SYS_clock_gettime SYS_clock_gettime64
#endif

static const volatile int64_t* offset;
static int (*next_clock_gettime)(clockid_t, struct timespec*);

__attribute__((constructor)) static void map_offset(void)
{
    const char* path = getenv("ZAN_MONOTONIC_OFFSET");
    int file;
    void* mapped;

    next_clock_gettime = (int (*)(clockid_t, struct timespec*))dlsym(RTLD_NEXT, "clock_gettime");
    if (path == NULL)
        return;
    file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return;
    mapped = mmap(NULL, sizeof(*offset), PROT_READ, MAP_SHARED, file, 0);
    close(file);
    if (mapped != MAP_FAILED)
        offset = mapped;
}

int clock_gettime(clockid_t clock, struct timespec* now)
{
    /* A caller may come before the constructor has run. */
    int result = next_clock_gettime != NULL ? next_clock_gettime(clock, now)
                                            : (int)syscall(SYS_clock_gettime, clock, now);

    if (result == 0 && clock == CLOCK_MONOTONIC && offset != NULL) {
        int64_t nanoseconds = now->tv_nsec + (int64_t)le64toh((uint64_t)*offset);

        now->tv_sec += (time_t)(nanoseconds / 1000000000);
        now->tv_nsec = (long)(nanoseconds % 1000000000);
    }
    return result;
}

static void record(const char* path, int priority, const char* format, va_list arguments)
{
    /* Opened once: later the process may have no descriptor left. Not by the library's calls, which other
     * preloaded ones make fail. */
    static int file = -1;
    char head[32];
    char* text = NULL;
    int length = vasprintf(&text, format, arguments);
    struct iovec parts[2];

    if (file < 0)
        file = (int)syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (length < 0 || file < 0)
        abort();
    parts[0].iov_base = head;
    parts[0].iov_len = (size_t)snprintf(head, sizeof(head), "%d %d\n", LOG_PRI(priority), length);
    parts[1].iov_base = text;
    parts[1].iov_len = (size_t)length;
    if (syscall(SYS_writev, file, parts, 2) < 0)
        abort();
    free(text);
}

static void log_message(int priority, const char* format, va_list arguments)
{
    const char* path = getenv("ZAN_SYSTEM_LOG");

    if (path != NULL && path[0] != '\0')
        record(path, priority, format, arguments);
    else
        vsyslog(priority, format, arguments);
}

void syslog(int priority, const char* format, ...)
{
    va_list arguments;

    va_start(arguments, format);
    log_message(priority, format, arguments);
    va_end(arguments);
}

/* What glibc makes of it in programs that are compiled with _FORTIFY_SOURCE. */
void __syslog_chk(int priority, int flag, const char* format, ...);

void __syslog_chk(int priority, int flag, const char* format, ...)
{
    va_list arguments;

    (void)flag;
    va_start(arguments, format);
    log_message(priority, format, arguments);
    va_end(arguments);
}
