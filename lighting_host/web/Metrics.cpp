#include "lighting_host/web/Metrics.h"

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>
#include <unordered_map>

namespace lighting_host
{
using prometheus::BuildCounter;
using prometheus::BuildGauge;
using prometheus::Counter;
using prometheus::Family;
using prometheus::Gauge;

namespace
{
// A counter that is counted elsewhere is brought to what it is there.
void BringTo(Counter& counter, std::uint64_t value)
{
    const auto wanted = static_cast<double>(value);
    if (wanted > counter.Value())
        counter.Increment(wanted - counter.Value());
}
} // namespace

struct Metrics::Impl
{
    prometheus::Registry registry;

    Gauge& MakeGauge(const char* name, const char* help)
    {
        return BuildGauge().Name(name).Help(help).Register(registry).Add({});
    }

    Counter& MakeCounter(const char* name, const char* help)
    {
        return BuildCounter().Name(name).Help(help).Register(registry).Add({});
    }

    Family<Counter>& outputs = BuildCounter()
                                   .Name("lighting_outputs_total")
                                   .Help("Lines that the house put out, by kind.")
                                   .Register(registry);
    std::unordered_map<std::string, Counter*> outputsByKind;
    Counter& inputs = MakeCounter("lighting_inputs_total", "Lines that were handed in.");
    Gauge& houseSeconds =
        MakeGauge("lighting_house_time_seconds", "Time of the house since its start.");
    Gauge& lag = MakeGauge("lighting_lag_seconds",
                           "By how much the house is behind the wall clock, at its speed.");
    Gauge& lateness =
        MakeGauge("lighting_timer_lateness_worst_seconds",
                  "By how much a timer was fired too late at worst, in time of the wall clock.");
    Gauge& speed = MakeGauge("lighting_speed_ratio", "House time a real time; 0 while it pauses.");
    Gauge& timers = MakeGauge("lighting_timers", "Timers that are started and have not fired.");
    Counter& fired = MakeCounter("lighting_timers_fired_total", "Timers that have fired.");
    Gauge& visitors = MakeGauge("lighting_visitors", "Visitors on WebSockets.");
    Counter& dropped = MakeCounter("lighting_visitors_dropped_total",
                                   "Visitors that were dropped because they read too slowly.");
    Counter& requests = MakeCounter("lighting_http_requests_total", "HTTP requests.");
    Counter& refused =
        MakeCounter("lighting_http_requests_refused_total", "HTTP requests that were refused.");
    Counter& branches =
        MakeCounter("lighting_rewinds_total", "How often the house was moved to another moment.");
    Family<Gauge>& queued = BuildGauge()
                                .Name("lighting_transmit_queue_messages")
                                .Help("Messages that wait in a keypad's transmit queue.")
                                .Register(registry);
    Family<Counter>& retries = BuildCounter()
                                   .Name("lighting_retries_total")
                                   .Help("Messages that were sent again.")
                                   .Register(registry);
    Family<Counter>& repairs = BuildCounter()
                                   .Name("lighting_repairs_total")
                                   .Help("Writes after a difference between driver and device.")
                                   .Register(registry);
    Family<Counter>& failures = BuildCounter()
                                    .Name("lighting_power_failures_total")
                                    .Help("Power failures of devices.")
                                    .Register(registry);
    Family<Counter>& warnings = BuildCounter()
                                    .Name("lighting_warnings_total")
                                    .Help("Records of the log from WARN on.")
                                    .Register(registry);
};

Metrics::Metrics(const std::string& program) : m_impl(std::make_unique<Impl>())
{
    BuildGauge()
        .Name("lighting_build_info")
        .Help("The program's version; always 1.")
        .Register(m_impl->registry)
        .Add({{"version", program}})
        .Set(1);
}

Metrics::~Metrics() = default;

void Metrics::CountOutput(const char* kind)
{
    Counter*& counter = m_impl->outputsByKind[kind];
    if (!counter)
        counter = &m_impl->outputs.Add({{"kind", kind}});
    counter->Increment();
}

std::string Metrics::Text(const Moment& moment, const std::map<std::string, DriverFigures>& drivers)
{
    Impl& impl = *m_impl;
    BringTo(impl.inputs, moment.inputs);
    impl.houseSeconds.Set(moment.houseSeconds);
    impl.lag.Set(moment.lagSeconds);
    impl.lateness.Set(moment.worstLatenessSeconds);
    impl.speed.Set(moment.paused ? 0 : moment.speed);
    impl.timers.Set(static_cast<double>(moment.timers));
    BringTo(impl.fired, moment.firedTimers);
    impl.visitors.Set(static_cast<double>(moment.visitors));
    BringTo(impl.dropped, moment.droppedVisitors);
    BringTo(impl.requests, moment.requests);
    BringTo(impl.refused, moment.refusedRequests);
    BringTo(impl.branches, moment.branch);
    for (const auto& [name, driver] : drivers)
    {
        const prometheus::Labels labels = {{"driver", name}};
        if (driver.queued >= 0)
            impl.queued.Add(labels).Set(static_cast<double>(driver.queued));
        BringTo(impl.retries.Add(labels), driver.retries);
        BringTo(impl.repairs.Add(labels), driver.repairs);
        BringTo(impl.failures.Add(labels), driver.powerFailures);
        BringTo(impl.warnings.Add(labels), driver.warnings);
    }
    return prometheus::TextSerializer().Serialize(impl.registry.Collect());
}
} // namespace lighting_host
