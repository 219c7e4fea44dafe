// Numbers in MIB parameters: the codec against the standard library and fmt.

#include "bench/Bench.h"
#include "nxshared/NxMIBPacket.h"

#include <array>
#include <charconv>
#include <random>
#include <sstream>

#include <fmt/compile.h>

namespace
{
constexpr std::size_t TEXTS = 1024;

const std::array<std::string, TEXTS>& Texts()
{
    static const auto texts = []
    {
        std::array<std::string, TEXTS> made;
        std::mt19937 random(1);
        for (std::string& text : made)
            text = fmt::format("{:08x}", random());
        return made;
    }();
    return texts;
}

void ParseOurs(benchmark::State& state)
{
    const NxMIBPacket packet(NxMIB::Trap, "nx.dmx.bp");
    const auto& texts = Texts();
    std::size_t i = 0;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        int value = 0;
        benchmark::DoNotOptimize(packet.FromHexString(value, texts[i++ % TEXTS]));
        benchmark::DoNotOptimize(value);
    }
}

void ParseFromChars(benchmark::State& state)
{
    const auto& texts = Texts();
    std::size_t i = 0;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        const std::string& text = texts[i++ % TEXTS];
        unsigned value = 0;
        benchmark::DoNotOptimize(
            std::from_chars(text.data(), text.data() + text.size(), value, 16));
        benchmark::DoNotOptimize(value);
    }
}

void ParseIstringstream(benchmark::State& state)
{
    const auto& texts = Texts();
    std::size_t i = 0;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        std::istringstream stream(texts[i++ % TEXTS]);
        unsigned value = 0;
        benchmark::DoNotOptimize(static_cast<bool>(stream >> std::hex >> value));
        benchmark::DoNotOptimize(value);
    }
}

void FormatOurs(benchmark::State& state)
{
    std::array<char, 8> out{};
    std::uint32_t value = 1;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        nx::mib::FormatHex(value, out.size(), out.data());
        benchmark::DoNotOptimize(out);
        value = value * 1664525 + 1013904223;
    }
}

void FormatFmt(benchmark::State& state)
{
    std::array<char, 8> out{};
    std::uint32_t value = 1;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        fmt::format_to(out.data(), FMT_COMPILE("{:08x}"), value);
        benchmark::DoNotOptimize(out);
        value = value * 1664525 + 1013904223;
    }
}

BENCHMARK(ParseOurs)->Name("parse/ours");
BENCHMARK(ParseFromChars)->Name("parse/from_chars");
BENCHMARK(ParseIstringstream)->Name("parse/istringstream");
BENCHMARK(FormatOurs)->Name("format/ours");
BENCHMARK(FormatFmt)->Name("format/fmt");
} // namespace
