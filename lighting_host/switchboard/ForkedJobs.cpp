#include "lighting_host/switchboard/ForkedJobs.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace lighting_host
{
namespace
{
[[noreturn]] void AnswerIn(int pipe, pid_t parent, const std::function<bool()>& question)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have gone before that was said.
    if (getppid() != parent)
        _exit(1);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, SIG_DFL);
    // What the parent has not written yet is not written here.
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, descriptor);
    try
    {
        const char answer = question() ? 1 : 0;
        const ssize_t written = write(pipe, &answer, 1);
        _exit(written == 1 ? 0 : 1);
    }
    catch (...)
    {
        _exit(1);
    }
}

pid_t Reap(pid_t pid)
{
    pid_t reaped;
    do
        reaped = waitpid(pid, nullptr, 0);
    while (reaped < 0 && errno == EINTR);
    return reaped;
}
} // namespace

ForkedJobs::~ForkedJobs()
{
    KillAll();
}

unsigned ForkedJobs::Cores()
{
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) != 0)
        return 1;
    return std::max(1u, static_cast<unsigned>(CPU_COUNT(&set)));
}

void ForkedJobs::Start(std::size_t id, const std::function<bool()>& question)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "no pipe for a child process");
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid == 0)
        AnswerIn(ends[1], parent, question);
    const int error = errno;
    close(ends[1]);
    if (pid < 0)
    {
        close(ends[0]);
        throw std::system_error(error, std::generic_category(), "no child process");
    }
    m_children.push_back({pid, ends[0], id});
}

std::optional<ForkedJobs::Done> ForkedJobs::Wait()
{
    if (m_children.empty())
        return std::nullopt;
    std::vector<pollfd> ends;
    for (const Child& child : m_children)
        ends.push_back({child.pipe, POLLIN, 0});
    while (poll(ends.data(), ends.size(), -1) < 0 && errno == EINTR)
        ;
    const auto ready =
        std::find_if(ends.begin(), ends.end(), [](const pollfd& end) { return end.revents != 0; });
    const auto child = m_children.begin() + (ready - ends.begin());
    char answer = 0;
    const ssize_t got = read(child->pipe, &answer, 1);
    Done done = {child->id, Answer::None};
    if (got == 1)
        done.answer = answer == 1 ? Answer::Yes : Answer::No;
    close(child->pipe);
    Reap(child->pid);
    m_children.erase(child);
    return done;
}

void ForkedJobs::KillAll()
{
    for (const Child& child : m_children)
    {
        kill(child.pid, SIGKILL);
        close(child.pipe);
        Reap(child.pid);
    }
    m_children.clear();
}
} // namespace lighting_host
