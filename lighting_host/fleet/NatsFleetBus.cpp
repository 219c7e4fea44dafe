#include "lighting_host/fleet/NatsFleetBus.h"

#include "lighting_host/text/Json.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <nats/nats.h>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::int64_t WAIT_MS = 2000;
// Shorter than a lease: whoever waits for one key has houses to renew.
constexpr std::int64_t GET_WAIT_MS = 600;
constexpr std::size_t REPLICAS = 3;
constexpr const char* TOKEN_HEADER = "Lease-Token";
constexpr const char* EXPECTED_HEADER = "Nats-Expected-Last-Subject-Sequence";
constexpr const char* OPERATION_HEADER = "KV-Operation";
constexpr const char* REMOVED = "DEL";
// What JetStream answers when another revision stands there (wire value).
constexpr int WRONG_LAST_SEQUENCE = 10071;
// Answers that never came are forgotten, the oldest first.
constexpr std::size_t MOST_AWAITED = 50000;

template <class Thing, void (*Destroy)(Thing*)>
struct Destroyer
{
    void operator()(Thing* thing) const { Destroy(thing); }
};
template <class Thing, void (*Destroy)(Thing*)>
using Held = std::unique_ptr<Thing, Destroyer<Thing, Destroy>>;
using Message = Held<natsMsg, natsMsg_Destroy>;
using Entry = Held<kvEntry, kvEntry_Destroy>;
using Store = Held<kvStore, kvStore_Destroy>;

std::string TextOf(natsStatus status)
{
    return natsStatus_GetText(status);
}

void Require(natsStatus status, const std::string& what)
{
    if (status == NATS_OK)
        return;
    natsStatus last = NATS_OK;
    const char* const more = nats_GetLastError(&last);
    throw FleetError(fmt::format("{}: {}{}{}", what, TextOf(status), more && *more ? ": " : "",
                                 more ? more : ""));
}

std::string PayloadOf(natsMsg* message)
{
    return {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))};
}

std::string HeaderOf(natsMsg* message, const char* name)
{
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK && value ? value : "";
}

BucketAnswer UnknownBecause(const std::string& why)
{
    return {BucketAnswer::Outcome::Unknown, 0, why};
}

// What JetStream says to a write.
BucketAnswer ReadAnswer(natsMsg* message)
try
{
    const std::string text = PayloadOf(message);
    if (text.empty())
        return UnknownBecause("no server keeps the bucket now");
    const Json answer = ParseJson(text);
    if (const auto error = answer.find("error"); error != answer.end())
    {
        const std::string why = error->value("description", std::string());
        return error->value("err_code", 0) == WRONG_LAST_SEQUENCE
                   ? BucketAnswer{BucketAnswer::Outcome::Refused, 0, why}
                   : UnknownBecause(why);
    }
    return {BucketAnswer::Outcome::Written, answer.at("seq").get<std::uint64_t>(), ""};
}
catch (const std::exception& error)
{
    return UnknownBecause(error.what());
}

// What a subscription's callback uses, for as long as it may be called.
template <class Heard>
struct Hearer
{
    std::function<void(Heard)> handler;
    // Recursive: a handler may end its own subscription.
    std::recursive_mutex mutex;
    bool ended = false;
};

