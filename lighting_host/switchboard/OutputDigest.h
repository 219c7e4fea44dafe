#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace lighting_host
{
// A digest of all outputs of a house so far, in their order. Two runs with the same digest wrote
// the same outputs; it tells runs apart and protects against nothing else.
//
// Not thread-safe. Adding costs a few nanoseconds an output.
class OutputDigest
{
public:
    OutputDigest();
    ~OutputDigest();
    // A copy goes on from where the other one is.
    OutputDigest(const OutputDigest& other);
    OutputDigest& operator=(const OutputDigest& other);

    // Adds one output, as the protocol writes it, without a line end.
    void Add(const std::string& text);

    // How many outputs were added.
    std::uint64_t Count() const { return m_count; }

    // 32 hexadecimal digits; more may be added afterwards.
    std::string Hex() const;

    // SUM_DIGITS hexadecimal digits for each output since the last Cut, by which the first output
    // that differs between two runs can be found.
    static constexpr std::size_t SUM_DIGITS = 8;
    static std::string SumOf(const std::string& text);
    const std::string& Sums() const { return m_sums; }
    void Cut() { m_sums.clear(); }

private:
    struct State;
    std::unique_ptr<State> m_state;
    std::uint64_t m_count = 0;
    std::string m_sums;
};
} // namespace lighting_host
