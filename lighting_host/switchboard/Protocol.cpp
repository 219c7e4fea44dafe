#include "lighting_host/switchboard/Protocol.h"

namespace lighting_host
{
namespace
{
HouseRun::Options OptionsOf(const SessionOptions& session)
{
    HouseRun::Options options;
    options.session = session;
    options.people = false;
    options.linesMoveTime = true;
    options.numbered = false;
    return options;
}

HouseRun::Sinks SinksOf(const Protocol::Writer& writer)
{
    HouseRun::Sinks sinks;
    sinks.onAnswer = writer;
    sinks.onOutputText = [writer](const char* kind, std::int64_t, const std::string& text)
    {
        writer(kind, text);
    };
    return sinks;
}
} // namespace

Protocol::Protocol(const HouseFile& file, const SessionOptions& options, const Writer& writer)
    : m_run(file, OptionsOf(options), SinksOf(writer))
{
}

bool Protocol::Handle(const std::string& line, unsigned long number)
{
    return m_run.HandIn(std::string(), line, number);
}
} // namespace lighting_host
