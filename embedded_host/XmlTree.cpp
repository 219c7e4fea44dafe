#include "embedded_host/XmlTree.h"

#include "embedded_host/Messages.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

#include <boost/make_shared.hpp>
#include <fmt/format.h>
#include <pugixml.hpp>

namespace embedded_host
{
namespace
{
const std::string EMPTY;

// White space in texts is kept as it was written, also where a text is nothing else. As a fragment,
// so that text beside the root element is seen, and refused, instead of skipped.
constexpr unsigned PARSE =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata_single | pugi::parse_fragment;

// Whether there is a NUL in the text, as such or as a reference: XML has none, and the parser would
// take it for an end and lose what follows.
bool HasNul(const std::string& text)
{
    if (text.find('\0') != std::string::npos)
        return true;
    for (std::size_t at = text.find("&#"); at != std::string::npos; at = text.find("&#", at))
    {
        at += 2;
        const std::size_t digits = at + (text[at] == 'x' ? 1 : 0);
        const std::size_t end = text.find_first_not_of('0', digits);
        if (end != std::string::npos && end > digits && text[end] == ';')
            return true;
    }
    return false;
}

// The parser does not mind an attribute that is given twice; XML does.
bool RepeatsAttribute(const pugi::xml_node& element)
{
    std::vector<std::string_view> names;
    for (const pugi::xml_attribute& attribute : element.attributes())
        names.emplace_back(attribute.name());
    std::sort(names.begin(), names.end());
    return std::adjacent_find(names.begin(), names.end()) != names.end();
}

// A NUL is written as U+FFFD, so that nothing behind it is lost.
std::string WithoutNul(const std::string& text)
{
    std::string clean;
    for (const char c : text)
    {
        if (c == '\0')
            clean += "\xEF\xBF\xBD";
        else
            clean += c;
    }
    return clean;
}

void SetText(pugi::xml_node target, const std::string& text)
{
    if (!text.empty())
        target.append_child(pugi::node_pcdata).set_value(WithoutNul(text).c_str());
}

// Writes a tree into a document. As deep as the tree, which parsing bounds.
void Write(const XmlTree& from, pugi::xml_node parent)
{
    pugi::xml_node target = parent.append_child(WithoutNul(from.GetName()).c_str());
    for (const auto& attribute : from.Attributes())
        target.append_attribute(attribute.first.c_str()) = WithoutNul(attribute.second).c_str();
    SetText(target, from.GetData());
    for (const auto& child : from.Children())
        Write(static_cast<const XmlTree&>(*child), target);
}

// Whether every element is one that XML allows, and none goes too deep.
bool IsSound(const pugi::xml_node& element, int depth)
{
    if (depth > XmlTree::MAX_DEPTH || (element.first_attribute() && RepeatsAttribute(element)))
        return false;
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling())
    {
        if (child.type() == pugi::node_element && !IsSound(child, depth + 1))
            return false;
    }
    return true;
}

// Whether a text is too simple to be unsound: no attribute, and too short to go too deep.
bool IsSimple(const std::string& text)
{
    constexpr std::size_t SHORTEST_ELEMENT = sizeof "<a></a>" - 1;
    return text.size() < XmlTree::MAX_DEPTH * SHORTEST_ELEMENT &&
           text.find('=') == std::string::npos;
}

bool IsText(const pugi::xml_node& node)
{
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

class StringWriter : public pugi::xml_writer
{
public:
    void write(const void* data, std::size_t size) override
    {
        text.append(static_cast<const char*>(data), size);
    }
    std::string text;
};

class Document : public nx::XmlDocument
{
public:
    explicit Document(boost::shared_ptr<nx::XmlNode> root) : m_root(std::move(root)) {}
    boost::shared_ptr<nx::XmlNode> GetRoot() const override { return m_root; }
    Iterator GetIterator() const override { return Iterator(m_root); }

private:
    boost::shared_ptr<nx::XmlNode> m_root;
};
} // namespace

// A parsed text and memory for the nodes that come from it, some at a time: most come together and
// go together. The text is there until no node needs it, each part of the memory until the last
// node in it is gone. For one thread at a time, as its nodes are.
class ParsedXml
{
public:
    // Null when the text is not one element that XML allows.
    static boost::shared_ptr<XmlTree> Read(const std::string& text)
    {
        const Use parsed(*new ParsedXml);
        if (!parsed->m_document.load_buffer(text.data(), text.size(), PARSE, pugi::encoding_utf8))
            return nullptr;
        // Declarations and comments are not in the parsed document: what is left must be the root.
        const pugi::xml_node root = parsed->m_document.first_child();
        if (root.type() != pugi::node_element || root.next_sibling())
            return nullptr;
        if (!IsSimple(text) && !IsSound(root, 1))
            return nullptr;
        return parsed->MakeNode(root);
    }

