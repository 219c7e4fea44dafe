// The peer of the trap benchmark: one RDM request to a responder of the Open Lighting Architecture,
// in process, to the octets of its reply.

#include "bench/Bench.h"

#include <memory>
#include <ola/Callback.h>
#include <ola/rdm/DummyResponder.h>
#include <ola/rdm/RDMCommand.h>
#include <ola/rdm/RDMCommandSerializer.h>
#include <ola/rdm/RDMReply.h>
#include <ola/rdm/UID.h>
#include <vector>

namespace
{
using ola::rdm::RDMReply;
using ola::rdm::UID;

constexpr std::size_t RESPONDERS = 60;
constexpr std::uint16_t MANUFACTURER = 0x7a70;

std::size_t g_octets = 0;

void OnReply(RDMReply* reply)
{
    if (!reply->Response())
        return;
    std::uint8_t octets[256];
    unsigned size = sizeof octets;
    if (ola::rdm::RDMCommandSerializer::Pack(*reply->Response(), octets, &size))
        g_octets += size;
    benchmark::DoNotOptimize(octets);
}

void RequestToReply(benchmark::State& state)
{
    const UID controller(MANUFACTURER, 1);
    std::vector<std::unique_ptr<ola::rdm::DummyResponder>> responders;
    for (std::size_t i = 0; i < RESPONDERS; ++i)
        responders.push_back(std::make_unique<ola::rdm::DummyResponder>(
            UID(MANUFACTURER, static_cast<std::uint32_t>(i + 2))));
    std::size_t at = 0;
    std::int64_t replies = 0;
    {
        const bench::CountAllocations count(state);
        for (auto _ : state)
        {
            const UID target(MANUFACTURER, static_cast<std::uint32_t>(at + 2));
            responders[at]->SendRDMRequest(
                new ola::rdm::RDMGetRequest(controller, target, 0, 1, 0,
                                            ola::rdm::PID_DMX_START_ADDRESS, nullptr, 0),
                ola::NewSingleCallback(&OnReply));
            at = (at + 7919) % RESPONDERS;
            ++replies;
        }
    }
    if (g_octets == 0)
        state.SkipWithError("no reply came");
    state.SetItemsProcessed(replies);
}

BENCHMARK(RequestToReply)->Name("trap/ola");
} // namespace

BENCHMARK_MAIN();
