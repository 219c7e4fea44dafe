#include "lighting_host/house/Protocol.h"

#include "lighting_host/text/JsonWriter.h"

namespace lighting_host
{
Protocol::Protocol(const HouseFile& file, const SessionOptions& options, Writer writer)
    : m_writer(std::move(writer)),
      m_lines(m_session, [this](const char* kind, const std::string& text, const nx::DriverHost*)
              { m_writer(kind, text); }),
      m_session(file, options, *this)
{
}

Protocol::~Protocol() = default;

void Protocol::Start()
{
    m_session.Start();
}

void Protocol::Stop()
{
    m_session.Stop();
}

bool Protocol::Handle(const std::string& line, unsigned long number)
{
    return m_lines.Handle(line, number);
}

void Protocol::Write(const embedded_host::Output& output)
{
    if (const auto* fault = std::get_if<embedded_host::DriverFault>(&output.effect))
    {
        m_lines.WriteFault(output.driver, fault->what);
        return;
    }
    m_line.clear();
    AppendOutput(m_line, output);
    m_writer(KindOf(output.effect), m_line);
}
} // namespace lighting_host
