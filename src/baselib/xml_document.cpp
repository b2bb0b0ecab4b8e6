#include <sstream>

#include "baselib/whole_file.h"
#include "baselib/xml_tree.h"
#include "framework/guarded.h"
#include "platform/error.h"

using namespace rampart;

namespace {

constexpr uint64_t kLargestDocument = uint64_t{1} << 30;
// A text of blanks alone is a value too, and a value keeps its line ends.
constexpr unsigned kParseOptions = (pugi::parse_default | pugi::parse_ws_pcdata_single) & ~pugi::parse_eol;

}  // namespace

XMLDocument::XMLDocument() : m_impl(std::make_shared<Impl>()) {}

XMLDocument::~XMLDocument() = default;

bool XMLDocument::Load(CString const& path) {
    m_impl->document = nullptr;
    return Guarded(_T("Error: XMLDocument-Load"), false, [&] {
        std::string content;
        if (!ReadWholeFile(path, kLargestDocument, content)) {
            m_impl->error = GetLastErrorMsg();
            return false;
        }
        auto document = std::make_shared<pugi::xml_document>();
        const pugi::xml_parse_result result =
            document->load_buffer(content.data(), content.size(), kParseOptions);
        if (!result) {
            m_impl->error = FormatText(_T("%S, at byte %I64d"), result.description(),
                                       static_cast<__int64>(result.offset));
            return false;
        }
        m_impl->error = CString();
        m_impl->document = std::move(document);
        return true;
    });
}

bool XMLDocument::Create(CString const& rootName) {
    m_impl->error = CString();
    m_impl->document = std::make_shared<pugi::xml_document>();
    return static_cast<bool>(m_impl->document->append_child(rootName.ToUtf8().c_str()));
}

bool XMLDocument::Save(CString const& path) const {
    return Guarded(_T("Error: XMLDocument-Save"), false, [&] {
        if (!IsValid()) {
            platform::SetLastError(platform::kInvalidParameter);
            return false;
        }
        std::ostringstream content;
        m_impl->document->save(content, "  ", pugi::format_default, pugi::encoding_utf8);
        return WriteWholeFile(path, content.str());
    });
}

bool XMLDocument::IsValid() const {
    return m_impl->document && m_impl->document->document_element();
}

CString XMLDocument::GetParseError() const {
    return m_impl->error;
}

XMLNode XMLDocument::GetAsNode() const {
    XMLNode root;
    if (IsValid()) {
        root.m_impl = std::make_shared<XMLNode::Impl>(
            XMLNode::Impl{m_impl->document, m_impl->document->document_element()});
    }
    return root;
}
