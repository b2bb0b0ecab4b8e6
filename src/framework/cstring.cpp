#include "framework/cstring.h"

#include <algorithm>
#include <climits>
#include <new>
#include <stdexcept>
#include <utility>

#include "framework/cexception.h"
#include "framework/clip.h"

using rampart::TextView;

namespace {

constexpr size_t kLongestText = INT_MAX / 2;
constexpr int kShared = -1;

}  // namespace

// --- The buffer ---

TCHAR* CString::EmptyBuffer() noexcept {
    struct Empty {
        Header header;
        TCHAR terminator;
    };
    static constinit Empty empty{{kShared, 0, 0}, 0};
    static_assert(offsetof(Empty, terminator) == sizeof(Header));
    return &empty.terminator;
}

TCHAR* CString::Allocate(size_t capacity, TextView content) {
    if (capacity > kLongestText) {
        throw std::length_error("text too long");
    }
    constexpr size_t kUnit = 16;
    const size_t bytes = (sizeof(Header) + (capacity + 1) * sizeof(TCHAR) + kUnit - 1) / kUnit * kUnit;
    void* memory = ::operator new(bytes);
    const size_t room = (bytes - sizeof(Header)) / sizeof(TCHAR) - 1;
    Header* header = ::new (memory) Header{1, static_cast<int>(content.size()), static_cast<int>(room)};
    TCHAR* data = reinterpret_cast<TCHAR*>(header + 1);
    std::copy(content.begin(), content.end(), data);
    data[content.size()] = 0;
    return data;
}

void CString::Release(TCHAR* data) noexcept {
    Header* header = reinterpret_cast<Header*>(data) - 1;
    if (header->references.load(std::memory_order_relaxed) != kShared &&
        header->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
#ifndef __clang_analyzer__  // which cannot follow the count and takes every text for freed
        header->~Header();
        ::operator delete(header);
#endif
    }
}

bool CString::IsAlone() const noexcept {
    return GetHeader()->references.load(std::memory_order_acquire) == 1;
}

// Makes the buffer this object's alone, with room for `newLength`; what is there stays, as far as there is
// room.
TCHAR* CString::PrepareWrite(size_t newLength) {
    const size_t capacity = static_cast<size_t>(GetAllocLength());
    const bool alone = IsAlone();
    if (alone && newLength <= capacity) {
        return m_data;
    }
    const size_t grown =
        alone ? std::min(std::max(newLength, capacity + capacity / 2), kLongestText) : newLength;
    TCHAR* data = Allocate(std::max(grown, newLength), View().substr(0, newLength));
    Release(std::exchange(m_data, data));
    return data;
}

void CString::SetLength(size_t length) noexcept {
    GetHeader()->length = static_cast<int>(length);
    m_data[length] = 0;
}

bool CString::Overlaps(TextView text) const noexcept {
    const std::less_equal<const TCHAR*> notBehind;
    return notBehind(m_data, text.data()) && notBehind(text.data(), m_data + GetLength());
}

void CString::Assign(TextView text) {
    if (text.empty()) {
        Empty();
        return;
    }
    const CString keep = Overlaps(text) ? *this : CString();
    if (IsAlone()) {
        std::copy(text.begin(), text.end(), PrepareWrite(text.size()));
        SetLength(text.size());
    } else {
        Release(std::exchange(m_data, Allocate(text.size(), text)));
    }
}

void CString::KeepRange(size_t first, size_t end) {
    if (first >= end) {
        Empty();
    } else if (first == 0 && IsAlone()) {
        SetLength(end);
    } else if (first != 0 || end != View().size()) {
        *this = CString(View().substr(first, end - first));
    }
}

// --- Construction and assignment ---

CString::CString() noexcept : m_data(EmptyBuffer()) {}

CString::CString(const CString& other) noexcept : m_data(other.m_data) {
    std::atomic<int>& references = GetHeader()->references;
    if (references.load(std::memory_order_relaxed) != kShared) {
        references.fetch_add(1, std::memory_order_relaxed);
    }
}

CString::CString(CString&& other) noexcept : m_data(std::exchange(other.m_data, EmptyBuffer())) {}

CString::CString(LPCTSTR text) : CString(ViewOf(text)) {}

CString::CString(LPCTSTR text, int length)
    : CString(text && length > 0 ? TextView(text, static_cast<size_t>(length)) : TextView()) {}

CString::CString(TCHAR character, int repeat) : CString() {
    if (repeat > 0) {
        const size_t length = static_cast<size_t>(repeat);
        std::fill_n(PrepareWrite(length), length, character);
        SetLength(length);
    }
}

