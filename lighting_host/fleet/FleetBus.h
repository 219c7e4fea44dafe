#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace lighting_host
{
// What the fleet cannot do, in words.
class FleetError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// What stands under a key of a bucket.
struct BucketEntry
{
    std::string key;
    std::string value;
    // Grows with every write to the bucket; 0 for nothing that ever stood there, or that expired.
    std::uint64_t revision = 0;
    // It was removed; the revision is that of the removal.
    bool removed = false;
};

// What became of a write.
struct BucketAnswer
{
    enum class Outcome
    {
        Written,
        // Another revision stands there: nothing was written.
        Refused,
        // Nobody knows whether it was written: `why`.
        Unknown,
    };
    Outcome outcome = Outcome::Unknown;
    // Of what was written.
    std::uint64_t revision = 0;
    std::string why;
};

// Keys and values that several machines share. Only the answer to a write decides anything: what
// Get, All and Watch tell can be old. All may be called on any thread.
class Bucket
{
public:
    using Done = std::function<void(const BucketAnswer&)>;
    using Watcher = std::function<void(const BucketEntry&)>;

    virtual ~Bucket() = default;

    // Writes when what stands under the key has that revision; 0 for a key under which nothing
    // stands. A removal stands there with its own revision. `done` is called once, on a thread of
    // the bus's own or inside this call, or never when the answer is lost; it must not wait for the
    // bus. Keys are of [a-z0-9_-].
    virtual void Write(const std::string& key, const std::string& value, std::uint64_t expected,
                       Done done) = 0;
    virtual void Remove(const std::string& key, std::uint64_t expected, Done done) = 0;

    // Both wait. Throw FleetError when the bus does not answer.
    virtual BucketEntry Get(const std::string& key) = 0;
    // Without what was removed, by key.
    virtual std::vector<BucketEntry> All() = 0;

    // Tells what stands in the bucket and then every write and removal, in order, on a thread of
    // the bus's own, until the bucket is destroyed. That something expired is not told. Called
    // once. Throws FleetError.
    virtual void Watch(Watcher watcher) = 0;
};

// A message on a subject.
struct FleetMessage
{
    std::string subject;
    std::string payload;
    // The token of the owner that sent it; 0 for none.
    std::uint64_t token = 0;
};

// What the machines of a fleet share: buckets and subjects. Keeps its connection up by itself. All
// may be called on any thread; must outlive its buckets and subscriptions.
class FleetBus
{
public:
    using Handler = std::function<void(const FleetMessage&)>;

    // Ends with the object; the handler is not running any more when its destructor returns, unless
    // that is called from inside the handler.
    class Subscription
    {
    public:
        virtual ~Subscription() = default;
    };

    virtual ~FleetBus() = default;

    // Makes the bucket when there is none. Values go `ttlMs` after their write; 0 for never. The
    // name is of [A-Za-z0-9_-]. Throws FleetError.
    virtual std::unique_ptr<Bucket> OpenBucket(const std::string& name, std::int64_t ttlMs) = 0;

    // False when it cannot be sent. One that was sent can be lost.
    virtual bool Publish(const FleetMessage& message) = 0;

    // `handler` hears the messages of that subject, in which * is any one word, on a thread of the
    // bus's own. Throws FleetError.
    virtual std::unique_ptr<Subscription> Subscribe(const std::string& subject,
                                                    Handler handler) = 0;

    virtual bool IsConnected() const = 0;
};

// Writes and waits for the answer, `mostMs` at most; then the outcome is Unknown. Not on a thread
// of the bus's own.
BucketAnswer WriteAndWait(Bucket& bucket, const std::string& key, const std::string& value,
                          std::uint64_t expected, std::int64_t mostMs);
BucketAnswer RemoveAndWait(Bucket& bucket, const std::string& key, std::uint64_t expected,
                           std::int64_t mostMs);
} // namespace lighting_host
