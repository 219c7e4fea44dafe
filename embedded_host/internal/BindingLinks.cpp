#include "embedded_host/internal/BindingLinks.h"

#include "embedded_host/DriverHost.h"
#include "embedded_host/HostServices.h"

#include <algorithm>
#include <utility>

namespace embedded_host
{
namespace
{
const std::string BUTTON_LINK = "BUTTON_LINK";
const std::string WITHOUT_END =
    "the driver failed: its bound calls and those of a driver that it is bound to answer each "
    "other without end; the last one was dropped";

BindMessage CopyOf(const IBindMessage& message)
{
    BindMessage copy(message.GetKind(), message.GetName(), message.GetXml());
    for (const MessageParam& param : ParamsOf(message))
        copy.Append(param);
    return copy;
}
} // namespace

void BindingLinks::Add(BindingEnd one, BindingEnd other)
{
    Link link;
    link.ends[0] = one;
    link.ends[1] = other;
    m_links.push_back(link);
}

void BindingLinks::OnStarted(nx::DriverHost& driver) const
{
    for (const Link& link : m_links)
    {
        for (const BindingEnd& end : link.ends)
        {
            if (end.driver != &driver)
                continue;
            const auto& own = driver.Bindings();
            const auto found =
                std::find_if(own.begin(), own.end(),
                             [&end](const Binding& binding) { return binding.id == end.binding; });
            // A copy: the driver may change its bindings when it is told.
            const std::string cls = found == own.end() ? BUTTON_LINK : *found->cls;
            driver.BindingMade(end.binding, cls, true);
        }
    }
}

bool BindingLinks::MayCarry(Link& link, const nx::DriverHost& sender)
{
    if (link.chain != EffectChain::Number())
        link.carried = 0;
    link.chain = EffectChain::Number();
    ++link.carried;
    if (link.carried == MAX_CALLS_IN_A_CHAIN + 1)
        sender.Emit(DriverFault{WITHOUT_END});
    return link.carried <= MAX_CALLS_IN_A_CHAIN;
}

void BindingLinks::Carry(const nx::DriverHost& sender, unsigned binding,
                         const IBindMessage& message)
{
    const EffectChain chain;
    for (Link& link : m_links)
    {
        for (int i = 0; i < 2; ++i)
        {
            const BindingEnd& from = link.ends[i];
            if (from.driver == &sender && from.binding == binding && MayCarry(link, sender))
                m_waiting.push_back({link.ends[1 - i], CopyOf(message)});
        }
    }
    if (std::exchange(m_delivering, true))
        return;
    while (!m_waiting.empty())
    {
        const Call call = std::move(m_waiting.front());
        m_waiting.pop_front();
        call.to.driver->BoundCall(call.to.binding, call.message);
    }
    m_delivering = false;
}
} // namespace embedded_host
