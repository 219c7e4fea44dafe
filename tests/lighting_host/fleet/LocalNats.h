#pragma once

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// A real NATS server with JetStream on a free port of this machine, for as long as this lives.
class LocalNats
{
public:
    static constexpr const char* PROGRAM = "/usr/sbin/nats-server";

    static bool IsInstalled() { return access(PROGRAM, X_OK) == 0; }

    LocalNats()
    {
        std::string folder = (std::filesystem::temp_directory_path() / "natsXXXXXX").string();
        if (mkdtemp(folder.data()))
            m_folder = folder;
        m_process = fork();
        if (m_process != 0)
            return;
        // The server picks the port and writes it to a file in the folder.
        execl(PROGRAM, PROGRAM, "-a", "127.0.0.1", "-p", "-1", "-js", "-sd", m_folder.c_str(),
              "--ports_file_dir", m_folder.c_str(), "-l", (m_folder + "/log").c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }

    ~LocalNats()
    {
        if (m_process > 0)
            Kill();
        std::filesystem::remove_all(m_folder);
    }
    LocalNats(const LocalNats&) = delete;
    LocalNats& operator=(const LocalNats&) = delete;

    // Empty while the server is starting.
    std::string Url() const
    {
        for (const auto& file : std::filesystem::directory_iterator(m_folder))
        {
            if (file.path().extension() != ".ports")
                continue;
            std::ifstream in(file.path());
            const std::string text((std::istreambuf_iterator<char>(in)), {});
            const std::size_t begin = text.find("nats://");
            const std::size_t end = text.find('"', begin);
            if (begin != std::string::npos && end != std::string::npos)
                return text.substr(begin, end - begin);
        }
        return "";
    }

private:
    void Kill() const
    {
        kill(m_process, SIGKILL);
        while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR)
        {
        }
    }

    std::string m_folder;
    pid_t m_process = 0;
};
