#pragma once

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// A real Mosquitto on a free port of this machine, for as long as this lives.
class LocalMosquitto
{
public:
    static constexpr const char* PROGRAM = "/usr/sbin/mosquitto";

    static bool IsInstalled() { return access(PROGRAM, X_OK) == 0; }

    LocalMosquitto() : m_port(FreePort())
    {
        std::string folder = (std::filesystem::temp_directory_path() / "brokerXXXXXX").string();
        if (mkdtemp(folder.data()))
            m_folder = folder;
        std::ofstream(m_folder + "/mosquitto.conf")
            << "listener " << m_port << " 127.0.0.1\nallow_anonymous true\nlog_type none\n";
        Start();
    }

    ~LocalMosquitto()
    {
        Kill();
        std::filesystem::remove_all(m_folder);
    }

    std::uint16_t Port() const { return m_port; }

    void Start()
    {
        const std::string config = m_folder + "/mosquitto.conf";
        m_process = fork();
        if (m_process == 0)
        {
            execl(PROGRAM, PROGRAM, "-c", config.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
    }

    void Kill()
    {
        if (m_process <= 0)
            return;
        kill(m_process, SIGKILL);
        while (waitpid(m_process, nullptr, 0) < 0 && errno == EINTR)
        {
        }
        m_process = 0;
    }

private:
    static std::uint16_t FreePort()
    {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        const bool isBound =
            bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
            getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
        close(fd);
        return isBound ? ntohs(address.sin_port) : 0;
    }

    std::uint16_t m_port;
    std::string m_folder;
    pid_t m_process = 0;
};
