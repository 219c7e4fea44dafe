#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace lighting_host
{
// Passes complaints on; of a flood only the first ones of each minute, and then how many more there
// were.
class SparseComplaints
{
public:
    static constexpr unsigned MOST_A_MINUTE = 20;

    using Sink = std::function<void(const std::string&)>;

    explicit SparseComplaints(Sink sink) : m_sink(std::move(sink)) {}

    // `nowNs`: the machine's monotonic clock.
    void Tell(const std::string& what, std::int64_t nowNs);

private:
    const Sink m_sink;
    // How many there were in the minute that began then.
    unsigned m_count = 0;
    std::int64_t m_beginNs = 0;
};
} // namespace lighting_host
