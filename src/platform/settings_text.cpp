#include "platform/settings_text.h"

#include <algorithm>

#include "platform/error.h"

namespace rampart::platform {
namespace {

// Bytes that the lines of the file use themselves. The others stand for themselves, so that a person can read
// it.
constexpr std::string_view kReserved = "%[]=\r\n";

std::string Escape(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        if (kReserved.find(byte) != std::string_view::npos || byte == '\0') {
            constexpr char kDigits[] = "0123456789ABCDEF";
            escaped.append({'%', kDigits[(byte >> 4) & 15], kDigits[byte & 15]});
        } else {
            escaped.push_back(byte);
        }
    }
    return escaped;
}

std::string Unescape(std::string_view text) {
    const auto digit = [](char c) {
        return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
    };
    std::string plain;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) >= 0 && digit(text[i + 2]) >= 0) {
            plain.push_back(static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2])));
            i += 2;
        } else {
            plain.push_back(text[i]);
        }
    }
    return plain;
}

}  // namespace

SettingsSections ParseSettings(std::string_view text) {
    SettingsSections sections;
    std::string section;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.starts_with('[') && line.ends_with(']')) {
            section = Unescape(line.substr(1, line.size() - 2));
        } else if (const size_t equals = line.find('='); equals != std::string_view::npos) {
            sections[section][Unescape(line.substr(0, equals))] = Unescape(line.substr(equals + 1));
        }
    }
    return sections;
}

std::string PrintSettings(const SettingsSections& sections) {
    std::string text;
    for (const auto& [section, values] : sections) {
        text.append("[").append(Escape(section)).append("]\n");
        for (const auto& [name, value] : values) {
            text.append(Escape(name)).append("=").append(Escape(value)).append("\n");
        }
    }
    return text;
}

bool FindSetting(const SettingsSections& sections, TextView section, TextView name, Text& value) {
    if (const auto values = sections.find(ToUtf8(section)); values != sections.end()) {
        if (const auto found = values->second.find(ToUtf8(name)); found != values->second.end()) {
            value = FromUtf8(found->second);
            return true;
        }
    }
    SetLastError(kFileNotFound);
    return false;
}

}  // namespace rampart::platform
