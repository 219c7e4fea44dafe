#pragma once

#include "nxshared/XmlNode.h"

#include <string>
#include <utility>
#include <vector>

namespace pugi
{
struct xml_node_struct;
}

namespace embedded_host
{
class ParsedXml;

// The host's XML element: a name, a text, a few attributes and shared children. Every node of a
// tree is one of these.
//
// An element of a parsed text knows its name at once and the rest when somebody asks: until then it
// keeps the parsed text. For one thread at a time, together with the document that it came from.
class XmlTree : public nx::XmlNode
{
public:
    // How deep a parsed tree may be; a text that goes deeper is refused.
    static constexpr int MAX_DEPTH = 200;

    XmlTree() = default;
    ~XmlTree() override;
    XmlTree(const XmlTree&) = delete;
    XmlTree& operator=(const XmlTree&) = delete;

    // An element of a parsed text.
    XmlTree(ParsedXml& parsed, pugi::xml_node_struct& element);

    void Initialize(const std::string& name, const std::string& value) override;
    const std::string& GetName() const override { return m_name; }
    const std::string& GetData() const override { return Materialize().m_data; }
    const std::string& GetAttribute(const std::string& name) const override;
    void SetAttribute(const std::string& name, const std::string& value) override;
    void AddChild(const std::string& name, const std::string& value) override;
    void AddChild(const std::string& name, const char* value) override;
    void AddChild(const std::string& name, int value) override;
    void AddChild(const std::string& name, unsigned value) override;
    void AddChild(const std::string& name, bool value) override;
    void AddChild(const boost::shared_ptr<nx::XmlNode>& child) override;
    std::size_t GetChildCount() const override { return Materialize().m_children.size(); }
    boost::shared_ptr<nx::XmlNode> GetChildAt(std::size_t index) const override;
    boost::shared_ptr<nx::XmlNode> GetChild(const std::string& name) const override;
    bool HasChild(const std::string& name) const override { return Find(name) != nullptr; }
    const std::string& GetChildData(const std::string& name) const override;
    int GetChildDataNumber(const std::string& name) const override;
    unsigned long GetChildDataULONG(const std::string& name) const override;
    bool GetChildDataBool(const std::string& name) const override;
    std::string ToText() const override;

    const std::vector<std::pair<std::string, std::string>>& Attributes() const
    {
        return Materialize().m_attributes;
    }
    const std::vector<boost::shared_ptr<nx::XmlNode>>& Children() const
    {
        return Materialize().m_children;
    }

private:
    // This, with all that was still to be taken from the parsed text.
    const XmlTree& Materialize() const
    {
        if (m_parsed)
            Fill();
        return *this;
    }
    XmlTree& Materialize()
    {
        if (m_parsed)
            Fill();
        return *this;
    }
    void Fill() const;
    const char* PlainChildData(const std::string& name) const;
    const boost::shared_ptr<nx::XmlNode>* Find(const std::string& name) const;

    std::string m_name;
    mutable std::string m_data;
    mutable std::vector<std::pair<std::string, std::string>> m_attributes;
    mutable std::vector<boost::shared_ptr<nx::XmlNode>> m_children;
    // Both null but for an element of a parsed text about which nobody has asked yet.
    mutable ParsedXml* m_parsed = nullptr;
    mutable pugi::xml_node_struct* m_element = nullptr;
};
} // namespace embedded_host
