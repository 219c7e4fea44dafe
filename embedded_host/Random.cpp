#include "embedded_host/Random.h"

#include <boost/random/uniform_int_distribution.hpp>

namespace embedded_host
{
Random::Random(std::uint64_t seed, Draw draw) : m_engine(seed), m_draw(draw) {}

int Random::Between(int min, int max)
{
    if (m_draw == Draw::High)
        return max;
    if (m_draw == Draw::Low || min >= max)
        return min;
    return boost::random::uniform_int_distribution<int>(min, max)(m_engine);
}
} // namespace embedded_host
