#include "transferlib/mail_text.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "platform/clock.h"

namespace rampart {
namespace {

constexpr size_t kBytesOfLine = 57;  // 76 characters of base64
constexpr size_t kBytesOfWord = 42;  // an encoded word has at most 75 characters

std::string Base64(std::string_view bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        uint32_t group = 0;
        const size_t count = std::min<size_t>(3, bytes.size() - at);
        for (size_t i = 0; i < 3; ++i) {
            group = group << 8 | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0u);
        }
        for (size_t i = 0; i < 4; ++i) {
            text.push_back(i <= count ? kDigits[group >> (18 - 6 * i) & 63] : '=');
        }
    }
    return text;
}

std::string OneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return text;
}

bool IsPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// The longest front part of at most `limit` bytes that does not end inside a character.
size_t WholeCharacters(std::string_view text, size_t limit) {
    size_t end = std::min(limit, text.size());
    while (end > 0 && end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return end != 0 ? end : std::min(limit, text.size());
}

std::string HeaderText(const std::string& text) {
    const std::string line = OneLine(text);
    constexpr size_t kLongestPlain = 60;
    if (IsPlain(line) && line.size() <= kLongestPlain) {
        return line;
    }
    std::string encoded;
    for (std::string_view rest = line; !rest.empty();) {
        const size_t count = WholeCharacters(rest, kBytesOfWord);
        encoded.append(encoded.empty() ? "" : "\r\n ");
        encoded.append("=?UTF-8?B?").append(Base64(rest.substr(0, count))).append("?=");
        rest.remove_prefix(count);
    }
    return encoded;
}

std::string AddressList(const std::string& text) {
    std::string list = OneLine(text);
    std::replace(list.begin(), list.end(), ';', ',');
    return list;
}

std::string DateText(int64_t seconds) {
    constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const platform::BrokenDownTime utc = platform::ToUtcTime(seconds);
    char text[64];
    std::snprintf(text, sizeof(text), "%s, %02d %s %04d %02d:%02d:%02d +0000", kDays[utc.weekday], utc.day,
                  kMonths[utc.month - 1], utc.year, utc.hour, utc.minute, utc.second);
    return text;
}

}  // namespace

std::string ComposeMail(const MailParts& parts) {
    std::string mail;
    const auto header = [&](const char* name, const std::string& value) {
        mail.append(name).append(": ").append(value).append("\r\n");
    };
    header("From", AddressList(parts.from));
    header("To", AddressList(parts.recipient));
    header("Subject", HeaderText(parts.subject));
    header("Date", DateText(parts.timeSeconds));
    header("Message-ID", "<" + OneLine(parts.messageId) + ">");
    header("MIME-Version", "1.0");
    header("Content-Type", parts.isHtml ? "text/html; charset=utf-8" : "text/plain; charset=utf-8");
    header("Content-Transfer-Encoding", "base64");
    mail.append("\r\n");
    for (std::string_view rest = parts.body; !rest.empty();) {
        const size_t count = std::min(kBytesOfLine, rest.size());
        mail.append(Base64(rest.substr(0, count))).append("\r\n");
        rest.remove_prefix(count);
    }
    return mail;
}

}  // namespace rampart