// A subscription of the library with its handler, which is not running any more when this is gone.
template <class Heard>
class Listening
{
public:
    explicit Listening(std::function<void(Heard)> handler)
        : m_hearer(std::make_shared<Hearer<Heard>>())
    {
        m_hearer->handler = std::move(handler);
    }
    ~Listening()
    {
        const std::lock_guard<std::recursive_mutex> lock(m_hearer->mutex);
        m_hearer->ended = true;
        natsSubscription_Destroy(m_subscription);
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    // What the callback is to be given. It goes when the library has called it for the last time.
    void* Closure() { return m_closure = new std::shared_ptr<Hearer<Heard>>(m_hearer); }

    // The library has subscribed, or not.
    void Begin(natsStatus status, natsSubscription* subscription, const std::string& what)
    {
        if (status != NATS_OK)
            LetGo(m_closure);
        Require(status, what);
        m_subscription = subscription;
        natsSubscription_SetOnCompleteCB(subscription, LetGo, m_closure);
    }

    static void Hear(void* closure, Heard heard)
    {
        const auto hearer = *static_cast<std::shared_ptr<Hearer<Heard>>*>(closure);
        const std::lock_guard<std::recursive_mutex> lock(hearer->mutex);
        if (!hearer->ended)
            hearer->handler(heard);
    }

private:
    static void LetGo(void* closure)
    {
        delete static_cast<std::shared_ptr<Hearer<Heard>>*>(closure);
    }

    std::shared_ptr<Hearer<Heard>> m_hearer;
    void* m_closure = nullptr;
    natsSubscription* m_subscription = nullptr;
};

// Who is told of a connection, until `End`. The library may tell a little longer: it has a pointer
// of its own, which goes when it has closed the connection.
class ConnectionTold
{
public:
    explicit ConnectionTold(std::function<void(const std::string&)> tell) : m_tell(std::move(tell))
    {
    }
    void End()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_tell = nullptr;
    }

    using Held = std::shared_ptr<ConnectionTold>;
    static void OnLost(natsConnection*, void* told)
    {
        (*static_cast<Held*>(told))->Tell("the connection to NATS is gone; it is tried again");
    }
    static void OnBack(natsConnection*, void* told)
    {
        (*static_cast<Held*>(told))->Tell("NATS is connected again");
    }
    static void OnClosed(natsConnection*, void* told) { delete static_cast<Held*>(told); }

private:
    void Tell(const std::string& what)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_tell)
            m_tell(what);
    }

    std::mutex m_mutex;
    std::function<void(const std::string&)> m_tell;
};
} // namespace

class NatsFleetBus::Link
{
public:
    explicit Link(NatsOptions options)
        : m_options(std::move(options)), m_told(std::make_shared<ConnectionTold>(m_options.tell))
    {
    }

