#include "lighting_host/switchboard/OutputDigest.h"

#include <array>
#include <cstring>
#include <endian.h>
#include <new>
#include <xxhash.h>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// Two digits for each octet.
constexpr std::array<char, 512> PAIRS = []
{
    std::array<char, 512> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = "0123456789abcdef"[(i % 2 == 0 ? i / 32 : i / 2) % 16];
    return pairs;
}();

// Writes the sum of an output with that hash to `out`.
void WriteSum(char* out, std::uint64_t hash)
{
    const auto pair = [out, hash](std::size_t at, int shift)
    {
        std::memcpy(out + at, &PAIRS[(hash >> shift & 0xff) * 2], 2);
    };
    pair(0, 24);
    pair(2, 16);
    pair(4, 8);
    pair(6, 0);
}
} // namespace

struct OutputDigest::State
{
    XXH3_state_t* xxh = XXH3_createState();
    // How many of the hashes since the last cut are in it.
    std::size_t hashes = 0;
    ~State() { XXH3_freeState(xxh); }
};

OutputDigest::OutputDigest(Form form) : m_form(form), m_state(std::make_unique<State>())
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
    m_form = other.m_form;
    XXH3_copyState(m_state->xxh, other.m_state->xxh);
    m_state->hashes = other.m_state->hashes;
    m_count = other.m_count;
    m_hashes = other.m_hashes;
    return *this;
}

void OutputDigest::Add(const std::string& text)
{
    if (m_form == Form::Text)
    {
        // The line end keeps two outputs apart from one that is both.
        XXH3_128bits_update(m_state->xxh, text.data(), text.size());
        XXH3_128bits_update(m_state->xxh, "\n", 1);
    }
    ++m_count;
    m_hashes.push_back(XXH3_64bits(text.data(), text.size()));
}

std::string OutputDigest::SumOf(const std::string& text)
{
    std::string sum(SUM_DIGITS, '0');
    WriteSum(sum.data(), XXH3_64bits(text.data(), text.size()));
    return sum;
}

std::string OutputDigest::Sums() const
{
    std::string sums(m_hashes.size() * SUM_DIGITS, '0');
    char* out = sums.data();
    for (const std::uint64_t hash : m_hashes)
    {
        WriteSum(out, hash);
        out += SUM_DIGITS;
    }
    return sums;
}

void OutputDigest::Cut()
{
    DigestHashes();
    m_hashes.clear();
    m_state->hashes = 0;
}

// Many at once, since each call costs more than what it does with one.
void OutputDigest::DigestHashes() const
{
    if (m_form == Form::Text)
        return;
    // The same octets on every machine.
    std::vector<std::uint64_t> octets(
        m_hashes.begin() + static_cast<std::ptrdiff_t>(m_state->hashes), m_hashes.end());
    for (std::uint64_t& hash : octets)
        hash = htole64(hash);
    XXH3_128bits_update(m_state->xxh, octets.data(), octets.size() * sizeof octets[0]);
    m_state->hashes = m_hashes.size();
}

std::string OutputDigest::Hex() const
{
    DigestHashes();
    const XXH128_hash_t hash = XXH3_128bits_digest(m_state->xxh);
    return fmt::format("{:016x}{:016x}", hash.high64, hash.low64);
}
} // namespace lighting_host
