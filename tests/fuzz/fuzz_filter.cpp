// Filter entries and expressions of users and of the service. An input is a line with an entry or expression,
// a line with a path, and the text of a list.
#include "fuzz/fuzz_input.h"
#include "interfaces/filterlib.h"

namespace rampart::fuzz {
namespace {

void MatchAloneAndInLists(const CString& expression, const CString& path) {
    const int taken = RegexFilter::InitBoostRegex({expression}, {expression});
    const int inFiles = RegexFilter::MatchBoostFileFilter(path);
    Require(inFiles == RegexFilter::MatchBoostFolderFilter(path), "both lists match alike");
    Require(taken == 2 || (taken == 0 && inFiles == 0), "what is not taken matches nothing");
    Require(expression.IsEmpty() || inFiles == RegexFilter::MatchUIBoostFilter(expression, path),
            "an expression matches alone as it does in a list");
}

void ConvertEntry(const CString& entry, const CString& path) {
    for (const int isFolder : {0, 1}) {
        const CString expression = RegexFilter::ChangeFilePathToBoostRegexFilter(entry, isFolder);
        Require(RegexFilter::InitBoostRegex({expression}, {}) == 1, "every entry is an expression");
        RegexFilter::MatchUIBoostFilter(expression, path);
    }
}

// A path without wildcards, separators of another system and blanks at its end names itself.
void NameItself(const CString& name) {
    const bool isPlain = !name.IsEmpty() && name.FindOneOf(_T("*?/")) < 0 && name.Find(TCHAR(0)) < 0 &&
                         TextView(_T(" \t\n\v\f\r\\")).find(name[name.GetLength() - 1]) == TextView::npos;
    if (!isPlain) {
        return;
    }
    const CString path = _T("C:\\") + name;
    const auto matches = [&](int isFolder, const CString& text) {
        return RegexFilter::MatchUIBoostFilter(RegexFilter::ChangeFilePathToBoostRegexFilter(path, isFolder),
                                               text);
    };
    Require(matches(0, path) == 1, "a file's path names the file");
    Require(matches(1, path + _T("\\")) == 1, "a folder's path names the folder");
    Require(matches(1, path) == 0, "a folder's path names no file");
}

void SplitList(const CString& text) {
    std::vector<CString> entries, served;
    RegexFilter::StoreRegexFilterToVector(text, entries, 0);
    RegexFilter::StoreRegexServerFilterToVector(text, served, 1);
    Require(entries.size() == served.size(), "both lists are cut alike");
    const int taken = RegexFilter::InitBoostRegex(entries, served);
    Require(taken >= static_cast<int>(entries.size()), "every entry is an expression");
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart::fuzz;
    Input input(data, size);
    const CString entry = CString::FromUtf8(input.Piece('\n'));
    const CString path = CString::FromUtf8(input.Piece('\n'));
    MatchAloneAndInLists(entry, path);
    ConvertEntry(entry, path);
    NameItself(path);
    SplitList(CString::FromUtf8(input.Rest()));
    return 0;
}
