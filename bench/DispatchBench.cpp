// A command among 200 names: the host's dispatcher against a hash map of handlers.

#include "bench/Bench.h"
#include "embedded_host/Messages.h"
#include "embedded_host/internal/Dispatchers.h"
#include "lighting_common/Names.h"

#include <unordered_map>

#include <boost/function.hpp>

namespace
{
constexpr std::size_t NAMES = 200;

class Nobody : public embedded_host::UnhandledSink
{
public:
    void OnUnhandled(const std::string&) override {}
};

std::vector<embedded_host::CmdMessage> Messages()
{
    std::vector<embedded_host::CmdMessage> messages;
    for (std::size_t i = 0; i < NAMES; ++i)
        messages.emplace_back(names::AllGeneral()[i]);
    return messages;
}

void DispatchOurs(benchmark::State& state)
{
    Nobody nobody;
    embedded_host::CmdTable table(nobody);
    std::size_t called = 0;
    for (std::size_t i = 0; i < NAMES; ++i)
        table.RegisterCmd(names::AllGeneral()[i],
                          [&called](const ICmdMessage&, ICmdReturn*) { ++called; });
    const auto messages = Messages();
    std::size_t i = 0;
    table.Dispatch(messages[0], nullptr, 0);
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(table.Dispatch(messages[i], nullptr, 0));
        i = (i + 37) % NAMES;
    }
    benchmark::DoNotOptimize(called);
}

void DispatchUnorderedMap(benchmark::State& state)
{
    std::unordered_map<std::string, boost::function<void(const ICmdMessage&, ICmdReturn*)>> table;
    std::size_t called = 0;
    for (std::size_t i = 0; i < NAMES; ++i)
        table[names::AllGeneral()[i]] = [&called](const ICmdMessage&, ICmdReturn*)
        {
            ++called;
        };
    const auto messages = Messages();
    std::size_t i = 0;
    const bench::CountAllocations count(state);
    for (auto _ : state)
    {
        const auto found = table.find(messages[i].GetName());
        found->second(messages[i], nullptr);
        i = (i + 37) % NAMES;
    }
    benchmark::DoNotOptimize(called);
}

BENCHMARK(DispatchOurs)->Name("dispatch/ours");
BENCHMARK(DispatchUnorderedMap)->Name("dispatch/unordered_map");
} // namespace
