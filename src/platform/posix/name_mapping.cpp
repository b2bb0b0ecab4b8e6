#include "platform/posix/name_mapping.h"

#include <array>

#include "platform/path_mapping.h"
#include "platform/utf.h"

namespace rampart::platform {
namespace {

constexpr char32_t kMappedBase = 0xF000;  // a character that an engine name cannot hold, plus this
constexpr char32_t kByteBase = 0xDC00;    // a byte from 80 to FF that is not text, plus this
constexpr std::string_view kForbidden = "\\:*?\"<>|";

constexpr std::array<bool, 256> kPlain = [] {
    std::array<bool, 256> plain = {};
    for (int c = 0; c < 0x80; c++) {
        plain[c] = kForbidden.find(static_cast<char>(c)) == std::string_view::npos;
    }
    return plain;
}();

bool IsForbidden(char32_t c) {
    return c < 0x80 && !kPlain[c];
}

bool IsTrailing(char32_t c) {
    return c == '.' || c == ' ';
}

// Whether an engine name holds this code point in place of another character or of a byte.
bool IsStandIn(char32_t c) {
    const char32_t mapped = c - kMappedBase;
    return IsForbidden(mapped) || IsTrailing(mapped) || (c >= kByteBase + 0x80 && c <= kByteBase + 0xFF);
}

void AppendBytes(Text& engine, std::string_view bytes) {
    for (const char byte : bytes) {
        engine.push_back(static_cast<TCHAR>(kByteBase + static_cast<unsigned char>(byte)));
    }
}

void AppendMapped(Text& engine, std::string_view native) {
    while (!native.empty()) {
        const auto byte = static_cast<unsigned char>(native[0]);
        if (kPlain[byte]) {
            engine.push_back(static_cast<TCHAR>(byte));
            native.remove_prefix(1);
            continue;
        }
        const DecodedUtf8 decoded = DecodeUtf8(native, /*surrogates=*/false);
        const size_t length = std::max<size_t>(decoded.length, 1);
        if (decoded.length == 0 || IsStandIn(decoded.codePoint)) {
            AppendBytes(engine, native.substr(0, length));
        } else if (IsForbidden(decoded.codePoint)) {
            engine.push_back(static_cast<TCHAR>(kMappedBase + decoded.codePoint));
        } else {
            AppendUtf16(engine, decoded.codePoint);
        }
        native.remove_prefix(length);
    }
}

}  // namespace

void AppendEngineName(Text& engine, std::string_view native) {
    if (native.empty()) {
        return;
    }
    const size_t start = engine.size();
    engine.resize(start + native.size());
    TCHAR* out = engine.data() + start;
    size_t plain = 0;
    while (plain < native.size() && kPlain[static_cast<unsigned char>(native[plain])]) {
        out[plain] = static_cast<TCHAR>(native[plain]);
        plain++;
    }
    if (plain < native.size()) {
        engine.resize(start + plain);
        AppendMapped(engine, native.substr(plain));
    }
    if (IsTrailing(static_cast<char16_t>(engine.back()))) {
        engine.back() = static_cast<TCHAR>(engine.back() + kMappedBase);
    }
}

void AppendNativeName(std::string& native, TextView engine) {
    size_t at = 0;
    while (at < engine.size()) {
        const char32_t c = TakeCodePoint(engine, at);
        if (!IsStandIn(c)) {
            AppendUtf8(native, c);
        } else {
            native.push_back(static_cast<char>(c & 0xFF));
        }
    }
}

Text NameToEngine(std::string_view native) {
    Text engine;
    AppendEngineName(engine, native);
    return engine;
}

std::string NameToNative(TextView engine) {
    std::string native;
    native.reserve(engine.size());
    AppendNativeName(native, engine);
    return native;
}

}  // namespace rampart::platform
