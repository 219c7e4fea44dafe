#include "lighting_host/broker/MosquittoBroker.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <mutex>
#include <random>
#include <thread>
#include <unordered_map>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

constexpr int LOOP_MS = 200;
constexpr milliseconds FAREWELL{1000};
constexpr milliseconds FAREWELL_STEP{5};
// Messages that came and wait for the house's thread, at most.
constexpr int MOST_ARRIVED = 10000;
constexpr const char* SYSTEM_CERTIFICATES = "/etc/ssl/certs";
// What a broker answers that does not know our version: before MQTT 5, and since.
constexpr int REFUSED_VERSION_BEFORE_5 = 1;

void InitLibraryOnce()
{
    static const int done = mosquitto_lib_init();
    (void)done;
}

// Properties of a message, freed at the end.
class Properties
{
public:
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&m_list); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    void AddNumber(int id, std::uint32_t value)
    {
        mosquitto_property_add_int32(&m_list, id, value);
    }
    void AddBinary(int id, const std::string& value)
    {
        mosquitto_property_add_binary(&m_list, id, value.data(),
                                      static_cast<std::uint16_t>(value.size()));
    }
    const mosquitto_property* List() const { return m_list; }

private:
    mosquitto_property* m_list = nullptr;
};

std::string TextProperty(const mosquitto_property* properties, int id)
{
    char* text = nullptr;
    if (!mosquitto_property_read_string(properties, id, &text, false) || !text)
        return std::string();
    std::string copy = text;
    std::free(text);
    return copy;
}

std::string BinaryProperty(const mosquitto_property* properties, int id)
{
    void* data = nullptr;
    std::uint16_t length = 0;
    if (!mosquitto_property_read_binary(properties, id, &data, &length, false) || !data)
        return std::string();
    std::string copy(static_cast<const char*>(data), length);
    std::free(data);
    return copy;
}
} // namespace

// What the house's thread and the connection's thread share.
class MosquittoBroker::Connection : public std::enable_shared_from_this<Connection>
{
public:
    Connection(BrokerAddress address, Post post, Pace pace)
        : m_address(std::move(address)), m_post(std::move(post)), m_pace(pace),
          m_version(m_address.version == BrokerAddress::Version::Three ? MQTT_PROTOCOL_V311
                                                                       : MQTT_PROTOCOL_V5)
    {
        InitLibraryOnce();
    }

    // --- The house's thread ---

    void SetWill(const BrokerPublication& will) { m_will = will; }

    void Start(BrokerListener& listener)
    {
        m_listener = &listener;
        m_state = State::Connecting;
        m_thread = std::thread([self = shared_from_this()] { self->KeepUp(); });
    }

    bool Subscribe(const std::string& filter)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_handle && m_state == State::Connected &&
               mosquitto_subscribe(m_handle, nullptr, filter.c_str(), 1) == MOSQ_ERR_SUCCESS;
    }

    bool Publish(const BrokerPublication& publication)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_handle || m_state != State::Connected || m_waiting >= MOST_WAITING ||
            m_waitingBytes + publication.payload.size() > MOST_WAITING_BYTES)
            return false;
        Properties properties;
        if (!publication.correlation.empty() && m_version == MQTT_PROTOCOL_V5)
            properties.AddBinary(MQTT_PROP_CORRELATION_DATA, publication.correlation);
        int id = 0;
        // Counted first: the other thread may be done with it before this call returns.
        const std::lock_guard<std::mutex> sizesLock(m_sizesMutex);
        const int result = mosquitto_publish_v5(
            m_handle, &id, publication.topic.c_str(), static_cast<int>(publication.payload.size()),
            publication.payload.data(), publication.confirmed ? 1 : 0, publication.retained,
            properties.List());
        if (result != MOSQ_ERR_SUCCESS)
            return false;
        ++m_waiting;
        m_waitingBytes += publication.payload.size();
        m_sizes[id] = publication.payload.size();
        return true;
    }

    State GetState() const { return m_state; }
    unsigned long Dropped() const { return m_dropped; }

    void Stop()
    {
        m_listener = nullptr;
        if (!m_thread.joinable())
            return;
        {
            const std::lock_guard<std::mutex> lock(m_postMutex);
            m_post = nullptr;
        }
        const SteadyClock::time_point end = SteadyClock::now() + FAREWELL;
        std::unique_lock<std::mutex> lock(m_mutex);
        // Looked at again and again: what leaves is told without the lock.
        while (m_state == State::Connected && m_waiting != 0 && SteadyClock::now() < end)
            m_wake.wait_for(lock, FAREWELL_STEP);
        m_stopping = true;
        m_wake.notify_all();
        const bool ended = m_wake.wait_until(lock, end + FAREWELL, [this] { return m_ended; });
        lock.unlock();
        // A thread that waits for a name or a network ends by itself; it holds what it needs.
        if (ended)
            m_thread.join();
        else
            m_thread.detach();
        m_state = State::Off;
    }

