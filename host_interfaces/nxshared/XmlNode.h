#pragma once

#include "nxshared/HostApi.h"

#include <cstddef>
#include <string>

#include <boost/shared_ptr.hpp>

namespace nx
{
// One element of an XML tree: a name, a text and child elements in order. It can have attributes,
// which only the host's own messages use.
//
// Nodes are shared: AddChild keeps the node that it is given. A node must not become its own
// descendant. A missing child reads as the empty text, 0 or false. A number is the decimal integer
// at the start of the text: read as 64 bits, then cut to the type asked for. A boolean is true when
// the text begins with T, t or 1.
class NX_HOST_API XmlNode
{
public:
    virtual ~XmlNode() = default;

    // Names the node and gives it a text.
    virtual void Initialize(const std::string& name, const std::string& value) = 0;

    virtual const std::string& GetName() const = 0;

    // The node's own text, white space kept as it was written.
    virtual const std::string& GetData() const = 0;

    // The attribute's text, empty when there is none.
    virtual const std::string& GetAttribute(const std::string& name) const = 0;

    // Sets an attribute; a second time replaces its text.
    virtual void SetAttribute(const std::string& name, const std::string& value) = 0;

    // Appends a new child with a text.
    virtual void AddChild(const std::string& name, const std::string& value) = 0;
    virtual void AddChild(const std::string& name, const char* value) = 0;

    // Appends a new child with a decimal number.
    virtual void AddChild(const std::string& name, int value) = 0;
    virtual void AddChild(const std::string& name, unsigned value) = 0;

    // Appends a new child with "true" or "false".
    virtual void AddChild(const std::string& name, bool value) = 0;

    // Appends this node as a child; null is ignored.
    virtual void AddChild(const boost::shared_ptr<XmlNode>& child) = 0;

    virtual std::size_t GetChildCount() const = 0;

    // The child at that place, null past the end.
    virtual boost::shared_ptr<XmlNode> GetChildAt(std::size_t index) const = 0;

    // The first child of that name, null when there is none.
    virtual boost::shared_ptr<XmlNode> GetChild(const std::string& name) const = 0;

    // Whether there is a child of that name.
    virtual bool HasChild(const std::string& name) const = 0;

    // The text of the first child of that name; valid while the child is.
    virtual const std::string& GetChildData(const std::string& name) const = 0;

    // The first child of that name as a number cut to 32 bits.
    virtual int GetChildDataNumber(const std::string& name) const = 0;

    // The first child of that name as an unsigned number.
    virtual unsigned long GetChildDataULONG(const std::string& name) const = 0;

    // The first child of that name as a boolean.
    virtual bool GetChildDataBool(const std::string& name) const = 0;

    // The tree from here on as compact XML, without a declaration.
    virtual std::string ToText() const = 0;
};

// A new, unnamed, empty node.
NX_HOST_API boost::shared_ptr<XmlNode> CreateXmlNode();
} // namespace nx
