#include "lighting_host/web/MessageMoments.h"

#include <algorithm>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace lighting_host
{
namespace
{
// So many messages at a time, so that the house waits no longer than for those.
constexpr std::size_t PORTION = 16;
} // namespace

void MessageMoments::Add(std::shared_ptr<Writer> writer)
{
    m_writers.push_back(std::move(writer));
    if (m_writers.size() > 1)
        return;
    m_timer.expires_at(m_last + m_gap);
    m_timer.async_wait(
        [this](const boost::system::error_code& error)
        {
            // With an error this may be gone.
            if (!error)
                Send();
        });
}

void MessageMoments::Clear()
{
    m_timer.cancel();
    m_writers.clear();
}

void MessageMoments::Send()
{
    m_last = std::chrono::steady_clock::now();
    SendSome(m_context, std::make_shared<Writers>(std::move(m_writers)), 0);
    m_writers.clear();
}

// A portion, and the rest after whatever else has become due meanwhile.
void MessageMoments::SendSome(boost::asio::io_context& context,
                              const std::shared_ptr<Writers>& writers, std::size_t from)
{
    const std::size_t to = std::min(from + PORTION, writers->size());
    for (std::size_t i = from; i < to; ++i)
        (*writers)[i]->Write();
    if (to < writers->size())
        boost::asio::post(context, [&context, writers, to] { SendSome(context, writers, to); });
}
} // namespace lighting_host
