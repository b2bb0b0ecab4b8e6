// What was written to the debug log since the object was made.
#pragma once

#include <string>
#include <string_view>

#include "interfaces/baselib.h"

namespace rampart::test {

class LogLines {
public:
    LogLines() { FlushDebugLog(); }
    std::string Text() const {
        FlushDebugLog();
        KXFile file(GetManageDebugLog().GetFilePath(), CFile::modeRead | CFile::shareDenyNone);
        std::string all(static_cast<size_t>(file.GetLength()), '\0');
        file.Read(all.data(), static_cast<UINT>(all.size()));
        return all.substr(m_begin);
    }
    size_t Count(std::string_view part) const {
        const std::string text = Text();
        size_t count = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
            count++;
        }
        return count;
    }

private:
    size_t m_begin = static_cast<size_t>(KXFile::GetFileLength(GetManageDebugLog().GetFilePath()));
};

}  // namespace rampart::test
