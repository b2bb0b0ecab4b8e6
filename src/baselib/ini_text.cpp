#include "baselib/ini_text.h"

#include "framework/case_folding.h"

namespace rampart {

using platform::FromUtf8;
using platform::Text;
using platform::TextView;
using platform::ToUtf8;

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// One line of the text, by what it is.
struct Line {
    size_t begin = 0;
    size_t end = 0;          // behind its last character, without the line's end
    bool isSection = false;  // `name` is the section's
    bool isValue = false;    // `name` is the key
    std::string_view name;
    std::string_view value;
};

// Sets `line` to the one that begins at `position` and moves `position` to the next; false at the end.
bool NextLine(std::string_view utf8, size_t& position, Line& line) {
    if (position >= utf8.size()) {
        return false;
    }
    line = {};
    line.begin = position;
    const size_t end = std::min(utf8.find('\n', position), utf8.size());
    position = std::min(end + 1, utf8.size());
    line.end = end > line.begin && utf8[end - 1] == '\r' ? end - 1 : end;
    const std::string_view text = Trimmed(utf8.substr(line.begin, line.end - line.begin));
    if (text.empty() || text.front() == ';' || text.front() == '#') {
        return true;
    }
    if (text.front() == '[') {
        line.isSection = true;
        line.name = Trimmed(text.substr(1, std::min(text.find(']'), text.size()) - 1));
    } else if (const size_t sign = text.find('='); sign != std::string_view::npos) {
        line.isValue = true;
        line.name = Trimmed(text.substr(0, sign));
        line.value = Trimmed(text.substr(sign + 1));
    }
    return true;
}

bool CanBeName(TextView name) {
    return !name.empty() && name.find_first_of(_T("\r\n=[]")) == TextView::npos &&
           TextView(_T(" \t;#")).find(name.front()) == TextView::npos &&
           TextView(_T(" \t")).find(name.back()) == TextView::npos;
}

std::string WrittenValue(TextView value) {
    const std::string utf8 = ToUtf8(value);
    const bool changesWhenRead =
        Trimmed(utf8).size() != utf8.size() || UnquotedIniValue(value).size() != value.size();
    return changesWhenRead ? '"' + utf8 + '"' : utf8;
}

}  // namespace

std::vector<IniEntry> ParseIni(std::string_view utf8) {
    std::vector<IniEntry> entries;
    Text section;
    size_t position = utf8.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    for (Line line; NextLine(utf8, position, line);) {
        if (line.isSection) {
            section = FromUtf8(line.name);
        } else if (line.isValue) {
            entries.push_back({section, FromUtf8(line.name), FromUtf8(line.value)});
        }
    }
    return entries;
}

std::optional<std::string> WithIniValue(std::string_view utf8, TextView section, TextView key,
                                        TextView value) {
    if (!CanBeName(section) || !CanBeName(key) || value.find_first_of(_T("\r\n")) != TextView::npos) {
        return std::nullopt;
    }
    const std::string written = ToUtf8(key) + " = " + WrittenValue(value);
    // The last line of the key counts when the text is read, so that is the one to replace; otherwise the new
    // line goes behind the last value of the section.
    size_t oldBegin = std::string_view::npos, oldEnd = 0, insertAt = std::string_view::npos;
    bool inSection = false;
    size_t position = utf8.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    for (Line line; NextLine(utf8, position, line);) {
        if (line.isSection) {
            inSection = EqualNoCase(FromUtf8(line.name), section);
        } else if (inSection && line.isValue && EqualNoCase(FromUtf8(line.name), key)) {
            oldBegin = line.begin;
            oldEnd = line.end;
        }
        if (inSection && (line.isSection || line.isValue)) {
            insertAt = line.end;
        }
    }
    std::string text(utf8);
    if (oldBegin != std::string_view::npos) {
        text.replace(oldBegin, oldEnd - oldBegin, written);
    } else if (insertAt != std::string_view::npos) {
        text.insert(insertAt, "\n" + written);
    } else {
        text += text.empty() || text.back() == '\n' ? "" : "\n";
        text += (text.empty() ? "[" : "\n[") + ToUtf8(section) + "]\n" + written + "\n";
    }
    return text;
}

TextView UnquotedIniValue(TextView value) {
    const auto isQuoted = [](TextView text) {
        return text.size() >= 2 && text.front() == _T('"') && text.back() == _T('"');
    };
    if (!isQuoted(value)) {
        return value;
    }
    const TextView inner = value.substr(1, value.size() - 2);
    if (isQuoted(inner)) {
        return inner;
    }
    for (size_t index = 0; index < inner.size(); index++) {
        if (inner[index] == _T('"') && (index == 0 || inner[index - 1] != _T('\\'))) {
            return value;
        }
    }
    return inner;
}

Text UnescapedIniValue(TextView value) {
    const TextView inner = UnquotedIniValue(value);
    Text text;
    text.reserve(inner.size());
    for (size_t index = 0; index < inner.size(); index++) {
        const TCHAR next = index + 1 < inner.size() ? inner[index + 1] : TCHAR(0);
        const bool escape = inner[index] == _T('\\') &&
                            (next == _T('n') || next == _T('t') || next == _T('\\') || next == _T('"'));
        if (!escape) {
            text.push_back(inner[index]);
            continue;
        }
        text.push_back(next == _T('n') ? _T('\n') : next == _T('t') ? _T('\t') : next);
        index++;
    }
    return text;
}

}  // namespace rampart
