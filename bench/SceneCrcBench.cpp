// The checksum over a full store of advanced scenes, against what Boost.CRC alone takes for the
// same bytes in one piece.

#include "bench/Bench.h"
#include "lighting_common/AdvSceneManager.h"
#include "nxshared/NxMIBPacket.h"

#include <cstdint>
#include <vector>

#include <boost/crc.hpp>

namespace
{
constexpr unsigned SCENES = 255;
constexpr unsigned INDICES = 16;
constexpr std::uint32_t RATE = 1000;
constexpr std::uint8_t FLAGS = 8;

std::uint8_t LevelOf(unsigned scene, unsigned index)
{
    return static_cast<std::uint8_t>(scene * 7 + index);
}

// A manager that has been told of every element.
const AdvSceneManager& FullStore()
{
    static AdvSceneManager manager(nullptr, nullptr);
    static const bool filled = []
    {
        for (unsigned scene = 0; scene < SCENES; ++scene)
        {
            for (unsigned index = 0; index < INDICES; ++index)
            {
                NxMIBPacket reply(NxMIB::Reply, "nx.als.sgt");
                reply.AddHexParam(static_cast<std::uint16_t>(index << 12 | scene));
                reply.AddHexParam(scene);
                reply.AddHexParam(RATE);
                reply.AddHexParam(LevelOf(scene, index));
                reply.AddHexParam(FLAGS);
                manager.OnRspGetOne(reply, nullptr);
            }
        }
        return true;
    }();
    benchmark::DoNotOptimize(filled);
    return manager;
}

void PutNumber(std::vector<unsigned char>& bytes, std::uint32_t number, int width)
{
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<unsigned char>(number >> shift));
}

std::vector<unsigned char> SameBytes()
{
    std::vector<unsigned char> bytes;
    for (unsigned scene = 0; scene < SCENES; ++scene)
    {
        for (unsigned index = 0; index < INDICES; ++index)
        {
            PutNumber(bytes, index << 12 | scene, 2);
            PutNumber(bytes, scene, 4);
            PutNumber(bytes, RATE, 4);
            PutNumber(bytes, LevelOf(scene, index), 1);
            PutNumber(bytes, FLAGS, 1);
        }
    }
    return bytes;
}

std::uint32_t BoostAlone(const std::vector<unsigned char>& bytes)
{
    boost::crc_32_type crc;
    crc.process_bytes(bytes.data(), bytes.size());
    return crc.checksum();
}

void StoreChecksum(benchmark::State& state)
{
    const AdvSceneManager& manager = FullStore();
    if (manager.getCRC() != BoostAlone(SameBytes()))
        state.SkipWithError("the checksums differ");
    const bench::CountAllocations count(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(manager.getCRC());
}

void BytesChecksum(benchmark::State& state)
{
    const std::vector<unsigned char> bytes = SameBytes();
    const bench::CountAllocations count(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(BoostAlone(bytes));
}

BENCHMARK(StoreChecksum)->Name("scene_crc/store");
BENCHMARK(BytesChecksum)->Name("scene_crc/boost_alone");
} // namespace