CString::CString(TextView text) : m_data(text.empty() ? EmptyBuffer() : Allocate(text.size(), text)) {}

CString::~CString() {
    Release(m_data);
}

CString& CString::operator=(const CString& other) noexcept {
    CString copy(other);
    std::swap(m_data, copy.m_data);
    return *this;
}

CString& CString::operator=(CString&& other) noexcept {
    CString taken(std::move(other));
    std::swap(m_data, taken.m_data);
    return *this;
}

CString& CString::operator=(LPCTSTR text) {
    Assign(ViewOf(text));
    return *this;
}

CString& CString::operator=(TCHAR character) {
    Assign({&character, 1});
    return *this;
}

void CString::SetString(LPCTSTR text) {
    Assign(ViewOf(text));
}

void CString::SetString(LPCTSTR text, int length) {
    Assign(text && length > 0 ? TextView(text, static_cast<size_t>(length)) : TextView());
}

CString CString::FromUtf8(std::string_view bytes) {
    return CString(rampart::platform::FromUtf8(bytes));
}

std::string CString::ToUtf8() const {
    return rampart::platform::ToUtf8(View());
}

void CString::Empty() noexcept {
    Release(std::exchange(m_data, EmptyBuffer()));
}

// --- Single characters ---

TCHAR CString::GetAt(int index) const {
    if (index < 0 || index > GetLength()) {
        AfxThrowInvalidArgException();
    }
    return m_data[index];
}

void CString::SetAt(int index, TCHAR character) {
    if (index < 0 || index >= GetLength()) {
        AfxThrowInvalidArgException();
    }
    PrepareWrite(View().size())[index] = character;
}

// --- Appending ---

CString& CString::operator+=(TextView text) {
    if (text.empty()) {
        return *this;
    }
    const CString keep = Overlaps(text) ? *this : CString();
    const size_t before = View().size();
    const size_t length = before + text.size();
    std::copy(text.begin(), text.end(), PrepareWrite(length) + before);
    SetLength(length);
    return *this;
}

CString& CString::operator+=(const CString& text) {
    return IsEmpty() && !IsAlone() ? *this = text : *this += text.View();
}

CString& CString::operator+=(LPCTSTR text) {
    return *this += ViewOf(text);
}

CString& CString::operator+=(TCHAR character) {
    return *this += TextView(&character, 1);
}

void CString::Append(LPCTSTR text) {
    *this += ViewOf(text);
}

void CString::Append(LPCTSTR text, int length) {
    if (text && length > 0) {
        *this += TextView(text, static_cast<size_t>(length));
    }
}

void CString::Append(const CString& text) {
    *this += text;
}

void CString::AppendChar(TCHAR character) {
    *this += character;
}

CString CString::Join(TextView left, TextView right) {
    CString joined;
    joined.Preallocate(static_cast<int>(std::min(left.size() + right.size(), kLongestText)));
    joined += left;
    joined += right;
    return joined;
}

// --- The raw buffer ---

LPTSTR CString::GetBuffer(int minimumLength) {
    return PrepareWrite(std::max(View().size(), rampart::Clip(minimumLength, kLongestText + 1)));
}

LPTSTR CString::GetBufferSetLength(int length) {
    LPTSTR buffer = GetBuffer(length);
    ReleaseBuffer(std::max(length, 0));
    return buffer;
}

void CString::ReleaseBuffer(int newLength) {
    if (!IsAlone()) {  // nothing was asked for, or a copy was made meanwhile, which must not see the change
        KeepRange(0, newLength < 0 ? View().size() : rampart::Clip(newLength, View().size()));
        return;
    }
    const size_t capacity = static_cast<size_t>(GetAllocLength());
    if (newLength < 0) {
        SetLength(static_cast<size_t>(std::find(m_data, m_data + capacity, TCHAR()) - m_data));
    } else if (static_cast<size_t>(newLength) > capacity) {
        AfxThrowInvalidArgException();
    } else {
        SetLength(static_cast<size_t>(newLength));
    }
}

void CString::Truncate(int newLength) {
    KeepRange(0, rampart::Clip(newLength, View().size()));
}

void CString::Preallocate(int length) {
    GetBuffer(length);
}

// --- Formatting ---

void CString::SetFormatted(TextView format, const rampart::FormatArgument* arguments, size_t count) {
    rampart::Text text;
    rampart::AppendFormatted(text, format, arguments, count);
    *this = CString(text);
}

void CString::AppendFormattedText(TextView format, const rampart::FormatArgument* arguments, size_t count) {
    rampart::Text text;
    rampart::AppendFormatted(text, format, arguments, count);
    *this += TextView(text);
}
