#include <algorithm>

#include "platform/win32/native.h"

namespace rampart::platform {

Text FromCodePage(std::string_view bytes) {
    constexpr size_t kPiece = 1 << 30;  // the system counts in int
    Text text;
    while (!bytes.empty()) {
        const auto size = static_cast<int>(std::min(bytes.size(), kPiece));
        const int length = MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, nullptr, 0);
        const size_t before = text.size();
        text.resize(before + static_cast<size_t>(std::max(length, 0)));
        MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text.data() + before, length);
        bytes.remove_prefix(static_cast<size_t>(size));
    }
    return text;
}

}  // namespace rampart::platform