    ~Link()
    {
        m_told->End();
        m_answers.reset();
        jsCtx_Destroy(m_stream);
        if (m_connection)
            natsConnection_Destroy(m_connection);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    void Connect();
    void Write(const std::string& subject, const std::string& value, std::uint64_t expected,
               bool remove, Bucket::Done done);

    natsConnection* Connection() const { return m_connection; }
    jsCtx* Stream() const { return m_stream; }

private:
    void OnAnswer(natsMsg* message);
    Bucket::Done Take(std::uint64_t number);

    const NatsOptions m_options;
    const ConnectionTold::Held m_told;
    natsConnection* m_connection = nullptr;
    jsCtx* m_stream = nullptr;
    std::unique_ptr<Listening<natsMsg*>> m_answers;
    std::string m_inbox;
    std::mutex m_mutex;
    std::uint64_t m_lastNumber = 0;
    std::map<std::uint64_t, Bucket::Done> m_awaited;
};

void NatsFleetBus::Link::Connect()
{
    Held<natsOptions, natsOptions_Destroy> held;
    natsOptions* options = nullptr;
    Require(natsOptions_Create(&options), "NATS");
    held.reset(options);
    std::vector<const char*> urls;
    for (const std::string& url : m_options.urls)
        urls.push_back(url.c_str());
    Require(natsOptions_SetServers(options, urls.data(), static_cast<int>(urls.size())),
            "the servers of NATS");
    natsOptions_SetName(options, m_options.name.c_str());
    natsOptions_SetTimeout(options, WAIT_MS);
    natsOptions_SetMaxReconnect(options, -1);
    natsOptions_SetReconnectWait(options, 200);
    natsOptions_SetPingInterval(options, 1000);
    natsOptions_SetMaxPingsOut(options, 2);
    // Else every subscription has a thread.
    natsOptions_UseGlobalMessageDelivery(options, true);
    if (!m_options.credentialsFile.empty())
        Require(natsOptions_SetUserCredentialsFromFiles(options, m_options.credentialsFile.c_str(),
                                                        nullptr),
                m_options.credentialsFile);
    auto told = std::make_unique<ConnectionTold::Held>(m_told);
    natsOptions_SetDisconnectedCB(options, ConnectionTold::OnLost, told.get());
    natsOptions_SetReconnectedCB(options, ConnectionTold::OnBack, told.get());
    natsOptions_SetClosedCB(options, ConnectionTold::OnClosed, told.get());
    Require(natsConnection_Connect(&m_connection, options), "NATS cannot be reached");
    // From now on the connection's own.
    static_cast<void>(told.release());
    jsOptions streamOptions;
    jsOptions_Init(&streamOptions);
    streamOptions.Wait = WAIT_MS;
    Require(natsConnection_JetStream(&m_stream, m_connection, &streamOptions), "JetStream");
    natsInbox* inbox = nullptr;
    Require(natsInbox_Create(&inbox), "NATS");
    m_inbox = inbox;
    natsInbox_Destroy(inbox);
    m_answers =
        std::make_unique<Listening<natsMsg*>>([this](natsMsg* message) { OnAnswer(message); });
    const auto onMessage = [](natsConnection*, natsSubscription*, natsMsg* message, void* closure)
    {
        const Message held(message);
        Listening<natsMsg*>::Hear(closure, message);
    };
    natsSubscription* answers = nullptr;
    const natsStatus status = natsConnection_Subscribe(
        &answers, m_connection, (m_inbox + ".*").c_str(), onMessage, m_answers->Closure());
    m_answers->Begin(status, answers, "NATS");
}

void NatsFleetBus::Link::OnAnswer(natsMsg* message)
{
    const std::string subject = natsMsg_GetSubject(message);
    const std::uint64_t number =
        std::strtoull(subject.c_str() + subject.rfind('.') + 1, nullptr, 10);
    if (const Bucket::Done done = Take(number))
        done(ReadAnswer(message));
}

Bucket::Done NatsFleetBus::Link::Take(std::uint64_t number)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_awaited.find(number);
    if (found == m_awaited.end())
        return nullptr;
    Bucket::Done done = std::move(found->second);
    m_awaited.erase(found);
    return done;
}

void NatsFleetBus::Link::Write(const std::string& subject, const std::string& value,
                               std::uint64_t expected, bool remove, Bucket::Done done)
{
    std::uint64_t number = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        number = ++m_lastNumber;
        m_awaited[number] = std::move(done);
        if (m_awaited.size() > MOST_AWAITED)
            m_awaited.erase(m_awaited.begin());
    }
    natsMsg* message = nullptr;
    natsStatus status =
        natsMsg_Create(&message, subject.c_str(), fmt::format("{}.{}", m_inbox, number).c_str(),
                       value.data(), static_cast<int>(value.size()));
    const Message held(message);
    if (status == NATS_OK)
        status = natsMsgHeader_Set(message, EXPECTED_HEADER, std::to_string(expected).c_str());
    if (status == NATS_OK && remove)
        status = natsMsgHeader_Set(message, OPERATION_HEADER, REMOVED);
    // While there is no connection it would leave later, when nobody wants it any more.
    if (status == NATS_OK && natsConnection_Status(m_connection) != NATS_CONN_STATUS_CONNECTED)
        status = NATS_CONNECTION_DISCONNECTED;
    if (status == NATS_OK)
        status = natsConnection_PublishMsg(m_connection, message);
    if (status == NATS_OK)
        return;
    if (const Bucket::Done failed = Take(number))
        failed(UnknownBecause(TextOf(status)));
}

