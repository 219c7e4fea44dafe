#include "fuzz/DriverScript.h"

#include "embedded_host/House.h"
#include "embedded_host/Messages.h"
#include "fuzz/Fuzzing.h"
#include "nxshared/CmdDispatcher.h"
#include "nxshared/NxMIBPacket.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <stdexcept>

namespace fuzzing
{
using namespace embedded_host;

namespace
{
constexpr std::size_t MOST_LINES = 100;
constexpr std::size_t MOST_WORDS = 40;
constexpr std::uint64_t MOST_MS = 5 * 60 * 1000;

class Script
{
public:
    Script(const DriverShape& shape, DriverRun& run) : m_shape(shape), m_run(run) {}

    void Line(const std::string& line);

private:
    using Words = std::vector<std::string>;

    const std::string& Word(std::size_t index) const
    {
        static const std::string NONE;
        return index < m_words.size() ? m_words[index] : NONE;
    }

    // The word, or the name that its one letter stands for.
    const std::string& Name(std::size_t index, const DriverShape::Names& names) const
    {
        return NameOf(Word(index), names);
    }
    static const std::string& NameOf(const std::string& word, const DriverShape::Names& names)
    {
        if (word.size() != 1 || names.empty())
            return word;
        return names[static_cast<unsigned char>(word[0]) % names.size()];
    }

    unsigned Binding(std::size_t index) const
    {
        return static_cast<unsigned>(Number(Name(index, m_shape.bindings), UINT32_MAX));
    }

    // The rest of the line behind that many words.
    std::string Rest(std::size_t words) const
    {
        std::size_t at = 0;
        while (words-- > 0 && at < m_line.size())
            at = std::min(m_line.find(' ', at), m_line.size() - 1) + 1;
        return m_line.substr(std::min(at, m_line.size()));
    }

    NxMIBPacket Packet(NxMIB::Type type, const std::string& mib, std::size_t from,
                       std::size_t to) const
    {
        NxMIBPacket packet(type, mib);
        for (; from < std::min(to, m_words.size()); ++from)
            packet.AddParam(m_words[from]);
        return packet;
    }

    template <class Message>
    Message WithParams(const DriverShape::Names& names) const
    {
        Message message(Name(1, names));
        for (std::size_t i = 2; i < m_words.size(); ++i)
        {
            const std::size_t equals = m_words[i].find('=');
            if (equals == std::string::npos)
                continue;
            std::string value = m_words[i].substr(equals + 1);
            const std::string word = m_words[i].substr(0, equals);
            const std::string& name = NameOf(word, m_shape.params);
            // What has no "=" belongs to the value before it.
            for (; i + 1 < m_words.size() && m_words[i + 1].find('=') == std::string::npos; ++i)
                value += " " + m_words[i + 1];
            message.Append({name, "STRING", std::move(value)});
        }
        return message;
    }

    void Reply() const;
    void Arrive(char kind);

    const DriverShape& m_shape;
    DriverRun& m_run;
    std::string m_line;
    Words m_words;
};

// A reply to a request that the input itself writes down behind a "/".
void Script::Reply() const
{
    const auto slash =
        static_cast<std::size_t>(std::find(m_words.begin(), m_words.end(), "/") - m_words.begin());
    const std::string& mib = Name(1, m_shape.replies);
    const NxMIBPacket request = Packet(NxMIB::Set, mib, slash + 1, m_words.size());
    m_run.Host().ReplyTo(Packet(NxMIB::Reply, mib, 2, slash),
                         slash < m_words.size() ? &request : nullptr);
}

void Script::Line(const std::string& line)
{
    m_line = line;
    m_words = Split(line, ' ', MOST_WORDS);
    nx::DriverHost& host = m_run.Host();
    switch (line[0])
    {
    case 't':
        return host.Trap(Packet(NxMIB::Trap, Name(1, m_shape.traps), 2, m_words.size()));
    case 'r':
        return host.Reply(Packet(NxMIB::Reply, Name(1, m_shape.replies), 2, m_words.size()));
    case 'q':
        return Reply();
    case 'c':
        host.Command(WithParams<CmdMessage>(m_shape.commands), CmdDispatcher::CONTROLLER);
        return;
    case 'n':
        return host.Condition(WithParams<CondMessage>(m_shape.commands));
    case 'o':
        return host.Online(Word(1) == "1");
    case 'b':
        return host.BindingMade(Binding(1), "BUTTON_LINK", Word(2) == "1");
    case 'x':
        return host.BoundCall(Binding(1), BindMessage("PROTOCOL_COMMAND", "CALL", Rest(2)));
    case 'k':
        return host.BoundCall(Binding(1), BindMessage(Word(2), Word(3), std::string()));
    default:
        return Arrive(line[0]);
    }
}

void Script::Arrive(char kind)
{
    switch (kind)
    {
    case 'a':
        return m_run.Advance(Number(Word(1), MOST_MS));
    case 'f':
        return m_run.Fact(Name(1, m_shape.facts), Rest(2));
    case 'i':
        return m_run.Input(Rest(1));
    case 'g':
    {
        const auto opcode = Octets(Word(1));
        if (opcode.size() == 2)
            m_run.BusMessage(static_cast<std::uint16_t>(opcode[0] << 8 | opcode[1]),
                             Octets(Word(2)));
        return;
    }
    case 'z':
    {
        const auto frame = Octets(Word(2));
        m_run.Host().ZclFrame(static_cast<std::uint16_t>(Number(Word(1), UINT16_MAX)), frame.data(),
                              frame.size());
        return;
    }
    case 'p':
        m_run.Host().Persist();
        return;
    case 's':
        return m_run.Host().Restart();
    default:
        return;
    }
}
} // namespace

void RunScript(const DriverShape& shape, const std::uint8_t* data, std::size_t size)
{
    lighting_host::HouseFileDriver driver;
    driver.type = shape.type;
    driver.config = nx::CreateXmlDocument(shape.config)->GetRoot();
    driver.capabilities = {{"load_present", "true"}};
    const auto lines = Split(Text(data, size), '\n', MOST_LINES);
    const std::string flags = lines.empty() || lines[0][0] != '!' ? std::string() : lines[0];
    if (flags.find('d') != std::string::npos)
        driver.device = nx::CreateXmlDocument("<device simulated=\"true\"/>")->GetRoot();
    DriverRun run(std::move(driver), flags.find('l') != std::string::npos);
    Script script(shape, run);
    for (const std::string& line : lines)
    {
        if (!line.empty())
            script.Line(line);
    }
    shape.probe(run);
    run.RequireStateKept();
    shape.probe(run);
}
} // namespace fuzzing
