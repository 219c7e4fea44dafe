#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

// Included in few sources: it compiles slowly.
namespace lighting_host
{
// Keeps the order in which an object was written.
using Json = nlohmann::ordered_json;

// How deep the arrays and objects of a text may nest, and how many fields its objects may have in
// all; no input needs a tenth of it.
constexpr int MAX_JSON_DEPTH = 64;
constexpr int MAX_JSON_FIELDS = 10000;

// What is wrong with an input, in words. Thrown before anything has been changed. The words may
// quote the input, NULs included, which what() ends at.
class InputError : public std::runtime_error
{
public:
    explicit InputError(const std::string& words)
        : std::runtime_error(words), m_words(std::make_shared<std::string>(words))
    {
    }
    const std::string& Message() const { return *m_words; }

private:
    // Shared, so that copying the error cannot throw.
    std::shared_ptr<const std::string> m_words;
};

// The fields of one input object, read by name and kind. Reads first, acts later: Finish refuses an
// object that has fields nobody asked for, so an input with a wrong field changes nothing.
class Fields
{
public:
    // `object` must outlive this; `where` names it in errors ("the input", "button"). Anything but
    // a JSON object is an InputError.
    Fields(const Json& object, std::string where);

    bool Has(const char* name) const { return m_object.contains(name); }

    // The field's value; an InputError when it is missing or of another kind. Integers must lie in
    // the range given.
    const Json& Get(const char* name);
    long long Integer(const char* name, long long min, long long max);
    bool Boolean(const char* name);
    // A field that is there only to say something: throws InputError unless it is true.
    void RequireTrue(const char* name);
    std::string Text(const char* name);

    // The same for a field that may be absent.
    bool BooleanOr(const char* name, bool absent);
    std::string TextOr(const char* name, const std::string& absent);
    long long IntegerOr(const char* name, long long min, long long max, long long absent);

    // Refuses fields that were never asked for.
    void Finish() const;

private:
    const Json& m_object;
    std::string m_where;
    // Whether field i was asked for; inputs have few fields.
    std::uint64_t m_seen = 0;
};

// Reads one JSON value, which must be all of the text; an InputError when it is none, is not UTF-8
// or goes beyond the limits above, which says at which column and why. Of a name given twice in an
// object the last value counts. An integer that 64 bits cannot hold keeps its digits (see
// HugeInteger).
Json ParseJson(const std::string& text);

// The digits of an integer that 64 bits cannot hold; empty for any other value.
std::string HugeInteger(const Json& value);

// The value as the integer, boolean or text of that name; an InputError when it is something else.
long long ToInteger(const Json& value, const std::string& name, long long min, long long max);
bool ToBoolean(const Json& value, const std::string& name);
const std::string& ToText(const Json& value, const std::string& name);

// Appends the value as ASCII JSON; texts as AppendJsonText writes them.
void AppendJson(std::string& out, const Json& value);

// A hexadecimal text ("0a1b") as octets; an InputError when it is none.
std::string HexToBytes(const std::string& hex, const std::string& name);
} // namespace lighting_host
