#include "framework/case_folding.h"
#include "interfaces/baselib.h"
#include "platform/error.h"
#include "platform/process.h"

using namespace rampart;

void StrToStrList(CString const& text, CStringList& out) {
    TextView rest = text;
    while (!rest.empty()) {
        const size_t bar = std::min(rest.find(_T('|')), rest.size());
        if (bar > 0) {
            out.AddTail(CString(rest.substr(0, bar)));
        }
        rest.remove_prefix(std::min(bar + 1, rest.size()));
    }
}

void RestoreCStrListToVector(CStringList const& list, std::vector<CString>& out) {
    out.insert(out.end(), list.begin(), list.end());
}

POSITION StringListFindNoCase(CStringList const& list, CString const& item) {
    for (POSITION next = list.GetHeadPosition(); next;) {
        const POSITION present = next;
        if (EqualNoCase(list.GetNext(next), item)) {
            return present;
        }
    }
    return nullptr;
}

int VectorFindNoCase(CString const& item, std::vector<CString> const& list) {
    return std::any_of(list.begin(), list.end(),
                       [&](CString const& entry) { return EqualNoCase(entry, item); })
               ? 1
               : 0;
}

CString GetLastErrorMsg() {
    return GetLastErrorMsgEx(platform::LastError());
}

CString GetLastErrorMsgEx(unsigned long code) {
    return CString(TextView(platform::ErrorText(static_cast<uint32_t>(code))));
}

CString CreateGUID() {
    constexpr int kVersionByte = 6, kVariantByte = 8;
    const std::string bytes = platform::RandomBytes(16);
    CString text;
    for (int index = 0; index < static_cast<int>(bytes.size()); index++) {
        unsigned value = static_cast<unsigned char>(bytes[static_cast<size_t>(index)]);
        value = index == kVersionByte   ? (value & 0x0F) | 0x40
                : index == kVariantByte ? (value & 0x3F) | 0x80
                                        : value;
        const bool dash = index == 4 || index == 6 || index == 8 || index == 10;
        text.AppendFormat(dash ? _T("-%.2X") : _T("%.2X"), value);
    }
    return text;
}
