// Texts, numbers and times of the interface, and values out of reply texts.
#include <charconv>
#include <cstdlib>

#include "interfaces/baselib.h"
#include "interfaces/transferlib.h"
#include "storage/service_code.h"
#include "storage/task_text.h"

using namespace rampart;

namespace {

constexpr std::string_view kReplyPrefix = "RETURN_";

// One key of a reply goes by a name without its first letter; both names of a key are the same.
std::string_view CommonKey(std::string_view key) {
    return key.starts_with(kReplyPrefix) ? key.substr(1) : key;
}

// Calls `visit` with the decoded value of each line of that key; false ends the search.
template <typename Visit>
void ForEachValue(const CString& reply, const CString& key, const Visit& visit) {
    const std::string text = reply.ToUtf8();
    const std::string wantedText = key.ToUtf8();
    const std::string_view wanted = CommonKey(wantedText);
    std::string_view rest = text;
    while (!rest.empty()) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        const size_t equals = line.find('=');
        if (equals != std::string_view::npos && CommonKey(line.substr(0, equals)) == wanted &&
            !visit(CString::FromUtf8(PercentDecode(line.substr(equals + 1))))) {
            return;
        }
    }
}

}  // namespace

CString ApiUtil::GetVarValue(CString const& reply, CString const& key, int) {
    CString first;
    ForEachValue(reply, key, [&](const CString& value) {
        first = value;
        return false;
    });
    return first;
}

int ApiUtil::GetVarValueList(CString const& reply, CString const& key, CStringList& out) {
    int count = 0;
    ForEachValue(reply, key, [&](const CString& value) {
        out.AddTail(value);
        ++count;
        return true;
    });
    return count;
}

CString ApiUtil::GetQuilString(__int64 code) {
    const bool fits = code >= 0 && code <= INT32_MAX;
    return CString::FromUtf8(ServiceCodeText(fits ? static_cast<int>(code) : kFailed));
}

CString ApiUtil::EncodeURL(CString const& text) {
    return CString::FromUtf8(PercentEncode(text.ToUtf8()));
}

CString ApiUtil::Int64ToStr(__int64 value) {
    return CString::FromUtf8(std::to_string(value));
}

__int64 ApiUtil::StrToInt64(CString const& text) {
    return std::strtoll(text.ToUtf8().c_str(), nullptr, 10);
}

double ApiUtil::StrToDouble(CString const& text) {
    const std::string bytes = text.ToUtf8();
    const size_t begin = std::min(bytes.find_first_not_of(" \t+"), bytes.size());
    double value = 0;
    std::from_chars(bytes.data() + begin, bytes.data() + bytes.size(), value);
    return value;
}

CTime ApiUtil::SystemTimeToTime(SYSTEMTIME const& time) {
    return TimeUtil::SystemTimeToTime(time);
}
