#include "lighting_host/house/LibraryAdapter.h"

#include "NxLibDriverBases/DriverFacts.h"
#include "embedded_host/CallScope.h"
#include "embedded_host/DriverHost.h"
#include "lighting_host/house/DriverLibrary.h"

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
const char* const PARAMS = "params";

NxDriverValue ValueOf(const std::string& name, const Json& value)
{
    if (value.is_boolean())
        return value.get<bool>();
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX)
        throw InputError(fmt::format("\"{}\" is above {}", name, INT64_MAX));
    if (value.is_number_integer())
        return value.get<std::int64_t>();
    if (value.is_number())
        return value.get<double>();
    if (value.is_string())
        return value.get<std::string>();
    throw InputError(fmt::format("\"{}\" is neither a text, a number nor a boolean", name));
}

NxDriverValues ParamsOf(Fields& fields)
{
    NxDriverValues values;
    if (!fields.Has(PARAMS))
        return values;
    const Json& params = fields.Get(PARAMS);
    if (!params.is_object())
        throw InputError("\"params\" is no JSON object");
    for (const auto& [name, value] : params.items())
        values.emplace_back(name, ValueOf(name, value));
    return values;
}

Json JsonOf(const NxDriverValue& value)
{
    return std::visit([](const auto& held) { return Json(held); }, value);
}
} // namespace

LibraryAdapter::LibraryAdapter(nx::DriverHost& driver, const DriverLibrary& library)
    : m_driver(driver), m_library(library)
{
}

void LibraryAdapter::Ask(const char* operation, const std::string& subject,
                         const std::function<void(IDriverFacts&)>& ask) const
{
    const embedded_host::HostScope scope(m_driver);
    const embedded_host::CallScope call(m_driver.Config().name.c_str(), operation, subject.c_str());
    try
    {
        if (IDriverFacts* const facts = m_library.FactsOf(*m_driver.Driver()))
            ask(*facts);
    }
    catch (const std::exception& error)
    {
        throw InputError(
            fmt::format("\"{}\": the driver failed: {}", m_driver.Config().name, error.what()));
    }
    catch (...)
    {
        throw InputError(fmt::format("\"{}\": the driver failed", m_driver.Config().name));
    }
}

DriverAdapter::Action LibraryAdapter::PrepareFact(const std::string& name, const Json& value)
{
    const NxDriverValue given = ValueOf(name, value);
    bool known = false;
    std::string wrong;
    Ask("the fact", name,
        [&](const IDriverFacts& facts)
        {
            known = true;
            wrong = facts.WhyNot(name, given);
        });
    if (!wrong.empty())
        throw InputError(wrong);
    if (!known)
        return nullptr;
    return [this, name, given]
    {
        const embedded_host::CallScope call(m_driver.Config().name.c_str(), "the fact",
                                            name.c_str());
        if (IDriverFacts* const facts = m_library.FactsOf(*m_driver.Driver()))
            facts->SetFact(name, given);
    };
}

bool LibraryAdapter::Query(const std::string& word, Fields& fields, Json& value)
{
    const NxDriverValues given = ParamsOf(fields);
    NxDriverValues answer;
    bool known = false;
    Ask("the query", word,
        [&](const IDriverFacts& facts) { known = facts.Answer(word, given, answer); });
    if (!known)
        return false;
    if (answer.size() == 1 && answer.front().first.empty())
    {
        value = JsonOf(answer.front().second);
        return true;
    }
    value = Json::object();
    for (const auto& [name, part] : answer)
        value[name] = JsonOf(part);
    return true;
}
} // namespace lighting_host
