#include "lighting_host/fleet/FleetBus.h"

#include <chrono>
#include <future>

namespace lighting_host
{
namespace
{
// What waits may go before the answer comes: the promise is shared with whoever answers.
template <class Ask>
BucketAnswer AskAndWait(std::int64_t mostMs, const Ask& ask)
{
    const auto promise = std::make_shared<std::promise<BucketAnswer>>();
    std::future<BucketAnswer> answer = promise->get_future();
    ask([promise](const BucketAnswer& given) { promise->set_value(given); });
    if (answer.wait_for(std::chrono::milliseconds(mostMs)) != std::future_status::ready)
        return {BucketAnswer::Outcome::Unknown, 0, "no answer came in time"};
    return answer.get();
}
} // namespace

BucketAnswer WriteAndWait(Bucket& bucket, const std::string& key, const std::string& value,
                          std::uint64_t expected, std::int64_t mostMs)
{
    return AskAndWait(mostMs, [&](Bucket::Done done)
                      { bucket.Write(key, value, expected, std::move(done)); });
}

BucketAnswer RemoveAndWait(Bucket& bucket, const std::string& key, std::uint64_t expected,
                           std::int64_t mostMs)
{
    return AskAndWait(mostMs,
                      [&](Bucket::Done done) { bucket.Remove(key, expected, std::move(done)); });
}
} // namespace lighting_host
