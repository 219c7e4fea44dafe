#include "lighting_host/text/Json.h"

#include "lighting_host/text/HexDigit.h"
#include "lighting_host/text/JsonWriter.h"

#include <cstring>

#include <fmt/format.h>

namespace lighting_host
{
namespace
{
constexpr std::size_t MAX_FIELDS = 64;
constexpr std::size_t LONGEST_REASON = 160;

// Looks at punctuation only, so that a text that goes beyond the limits is never turned into a
// tree: trees are copied, compared and written by calls as deep as they are, and their fields are
// looked up one after the other.
void CheckLimits(const std::string& text)
{
    int depth = 0;
    int fields = 0;
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        const char c = text[at];
        if (quoted && c == '\\')
            ++at;
        else if (c == '"')
            quoted = !quoted;
        else if (quoted)
            continue;
        else if ((c == '[' || c == '{') && ++depth > MAX_JSON_DEPTH)
            throw InputError("the JSON nests too deep");
        else if (c == ']' || c == '}')
            --depth;
        else if (c == ':' && ++fields > MAX_JSON_FIELDS)
            throw InputError("the JSON has too many fields");
    }
}

// Builds the tree as the library does, but for integers that no 64 bits hold: they keep their
// digits, where the library would make them fractions. Notes why a text is no JSON.
class TreeBuilder : public nlohmann::detail::json_sax_dom_parser<Json>
{
public:
    explicit TreeBuilder(Json& tree)
        : nlohmann::detail::json_sax_dom_parser<Json>(tree, /*allow_exceptions_=*/false)
    {
    }

    bool number_float(double number, const std::string& text)
    {
        if (text.find_first_of(".eE") != std::string::npos)
            return json_sax_dom_parser::number_float(number, text);
        // No input holds binary values otherwise: JSON texts have none.
        Json::binary_t digits(std::vector<std::uint8_t>(text.begin(), text.end()));
        return binary(digits);
    }

    template <class Error>
    bool parse_error(std::size_t position, const std::string& lastRead, const Error& error)
    {
        m_reason = fmt::format("column {}: {}", position, Reason(error.what(), lastRead));
        return json_sax_dom_parser::parse_error(position, lastRead, error);
    }

    const std::string& Reason() const { return m_reason; }

private:
    // The parser's own words without its name, its line, which is always 1, and what was read,
    // which may be long.
    static std::string Reason(std::string words, const std::string& lastRead)
    {
        for (const char* const before : {"] ", " - "})
        {
            const auto at = words.find(before);
            if (at != std::string::npos)
                words.erase(0, at + std::strlen(before));
        }
        const std::string read = "; last read: '" + lastRead + "'";
        const auto at = words.find(read);
        if (at != std::string::npos)
            words.erase(at, read.size());
        return words.substr(0, LONGEST_REASON);
    }

    std::string m_reason;
};
} // namespace

Json ParseJson(const std::string& text)
{
    CheckLimits(text);
    // The parser would take a NUL for the end of the text.
    const auto nul = text.find('\0');
    if (nul != std::string::npos)
        throw InputError(fmt::format("this is no JSON: column {}: it has a NUL", nul + 1));
    Json value;
    TreeBuilder builder(value);
    if (!Json::sax_parse(text, &builder))
        throw InputError("this is no JSON: " + builder.Reason());
    return value;
}

std::string HugeInteger(const Json& value)
{
    if (!value.is_binary())
        return std::string();
    return std::string(value.get_binary().begin(), value.get_binary().end());
}

Fields::Fields(const Json& object, std::string where) : m_object(object), m_where(std::move(where))
{
    if (!m_object.is_object())
        throw InputError(fmt::format("{} is no JSON object", m_where));
    if (m_object.size() > MAX_FIELDS)
        throw InputError(fmt::format("{} has too many fields", m_where));
}

const Json& Fields::Get(const char* name)
{
    std::size_t index = 0;
    for (const auto& field : m_object.items())
    {
        if (field.key() == name)
        {
            m_seen |= std::uint64_t{1} << index;
            return field.value();
        }
        ++index;
    }
    throw InputError(fmt::format("{} lacks the field \"{}\"", m_where, name));
}

long long Fields::Integer(const char* name, long long min, long long max)
{
    return ToInteger(Get(name), name, min, max);
}

bool Fields::Boolean(const char* name)
{
    return ToBoolean(Get(name), name);
}

std::string Fields::Text(const char* name)
{
    return ToText(Get(name), name);
}

bool Fields::BooleanOr(const char* name, bool absent)
{
    return Has(name) ? Boolean(name) : absent;
}

std::string Fields::TextOr(const char* name, const std::string& absent)
{
    return Has(name) ? Text(name) : absent;
}

long long Fields::IntegerOr(const char* name, long long min, long long max, long long absent)
{
    return Has(name) ? Integer(name, min, max) : absent;
}

void Fields::Finish() const
{
    std::size_t index = 0;
    for (const auto& field : m_object.items())
    {
        if ((m_seen >> index & 1) == 0)
            throw InputError(fmt::format("{} has an unknown field \"{}\"", m_where, field.key()));
        ++index;
    }
}

long long ToInteger(const Json& value, const std::string& name, long long min, long long max)
{
    const bool beyond64Bits = !HugeInteger(value).empty();
    if (!value.is_number_integer() && !beyond64Bits)
        throw InputError(fmt::format("\"{}\" is not an integer", name));
    const bool huge =
        beyond64Bits || (value.is_number_unsigned() &&
                         value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX));
    if (huge || value.get<std::int64_t>() < min || value.get<std::int64_t>() > max)
        throw InputError(fmt::format("\"{}\" is not within {} to {}", name, min, max));
    return value.get<std::int64_t>();
}

bool ToBoolean(const Json& value, const std::string& name)
{
    if (!value.is_boolean())
        throw InputError(fmt::format("\"{}\" is neither true nor false", name));
    return value.get<bool>();
}

const std::string& ToText(const Json& value, const std::string& name)
{
    if (!value.is_string())
        throw InputError(fmt::format("\"{}\" is not a text", name));
    return value.get_ref<const std::string&>();
}

void AppendJson(std::string& out, const Json& value)
{
    const char* separator = "";
    if (value.is_string())
        AppendJsonText(out, value.get_ref<const std::string&>());
    else if (value.is_array())
    {
        out += '[';
        for (const Json& element : value)
        {
            out += separator;
            AppendJson(out, element);
            separator = ",";
        }
        out += ']';
    }
    else if (value.is_object())
    {
        out += '{';
        for (const auto& field : value.items())
        {
            out += separator;
            AppendJsonText(out, field.key());
            out += ':';
            AppendJson(out, field.value());
            separator = ",";
        }
        out += '}';
    }
    else if (value.is_binary())
        out += HugeInteger(value);
    else
        out += value.dump();
}

std::string HexToBytes(const std::string& hex, const std::string& name)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    {
        const int high = HexDigit(hex[i]);
        const int low = HexDigit(hex[i + 1]);
        if (high < 0 || low < 0)
            throw InputError(fmt::format("\"{}\" is not hexadecimal", name));
        bytes += static_cast<char>(high * 16 + low);
    }
    if (hex.size() % 2 != 0)
        throw InputError(fmt::format("\"{}\" has half an octet", name));
    return bytes;
}
} // namespace lighting_host
