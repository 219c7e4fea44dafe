#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace lighting_host
{
// The text of a house file, from which drivers and what belongs to them can be taken away, and
// whose drivers can be made by other libraries. The rest of the text stays as it is.
//
// Knows where drivers are named, and nothing else of what a house file means: whether what is left
// is a house is for its reader to say.
class HouseText
{
public:
    // Throws RecordError for text that is no XML with an element <house>.
    explicit HouseText(const std::string& text);
    ~HouseText();
    HouseText(const HouseText&) = delete;
    HouseText& operator=(const HouseText&) = delete;

    // The drivers' names, in the order of the file.
    std::vector<std::string> Drivers() const;

    // Takes away a driver and whatever names it: members and loads, and the uses of its buttons.
    void RemoveDriver(const std::string& name);

    // The driver of that name, or all drivers of that type, are made by the shared object at
    // `path`; whether there is one.
    bool SetLibrary(const std::string& nameOrType, const std::string& path);

    // What a house can do without, in the order of the file: the faults and acts of its devices,
    // its scenes and load groups. Each as a person would call it ("hall: act").
    std::vector<std::string> Parts() const;

    // Takes away the part at that place in Parts() as it was at first. Not after RemoveDriver.
    void RemovePart(std::size_t place);

    std::string Text() const;

private:
    struct Document;
    std::unique_ptr<Document> m_document;
};
} // namespace lighting_host
