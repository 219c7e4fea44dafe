// ZCL frames: storing a scene on a light, and reading its answer. The peer is a program of its own
// (zcl_peer.js), which writes and reads the same frames.

#include "bench/Bench.h"
#include "embedded_host/ZclCodec.h"

#include <algorithm>
#include <array>

namespace
{
using namespace embedded_host;

constexpr std::array<std::uint8_t, 17> FRAME = {0x01, 7,    0x00, 0x01, 0x00, 0x05,
                                                0x02, 0x00, 0x00, 0x06, 0x00, 0x01,
                                                0x01, 0x08, 0x00, 0x01, 0x7F};
// Status 0x89, group 1, scene 5.
constexpr std::array<std::uint8_t, 7> RESPONSE = {0x09, 0x01, 0x00, 0x89, 0x01, 0x00, 0x05};

void EncodeAddScene(benchmark::State& state)
{
    zcl::Request request;
    request.kind = zcl::RequestKind::AddScene;
    request.group = 1;
    request.scene = zcl::SceneId(1, 5);
    request.level = 50;
    request.timeMs = 2000;
    std::array<std::uint8_t, zcl::MAX_FRAME> frame{};
    const std::size_t length = zcl::EncodeRequest(request, FRAME[1], frame.data(), frame.size());
    if (length != FRAME.size() || !std::equal(FRAME.begin(), FRAME.end(), frame.begin()))
        state.SkipWithError("not the frame that is to be written");
    std::uint8_t sequence = 0;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(request);
        benchmark::DoNotOptimize(
            zcl::EncodeRequest(request, sequence++, frame.data(), frame.size()));
        benchmark::DoNotOptimize(frame);
    }
}

void DecodeResponse(benchmark::State& state)
{
    zcl::Reply reply;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        if (zcl::DecodeReply(zcl::CLUSTER_SCENES, RESPONSE.data(), RESPONSE.size(), reply))
            state.SkipWithError("the response was not understood");
        benchmark::DoNotOptimize(reply);
    }
    if (reply.kind != zcl::Reply::Kind::AddSceneFailure || reply.status != 0x89)
        state.SkipWithError("the response was misread");
}

BENCHMARK(EncodeAddScene)->Name("zcl_encode/ours");
BENCHMARK(DecodeResponse)->Name("zcl_decode/ours");
} // namespace
