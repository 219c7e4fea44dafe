#pragma once

#include "embedded_host/Clock.h"
#include "embedded_host/HostServices.h"
#include "embedded_host/LibraryLog.h"
#include "embedded_host/Random.h"

#include <cstdint>

#include <log4cplus/loglevel.h>

namespace test_support
{
// The host on whose behalf a test without a house calls the library: a clock that stands at 0 ms
// while its wall can be stepped, and chance. What becomes of assertions and of the log, a derived
// class says. It is its thread's current host while it lives.
class StandingHost : public embedded_host::HostServices
{
public:
    explicit StandingHost(embedded_host::Draw draw = embedded_host::Draw::Low,
                          std::uint64_t seed = 1, std::int64_t startLocalSeconds = 0)
        : m_clock(startLocalSeconds), m_random(seed, draw), m_scope(*this)
    {
        embedded_host::ConnectLibraryLog(log4cplus::TRACE_LOG_LEVEL);
    }

    embedded_host::Clock& GetClock() override { return m_clock; }
    embedded_host::Random& GetRandom() override { return m_random; }

private:
    embedded_host::VirtualClock m_clock;
    embedded_host::Random m_random;
    embedded_host::HostScope m_scope;
};
} // namespace test_support
