#pragma once

#include "lighting_host/fleet/FleetBus.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lighting_host
{
// Where the servers of NATS are and who connects.
struct NatsOptions
{
    // nats://HOST[:PORT], one or more of one cluster. Buckets are kept on three servers when three
    // or more are named, else on one.
    std::vector<std::string> urls;
    // A file of NATS credentials; empty for none.
    std::string credentialsFile;
    // What the connection is called at the server.
    std::string name;
    // Told what becomes of the connection, in words, on a thread of the bus's own; may be empty.
    std::function<void(const std::string&)> tell;
};

// Reads URL[,URL...]; what is wrong with it, empty for nothing.
std::string ParseNatsUrls(const std::string& text, std::vector<std::string>& urls);

// A fleet's bus on NATS servers with JetStream. The one source that knows the library.
class NatsFleetBus : public FleetBus
{
public:
    // Connects. Throws FleetError when no server can be reached.
    explicit NatsFleetBus(const NatsOptions& options);
    ~NatsFleetBus() override;

    std::unique_ptr<Bucket> OpenBucket(const std::string& name, std::int64_t ttlMs) override;
    bool Publish(const FleetMessage& message) override;
    std::unique_ptr<Subscription> Subscribe(const std::string& subject, Handler handler) override;
    bool IsConnected() const override;

    // The connection, which buckets and subscriptions share.
    class Link;

private:
    std::shared_ptr<Link> m_link;
    int m_replicas;
};
} // namespace lighting_host
