#include "platform/text.h"

#include "platform/utf.h"

namespace rampart::platform {

std::string ToUtf8(TextView text) {
    std::string bytes;
    bytes.reserve(text.size());
    size_t at = 0;
    while (at < text.size()) {
        if (const char32_t unit = static_cast<char16_t>(text[at]); unit < 0x80) {
            bytes.push_back(static_cast<char>(unit));
            at++;
        } else {
            AppendUtf8(bytes, TakeCodePoint(text, at));
        }
    }
    return bytes;
}

Text FromUtf8(std::string_view bytes) {
    Text text;
    text.reserve(bytes.size());
    size_t at = 0;
    while (at < bytes.size()) {
        const auto byte = static_cast<unsigned char>(bytes[at]);
        if (byte < 0x80) {
            text.push_back(static_cast<TCHAR>(byte));
            at++;
            continue;
        }
        const DecodedUtf8 decoded = DecodeUtf8(bytes.substr(at), /*surrogates=*/true);
        if (decoded.length == 0) {
            text.push_back(static_cast<TCHAR>(0xFFFD));
            at++;
        } else {
            AppendUtf16(text, decoded.codePoint);
            at += decoded.length;
        }
    }
    return text;
}

}  // namespace rampart::platform
