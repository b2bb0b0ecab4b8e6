// XML files of other programs and damaged ones.
#include <fstream>
#include <string>

#include "fuzz/fuzz_input.h"
#include "interfaces/baselib.h"
#include "platform/path_mapping.h"
#include "platform/process.h"

namespace rampart::fuzz {
namespace {

constexpr int kDeepest = 200;           // levels that are walked
constexpr TCHAR kNoCharacter = 0xFFFD;  // what stands for bytes that are no text
constexpr size_t kSavedShare = 16;      // one length of so many is saved, too: it waits for the disk

// One file for all inputs, in the folder that test.sh gives each target.
const std::string& FilePath() {
    static const std::string home = platform::EnvironmentVariable("RAMPART_HOME");
    static const std::string path = (home.empty() ? "/tmp" : home) + "/fuzz.xml";
    return path;
}

CString EnginePath() {
    return CString(TextView(platform::ToEnginePath(FilePath())));
}

void ReadValues(const XMLNode& node, const CString& name) {
    CString text;
    __int64 wide = 0;
    long number = 0;
    unsigned long word = 0;
    int narrow = 0;
    Require(node.GetValue(name, text, _T("none")), "a child has a text");
    Require(node.GetValue(name, wide, 0LL) && node.GetValue(name, number, 0L) &&
                node.GetValue(name, word, 0UL) && node.GetValue(name, narrow, 0),
            "a child has a number");
    Require(narrow == std::clamp<__int64>(wide, INT32_MIN, INT32_MAX), "a number is clipped to its type");
}

void Walk(const XMLNode& node, int depth) {
    const int count = node.GetNumberOfNodes();
    Require(!node.GetNode(count).IsValid() && !node.GetNode(-1).IsValid(), "children are counted");
    for (int index = 0; index < std::min(count, 50); index++) {
        const XMLNode child = node.GetNode(index);
        const CString name = child.GetName();
        Require(child.IsValid() && !name.IsEmpty(), "a child has a name");
        if (name.Find(kNoCharacter) < 0) {
            Require(node.GetNode(name).IsValid(), "a child is found by its name");
            ReadValues(node, name);
        }
        if (depth < kDeepest) {
            Walk(child, depth + 1);
        }
    }
}

// Names and texts of elements, in their order.
std::string Content(const XMLNode& node, int depth) {
    std::string content = node.GetName().ToUtf8();
    const int count = node.GetNumberOfNodes();
    for (int index = 0; index < std::min(count, 50) && depth < kDeepest; index++) {
        const XMLNode child = node.GetNode(index);
        content += "<" + Content(child, depth + 1) + ">";
    }
    return content;
}

void SetValues(XMLNode root) {
    CString text;
    Require(root.SetValue(_T("Name"), _T(" <a> & \"b\" ")) && root.GetValue(_T("Name"), text, _T("")) &&
                text == _T(" <a> & \"b\" "),
            "a text that is put in is read");
    int number = 0;
    Require(root.SetValue(_T("Number"), -5) && root.GetValue(_T("Number"), number, 0) && number == -5,
            "a number that is put in is read");
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart::fuzz;
    std::ofstream(FilePath(), std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    XMLDocument document;
    const bool loaded = document.Load(EnginePath());
    Require(loaded == document.GetParseError().IsEmpty(), "a document that is no document says why");
    const XMLNode root = document.GetAsNode();
    Require(root.IsValid() == document.IsValid(), "a document has a root");
    if (!root.IsValid()) {
        return 0;
    }
    Walk(root, 0);
    SetValues(root);
    if (size % kSavedShare != 0) {
        return 0;
    }
    const std::string content = Content(root, 0);
    Require(document.Save(EnginePath()), "a document is saved");
    XMLDocument again;
    Require(again.Load(EnginePath()) && Content(again.GetAsNode(), 0) == content, "a document comes back");
    return 0;
}
