#pragma once

#include <cstdint>

#include <boost/random/mersenne_twister.hpp>

namespace embedded_host
{
// What a draw from a range gives.
enum class Draw
{
    Random,
    Low,
    High,
};

// The house's random numbers: the same seed gives the same draws in the same order.
class Random
{
public:
    Random(std::uint64_t seed, Draw draw);

    // Draw::Random returns a uniformly distributed integer from `min` to `max`, both included, or
    // `min` when min > max. Draw::Low returns `min`, Draw::High returns `max`.
    int Between(int min, int max);

private:
    boost::random::mt19937_64 m_engine;
    Draw m_draw;
};
} // namespace embedded_host
