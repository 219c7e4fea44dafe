#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include <boost/asio/steady_timer.hpp>

namespace lighting_host
{
// The moments at which visitors are sent what has come for them: all who wait at the same moment,
// and a while between two, so that many visitors are no more work than few and can share a text.
//
// Lives on the thread of its io_context.
class MessageMoments
{
public:
    // What has a message to send now and then.
    class Writer
    {
    public:
        virtual ~Writer() = default;
        virtual void Write() = 0;
    };

    // The context must outlive this.
    MessageMoments(boost::asio::io_context& context, std::chrono::milliseconds gap)
        : m_context(context), m_timer(context), m_gap(gap)
    {
    }

    // Has the writer's Write called once at the next moment, never inside this call; at once or so
    // when the last one was long ago. Whoever waits already must not be added again.
    void Add(std::shared_ptr<Writer> writer);

    // Lets go of all who wait.
    void Clear();

private:
    using Writers = std::vector<std::shared_ptr<Writer>>;

    void Send();
    static void SendSome(boost::asio::io_context& context, const std::shared_ptr<Writers>& writers,
                         std::size_t from);

    boost::asio::io_context& m_context;
    boost::asio::steady_timer m_timer;
    const std::chrono::milliseconds m_gap;
    std::chrono::steady_clock::time_point m_last;
    Writers m_writers;
};
} // namespace lighting_host