    boost::shared_ptr<XmlTree> MakeNode(const pugi::xml_node& element)
    {
        if (!m_chunk || m_chunk->IsFull())
        {
            DropChunk();
            m_chunk = new Chunk;
            m_chunk->Use();
        }
        const auto destroy = [](XmlTree* tree)
        {
            tree->~XmlTree();
        };
        return {new (m_chunk->NextNode()) XmlTree(*this, *element.internal_object()), destroy,
                FromChunk<XmlTree>(*m_chunk)};
    }

    void Enter() { ++m_users; }
    void Leave()
    {
        if (--m_users == 0)
            delete this;
    }

private:
    class Use
    {
    public:
        explicit Use(ParsedXml& parsed) : m_parsed(parsed) { m_parsed.Enter(); }
        ~Use() { m_parsed.Leave(); }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        ParsedXml* operator->() const { return &m_parsed; }

    private:
        ParsedXml& m_parsed;
    };

    class Chunk
    {
    public:
        // A node with its count.
        static constexpr std::size_t COUNT_SIZE = 48;
        static constexpr std::size_t NODES = 24;

        bool IsFull() const { return m_given == NODES; }

        // Where a node goes, and where its count goes. Giving a count to somebody makes him a user.
        void* NextNode() { return m_pieces[m_given].node; }
        void* TakeCount()
        {
            ++m_users;
            return m_pieces[m_given++].count;
        }

        void Use() { ++m_users; }
        void Leave()
        {
            if (--m_users == 0)
                delete this;
        }

    private:
        struct Piece
        {
            alignas(std::max_align_t) char count[COUNT_SIZE];
            alignas(std::max_align_t) char node[sizeof(XmlTree)];
        };
        std::array<Piece, NODES> m_pieces;
        std::size_t m_given = 0;
        std::size_t m_users = 0;
    };

    // Takes the memory of a node's count from a chunk that is not full.
    template <class T>
    struct FromChunk
    {
        using value_type = T;

        explicit FromChunk(Chunk& from) : chunk(from) {}
        template <class Other>
        FromChunk(const FromChunk<Other>& other) : chunk(other.chunk)
        {
        }

        T* allocate(std::size_t)
        {
            static_assert(sizeof(T) <= Chunk::COUNT_SIZE, "a chunk has room for this count");
            return static_cast<T*>(chunk.TakeCount());
        }
        void deallocate(T*, std::size_t) { chunk.Leave(); }

        Chunk& chunk;
    };

    ParsedXml() = default;
    ~ParsedXml() { DropChunk(); }

    void DropChunk()
    {
        if (m_chunk)
            m_chunk->Leave();
        m_chunk = nullptr;
    }

    pugi::xml_document m_document;
    Chunk* m_chunk = nullptr;
    std::size_t m_users = 0;
};

XmlTree::XmlTree(ParsedXml& parsed, pugi::xml_node_struct& element)
    : m_name(pugi::xml_node(&element).name()), m_parsed(&parsed), m_element(&element)
{
    m_parsed->Enter();
}

XmlTree::~XmlTree()
{
    if (m_parsed)
        m_parsed->Leave();
}

void XmlTree::Fill() const
{
    const pugi::xml_node element(m_element);
    std::vector<std::pair<std::string, std::string>> attributes;
    for (auto attribute = element.first_attribute(); attribute;
         attribute = attribute.next_attribute())
        attributes.emplace_back(attribute.name(), attribute.value());
    std::size_t elements = 0;
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling())
        elements += child.type() == pugi::node_element ? 1 : 0;
    std::string data;
    std::vector<boost::shared_ptr<nx::XmlNode>> children;
    children.reserve(elements);
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling())
    {
        if (child.type() == pugi::node_element)
            children.push_back(m_parsed->MakeNode(child));
        else if (IsText(child))
            data += child.value();
    }
    m_attributes.swap(attributes);
    m_data.swap(data);
    m_children.swap(children);
    m_element = nullptr;
    std::exchange(m_parsed, nullptr)->Leave();
}

