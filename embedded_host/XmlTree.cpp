#include "embedded_host/XmlTree.h"

#include "embedded_host/Messages.h"
#include "nxshared/XmlDocument.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

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

// Memory for the nodes of one document, some at a time: a parsed document has many nodes, which
// come together and mostly go together. A chunk goes with the last of its users. For one thread at
// a time, as its nodes are.
class Chunk
{
public:
    // A node with its count.
    static constexpr std::size_t COUNT_SIZE = 48;
    static constexpr std::size_t NODES = 32;

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

// Copies a parsed document into nodes.
class Reader
{
public:
    Reader() = default;
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
    ~Reader() { Drop(); }

    // The element with what is in it; null when it goes too deep or is not well formed.
    boost::shared_ptr<XmlTree> Read(const pugi::xml_node& from, int depth)
    {
        const pugi::xml_attribute attributes = from.first_attribute();
        if (depth > XmlTree::MAX_DEPTH || (attributes && RepeatsAttribute(from)))
            return nullptr;
        boost::shared_ptr<XmlTree> tree = MakeNode();
        tree->SetName(from.name());
        for (auto attribute = attributes; attribute; attribute = attribute.next_attribute())
            tree->AppendAttribute(attribute.name(), attribute.value());
        const pugi::xml_node first = from.first_child();
        if (!first)
            return tree;
        std::size_t elements = 0;
        for (pugi::xml_node child = first; child; child = child.next_sibling())
            elements += child.type() == pugi::node_element ? 1 : 0;
        tree->ReserveChildren(elements);
        for (pugi::xml_node child = first; child; child = child.next_sibling())
        {
            const pugi::xml_node_type type = child.type();
            if (type == pugi::node_pcdata || type == pugi::node_cdata)
                tree->AppendData(child.value());
            if (type != pugi::node_element)
                continue;
            boost::shared_ptr<XmlTree> read = Read(child, depth + 1);
            if (!read)
                return nullptr;
            tree->AppendChild(std::move(read));
        }
        return tree;
    }

private:
    boost::shared_ptr<XmlTree> MakeNode()
    {
        if (!m_chunk || m_chunk->IsFull())
        {
            Drop();
            m_chunk = new Chunk;
            m_chunk->Use();
        }
        const auto destroy = [](XmlTree* tree)
        {
            tree->~XmlTree();
        };
        return {new (m_chunk->NextNode()) XmlTree, destroy, FromChunk<XmlTree>(*m_chunk)};
    }

    void Drop()
    {
        if (m_chunk)
            m_chunk->Leave();
        m_chunk = nullptr;
    }

    Chunk* m_chunk = nullptr;
};

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

void XmlTree::Initialize(const std::string& name, const std::string& value)
{
    m_name = name;
    m_data = value;
}

const std::string& XmlTree::GetAttribute(const std::string& name) const
{
    for (const auto& attribute : m_attributes)
    {
        if (attribute.first == name)
            return attribute.second;
    }
    return EMPTY;
}

void XmlTree::SetAttribute(const std::string& name, const std::string& value)
{
    for (auto& attribute : m_attributes)
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
    m_children.push_back(child);
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
        m_children.push_back(child);
}

boost::shared_ptr<nx::XmlNode> XmlTree::GetChildAt(std::size_t index) const
{
    return index < m_children.size() ? m_children[index] : nullptr;
}

const boost::shared_ptr<nx::XmlNode>* XmlTree::Find(const std::string& name) const
{
    for (const auto& child : m_children)
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
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size(), embedded_host::PARSE, pugi::encoding_utf8))
        return nullptr;
    // Declarations and comments are not in the parsed document: what is left must be the root.
    const pugi::xml_node root = document.first_child();
    if (root.type() != pugi::node_element || root.next_sibling())
        return nullptr;
    const auto tree = embedded_host::Reader().Read(root, 1);
    if (!tree)
        return nullptr;
    return boost::make_shared<embedded_host::Document>(tree);
}

int ToInt(const std::string& text)
{
    return static_cast<int>(embedded_host::LeadingInteger(text));
}
} // namespace nx
