// ZCL frames: storing a scene on a light, and reading its answer. The peer is a program of its own
// (zcl_peer.js).

#include "bench/Bench.h"
#include "embedded_host/ZclCodec.h"
#include "embedded_host/ZclMessages.h"

#include <array>
#include <memory>

namespace
{
void EncodeAddScene(benchmark::State& state)
{
    const std::unique_ptr<nx::ZclMessage> message(nx::MakeSceneRamp(0x00010005, 50, 2000));
    const auto& ours = static_cast<const embedded_host::HostZclMessage&>(*message);
    std::array<std::uint8_t, embedded_host::HostZclMessage::MAX_FRAME> frame{};
    std::uint8_t sequence = 0;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(ours.Encode(sequence++, frame.data(), frame.size()));
        benchmark::DoNotOptimize(frame);
    }
}
BENCHMARK(EncodeAddScene)->Name("zcl_encode/ours");
} // namespace