// The text of the first child of that name, out of the parsed text; empty without such a child.
// Null when it does not stand there in one piece, or nothing is left to be asked there.
const char* XmlTree::PlainChildData(const std::string& name) const
{
    if (!m_parsed)
        return nullptr;
    const pugi::xml_node element(m_element);
    for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling())
    {
        const char* const childName = child.name();
        if (*childName != name[0] || child.type() != pugi::node_element || name != childName)
            continue;
        const pugi::xml_node text = child.first_child();
        if (!text)
            return "";
        return IsText(text) && !text.next_sibling() ? text.value() : nullptr;
    }
    return "";
}

void XmlTree::Initialize(const std::string& name, const std::string& value)
{
    Materialize().m_name = name;
    m_data = value;
}

const std::string& XmlTree::GetAttribute(const std::string& name) const
{
    for (const auto& attribute : Attributes())
    {
        if (attribute.first == name)
            return attribute.second;
    }
    return EMPTY;
}

void XmlTree::SetAttribute(const std::string& name, const std::string& value)
{
    for (auto& attribute : Materialize().m_attributes)
    {
        if (attribute.first == name)
        {
            attribute.second = value;
            return;
        }
    }
    m_attributes.emplace_back(name, value);
}

void XmlTree::AddChild(const std::string& name, const std::string& value)
{
    const auto child = boost::make_shared<XmlTree>();
    child->Initialize(name, value);
    Materialize().m_children.push_back(child);
}

void XmlTree::AddChild(const std::string& name, const char* value)
{
    AddChild(name, std::string(value));
}

void XmlTree::AddChild(const std::string& name, int value)
{
    AddChild(name, fmt::format("{}", value));
}

void XmlTree::AddChild(const std::string& name, unsigned value)
{
    AddChild(name, fmt::format("{}", value));
}

void XmlTree::AddChild(const std::string& name, bool value)
{
    AddChild(name, std::string(value ? "true" : "false"));
}

void XmlTree::AddChild(const boost::shared_ptr<nx::XmlNode>& child)
{
    if (child)
        Materialize().m_children.push_back(child);
}

boost::shared_ptr<nx::XmlNode> XmlTree::GetChildAt(std::size_t index) const
{
    return index < Children().size() ? m_children[index] : nullptr;
}

const boost::shared_ptr<nx::XmlNode>* XmlTree::Find(const std::string& name) const
{
    for (const auto& child : Children())
    {
        if (child->GetName() == name)
            return &child;
    }
    return nullptr;
}

boost::shared_ptr<nx::XmlNode> XmlTree::GetChild(const std::string& name) const
{
    const auto* child = Find(name);
    return child ? *child : nullptr;
}

const std::string& XmlTree::GetChildData(const std::string& name) const
{
    const auto* child = Find(name);
    return child ? (*child)->GetData() : EMPTY;
}

int XmlTree::GetChildDataNumber(const std::string& name) const
{
    if (const char* const text = PlainChildData(name))
        return static_cast<int>(LeadingInteger(text, std::strlen(text)));
    return static_cast<int>(LeadingInteger(GetChildData(name)));
}

unsigned long XmlTree::GetChildDataULONG(const std::string& name) const
{
    return static_cast<unsigned long>(LeadingInteger(GetChildData(name)));
}

bool XmlTree::GetChildDataBool(const std::string& name) const
{
    return LeadingTruth(GetChildData(name));
}

std::string XmlTree::ToText() const
{
    pugi::xml_document document;
    Write(*this, document);
    StringWriter writer;
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    return std::move(writer.text);
}
} // namespace embedded_host

namespace nx
{
boost::shared_ptr<XmlNode> CreateXmlNode()
{
    return boost::make_shared<embedded_host::XmlTree>();
}

boost::shared_ptr<XmlDocument> CreateXmlDocument(const std::string& text)
{
    if (embedded_host::HasNul(text))
        return nullptr;
    const auto tree = embedded_host::ParsedXml::Read(text);
    if (!tree)
        return nullptr;
    return boost::make_shared<embedded_host::Document>(tree);
}

int ToInt(const std::string& text)
{
    return static_cast<int>(embedded_host::LeadingInteger(text));
}
} // namespace nx
