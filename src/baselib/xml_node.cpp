#include <charconv>
#include <limits>

#include "baselib/text_table.h"
#include "baselib/xml_tree.h"

using namespace rampart;

namespace {

pugi::xml_node ChildOf(pugi::xml_node node, CString const& name) {
    return node.child(name.ToUtf8().c_str());
}

// Blanks, a sign, digits, as far as they go; clipped to the type's range.
template <class Integer>
Integer IntegerOf(const char* text) {
    if constexpr (std::is_signed_v<Integer>) {
        const long long value = std::strtoll(text, nullptr, 10);
        return static_cast<Integer>(std::clamp<long long>(value, std::numeric_limits<Integer>::min(),
                                                          std::numeric_limits<Integer>::max()));
    } else {
        return static_cast<Integer>(std::strtoull(text, nullptr, 10));
    }
}

template <class Integer>
bool ReadInteger(pugi::xml_node node, CString const& name, Integer& out, Integer defaultValue) {
    const pugi::xml_node child = ChildOf(node, name);
    out = child ? IntegerOf<Integer>(child.text().get()) : defaultValue;
    return static_cast<bool>(child);
}

}  // namespace

XMLNode::XMLNode() = default;

XMLNode::XMLNode(XMLNode const& other) = default;

XMLNode& XMLNode::operator=(XMLNode const& other) = default;

XMLNode::~XMLNode() = default;

bool XMLNode::IsValid() const {
    return m_impl && m_impl->node;
}

CString XMLNode::GetName() const {
    return IsValid() ? CString::FromUtf8(m_impl->node.name()) : CString();
}

int XMLNode::GetNumberOfNodes() const {
    if (!IsValid()) {
        return 0;
    }
    const auto children = m_impl->node.children();
    return static_cast<int>(std::count_if(children.begin(), children.end(), [](const pugi::xml_node& child) {
        return child.type() == pugi::node_element;
    }));
}

XMLNode XMLNode::GetNode(CString const& name) const {
    XMLNode found;
    if (IsValid()) {
        found.m_impl = std::make_shared<Impl>(Impl{m_impl->document, ChildOf(m_impl->node, name)});
    }
    return found;
}

XMLNode XMLNode::GetNode(int index) const {
    XMLNode found;
    if (!IsValid() || index < 0) {
        return found;
    }
    for (const pugi::xml_node& child : m_impl->node.children()) {
        if (child.type() == pugi::node_element && index-- == 0) {
            found.m_impl = std::make_shared<Impl>(Impl{m_impl->document, child});
            break;
        }
    }
    return found;
}

bool XMLNode::GetValue(CString const& name, CString& out, CString const& defaultValue) const {
    const pugi::xml_node child = IsValid() ? ChildOf(m_impl->node, name) : pugi::xml_node();
    out = child ? CString::FromUtf8(child.text().get()) : CString(defaultValue);
    return static_cast<bool>(child);
}

bool XMLNode::GetValue(CString const& name, int& out, int defaultValue) const {
    return ReadInteger(IsValid() ? m_impl->node : pugi::xml_node(), name, out, defaultValue);
}

bool XMLNode::GetValue(CString const& name, long& out, long defaultValue) const {
    return ReadInteger(IsValid() ? m_impl->node : pugi::xml_node(), name, out, defaultValue);
}

bool XMLNode::GetValue(CString const& name, unsigned long& out, unsigned long defaultValue) const {
    return ReadInteger(IsValid() ? m_impl->node : pugi::xml_node(), name, out, defaultValue);
}

bool XMLNode::GetValue(CString const& name, __int64& out, __int64 defaultValue) const {
    return ReadInteger(IsValid() ? m_impl->node : pugi::xml_node(), name, out, defaultValue);
}

bool XMLNode::SetValue(CString const& name, CString const& value) {
    if (!IsValid() || name.IsEmpty()) {
        return false;
    }
    pugi::xml_node child = ChildOf(m_impl->node, name);
    if (!child) {
        child = m_impl->node.append_child(name.ToUtf8().c_str());
    }
    return child && child.text().set(value.ToUtf8().c_str());
}

bool XMLNode::SetValue(CString const& name, TCHAR const* value) {
    return SetValue(name, CString(value));
}

bool XMLNode::SetValue(CString const& name, bool value) {
    return SetValue(name, CString(value ? _T("1") : _T("0")));
}

bool XMLNode::SetValue(CString const& name, float value) {
    char text[32];  // the shortest one that reads back as the same number
    const std::to_chars_result end = std::to_chars(std::begin(text), std::end(text), value);
    return SetValue(name, CString::FromUtf8(std::string_view(text, end.ptr)));
}

bool XMLNode::SetValue(CString const& name, int value) {
    return SetValue(name, FormatText(_T("%d"), value));
}

bool XMLNode::SetValue(CString const& name, __int64 value) {
    return SetValue(name, FormatText(_T("%I64d"), value));
}

bool XMLNode::SetValue(CString const& name, unsigned long value) {
    return SetValue(name, FormatText(_T("%I64u"), static_cast<unsigned long long>(value)));
}
