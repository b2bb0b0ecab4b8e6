#include "platform/posix/command_line.h"

namespace rampart::platform {

bool SplitCommandLine(std::string_view line, std::vector<std::string>& words) {
    words.clear();
    char quote = 0;
    bool inWord = false;
    for (size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (quote == 0 && (c == ' ' || c == '\t' || c == '\n')) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (quote == 0 && (c == '\'' || c == '"')) {
            quote = c;
        } else if (c == quote) {
            quote = 0;
        } else if (c == '\\' && quote != '\'' && i + 1 < line.size() &&
                   (quote == 0 || std::string_view("\"\\$`").find(line[i + 1]) != std::string_view::npos)) {
            words.back().push_back(line[++i]);
        } else {
            words.back().push_back(c);
        }
    }
    return quote == 0;
}

}  // namespace rampart::platform
