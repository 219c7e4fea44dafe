#include "lighting_host/switchboard/ChildRun.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace lighting_host
{
namespace
{
constexpr int ASK_MS = 100;
constexpr std::size_t MOST_TOLD = 16384;
constexpr int FAILED = 1;
// The last of a whole answer: a driver that calls _exit(0) must not be taken for one that is done.
constexpr char DONE = '\0';

void Write(int descriptor, const char* text, std::size_t size)
{
    const ssize_t written = write(descriptor, text, size);
    static_cast<void>(written);
}

[[noreturn]] void WorkIn(int answer, int told, pid_t parent, const std::function<void(int)>& work)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have gone before that was said.
    if (getppid() != parent)
        _exit(FAILED);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, SIG_DFL);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(told, STDERR_FILENO);
    // What a library does at the end of a program may wait for threads, which a child has none of.
    on_exit([](int status, void*) { _exit(status); }, nullptr);
    try
    {
        work(answer);
        Write(answer, &DONE, 1);
        _exit(0);
    }
    catch (const std::exception& error)
    {
        const std::string what = std::string(error.what()) + "\n";
        Write(STDERR_FILENO, what.data(), what.size());
    }
    catch (...)
    {
        // Nothing is known of it.
    }
    _exit(FAILED);
}

// Adds what is there to read; false at its end.
bool ReadSome(int descriptor, std::string& text)
{
    std::array<char, 4096> some;
    const ssize_t got = read(descriptor, some.data(), some.size());
    if (got > 0)
        text.append(some.data(), static_cast<std::size_t>(got));
    return got > 0 || (got < 0 && errno == EINTR);
}

// Reads both until both have ended, or the child is to go on no more.
void ReadBoth(std::array<pollfd, 2>& ends, ChildEnd& child, pid_t pid,
              const std::function<bool()>& goesOn)
{
    std::array<std::string*, 2> texts = {&child.answer, &child.told};
    while (ends[0].fd >= 0 || ends[1].fd >= 0)
    {
        if (!goesOn())
            kill(pid, SIGKILL);
        if (poll(ends.data(), ends.size(), ASK_MS) < 1)
            continue;
        for (std::size_t i = 0; i < ends.size(); ++i)
        {
            if (ends[i].fd < 0 || ends[i].revents == 0 || ReadSome(ends[i].fd, *texts[i]))
                continue;
            close(ends[i].fd);
            ends[i].fd = -1;
        }
        if (child.told.size() > 2 * MOST_TOLD)
            child.told.erase(0, child.told.size() - MOST_TOLD);
    }
}
} // namespace

ChildEnd RunInChild(const std::function<void(int answer)>& work,
                    const std::function<bool()>& goesOn)
{
    int answer[2];
    int told[2];
    if (pipe2(answer, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "no pipe for a child process");
    if (pipe2(told, O_CLOEXEC) != 0)
    {
        const int error = errno;
        close(answer[0]);
        close(answer[1]);
        throw std::system_error(error, std::generic_category(), "no pipe for a child process");
    }
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0)
        WorkIn(answer[1], told[1], parent, work);
    const int error = errno;
    close(answer[1]);
    close(told[1]);
    if (pid < 0)
    {
        close(answer[0]);
        close(told[0]);
        throw std::system_error(error, std::generic_category(), "no child process");
    }
    ChildEnd child;
    std::array<pollfd, 2> ends = {{{answer[0], POLLIN, 0}, {told[0], POLLIN, 0}}};
    ReadBoth(ends, child, pid, goesOn);
    while (waitpid(pid, &child.status, 0) < 0 && errno == EINTR)
        ;
    if (!child.answer.empty() && child.answer.back() == DONE)
    {
        child.finished = true;
        child.answer.pop_back();
    }
    return child;
}
} // namespace lighting_host
