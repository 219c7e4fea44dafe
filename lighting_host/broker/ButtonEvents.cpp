#include "lighting_host/broker/ButtonEvents.h"

#include <iterator>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
// The triggers for two presses in a row and more.
constexpr const char* MULTI_TRIGGERS[] = {"double_press", "triple_press", "quadruple_press",
                                          "quintuple_press"};

ButtonEvent MultiEnd(unsigned clicks)
{
    constexpr unsigned FIRST = 2;
    ButtonEvent event{"multi_press_end", clicks, std::string()};
    if (clicks - FIRST < std::size(MULTI_TRIGGERS))
        event.trigger = MULTI_TRIGGERS[clicks - FIRST];
    return event;
}
} // namespace

std::string ButtonEvent::Json() const
{
    if (count == 0)
        return fmt::format(R"({{"event_type":"{}"}})", type);
    return fmt::format(R"({{"event_type":"{}","multi_press_count":{}}})", type, count);
}

std::vector<ButtonEvent> ButtonEvents::OnUse(const ButtonUse& use, std::int64_t nowMs)
{
    std::vector<ButtonEvent> events = OnTime(nowMs);
    std::vector<ButtonEvent> more;
    switch (use.what)
    {
    case ButtonUse::Pressed:
        more = OnPress(nowMs);
        break;
    case ButtonUse::Released:
        more = OnRelease(nowMs);
        break;
    case ButtonUse::Clicked:
        more = OnClicks(use.clicks);
        break;
    }
    events.insert(events.end(), more.begin(), more.end());
    return events;
}

std::vector<ButtonEvent> ButtonEvents::OnTime(std::int64_t nowMs)
{
    if (!m_isPressed || m_isLong || nowMs - m_pressedMs < LONG_PRESS_MS)
        return {};
    m_isLong = true;
    return {{"long_press_start", 0, "long_press"}};
}

std::vector<ButtonEvent> ButtonEvents::OnPress(std::int64_t nowMs)
{
    if (m_isPressed)
        return {};
    if (nowMs - m_releasedMs > ROW_MS)
        m_presses = 0;
    m_isPressed = true;
    m_isLong = false;
    m_pressedMs = nowMs;
    ++m_presses;
    if (m_presses == 1)
        return {{"press_start", 0, "short_press"}};
    return {{"multi_press_ongoing", m_presses, std::string()}};
}

std::vector<ButtonEvent> ButtonEvents::OnRelease(std::int64_t nowMs)
{
    if (!m_isPressed)
        return {};
    m_isPressed = false;
    m_releasedMs = nowMs;
    if (m_isLong)
    {
        m_presses = 0;
        return {{"long_press_end", 0, "long_release"}};
    }
    if (m_presses == 1)
        return {{"press_end", 0, "short_release"}};
    return {};
}

std::vector<ButtonEvent> ButtonEvents::OnClicks(unsigned clicks)
{
    std::vector<ButtonEvent> events;
    if (m_presses == 0)
        events.push_back({"press_start", 0, "short_press"});
    if (m_presses == 0 || (m_isPressed && m_presses == 1 && !m_isLong))
        events.push_back({"press_end", 0, "short_release"});
    else if (m_isPressed && m_isLong)
        events.push_back({"long_press_end", 0, "long_release"});
    if (clicks > 1)
        events.push_back(MultiEnd(clicks));
    m_isPressed = false;
    m_isLong = false;
    m_presses = 0;
    return events;
}
} // namespace lighting_host
