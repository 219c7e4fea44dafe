#include "lighting_host/switchboard/OutputDigest.h"

#include <new>
#include <xxhash.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
void AppendSum(std::string& out, const std::string& text)
{
    auto sum = static_cast<std::uint32_t>(XXH3_64bits(text.data(), text.size()));
    char digits[OutputDigest::SUM_DIGITS];
    for (std::size_t place = OutputDigest::SUM_DIGITS; place > 0; sum >>= 4)
        digits[--place] = "0123456789abcdef"[sum & 0xf];
    out.append(digits, OutputDigest::SUM_DIGITS);
}
} // namespace

struct OutputDigest::State
{
    XXH3_state_t* xxh = XXH3_createState();
    ~State() { XXH3_freeState(xxh); }
};

OutputDigest::OutputDigest() : m_state(std::make_unique<State>())
{
    if (!m_state->xxh)
        throw std::bad_alloc();
    XXH3_128bits_reset(m_state->xxh);
}

OutputDigest::~OutputDigest() = default;

OutputDigest::OutputDigest(const OutputDigest& other) : OutputDigest()
{
    *this = other;
}

OutputDigest& OutputDigest::operator=(const OutputDigest& other)
{
    XXH3_copyState(m_state->xxh, other.m_state->xxh);
    m_count = other.m_count;
    m_sums = other.m_sums;
    return *this;
}

void OutputDigest::Add(const std::string& text)
{
    // The line end keeps two outputs apart from one that is both.
    XXH3_128bits_update(m_state->xxh, text.data(), text.size());
    XXH3_128bits_update(m_state->xxh, "\n", 1);
    ++m_count;
    AppendSum(m_sums, text);
}

std::string OutputDigest::SumOf(const std::string& text)
{
    std::string sum;
    AppendSum(sum, text);
    return sum;
}

std::string OutputDigest::Hex() const
{
    const XXH128_hash_t hash = XXH3_128bits_digest(m_state->xxh);
    return fmt::format("{:016x}{:016x}", hash.high64, hash.low64);
}
} // namespace lighting_host
