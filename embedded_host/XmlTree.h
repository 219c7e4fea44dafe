#pragma once

#include "nxshared/XmlNode.h"

#include <string>
#include <utility>
#include <vector>

namespace embedded_host
{
// The host's XML element: a name, a text, a few attributes and shared children. Every node of a
// tree is one of these.
class XmlTree : public nx::XmlNode
{
public:
    // How deep a parsed tree may be; a text that goes deeper is refused.
    static constexpr int MAX_DEPTH = 200;

    void Initialize(const std::string& name, const std::string& value) override;
    const std::string& GetName() const override { return m_name; }
    const std::string& GetData() const override { return m_data; }
    const std::string& GetAttribute(const std::string& name) const override;
    void SetAttribute(const std::string& name, const std::string& value) override;
    void AddChild(const std::string& name, const std::string& value) override;
    void AddChild(const std::string& name, const char* value) override;
    void AddChild(const std::string& name, int value) override;
    void AddChild(const std::string& name, unsigned value) override;
    void AddChild(const std::string& name, bool value) override;
    void AddChild(const boost::shared_ptr<nx::XmlNode>& child) override;
    std::size_t GetChildCount() const override { return m_children.size(); }
    boost::shared_ptr<nx::XmlNode> GetChildAt(std::size_t index) const override;
    boost::shared_ptr<nx::XmlNode> GetChild(const std::string& name) const override;
    bool HasChild(const std::string& name) const override { return Find(name) != nullptr; }
    const std::string& GetChildData(const std::string& name) const override;
    int GetChildDataNumber(const std::string& name) const override;
    unsigned long GetChildDataULONG(const std::string& name) const override;
    bool GetChildDataBool(const std::string& name) const override;
    std::string ToText() const override;

    // For building a tree from a parsed text: more text; an attribute that is not there yet.
    void SetName(const char* name) { m_name = name; }
    void AppendData(const char* text) { m_data += text; }
    void ReserveChildren(std::size_t count) { m_children.reserve(count); }
    void AppendChild(boost::shared_ptr<nx::XmlNode> child)
    {
        m_children.push_back(std::move(child));
    }
    void AppendAttribute(const char* name, const char* value)
    {
        m_attributes.emplace_back(name, value);
    }
    const std::vector<std::pair<std::string, std::string>>& Attributes() const
    {
        return m_attributes;
    }
    const std::vector<boost::shared_ptr<nx::XmlNode>>& Children() const { return m_children; }

private:
    const boost::shared_ptr<nx::XmlNode>* Find(const std::string& name) const;

    std::string m_name;
    std::string m_data;
    std::vector<std::pair<std::string, std::string>> m_attributes;
    std::vector<boost::shared_ptr<nx::XmlNode>> m_children;
};
} // namespace embedded_host
