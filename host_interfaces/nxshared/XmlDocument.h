#pragma once

#include "nxshared/HostApi.h"
#include "nxshared/XmlNode.h"

#include <cstddef>
#include <string>
#include <utility>

#include <boost/shared_ptr.hpp>

namespace nx
{
// A parsed XML text.
class NX_HOST_API XmlDocument
{
public:
    // Walks a root's children in document order.
    class NX_HOST_API Iterator
    {
    public:
        explicit Iterator(boost::shared_ptr<XmlNode> parent) : m_parent(std::move(parent)) {}

        // The next child, null after the last.
        boost::shared_ptr<XmlNode> Next() { return m_parent->GetChildAt(m_next++); }

    private:
        boost::shared_ptr<XmlNode> m_parent;
        std::size_t m_next = 0;
    };

    virtual ~XmlDocument() = default;

    // The root element, never null.
    virtual boost::shared_ptr<XmlNode> GetRoot() const = 0;

    // An iterator at the root's first child.
    virtual Iterator GetIterator() const = 0;
};

// Parses a text that holds one element; null when it is not well-formed XML or has no element.
// White space inside texts is kept.
NX_HOST_API boost::shared_ptr<XmlDocument> CreateXmlDocument(const std::string& text);

// The leading decimal integer of a text, 0 when there is none, cut to 32 bits.
NX_HOST_API int ToInt(const std::string& text);
} // namespace nx
