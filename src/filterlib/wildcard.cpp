#include "filterlib/wildcard.h"

#include <algorithm>

namespace rampart {
namespace {

constexpr TCHAR kBackslash = _T('\\');
constexpr TextView kSeparator = _T("\\\\");
constexpr TextView kAnyFolders =
    _T("(?:.*\\\\)?");  // nothing, or some folders with the backslash behind them
constexpr TextView kAnyDrive = _T("[a-z]:\\\\");

bool IsBlank(TCHAR character) {
    return character == _T(' ') || (character >= _T('\t') && character <= _T('\r'));
}

// Without blanks around it, with backslashes alone as separators, and without trailing ones.
Text Normalized(TextView entry) {
    while (!entry.empty() && IsBlank(entry.front())) {
        entry.remove_prefix(1);
    }
    while (!entry.empty() && IsBlank(entry.back())) {
        entry.remove_suffix(1);
    }
    Text text(entry);
    std::replace(text.begin(), text.end(), _T('/'), kBackslash);
    while (!text.empty() && text.back() == kBackslash) {
        text.pop_back();
    }
    return text;
}

bool IsPlain(TCHAR character) {
    return (character >= _T('a') && character <= _T('z')) || (character >= _T('A') && character <= _T('Z')) ||
           (character >= _T('0') && character <= _T('9')) || character == _T('_') || character >= 0x80;
}

void AppendPattern(TextView pattern, Text& expression) {
    for (const TCHAR character : pattern) {
        if (character == _T('*')) {
            expression += _T("[^\\\\]*");
        } else if (character == _T('?')) {
            expression += _T("[^\\\\]");
        } else if (IsPlain(character)) {
            expression += character;
        } else if (character != 0) {
            expression += kBackslash;
            expression += character;
        }
    }
}

// What stands in front of the entry itself: its place, if it names one.
Text BeginOf(TextView& entry) {
    const bool hasDrive = entry.size() >= 2 && entry[1] == _T(':');
    if (hasDrive || entry.starts_with(_T("\\\\"))) {
        return {};
    }
    if (entry.starts_with(kBackslash)) {
        entry.remove_prefix(1);
        return Text(kAnyDrive);
    }
    return Text(kAnyFolders);
}

}  // namespace

Text ExpressionOfEntry(TextView entry, bool isFolder) {
    const Text normalized = Normalized(entry);
    if (normalized.empty()) {
        return {};
    }
    TextView rest = normalized;
    Text expression = BeginOf(rest);
    const size_t nameBegin = rest.rfind(kBackslash) == TextView::npos ? 0 : rest.rfind(kBackslash) + 1;
    const TextView name = rest.substr(nameBegin);
    AppendPattern(rest.substr(0, nameBegin), expression);
    if (name == _T("*") || name == _T("*.*")) {
        expression += isFolder ? _T(".+\\\\") : _T(".+");  // all that lies there, at any depth
        return expression;
    }
    AppendPattern(name, expression);
    if (isFolder) {
        expression.append(kSeparator).append(_T(".*"));
    }
    return expression;
}

}  // namespace rampart
