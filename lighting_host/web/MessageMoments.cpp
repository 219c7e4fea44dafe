#include "lighting_host/web/MessageMoments.h"

#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace lighting_host
{
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
    // One at a time, so that many of them do not keep the house waiting.
    for (std::shared_ptr<Writer>& writer : m_writers)
        boost::asio::post(m_context, [writer = std::move(writer)] { writer->Write(); });
    m_writers.clear();
}
} // namespace lighting_host
