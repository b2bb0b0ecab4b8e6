// Comparison, search, parts and changes of CString.
#include <algorithm>
#include <utility>

#include "framework/cexception.h"
#include "framework/clip.h"
#include "framework/cstring.h"

using rampart::TextView;

namespace {

bool IsSpace(TCHAR unit) {
    return (unit >= 0x9 && unit <= 0xD) || unit == ' ' || unit == 0x85 || unit == 0xA0 || unit == 0x1680 ||
           (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 || unit == 0x2029 || unit == 0x202F ||
           unit == 0x205F || unit == 0x3000;
}

bool Contains(TextView set, TCHAR unit) {
    return set.find(unit) != TextView::npos;
}

template <class Predicate>
size_t LeadingCount(TextView text, Predicate predicate) {
    return static_cast<size_t>(std::find_if_not(text.begin(), text.end(), predicate) - text.begin());
}

template <class Predicate>
size_t EndWithoutTrailing(TextView text, Predicate predicate) {
    return static_cast<size_t>(text.rend() - std::find_if_not(text.rbegin(), text.rend(), predicate));
}

int ToIndex(size_t position) {
    return position == TextView::npos ? -1 : static_cast<int>(position);
}

}  // namespace

// --- Comparison and case ---

int CString::Compare(LPCTSTR text) const noexcept {
    const int order = View().compare(ViewOf(text));
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

int CString::CompareNoCase(LPCTSTR text) const {
    return rampart::CompareNoCase(View(), ViewOf(text));
}

int CString::CompareNoCase(const CString& text) const {
    return m_data == text.m_data ? 0 : rampart::CompareNoCase(View(), text.View());
}

CString& CString::MakeLower() {
    if (!IsEmpty()) {
        rampart::MakeLowerCase(PrepareWrite(View().size()), View().size());
    }
    return *this;
}

CString& CString::MakeUpper() {
    if (!IsEmpty()) {
        rampart::MakeUpperCase(PrepareWrite(View().size()), View().size());
    }
    return *this;
}

CString& CString::MakeReverse() {
    if (!IsEmpty()) {
        TCHAR* data = PrepareWrite(View().size());
        std::reverse(data, data + GetLength());
    }
    return *this;
}

// --- Parts ---

CString CString::Mid(int first) const {
    return Mid(first, GetLength());
}

CString CString::Mid(int first, int count) const {
    const size_t start = rampart::Clip(first, View().size());
    const size_t length = rampart::Clip(count, View().size() - start);
    return length == View().size() ? *this : CString(View().substr(start, length));
}

CString CString::Left(int count) const {
    return Mid(0, count);
}

CString CString::Right(int count) const {
    const size_t length = rampart::Clip(count, View().size());
    return Mid(static_cast<int>(View().size() - length));
}

CString CString::SpanIncluding(LPCTSTR set) const {
    const TextView allowed = ViewOf(set);
    return Left(static_cast<int>(LeadingCount(View(), [&](TCHAR unit) { return Contains(allowed, unit); })));
}

CString CString::SpanExcluding(LPCTSTR set) const {
    const TextView ending = ViewOf(set);
    return Left(static_cast<int>(LeadingCount(View(), [&](TCHAR unit) { return !Contains(ending, unit); })));
}

CString CString::Tokenize(LPCTSTR separators, int& start) const {
    const TextView text = View();
    const TextView set = ViewOf(separators);
    if (start >= 0 && static_cast<size_t>(start) < text.size()) {
        const size_t first = set.empty() ? static_cast<size_t>(start) : text.find_first_not_of(set, start);
        if (first != TextView::npos) {
            const size_t end =
                set.empty() ? text.size() : std::min(text.find_first_of(set, first), text.size());
            start = static_cast<int>(end + 1);
            return CString(text.substr(first, end - first));
        }
    }
    start = -1;
    return CString();
}

// --- Searching ---

int CString::Find(TCHAR character, int start) const noexcept {
    return start < 0 ? -1 : ToIndex(View().find(character, static_cast<size_t>(start)));
}

int CString::Find(LPCTSTR text, int start) const noexcept {
    return start < 0 || !text ? -1 : ToIndex(View().find(text, static_cast<size_t>(start)));
}

int CString::ReverseFind(TCHAR character) const noexcept {
    return ToIndex(View().rfind(character));
}

int CString::FindOneOf(LPCTSTR set) const noexcept {
    return ToIndex(View().find_first_of(ViewOf(set)));
}

// --- Changes ---

int CString::Replace(TCHAR from, TCHAR to) {
    const int count = from == to ? 0 : static_cast<int>(std::count(View().begin(), View().end(), from));
    if (count > 0) {
        TCHAR* data = PrepareWrite(View().size());
        std::replace(data, data + GetLength(), from, to);
    }
    return count;
}

int CString::Replace(LPCTSTR from, LPCTSTR to) {
    const TextView text = View();
    const TextView wanted = ViewOf(from);
    size_t hit = wanted.empty() ? TextView::npos : text.find(wanted);
    if (hit == TextView::npos) {
        return 0;
    }
    int count = 0;
    size_t done = 0;
    CString replaced;
    for (; hit != TextView::npos; hit = text.find(wanted, done)) {
        replaced += text.substr(done, hit - done);
        replaced += ViewOf(to);
        done = hit + wanted.size();
        ++count;
    }
    replaced += text.substr(done);
    *this = std::move(replaced);
    return count;
}

int CString::Remove(TCHAR character) {
    const int count = static_cast<int>(std::count(View().begin(), View().end(), character));
    if (count > 0) {
        TCHAR* data = PrepareWrite(View().size());
        TCHAR* end = std::remove(data, data + GetLength(), character);
        SetLength(static_cast<size_t>(end - data));
    }
    return count;
}

int CString::Insert(int index, TCHAR character) {
    const TCHAR text[] = {character, 0};
    return character ? Insert(index, text) : GetLength();
}

int CString::Insert(int index, LPCTSTR text) {
    const TextView added = ViewOf(text);
    if (!added.empty()) {
        const size_t place = rampart::Clip(index, View().size());
        CString result = Join(View().substr(0, place), added);
        result += View().substr(place);
        *this = std::move(result);
    }
    return GetLength();
}

int CString::Delete(int index, int count) {
    const size_t first = rampart::Clip(index, View().size());
    const size_t removed = rampart::Clip(count, View().size() - first);
    if (removed > 0) {
        const size_t length = View().size();
        TCHAR* data = PrepareWrite(length);
        std::copy(data + first + removed, data + length, data + first);
        SetLength(length - removed);
    }
    return GetLength();
}

CString& CString::Trim() {
    return TrimRight().TrimLeft();
}
CString& CString::Trim(TCHAR character) {
    return TrimRight(character).TrimLeft(character);
}

CString& CString::Trim(LPCTSTR set) {
    const CString keep(set);  // it may be this text
    return TrimRight(keep.GetString()).TrimLeft(keep.GetString());
}

CString& CString::TrimLeft() {
    KeepRange(LeadingCount(View(), IsSpace), View().size());
    return *this;
}

CString& CString::TrimLeft(TCHAR character) {
    KeepRange(LeadingCount(View(), [&](TCHAR unit) { return unit == character; }), View().size());
    return *this;
}

CString& CString::TrimLeft(LPCTSTR set) {
    const TextView units = ViewOf(set);
    KeepRange(LeadingCount(View(), [&](TCHAR unit) { return Contains(units, unit); }), View().size());
    return *this;
}

CString& CString::TrimRight() {
    KeepRange(0, EndWithoutTrailing(View(), IsSpace));
    return *this;
}

CString& CString::TrimRight(TCHAR character) {
    KeepRange(0, EndWithoutTrailing(View(), [&](TCHAR unit) { return unit == character; }));
    return *this;
}

CString& CString::TrimRight(LPCTSTR set) {
    const TextView units = ViewOf(set);
    KeepRange(0, EndWithoutTrailing(View(), [&](TCHAR unit) { return Contains(units, unit); }));
    return *this;
}
