#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

// ZCL frames in a capture file, wrapped as a radio would carry them, and what tshark, a decoder
// that has nothing to do with ours, reads in them.
class ZigbeeCapture
{
public:
    ZigbeeCapture() : m_path(std::string("/tmp/zcl-") + std::to_string(::getpid()) + ".pcap") {}
    ~ZigbeeCapture() { std::remove(m_path.c_str()); }
    ZigbeeCapture(const ZigbeeCapture&) = delete;
    ZigbeeCapture& operator=(const ZigbeeCapture&) = delete;

    static bool HaveTshark() { return std::system("tshark --version >/dev/null 2>&1") == 0; }

    // Appends a frame of that cluster.
    void Add(std::uint16_t cluster, const std::vector<std::uint8_t>& zcl)
    {
        std::vector<std::uint8_t> packet;
        const auto u8 = [&](unsigned value)
        {
            packet.push_back(static_cast<std::uint8_t>(value));
        };
        const auto u16 = [&](unsigned value)
        {
            u8(value & 0xFF);
            u8(value >> 8);
        };
        // IEEE 802.15.4: data, PAN id compression, short addresses.
        u16(0x8841);
        u8(static_cast<unsigned>(m_packets.size()));
        u16(0x1A62);
        u16(0x4321);
        u16(0x0000);
        // Network layer: data, protocol version 2.
        u16(0x0008);
        u16(0x4321);
        u16(0x0000);
        u8(30);
        u8(static_cast<unsigned>(m_packets.size()));
        // Application support: unicast data of the home automation profile.
        u8(0x00);
        u8(1);
        u16(cluster);
        u16(0x0104);
        u8(1);
        u8(static_cast<unsigned>(m_packets.size()));
        packet.insert(packet.end(), zcl.begin(), zcl.end());
        m_packets.push_back(packet);
    }

    // One line for each frame: the fields as tshark prints them, numbers as it likes, several
    // values of one field with commas between, a blank between fields, "-" for a field that is not
    // there.
    std::vector<std::string> Dissect(const std::vector<std::string>& fields) const
    {
        Write();
        std::string command = "tshark -r " + m_path + " -T fields -E separator=/t -E occurrence=a";
        for (const std::string& field : fields)
            command += " -e " + field;
        command += " 2>/dev/null";
        std::vector<std::string> lines;
        FILE* const pipe = ::popen(command.c_str(), "r");
        if (!pipe)
            return lines;
        std::string text;
        char buffer[4096];
        for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            text.append(buffer, got);
        ::pclose(pipe);
        std::istringstream all(text);
        for (std::string line; std::getline(all, line);)
            lines.push_back(WithDashes(line));
        return lines;
    }

private:
    static std::string WithDashes(const std::string& line)
    {
        std::string text;
        std::string field;
        for (const char c : line + '\t')
        {
            if (c != '\t')
            {
                field += c;
                continue;
            }
            text += (text.empty() ? "" : " ") + (field.empty() ? std::string("-") : field);
            field.clear();
        }
        return text;
    }

    void Write() const
    {
        std::ofstream file(m_path, std::ios::binary);
        const auto u32 = [&](std::uint32_t value)
        {
            for (int shift = 0; shift < 32; shift += 8)
                file.put(static_cast<char>((value >> shift) & 0xFF));
        };
        // The capture's header: format 2.4, link type IEEE 802.15.4 without checksum.
        u32(0xA1B2C3D4);
        u32(0x00040002);
        u32(0);
        u32(0);
        u32(65535);
        u32(230);
        for (const std::vector<std::uint8_t>& packet : m_packets)
        {
            u32(0);
            u32(0);
            u32(static_cast<std::uint32_t>(packet.size()));
            u32(static_cast<std::uint32_t>(packet.size()));
            file.write(reinterpret_cast<const char*>(packet.data()),
                       static_cast<std::streamsize>(packet.size()));
        }
    }

    std::string m_path;
    std::vector<std::vector<std::uint8_t>> m_packets;
};
