/*
 * Adds an offset to CLOCK_MONOTONIC for the process that preloads this library. The offset is a signed 64-bit
 * little-endian count of nanoseconds in the file named by ZAN_MONOTONIC_OFFSET, mapped, so that a test moves the
 * clock by writing the file.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <endian.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

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
