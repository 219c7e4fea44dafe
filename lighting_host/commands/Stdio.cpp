#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/LineReader.h"
#include "lighting_host/commands/Recorder.h"
#include "lighting_host/commands/SaveWatch.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/switchboard/Protocol.h"

#include <chrono>
#include <istream>
#include <ostream>
#include <system_error>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// How long a done line may wait for more output to go with it.
constexpr std::chrono::milliseconds LONGEST_WAIT(100);

// One conversation, from its first line to its last.
class Conversation
{
public:
    Conversation(Protocol& protocol, Recorder* recorder, std::istream& in, std::ostream& out)
        : m_protocol(protocol), m_recorder(recorder), m_out(out),
          m_lines(*in.rdbuf(), [&out] { return out.flush().good(); })
    {
    }

    // Until the input ends, the output cannot be written or a signal asks for the end.
    void Run()
    {
        std::string line;
        for (unsigned long number = 1; m_out.good(); ++number)
        {
            const LineReader::Result result = m_lines.Next(line);
            // What a signal has cut short is no line.
            if (result == LineReader::Result::End || StopSignals::Received() != 0)
                return;
            Answer(result, line, number);
        }
    }

    bool AllTaken() const { return m_allTaken; }

private:
    void Answer(LineReader::Result result, const std::string& line, unsigned long number)
    {
        if (result == LineReader::Result::TooLong)
        {
            m_out << "{\"error\":\"the line is too long\",\"line\":" << number << "}\n";
            m_allTaken = false;
        }
        else if (IsSkipped(line))
            return;
        else
        {
            if (m_recorder)
                m_recorder->In(line);
            m_allTaken = m_protocol.Handle(line, number) && m_allTaken;
        }
        m_out << "{\"done\":" << number << "}\n";
        FlushNowAndThen();
    }

    // Whoever waits for an answer gets it at the latest when there is nothing more to read. Here
    // somebody has written many lines at once, and may wait for the first answer all the same.
    void FlushNowAndThen()
    {
        const auto now = std::chrono::steady_clock::now();
        if (now - m_flushed < LONGEST_WAIT)
            return;
        m_flushed = now;
        m_out.flush();
    }

    Protocol& m_protocol;
    Recorder* m_recorder;
    std::ostream& m_out;
    LineReader m_lines;
    bool m_allTaken = true;
    std::chrono::steady_clock::time_point m_flushed;
};

// Holds the conversation; false when something of it could not be read or recorded, which `err` was
// told.
bool Converse(Conversation& conversation, Recorder* recorder, std::ostream& err)
{
    bool whole = true;
    try
    {
        conversation.Run();
    }
    catch (const std::system_error& error)
    {
        err << fmt::format("standard input {}\n", error.what());
        whole = false;
    }
    try
    {
        if (recorder)
            recorder->Close();
    }
    catch (const RecorderError& error)
    {
        err << error.what() << '\n';
        whole = false;
    }
    return whole;
}
} // namespace

int RunStdio(const std::string& housePath, const SessionOptions& options, const std::string& record,
             std::istream& in, std::ostream& out, std::ostream& err)
{
    HouseFile house;
    if (!LoadHouse(housePath, house, err))
        return 1;
    const std::string wrong = RealLampsNeedRealTime(house, "use serve --bare");
    if (!wrong.empty())
    {
        err << wrong << '\n';
        return 1;
    }
    std::unique_ptr<Recorder> recorder;
    SaveWatch saves(options);
    SessionOptions session = saves.Options();
    // What a replay starts from.
    SessionOptions recorded = options;
    if (!record.empty())
        session.onKeptState = [&recorded](const std::string& driver, const std::string& state)
        {
            recorded.states[driver] = state;
        };
    Protocol protocol(house, session,
                      [&](const char* kind, const std::string& text)
                      {
                          out << text << '\n';
                          if (recorder)
                              recorder->Out(kind, text);
                      });
    // After the state file was made, so that it is known under every name.
    if (!record.empty())
    {
        try
        {
            recorder = std::make_unique<Recorder>(record, housePath, recorded);
        }
        catch (const RecorderError& error)
        {
            err << error.what() << '\n';
            return STATUS_CANNOT;
        }
    }
    ForgetStart(house);
    protocol.Start();
    Conversation conversation(protocol, recorder.get(), in, out);
    const bool whole = Converse(conversation, recorder.get(), err);
    recorder.reset();
    saves.Restart();
    protocol.Stop();
    out.flush();
    if (!whole || !out.good() || saves.Failed())
        return STATUS_CANNOT;
    if (StopSignals::Received() != 0)
        return StatusOfSignal(StopSignals::Received());
    return conversation.AllTaken() ? 0 : 1;
}
} // namespace lighting_host
