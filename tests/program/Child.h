#pragma once

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace program_test
{
// The real program as a child process, with pipes to its standard input and output.
class Child
{
public:
    explicit Child(const std::vector<std::string>& arguments)
    {
        int in[2];
        int out[2];
        if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0)
        {
            ADD_FAILURE() << "no pipes";
            return;
        }
        m_pid = ::fork();
        if (m_pid == 0)
        {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            std::vector<char*> argv;
            for (const std::string& argument : arguments)
                argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        m_in = in[1];
        m_out = out[0];
        ::fcntl(m_in, F_SETFL, O_NONBLOCK);
        std::signal(SIGPIPE, SIG_IGN);
    }
    ~Child() { Kill(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Kills the child with a signal that it cannot catch, and waits until it is gone.
    void Kill()
    {
        if (m_pid > 0)
        {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        m_pid = -1;
        for (int* end : {&m_in, &m_out})
        {
            if (*end >= 0)
                ::close(*end);
            *end = -1;
        }
    }

    // Hands in as much of this input as the pipe takes, and takes what has come out; waits up to
    // `waitMs` for either. False when the child's output has ended. The input may go on to be
    // written in later calls.
    bool Exchange(const std::string& input, int waitMs)
    {
        pollfd ends[2] = {{m_out, POLLIN, 0}, {m_in, POLLOUT, 0}};
        const bool more = m_written < input.size();
        if (::poll(ends, more ? 2 : 1, waitMs) <= 0)
            return true;
        if (more && (ends[1].revents & POLLOUT) != 0)
        {
            const ssize_t n = ::write(m_in, input.data() + m_written, input.size() - m_written);
            m_written += n > 0 ? static_cast<std::size_t>(n) : 0;
        }
        if (ends[0].revents != 0)
        {
            char buffer[65536];
            const ssize_t n = ::read(m_out, buffer, sizeof buffer);
            if (n <= 0)
                return false;
            m_output.append(buffer, static_cast<std::size_t>(n));
        }
        return true;
    }

    // How much of the input was handed in, and everything that has come out.
    std::size_t Written() const { return m_written; }
    const std::string& Output() const { return m_output; }

private:
    pid_t m_pid = -1;
    int m_in = -1;
    int m_out = -1;
    std::size_t m_written = 0;
    std::string m_output;
};
} // namespace program_test
