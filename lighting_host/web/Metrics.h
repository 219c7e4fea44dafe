#pragma once

#include "lighting_host/switchboard/HouseView.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace lighting_host
{
// The figures of a live house in the text format of Prometheus. Names and units follow the
// conventions of that format: `lighting_` first, base units, `_total` for what only grows.
class Metrics
{
public:
    // What is told at the moment of asking.
    struct Moment
    {
        double houseSeconds = 0;
        double lagSeconds = 0;
        double worstLatenessSeconds = 0;
        double speed = 0;
        bool paused = false;
        std::size_t timers = 0;
        std::uint64_t firedTimers = 0;
        std::size_t visitors = 0;
        std::uint64_t droppedVisitors = 0;
        std::uint64_t requests = 0;
        std::uint64_t refusedRequests = 0;
        std::uint64_t inputs = 0;
        unsigned branch = 0;
    };

    explicit Metrics(const std::string& program);
    ~Metrics();
    Metrics(const Metrics&) = delete;
    Metrics& operator=(const Metrics&) = delete;

    // Counts one line that the house put out, by its kind.
    void CountOutput(const char* kind);

    // All of it as text.
    std::string Text(const Moment& moment, const std::map<std::string, DriverFigures>& drivers);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};
} // namespace lighting_host
