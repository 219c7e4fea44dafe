#include "lighting_host/commands/FleetCommand.h"

#include "lighting_host/commands/Commands.h"
#include "lighting_host/commands/FleetSoak.h"
#include "lighting_host/commands/Options.h"
#include "lighting_host/commands/StopSignals.h"
#include "lighting_host/fleet/FleetTexts.h"
#include "lighting_host/fleet/FleetTrials.h"
#include "lighting_host/fleet/FleetWorker.h"
#include "lighting_host/fleet/NatsFleetBus.h"
#include "lighting_host/text/MonotonicClock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <ostream>
#include <random>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <fmt/format.h>

namespace lighting_host
{
namespace
{
const std::string ADD = "add";
const std::string REMOVE = "remove";
const std::string LIST = "list";
const std::string WORKER = "worker";
const std::string EDGE = "edge";
// On purpose not that of the lines that a soak hands in.
const std::string FLEET_SOAK = "soak";
constexpr std::int64_t WAIT_MS = 5000;
// The time that a worker has to hand its houses over.
constexpr std::chrono::seconds FLEET_FAREWELL{20};
constexpr unsigned MOST_ROOM = 100000;
constexpr unsigned MOST_HOUSES = 1000000;
constexpr unsigned MOST_DAYS = 3650;
constexpr std::int64_t MS_IN_DAY = 24 * 3600 * 1000;
// A soak draws anew, with the next seed, every two hours of the house.
constexpr std::uint64_t SEEDS_A_DAY = 12;

// The type that a library is named after: "mine" for libmine.so; empty for none.
std::string TypeOfLibrary(const std::string& library)
{
    static const std::string PREFIX = "lib";
    const std::string name = std::filesystem::path(library).stem().string();
    return name.compare(0, PREFIX.size(), PREFIX) == 0 ? name.substr(PREFIX.size()) : std::string();
}

std::string AbsolutePath(const std::string& path)
{
    return path.empty() ? path : std::filesystem::absolute(path).lexically_normal().string();
}

// Who is told something, in words.
using FleetTell = std::function<void(const std::string&)>;

FleetTell FleetTellOn(std::ostream& err)
{
    return [&err](const std::string& what)
    {
        err << fmt::format("lighting-host: {}\n", what) << std::flush;
    };
}

NatsOptions BusOptions(const FleetOptions& options, FleetTell tell)
{
    struct stat about = {};
    if (!options.credentials.empty() && stat(options.credentials.c_str(), &about) != 0)
        throw std::runtime_error(fmt::format("{}: {}", options.credentials, std::strerror(errno)));
    if (!options.credentials.empty() && (about.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw std::runtime_error(
            fmt::format("{}: others can read the credentials; chmod 600 it", options.credentials));
    NatsOptions bus;
    bus.urls = options.urls;
    bus.credentialsFile = options.credentials;
    bus.name = "lighting-host " + options.action;
    bus.tell = std::move(tell);
    return bus;
}

void RequireWritten(const BucketAnswer& answer)
{
    if (answer.outcome != BucketAnswer::Outcome::Written)
        throw FleetError("the fleet's bucket was not written: " + answer.why);
}

// Waits for signals and for what other threads post, and works in between.
class FleetLoop
{
public:
    FleetLoop() : m_timer(m_context), m_signals(m_context)
    {
        if (StopSignals::Descriptor() < 0)
            return;
        m_signals.assign(StopSignals::Descriptor());
        m_signals.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                             [this](const boost::system::error_code& error)
                             {
                                 if (!error)
                                     OnSignal();
                             });
    }
    ~FleetLoop()
    {
        // The descriptor is not this loop's to close.
        if (m_signals.is_open())
            m_signals.release();
    }
    FleetLoop(const FleetLoop&) = delete;
    FleetLoop& operator=(const FleetLoop&) = delete;

    // On any thread.
    void Post(std::function<void()> work)
    {
        boost::asio::post(m_context,
                          [this, work = std::move(work)]
                          {
                              work();
                              Step();
                          });
    }

    // The same `tell` for any thread.
    FleetTell Telling(const FleetTell& tell)
    {
        return [this, tell](const std::string& what)
        {
            Post([tell, what] { tell(what); });
        };
    }

    // `step` works and says when it wants to be called again, in milliseconds of the monotonic
    // clock. After a signal `isOver` is asked; it ends when that says so, or too late.
    void Run(std::function<std::int64_t()> step, std::function<void()> onSignal,
             std::function<bool()> isOver)
    {
        m_step = std::move(step);
        m_onSignal = std::move(onSignal);
        m_isOver = std::move(isOver);
        Step();
        m_context.run();
    }

private:
    void OnSignal()
    {
        m_stopping = true;
        m_endsAt = std::chrono::steady_clock::now() + FLEET_FAREWELL;
        m_onSignal();
        Step();
    }

    void Step()
    {
        const std::int64_t nextMs = m_step();
        if (m_stopping && (m_isOver() || std::chrono::steady_clock::now() > m_endsAt))
            return m_context.stop();
        m_timer.expires_at(
            std::chrono::steady_clock::time_point(std::chrono::milliseconds(nextMs)));
        m_timer.async_wait(
            [this](const boost::system::error_code& error)
            {
                if (!error)
                    Step();
            });
    }

    boost::asio::io_context m_context{1};
    boost::asio::steady_timer m_timer;
    boost::asio::posix::stream_descriptor m_signals;
    std::function<std::int64_t()> m_step;
    std::function<void()> m_onSignal;
    std::function<bool()> m_isOver;
    std::chrono::steady_clock::time_point m_endsAt;
    bool m_stopping = false;
};
} // namespace

FleetCommand::FleetCommand(CLI::App& program)
    : m_command(program.add_subcommand("fleet", "Houses that several machines share over NATS: add "
                                                "and remove them, see who has which, and run some"))
{
    const std::string actions =
        fmt::format("{}|{}|{}|{}|{}|{}", ADD, REMOVE, LIST, WORKER, EDGE, FLEET_SOAK);
    m_command
        ->add_option("ACTION", m_options.action,
                     "What is to be done: add a house, remove one, list all with their owners, be "
                     "a worker that runs houses, be the edge that lets the lines of a house's "
                     "present owner through, or let a driver live in many houses at all workers "
                     "and say what went wrong; " +
                         actions)
        ->required()
        ->check(CLI::IsMember({ADD, REMOVE, LIST, WORKER, EDGE, FLEET_SOAK}));
    m_command->add_option("HOUSE", m_options.house,
                          "The house file that is added, or that each house of a soak has");
    m_command
        ->add_option_function<std::string>(
            "--nats",
            [this](const std::string& text)
            {
                const std::string wrong = ParseNatsUrls(text, m_options.urls);
                if (!wrong.empty())
                    RefuseValue("--nats", wrong);
            },
            "The servers of NATS, nats://HOST[:PORT], with commas in between")
        ->type_name("URL")
        ->required();
    AddText(*m_command, "--credentials", m_options.credentials, "FILE",
            "A file of NATS credentials that only you can read");
    AddText(*m_command, "--id", m_options.id, "ID",
            "The house that is added, removed or let through, of a to z, 0 to 9, _ and -");
    AddText(*m_command, "--name", m_options.name, "NAME",
            "What the worker is called, of the same signs");
    AddCount(*m_command, "--room", m_options.room, MOST_ROOM,
             "The most houses that the worker runs; 100 by default");
    AddCount(*m_command, "--houses", m_options.houses, MOST_HOUSES,
             "How many houses a soak has; 1000 by default");
    AddCount(*m_command, "--days", m_options.days, MOST_DAYS,
             "How long each of them lives, in days of the house; 30 by default");
    AddText(*m_command, "--library", m_options.library, "FILE",
            "The shared object of the driver of a soak, as libmine.so");
    AddText(*m_command, "--type", m_options.type, "TYPE",
            "That driver's type; by default \"mine\" for libmine.so");
    AddText(*m_command, "--device", m_options.device, "KIND",
            "The simulated device at that driver's wire, without a house file; none by default");
    AddSeed(*m_command, m_options.seed, "Makes a soak repeat; 1 by default");
    AddText(*m_command, "--to", m_options.to, "FOLDER",
            "Where a soak's records of what went wrong go; here by default");
}

FleetCommand::operator bool() const
{
    return m_command->parsed();
}

void FleetCommand::Check() const
{
    const std::string& action = m_options.action;
    const auto require = [&action](bool isRight, const std::string& what)
    {
        if (!isRight)
            throw std::runtime_error(fmt::format("fleet {}: {}", action, what));
    };
    const bool hasId = action == ADD || action == REMOVE || action == EDGE;
    require(hasId == !m_options.id.empty(),
            hasId ? "say which house with --id ID" : "--id has no place here");
    require(action == FLEET_SOAK || (action == ADD) == !m_options.house.empty(),
            action == ADD ? "say which house file" : "a house file has no place here");
    require((action == FLEET_SOAK) == !m_options.library.empty(),
            action == FLEET_SOAK ? "say which driver with --library FILE"
                                 : "--library has no place here");
    require((action == WORKER) == !m_options.name.empty(),
            action == WORKER ? "say what the worker is called with --name NAME"
                             : "--name has no place here");
    for (const std::string& id : {m_options.id, m_options.name})
        require(id.empty() || IsFleetId(id),
                fmt::format("\"{}\" is not 1 to 64 of a to z, 0 to 9, _ and -", id));
}

int FleetCommand::Run(std::ostream& out, std::ostream& err)
{
    Check();
    if (m_options.action == WORKER)
        return Work(err);
    if (m_options.action == EDGE)
        return Edge(out, err);
    NatsFleetBus bus(BusOptions(m_options, nullptr));
    if (m_options.action == ADD)
        return Add(bus, err);
    if (m_options.action == REMOVE)
        return Remove(bus, err);
    if (m_options.action == FLEET_SOAK)
        return Soak(bus, out, err);
    return List(bus, out);
}

int FleetCommand::Add(FleetBus& bus, std::ostream& err) const
{
    HouseFile house;
    if (!LoadHouse(m_options.house, house, err))
        return 1;
    std::ifstream file(m_options.house, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    FleetHouseEntry entry;
    entry.house = text.str();
    entry.folder = std::filesystem::absolute(m_options.house).parent_path().string();
    const auto bucket = bus.OpenBucket(FleetBuckets::HOUSES, 0);
    const BucketEntry there = bucket->Get(m_options.id);
    const bool isThere = there.revision != 0 && !there.removed;
    const BucketAnswer answer =
        isThere
            ? BucketAnswer{BucketAnswer::Outcome::Refused, 0, ""}
            : WriteAndWait(*bucket, m_options.id, WriteFleetHouse(entry), there.revision, WAIT_MS);
    if (answer.outcome == BucketAnswer::Outcome::Refused)
    {
        err << fmt::format("lighting-host: there is a house {} already\n", m_options.id);
        return 1;
    }
    RequireWritten(answer);
    return 0;
}

int FleetCommand::Remove(FleetBus& bus, std::ostream& err) const
{
    const auto bucket = bus.OpenBucket(FleetBuckets::HOUSES, 0);
    const BucketEntry there = bucket->Get(m_options.id);
    if (there.revision == 0 || there.removed)
    {
        err << fmt::format("lighting-host: there is no house {}\n", m_options.id);
        return 1;
    }
    RequireWritten(RemoveAndWait(*bucket, m_options.id, there.revision, WAIT_MS));
    return 0;
}

int FleetCommand::List(FleetBus& bus, std::ostream& out) const
{
    const auto houses = bus.OpenBucket(FleetBuckets::HOUSES, 0);
    const auto leases = bus.OpenBucket(FleetBuckets::LEASES, FleetBuckets::LEASE_TTL_MS);
    std::map<std::string, BucketEntry> held;
    for (BucketEntry& lease : leases->All())
        held[lease.key] = std::move(lease);
    for (const BucketEntry& house : houses->All())
    {
        const auto lease = held.find(house.key);
        if (lease == held.end())
        {
            out << FleetListLine(house.key, {}, 0) << '\n';
            continue;
        }
        const FleetLeaseEntry entry = ReadFleetLease(lease->second.value);
        out << FleetListLine(house.key, entry,
                             entry.token == 0 ? lease->second.revision : entry.token)
            << '\n';
    }
    return 0;
}

int FleetCommand::Work(std::ostream& err) const
{
    const StopSignals signals;
    FleetLoop loop;
    const FleetTell tell = FleetTellOn(err);
    // Before the loop ends: what it still posts is not run any more.
    NatsFleetBus bus(BusOptions(m_options, loop.Telling(tell)));
    FleetWorker::Options options;
    options.name = m_options.name;
    options.room = m_options.room;
    options.run = std::to_string(std::random_device()());
    options.post = [&loop](std::function<void()> work)
    {
        loop.Post(std::move(work));
    };
    options.tell = tell;
    FleetWorker worker(bus, options);
    FleetTrials trials(bus, {options.name, options.post, tell});
    tell(fmt::format("{} works, with room for {} houses (Ctrl-C ends it)", m_options.name,
                     m_options.room));
    loop.Run(
        [&]
        {
            const std::int64_t nowMs = MonotonicNs() / 1000000;
            const std::int64_t nextMs = worker.Work(nowMs);
            return std::min(nextMs, trials.Work(nowMs));
        },
        [&]
        {
            trials.Leave();
            worker.Leave();
        },
        [&worker] { return worker.HasLeft(); });
    if (!worker.HasLeft())
        throw FleetError("not every house could be handed over");
    tell("ended: every house was handed over");
    return 0;
}

int FleetCommand::Edge(std::ostream& out, std::ostream& err) const
{
    const StopSignals signals;
    FleetLoop loop;
    const FleetTell tell = FleetTellOn(err);
    NatsFleetBus bus(BusOptions(m_options, loop.Telling(tell)));
    std::uint64_t largest = 0;
    const auto leases = bus.OpenBucket(FleetBuckets::LEASES, FleetBuckets::LEASE_TTL_MS);
    // An edge that begins anew does not begin with an owner of before.
    if (const BucketEntry lease = leases->Get(m_options.id); lease.revision != 0 && !lease.removed)
    {
        const std::uint64_t token = ReadFleetLease(lease.value).token;
        largest = token == 0 ? lease.revision : token;
    }
    const auto onLine = [&](const FleetMessage& message)
    {
        if (message.token < largest || message.token == 0)
            return tell(
                fmt::format("dropped a line with token {}, after {}", message.token, largest));
        largest = message.token;
        out << FleetEdgeLine(message.token, message.payload) << std::endl;
    };
    const auto subscription = bus.Subscribe(fmt::format("houses.{}.out", m_options.id),
                                            [&loop, &onLine](const FleetMessage& message) {
                                                loop.Post([&onLine, message] { onLine(message); });
                                            });
    tell(fmt::format("the lines of {} with a token of {} or more come through", m_options.id,
                     largest));
    loop.Run(
        [&out]
        {
            if (!out.good())
                throw FleetError("nobody hears the lines any more");
            return MonotonicNs() / 1000000 + 1000;
        },
        [] {}, [] { return true; });
    return 0;
}

int FleetCommand::Soak(FleetBus& bus, std::ostream& out, std::ostream& err) const
{
    FleetSoak::Options options;
    FleetSoakEntry& soak = options.soak;
    soak.run = fmt::format("{:08x}", std::random_device()());
    soak.library = AbsolutePath(m_options.library);
    soak.type = m_options.type.empty() ? TypeOfLibrary(soak.library) : m_options.type;
    soak.house = AbsolutePath(m_options.house);
    soak.device = m_options.device;
    soak.houses = m_options.houses;
    soak.forMs = m_options.days * MS_IN_DAY;
    soak.seed = m_options.seed;
    soak.seedStep = m_options.days * SEEDS_A_DAY;
    options.to = m_options.to;
    options.terminal = isatty(STDERR_FILENO) != 0;
    if (soak.type.empty())
        throw FleetError("say what the driver's type is with --type TYPE");
    if (!std::filesystem::is_directory(options.to))
        throw FleetError(fmt::format("{}: there is no such folder", options.to));
    for (const std::string& path : {soak.library, soak.house})
        if (!path.empty() && !std::filesystem::exists(path))
            throw FleetError(fmt::format("{}: there is no such file", path));
    const StopSignals signals;
    if (bus.OpenBucket(FleetBuckets::WORKERS, FleetBuckets::LEASE_TTL_MS)->All().empty())
        err << "lighting-host: no worker is there; the houses wait for one\n" << std::flush;
    return FleetSoak(bus, options, out, err).Run();
}
} // namespace lighting_host
