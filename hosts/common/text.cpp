#include "common/text.h"

#include <algorithm>
#include <cstdio>

namespace rampart::host {

namespace {

constexpr __int64 kNanosecondsASecond = 1000000000;

// Length of the valid UTF-8 sequence at `i`, 0 if there is none.
size_t SequenceLength(std::string const& bytes, size_t i) {
    auto const lead = static_cast<unsigned char>(bytes[i]);
    size_t const length = lead < 0x80                   ? 1
                          : lead >= 0xC2 && lead < 0xE0 ? 2
                          : (lead & 0xF0) == 0xE0       ? 3
                          : lead >= 0xF0 && lead < 0xF5 ? 4
                                                        : 0;
    if (length == 0 || i + length > bytes.size()) {
        return 0;
    }
    for (size_t k = 1; k < length; ++k) {
        if ((static_cast<unsigned char>(bytes[i + k]) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // A surrogate in three bytes is no character.
    bool const isSurrogate = length == 3 && lead == 0xED && static_cast<unsigned char>(bytes[i + 1]) >= 0xA0;
    return isSurrogate ? 0 : length;
}

}  // namespace

std::vector<std::string> ArgumentsForParser(int argc, char** argv) {
    std::vector<std::string> arguments = ProgramArguments(argc, argv);
    std::reverse(arguments.begin(), arguments.end());
    arguments.pop_back();
    return arguments;
}

std::string Printable(std::string const& bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size();) {
        size_t const length = SequenceLength(bytes, i);
        auto const lead = static_cast<unsigned char>(bytes[i]);
        if (length == 0 || lead < 0x20 || lead == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", lead);
            text += escaped;
            ++i;
        } else {
            text.append(bytes, i, length);
            i += length;
        }
    }
    return text;
}

std::string PrintablePath(CString const& enginePath) {
    std::string const native = ToNativePath(enginePath);
    return Printable(native.empty() ? Utf8(enginePath) : native);
}

std::string PrintableServerPath(CString const& serverPath) {
    std::string path;
    for (int start = 0; start <= serverPath.GetLength();) {
        int end = serverPath.Find(_T('\\'), start);
        end = end < 0 ? serverPath.GetLength() : end;
        path += (start == 0 ? "" : "/") + ToNativeName(serverPath.Mid(start, end - start));
        start = end + 1;
    }
    return Printable(path);
}

std::string Utf8(CString const& text) {
    return text.ToUtf8();
}

std::string Shortened(std::string const& text, size_t width) {
    constexpr std::string_view kEllipsis = "...";
    if (text.size() <= width || width < kEllipsis.size()) {
        return text.substr(0, width);
    }
    size_t end = width - kEllipsis.size();
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return text.substr(0, end).append(kEllipsis);
}

std::string FormatBytes(__int64 bytes) {
    return Utf8(FormatSizeToString(bytes, 0));
}

std::string FormatCount(__int64 count, char const* one, char const* many) {
    std::string digits = std::to_string(count);
    for (int position = static_cast<int>(digits.size()) - 3; position > (count < 0 ? 1 : 0); position -= 3) {
        digits.insert(static_cast<size_t>(position), ",");
    }
    return digits + " " + (count == 1 ? one : many);
}

std::string FormatTime(__int64 nanoseconds) {
    if (nanoseconds == INT64_MIN) {
        return "-";
    }
    __int64 seconds = nanoseconds / kNanosecondsASecond;
    if (nanoseconds % kNanosecondsASecond < 0) {
        --seconds;
    }
    return Utf8(CTime(seconds).Format(_T("%Y-%m-%d %H:%M:%S")));
}

std::string FormatDuration(__int64 seconds) {
    char text[32];
    if (seconds >= 3600) {
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60,
                      seconds % 60);
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", seconds / 60, seconds % 60);
    }
    return text;
}

}  // namespace rampart::host