namespace
{
class NatsSubscription : public FleetBus::Subscription
{
public:
    NatsSubscription(std::shared_ptr<NatsFleetBus::Link> link, const std::string& subject,
                     FleetBus::Handler handler)
        : m_link(std::move(link)), m_listening(std::move(handler))
    {
        natsSubscription* subscription = nullptr;
        const natsStatus status = natsConnection_Subscribe(
            &subscription, m_link->Connection(), subject.c_str(), OnMessage, m_listening.Closure());
        m_listening.Begin(status, subscription, subject);
        // What is published from now on is heard.
        natsConnection_FlushTimeout(m_link->Connection(), WAIT_MS);
    }

private:
    static void OnMessage(natsConnection*, natsSubscription*, natsMsg* message, void* closure)
    {
        const Message held(message);
        FleetMessage heard;
        heard.subject = natsMsg_GetSubject(message);
        heard.payload = PayloadOf(message);
        heard.token = std::strtoull(HeaderOf(message, TOKEN_HEADER).c_str(), nullptr, 10);
        Listening<const FleetMessage&>::Hear(closure, heard);
    }

    std::shared_ptr<NatsFleetBus::Link> m_link;
    Listening<const FleetMessage&> m_listening;
};

class NatsBucket : public Bucket
{
public:
    NatsBucket(std::shared_ptr<NatsFleetBus::Link> link, std::string name, Store store)
        : m_link(std::move(link)), m_name(std::move(name)), m_store(std::move(store))
    {
    }

    void Write(const std::string& key, const std::string& value, std::uint64_t expected,
               Done done) override
    {
        m_link->Write(SubjectOf(key), value, expected, false, std::move(done));
    }

    void Remove(const std::string& key, std::uint64_t expected, Done done) override
    {
        m_link->Write(SubjectOf(key), "", expected, true, std::move(done));
    }

    BucketEntry Get(const std::string& key) override;
    std::vector<BucketEntry> All() override;
    void Watch(Watcher watcher) override;

private:
    std::string SubjectOf(const std::string& key) const
    {
        return fmt::format("$KV.{}.{}", m_name, key);
    }
    static void OnChange(natsConnection*, natsSubscription*, natsMsg* message, void* closure);

    std::shared_ptr<NatsFleetBus::Link> m_link;
    const std::string m_name;
    Store m_store;
    std::unique_ptr<Listening<const BucketEntry&>> m_watch;
};

BucketEntry NatsBucket::Get(const std::string& key)
{
    // The library hides removals, which have a revision that matters here: the message itself.
    natsMsg* found = nullptr;
    jsOptions wait;
    jsOptions_Init(&wait);
    wait.Wait = GET_WAIT_MS;
    jsErrCode code{};
    const natsStatus status = js_GetLastMsg(&found, m_link->Stream(), ("KV_" + m_name).c_str(),
                                            SubjectOf(key).c_str(), &wait, &code);
    const Message held(found);
    BucketEntry entry;
    entry.key = key;
    if (status == NATS_NOT_FOUND)
        return entry;
    Require(status, fmt::format("{} of the bucket {}", key, m_name));
    entry.removed = !HeaderOf(found, OPERATION_HEADER).empty();
    entry.value = PayloadOf(found);
    entry.revision = natsMsg_GetSequence(found);
    return entry;
}

std::vector<BucketEntry> NatsBucket::All()
{
    const std::string what = "the bucket " + m_name;
    kvWatchOptions options;
    kvWatchOptions_Init(&options);
    options.IgnoreDeletes = true;
    kvWatcher* watcher = nullptr;
    Require(kvStore_WatchAll(&watcher, m_store.get(), &options), what);
    const Held<kvWatcher, kvWatcher_Destroy> held(watcher);
    std::map<std::string, BucketEntry> all;
    while (true)
    {
        kvEntry* next = nullptr;
        Require(kvWatcher_Next(&next, watcher, WAIT_MS), what);
        const Entry entry(next);
        // All that there is was told.
        if (!entry)
            break;
        BucketEntry& mine = all[kvEntry_Key(next)];
        mine.key = kvEntry_Key(next);
        mine.value.assign(static_cast<const char*>(kvEntry_Value(next)),
                          static_cast<std::size_t>(kvEntry_ValueLen(next)));
        mine.revision = kvEntry_Revision(next);
    }
    std::vector<BucketEntry> list;
    list.reserve(all.size());
    for (auto& entry : all)
        list.push_back(std::move(entry.second));
    return list;
}

void NatsBucket::OnChange(natsConnection*, natsSubscription*, natsMsg* message, void* closure)
{
    const Message held(message);
    const std::string subject = natsMsg_GetSubject(message);
    BucketEntry entry;
    entry.key = subject.substr(subject.rfind('.') + 1);
    entry.removed = !HeaderOf(message, OPERATION_HEADER).empty();
    entry.value = PayloadOf(message);
    jsMsgMetaData* about = nullptr;
    if (natsMsg_GetMetaData(&about, message) != NATS_OK)
        return;
    entry.revision = about->Sequence.Stream;
    jsMsgMetaData_Destroy(about);
    Listening<const BucketEntry&>::Hear(closure, entry);
}

void NatsBucket::Watch(Watcher watcher)
{
    m_watch = std::make_unique<Listening<const BucketEntry&>>(std::move(watcher));
    jsSubOptions options;
    jsSubOptions_Init(&options);
    // Begins anew by itself where it was when a server goes.
    options.Ordered = true;
    options.Config.DeliverPolicy = js_DeliverLastPerSubject;
    natsSubscription* subscription = nullptr;
    jsErrCode code{};
    const natsStatus status = js_Subscribe(&subscription, m_link->Stream(), SubjectOf(">").c_str(),
                                           OnChange, m_watch->Closure(), nullptr, &options, &code);
    m_watch->Begin(status, subscription, "the bucket " + m_name);
}
} // namespace

