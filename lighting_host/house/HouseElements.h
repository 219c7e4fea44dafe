#pragma once

#include "lighting_host/house/HouseFile.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pugi
{
class xml_node;
}

namespace lighting_host
{
// What every element of a house file is read with: its attributes, and what may stand in it. What
// is wrong becomes an error with its line, and reading goes on.
class HouseElements
{
public:
    // `text` is the whole file. `errors` must outlive this.
    HouseElements(const std::string& text, std::vector<HouseFileError>& errors);

    // The line of that place in the text, from 1.
    int LineOf(std::ptrdiff_t offset) const;
    int LineOf(const pugi::xml_node& node) const;

    // What is wrong with an element; and with a text, where it begins, not the blanks before it.
    void Error(const pugi::xml_node& node, std::string what);
    void ErrorInText(const pugi::xml_node& text, std::string what);

    // Nothing else may be there: these attributes, each once; no text, which means nothing, such as
    // a tag that was misspelt; no elements.
    void OnlyAttributes(const pugi::xml_node& node, const std::vector<std::string>& known);
    void OnlyElements(const pugi::xml_node& node);
    void OnlyText(const pugi::xml_node& node);

    // The attribute "id", of 32 bits. False when it is none.
    bool ReadId(const pugi::xml_node& node, unsigned& id);

    // "true" or "false"; false when it is absent. Returns false when it is something else.
    bool ReadTruth(const pugi::xml_node& node, const char* attribute, bool& value);

    // A number that must be there, from 0 to `max`. False, and the value is 0 or the wrong one,
    // when it is none.
    bool ReadNumber(const pugi::xml_node& node, const char* attribute, unsigned max,
                    unsigned& value);

    // A time that may be absent, and then stays what it is.
    void ReadTime(const pugi::xml_node& node, const char* attribute, std::int64_t& milliseconds);

    // Whether a node is a text of more than blanks.
    static bool IsText(const pugi::xml_node& node);

private:
    // Where each line but the first begins: every driver and device is asked for its line.
    std::vector<std::size_t> m_lineStarts;
    std::vector<HouseFileError>& m_errors;
};
} // namespace lighting_host
