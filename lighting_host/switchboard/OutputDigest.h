#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lighting_host
{
// A digest of all outputs of a house so far, in their order. Two runs with the same digest wrote
// the same outputs; it tells runs apart and protects against nothing else.
//
// Not thread-safe. Adding costs some ten nanoseconds an output: each is hashed once, and what
// becomes of these hashes waits for Cut or Hex.
class OutputDigest
{
public:
    // What is digested. A flight record says by its version which of them it has.
    enum class Form
    {
        // All outputs as one text, a line each: records of version 1.
        Text,
        // The hashes of the outputs, 64 bits each.
        Hashes,
    };

    explicit OutputDigest(Form form = Form::Hashes);
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
    std::string Sums() const;
    // Whether there was none since the last Cut.
    bool IsCut() const { return m_hashes.empty(); }
    void Cut();

private:
    struct State;
    void DigestHashes() const;

    Form m_form;
    std::unique_ptr<State> m_state;
    std::uint64_t m_count = 0;
    // Of the outputs since the last Cut.
    std::vector<std::uint64_t> m_hashes;
};
} // namespace lighting_host
