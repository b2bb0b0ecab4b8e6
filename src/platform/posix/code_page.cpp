#include "platform/text.h"

namespace rampart::platform {

// UTF-8, or Latin-1 where that is not valid.
Text FromCodePage(std::string_view bytes) {
    Text text = FromUtf8(bytes);
    if (ToUtf8(text) == bytes) {
        return text;
    }
    text.clear();
    for (const char byte : bytes) {
        text.push_back(static_cast<TCHAR>(static_cast<unsigned char>(byte)));
    }
    return text;
}

}  // namespace rampart::platform
