// A wall clock that a test moves while a program runs: every look at it adds the seconds that stand
// in the file that MOVED_CLOCK names. Preloaded; the monotonic clock stays what it is.
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static long Shift(void)
{
    char text[32] = "";
    const char* const path = getenv("MOVED_CLOCK");
    const int file = path ? open(path, O_RDONLY) : -1;
    if (file < 0)
        return 0;
    const ssize_t length = read(file, text, sizeof(text) - 1);
    close(file);
    return length > 0 ? atol(text) : 0;
}

int clock_gettime(clockid_t id, struct timespec* now)
{
    const int result = (int)syscall(SYS_clock_gettime, id, now);
    if (result == 0 && (id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE))
        now->tv_sec += Shift();
    return result;
}

int gettimeofday(struct timeval* now, void* zone)
{
    struct timespec time;
    (void)zone;
    const int result = clock_gettime(CLOCK_REALTIME, &time);
    now->tv_sec = time.tv_sec;
    now->tv_usec = time.tv_nsec / 1000;
    return result;
}

time_t time(time_t* now)
{
    struct timespec time;
    clock_gettime(CLOCK_REALTIME, &time);
    if (now)
        *now = time.tv_sec;
    return time.tv_sec;
}