std::string ParseNatsUrls(const std::string& text, std::vector<std::string>& urls)
{
    static const std::string SCHEME = "nats://";
    urls.clear();
    std::size_t begin = 0;
    while (begin <= text.size())
    {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string url = text.substr(begin, end - begin);
        if (url.compare(0, SCHEME.size(), SCHEME) != 0 || url.size() == SCHEME.size() ||
            url.find_first_of(" @/\t", SCHEME.size()) != std::string::npos)
            return fmt::format("\"{}\" is no nats://HOST[:PORT]", url);
        urls.push_back(url);
        begin = end + 1;
    }
    return "";
}

NatsFleetBus::NatsFleetBus(const NatsOptions& options)
    : m_link(std::make_shared<Link>(options)),
      m_replicas(options.urls.size() >= REPLICAS ? static_cast<int>(REPLICAS) : 1)
{
    m_link->Connect();
}

NatsFleetBus::~NatsFleetBus() = default;

std::unique_ptr<Bucket> NatsFleetBus::OpenBucket(const std::string& name, std::int64_t ttlMs)
{
    kvStore* store = nullptr;
    if (js_KeyValue(&store, m_link->Stream(), name.c_str()) != NATS_OK)
    {
        kvConfig config;
        kvConfig_Init(&config);
        config.Bucket = name.c_str();
        config.History = 1;
        config.TTL = ttlMs * 1000000;
        config.Replicas = m_replicas;
        Require(js_CreateKeyValue(&store, m_link->Stream(), &config), "the bucket " + name);
    }
    return std::make_unique<NatsBucket>(m_link, name, Store(store));
}

bool NatsFleetBus::Publish(const FleetMessage& message)
{
    if (!IsConnected())
        return false;
    natsMsg* made = nullptr;
    if (natsMsg_Create(&made, message.subject.c_str(), nullptr, message.payload.data(),
                       static_cast<int>(message.payload.size())) != NATS_OK)
        return false;
    const Message held(made);
    if (message.token != 0 &&
        natsMsgHeader_Set(made, TOKEN_HEADER, std::to_string(message.token).c_str()) != NATS_OK)
        return false;
    return natsConnection_PublishMsg(m_link->Connection(), made) == NATS_OK;
}

std::unique_ptr<FleetBus::Subscription> NatsFleetBus::Subscribe(const std::string& subject,
                                                                Handler handler)
{
    return std::make_unique<NatsSubscription>(m_link, subject, std::move(handler));
}

bool NatsFleetBus::IsConnected() const
{
    return natsConnection_Status(m_link->Connection()) == NATS_CONN_STATUS_CONNECTED;
}
} // namespace lighting_host
