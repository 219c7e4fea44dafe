// The host's free functions and plain values: what the library calls without an object of the host.

#include "embedded_host/Clock.h"
#include "embedded_host/HostServices.h"
#include "embedded_host/LocalTime.h"
#include "embedded_host/Random.h"
#include "nxshared/Assert.h"
#include "nxshared/Crypto.h"
#include "nxshared/NxColor.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/NxTime.h"
#include "nxshared/StackTrace.h"

#include <cstdio>
#include <dlfcn.h>
#include <memory>

#include <boost/core/demangle.hpp>
#include <boost/stacktrace/stacktrace.hpp>
#include <fmt/format.h>
#include <sodium.h>

namespace embedded_host
{
thread_local HostServices* HostScope::s_current = nullptr;
thread_local std::uint64_t EffectChain::s_number = 0;
thread_local unsigned EffectChain::s_depth = 0;

namespace
{
constexpr std::size_t MAX_FRAMES = 32;
constexpr std::size_t USUAL_PARAMS = 5;

std::int64_t SecondOfDay(std::int64_t seconds)
{
    const std::int64_t second = seconds % SECONDS_PER_DAY;
    return second < 0 ? second + SECONDS_PER_DAY : second;
}
} // namespace
} // namespace embedded_host

using embedded_host::HostScope;

NxMIBPacket::NxMIBPacket(NxMIB::Type type, std::string mib) : m_type(type), m_mib(std::move(mib)) {}

void NxMIBPacket::AddParam(std::string text)
{
    // Room for what most packets carry, at once.
    if (m_params.empty())
        m_params.reserve(embedded_host::USUAL_PARAMS);
    m_params.push_back(std::move(text));
}

std::string NxMIBPacket::ProperToString() const
{
    std::string text = m_mib;
    for (const std::string& param : m_params)
    {
        text += ' ';
        text += param;
    }
    return text;
}

NxTime NxTime::GetCurrentTime()
{
    if (auto* services = HostScope::Current())
        return FromLocalSeconds(services->GetClock().LocalSeconds());
    return FromLocalSeconds(embedded_host::RealClock().LocalSeconds());
}

NxTime NxTime::FromLocalSeconds(std::int64_t seconds)
{
    NxTime time;
    time.m_localSeconds = seconds;
    return time;
}

int NxTime::GetDay() const
{
    return static_cast<int>(embedded_host::DayNumber(m_localSeconds));
}

int NxTime::GetHour() const
{
    return static_cast<int>(embedded_host::SecondOfDay(m_localSeconds) / 3600);
}

int NxTime::GetMinute() const
{
    return static_cast<int>(embedded_host::SecondOfDay(m_localSeconds) / 60 % 60);
}

int NxTime::GetSecond() const
{
    return static_cast<int>(embedded_host::SecondOfDay(m_localSeconds) % 60);
}

NxColor::NxColor(int mode) : m_mode(mode) {}

void NxColor::SetXY(double x, double y)
{
    m_x = x;
    m_y = y;
}

namespace nx
{
namespace crypto
{
std::string base64Encode(const void* data, std::size_t length)
{
    constexpr int VARIANT = sodium_base64_VARIANT_ORIGINAL;
    std::string text(sodium_base64_encoded_len(length, VARIANT), '\0');
    sodium_bin2base64(&text[0], text.size(), static_cast<const unsigned char*>(data), length,
                      VARIANT);
    text.pop_back();
    return text;
}

bool base64Decode(const std::string& text, std::vector<std::uint8_t>& bytes)
{
    // Four digits hold three octets.
    std::vector<std::uint8_t> decoded(text.size() / 4 * 3 + 3);
    std::size_t length = 0;
    if (sodium_base642bin(decoded.data(), decoded.size(), text.data(), text.size(), nullptr,
                          &length, nullptr, sodium_base64_VARIANT_ORIGINAL) != 0)
        return false;
    decoded.resize(length);
    bytes = std::move(decoded);
    return true;
}

int random(int min, int max)
{
    if (auto* services = HostScope::Current())
        return services->GetRandom().Between(min, max);
    static embedded_host::Random unseeded(1, embedded_host::Draw::Random);
    return unseeded.Between(min, max);
}
} // namespace crypto

StackTrace::StackTrace()
{
    for (const auto& frame : boost::stacktrace::stacktrace(1, embedded_host::MAX_FRAMES))
        m_frames.push_back(reinterpret_cast<const void*>(frame.address()));
}

std::string StackTrace::Frame(std::size_t index) const
{
    Dl_info info{};
    const void* frame = m_frames[index];
    if (dladdr(frame, &info) == 0 || !info.dli_fname)
        return "unknown";
    if (info.dli_sname)
        return boost::core::demangle(info.dli_sname);
    const std::string path = info.dli_fname;
    const auto offset = static_cast<const char*>(frame) - static_cast<const char*>(info.dli_fbase);
    return fmt::format("{}+{:#x}", path.substr(path.rfind('/') + 1), offset);
}

void AssertWrite(const char* file, int line, const StackTrace& trace)
{
    if (auto* services = HostScope::Current())
    {
        services->OnAssert(file, line);
        return;
    }
    std::fprintf(stderr, "assertion failed: %s:%d\n", file, line);
    for (std::size_t i = 0; i < trace.Size(); ++i)
        std::fprintf(stderr, "  %zu# %s\n", i, trace.Frame(i).c_str());
}
} // namespace nx
