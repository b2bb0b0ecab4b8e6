#include <cmath>
#include <limits>

#include "framework/case_folding.h"
#include "interfaces/baselib.h"

using namespace rampart;

namespace {

constexpr LPCTSTR kUnits[] = {_T("B"), _T("KB"), _T("MB"), _T("GB"), _T("TB"), _T("PB"), _T("EB")};
constexpr double kStep = 1024.0;

void SkipBlanks(TextView& text) {
    while (!text.empty() && text.front() == _T(' ')) {
        text.remove_prefix(1);
    }
}

// Takes digits off the front, and at most one point with digits behind it; false if there is none.
bool TakeDecimal(TextView& text, int64_t& whole, double& fraction) {
    constexpr int64_t kLimit = std::numeric_limits<int64_t>::max();
    bool any = false;
    for (; !text.empty() && text.front() >= _T('0') && text.front() <= _T('9'); text.remove_prefix(1)) {
        const int digit = text.front() - _T('0');
        whole = whole > (kLimit - digit) / 10 ? kLimit : whole * 10 + digit;
        any = true;
    }
    if (any && !text.empty() && text.front() == _T('.')) {
        text.remove_prefix(1);
        for (double weight = 0.1; !text.empty() && text.front() >= _T('0') && text.front() <= _T('9');
             weight /= 10) {
            fraction += weight * (text.front() - _T('0'));
            text.remove_prefix(1);
        }
    }
    return any;
}

// 1 for no unit and for bytes, 1024 for KB and so on; 0 for a word that is no unit.
double FactorOf(TextView unit) {
    while (!unit.empty() && unit.back() == _T(' ')) {
        unit.remove_suffix(1);
    }
    if (unit.empty() || EqualNoCase(unit, _T("bytes")) || EqualNoCase(unit, _T("byte"))) {
        return 1;
    }
    double factor = 1;
    for (const LPCTSTR known : kUnits) {
        if (EqualNoCase(unit, known) || EqualNoCase(unit, TextView(known).substr(0, 1))) {
            return factor;
        }
        factor *= kStep;
    }
    return 0;
}

}  // namespace

CString FormatSizeToString(__int64 bytes, int) {
    double value = static_cast<double>(bytes);
    size_t unit = 0;
    // By what will be shown: 1023.999 KB is 1.00 MB.
    while (std::fabs(value) >= (unit == 0 ? kStep : kStep - 0.005) && unit + 1 < std::size(kUnits)) {
        value /= kStep;
        unit++;
    }
    return unit == 0 ? FormatText(_T("%I64d B"), bytes) : FormatText(_T("%.2f %s"), value, kUnits[unit]);
}

__int64 StringToSize(CString const& text) {
    TextView rest = text;
    SkipBlanks(rest);
    const bool negative = !rest.empty() && rest.front() == _T('-');
    rest.remove_prefix(negative ? 1 : 0);
    int64_t whole = 0;
    double fraction = 0;
    if (!TakeDecimal(rest, whole, fraction)) {
        return 0;
    }
    SkipBlanks(rest);
    const double factor = FactorOf(rest);
    // Plain numbers stay exact; with a unit the text itself is rounded.
    constexpr double kLimit = 9223372036854775807.0;
    const double scaled = (static_cast<double>(whole) + fraction) * factor;
    const __int64 size = factor == 1        ? whole
                         : scaled >= kLimit ? std::numeric_limits<__int64>::max()
                                            : static_cast<__int64>(std::llround(scaled));
    return negative ? -size : size;
}