private:
    // --- The connection's thread ---

    void KeepUp()
    {
        while (!IsStopping())
        {
            Connect();
            if (IsStopping())
                break;
            Tell(m_why);
            Pause();
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ended = true;
        m_wake.notify_all();
    }

    bool IsStopping()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_stopping;
    }

    // One connection from its beginning to its end; m_why then says why it ended.
    void Connect()
    {
        mosquitto* const handle = MakeHandle();
        if (!handle)
            return;
        m_answered = false;
        m_refusal = 0;
        const SteadyClock::time_point deadline = SteadyClock::now() + m_pace.answer;
        const int result = OpenSocket(handle);
        if (result != MOSQ_ERR_SUCCESS)
            m_why = Words(result);
        else
        {
            SetHandle(handle);
            Loop(handle, deadline);
            SetHandle(nullptr);
        }
        mosquitto_destroy(handle);
        Forget();
    }

    mosquitto* MakeHandle()
    {
        mosquitto* const handle = mosquitto_new(m_address.clientId.c_str(), true, this);
        if (!handle)
        {
            m_why = fmt::format("\"{}\" is no client id", m_address.clientId);
            return nullptr;
        }
        mosquitto_threaded_set(handle, true);
        mosquitto_int_option(handle, MOSQ_OPT_PROTOCOL_VERSION, m_version);
        // An event must not wait for the broker's word on the one before.
        mosquitto_int_option(handle, MOSQ_OPT_TCP_NODELAY, 1);
        mosquitto_connect_v5_callback_set(handle, &Connection::OnConnect);
        mosquitto_disconnect_callback_set(handle, &Connection::OnDisconnect);
        mosquitto_message_v5_callback_set(handle, &Connection::OnMessage);
        mosquitto_publish_callback_set(handle, &Connection::OnPublished);
        int result = MOSQ_ERR_SUCCESS;
        if (!m_address.user.empty())
            result = mosquitto_username_pw_set(handle, m_address.user.c_str(),
                                               m_address.password.c_str());
        if (result == MOSQ_ERR_SUCCESS && m_address.encrypted)
            result = SetEncryption(handle);
        if (result == MOSQ_ERR_SUCCESS && !m_will.topic.empty())
            result = mosquitto_will_set(handle, m_will.topic.c_str(),
                                        static_cast<int>(m_will.payload.size()),
                                        m_will.payload.data(), 1, m_will.retained);
        if (result == MOSQ_ERR_SUCCESS)
            return handle;
        m_why = Words(result);
        mosquitto_destroy(handle);
        return nullptr;
    }

    int SetEncryption(mosquitto* handle) const
    {
        const auto orNull = [](const std::string& path)
        {
            return path.empty() ? nullptr : path.c_str();
        };
        return mosquitto_tls_set(handle, orNull(m_address.caFile),
                                 m_address.caFile.empty() ? SYSTEM_CERTIFICATES : nullptr,
                                 orNull(m_address.certificateFile), orNull(m_address.keyFile),
                                 nullptr);
    }

    int OpenSocket(mosquitto* handle) const
    {
        Properties properties;
        if (m_version == MQTT_PROTOCOL_V5)
            properties.AddNumber(MQTT_PROP_MAXIMUM_PACKET_SIZE,
                                 static_cast<std::uint32_t>(2 * m_address.mostPayload));
        return mosquitto_connect_bind_v5(handle, m_address.host.c_str(), m_address.port,
                                         m_address.keepAliveSeconds, nullptr, properties.List());
    }

    void Loop(mosquitto* handle, SteadyClock::time_point deadline)
    {
        m_why = "the broker closed the connection";
        int result = MOSQ_ERR_SUCCESS;
        while (result == MOSQ_ERR_SUCCESS && m_refusal == 0 && !IsStopping())
        {
            result = mosquitto_loop(handle, LOOP_MS, 1);
            if (!m_answered && SteadyClock::now() > deadline)
            {
                m_why = "the broker does not answer";
                return;
            }
        }
        if (IsStopping())
        {
            mosquitto_disconnect(handle);
            mosquitto_loop(handle, LOOP_MS, 1);
            return;
        }
        const bool isVersion = m_refusal == REFUSED_VERSION_BEFORE_5 ||
                               m_refusal == MQTT_RC_UNSUPPORTED_PROTOCOL_VERSION;
        if (m_refusal != 0)
            m_why = m_version == MQTT_PROTOCOL_V5 ? mosquitto_reason_string(m_refusal)
                                                  : mosquitto_connack_string(m_refusal);
        else if (result != MOSQ_ERR_SUCCESS && result != MOSQ_ERR_CONN_LOST)
            m_why = Words(result);
        // Some brokers that do not know MQTT 5 just close the connection.
        if (isVersion || (!m_answered && m_refusal == 0))
            OtherVersion();
        else if (m_answered && m_address.version == BrokerAddress::Version::Best)
            m_version = MQTT_PROTOCOL_V5; // it may be another broker next time
    }

    void OtherVersion()
    {
        if (m_address.version != BrokerAddress::Version::Best)
            return;
        m_version = m_version == MQTT_PROTOCOL_V5 ? MQTT_PROTOCOL_V311 : MQTT_PROTOCOL_V5;
        // The first step down costs no wait.
        m_atOnce = m_version == MQTT_PROTOCOL_V311;
    }

    static std::string Words(int result)
    {
        return result == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(result);
    }

    void SetHandle(mosquitto* handle)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_handle = handle;
        if (!handle)
            m_state = State::Connecting;
    }

    // What the lost connection had not confirmed.
    void Forget()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const std::lock_guard<std::mutex> sizesLock(m_sizesMutex);
        m_sizes.clear();
        m_waiting = 0;
        m_waitingBytes = 0;
        m_wake.notify_all();
    }

    void Pause()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_answered)
            m_retry = m_pace.firstRetry;
        if (m_atOnce)
        {
            m_atOnce = false;
            return;
        }
        std::uniform_int_distribution<long long> chance(m_retry.count() / 2, m_retry.count());
        m_wake.wait_for(lock, milliseconds(chance(m_random)), [this] { return m_stopping; });
        m_retry = std::min(m_retry * 2, m_pace.lastRetry);
    }

    // --- To the house's thread ---

    // What is posted runs there; by then the listener may be gone.
    void ToHouse(std::function<void(BrokerListener&)> tell)
    {
        // After Stop there may be nobody any more to run it.
        const std::lock_guard<std::mutex> lock(m_postMutex);
        if (!m_post)
            return;
        m_post(
            [self = shared_from_this(), tell = std::move(tell)]
            {
                if (self->m_listener)
                    tell(*self->m_listener);
            });
    }

    void Tell(const std::string& why)
    {
        ToHouse([why](BrokerListener& listener) { listener.OnBrokerLost(why); });
    }

    // --- What libmosquitto calls, in its loop ---

    static Connection& Of(void* self) { return *static_cast<Connection*>(self); }

    static void OnConnect(mosquitto*, void* self, int reason, int, const mosquitto_property*)
    {
        Connection& connection = Of(self);
        connection.m_refusal = reason;
        if (reason != 0)
            return;
        connection.m_answered = true;
        connection.m_state = State::Connected;
        connection.ToHouse([](BrokerListener& listener) { listener.OnBrokerConnected(); });
    }

    static void OnDisconnect(mosquitto*, void* self, int) { Of(self).m_state = State::Connecting; }

    static void OnPublished(mosquitto*, void* self, int id)
    {
        Connection& connection = Of(self);
        const std::lock_guard<std::mutex> lock(connection.m_sizesMutex);
        const auto found = connection.m_sizes.find(id);
        if (found == connection.m_sizes.end())
            return;
        --connection.m_waiting;
        connection.m_waitingBytes -= found->second;
        connection.m_sizes.erase(found);
        if (connection.m_waiting == 0)
            connection.m_wake.notify_all();
    }

    static void OnMessage(mosquitto*, void* self, const mosquitto_message* came,
                          const mosquitto_property* properties)
    {
        Connection& connection = Of(self);
        if (came->payloadlen < 0 ||
            static_cast<std::size_t>(came->payloadlen) > connection.m_address.mostPayload ||
            connection.m_arrived >= MOST_ARRIVED)
        {
            ++connection.m_dropped;
            return;
        }
        BrokerMessage message;
        message.topic = came->topic;
        if (came->payloadlen > 0)
            message.payload.assign(static_cast<const char*>(came->payload),
                                   static_cast<std::size_t>(came->payloadlen));
        message.retained = came->retain;
        message.responseTopic = TextProperty(properties, MQTT_PROP_RESPONSE_TOPIC);
        message.correlation = BinaryProperty(properties, MQTT_PROP_CORRELATION_DATA);
        ++connection.m_arrived;
        connection.ToHouse(
            [&connection, message = std::move(message)](BrokerListener& listener)
            {
                --connection.m_arrived;
                listener.OnBrokerMessage(message);
            });
    }

    const BrokerAddress m_address;
    // Guards m_post, which is empty after Stop.
    std::mutex m_postMutex;
    Post m_post;
    const Pace m_pace;
    BrokerPublication m_will;
    std::thread m_thread;
    // The house's thread alone.
    BrokerListener* m_listener = nullptr;

    // Guards m_handle, m_stopping and m_ended.
    std::mutex m_mutex;
    std::condition_variable m_wake;
    // Null without a connection.
    mosquitto* m_handle = nullptr;
    bool m_stopping = false;
    bool m_ended = false;

    std::atomic<State> m_state{State::Off};
    std::atomic<int> m_version;
    std::atomic<unsigned long> m_dropped{0};
    std::atomic<int> m_arrived{0};

    // Guards m_sizes. Taken after m_mutex where both are.
    std::mutex m_sizesMutex;
    // How large the messages are that wait to leave, by their ids.
    std::unordered_map<int, std::size_t> m_sizes;
    std::atomic<std::size_t> m_waiting{0};
    std::atomic<std::size_t> m_waitingBytes{0};

    // The connection's thread alone.
    std::mt19937 m_random{std::random_device{}()};
    milliseconds m_retry = m_pace.firstRetry;
    bool m_answered = false;
    bool m_atOnce = false;
    int m_refusal = 0;
    std::string m_why;
};

MosquittoBroker::MosquittoBroker(BrokerAddress address, Post post, Pace pace)
    : m_connection(std::make_shared<Connection>(std::move(address), std::move(post), pace))
{
}

MosquittoBroker::~MosquittoBroker()
{
    m_connection->Stop();
}

void MosquittoBroker::SetWill(const BrokerPublication& will)
{
    m_connection->SetWill(will);
}

void MosquittoBroker::Start(BrokerListener& listener)
{
    m_connection->Start(listener);
}

bool MosquittoBroker::Subscribe(const std::string& filter)
{
    return m_connection->Subscribe(filter);
}

bool MosquittoBroker::Publish(const BrokerPublication& publication)
{
    return m_connection->Publish(publication);
}

Broker::State MosquittoBroker::GetState() const
{
    return m_connection->GetState();
}

void MosquittoBroker::Stop()
{
    m_connection->Stop();
}

unsigned long MosquittoBroker::DroppedMessages() const
{
    return m_connection->Dropped();
}
} // namespace lighting_host
