// CString: the text of the exported interface. UTF-16, reference-counted, cheap to copy.
#pragma once

#include <array>
#include <atomic>
#include <compare>
#include <concepts>
#include <functional>
#include <string>
#include <string_view>

#include "framework/case_folding.h"
#include "framework/format.h"
#include "framework/types.h"

// Copies share one buffer and part at the first change. Different objects may be used by different threads
// even when they share a buffer; one object that a thread changes must not be touched by another meanwhile.
// An empty text owns nothing. Indices and lengths count TCHARs. A null pointer counts as an empty text. An
// index out of range throws CInvalidArgException; lengths and counts out of range are clipped.
class VAULTLIB_API CString {
public:
    using XCHAR = TCHAR;
    using PXSTR = LPTSTR;
    using PCXSTR = LPCTSTR;

    CString() noexcept;
    CString(const CString& other) noexcept;
    CString(CString&& other) noexcept;
    CString(LPCTSTR text);
    CString(LPCTSTR text, int length);
    explicit CString(TCHAR character, int repeat = 1);
    explicit CString(rampart::TextView text);
    ~CString();

    CString& operator=(const CString& other) noexcept;
    CString& operator=(CString&& other) noexcept;
    CString& operator=(LPCTSTR text);
    CString& operator=(TCHAR character);

    // UTF-8 to text and back; see platform/text.h for what is not valid.
    static CString FromUtf8(std::string_view bytes);
    std::string ToUtf8() const;

    int GetLength() const noexcept { return GetHeader()->length; }
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    // Gives the buffer up.
    void Empty() noexcept;

    // Terminated; valid until the object changes or dies.
    operator LPCTSTR() const noexcept { return m_data; }
    LPCTSTR GetString() const noexcept { return m_data; }
    operator rampart::TextView() const noexcept { return View(); }
    rampart::TextView View() const noexcept { return {m_data, static_cast<size_t>(GetLength())}; }
    rampart::Text ToText() const { return rampart::Text(View()); }

    // The index of the terminator is allowed and gives 0.
    TCHAR GetAt(int index) const;
    template <std::integral Index>
    TCHAR operator[](Index index) const {
        return GetAt(static_cast<int>(index));
    }
    void SetAt(int index, TCHAR character);
    void SetString(LPCTSTR text);
    void SetString(LPCTSTR text, int length);

    CString& operator+=(const CString& text);
    CString& operator+=(LPCTSTR text);
    CString& operator+=(TCHAR character);
    CString& operator+=(rampart::TextView text);
    void Append(LPCTSTR text);
    void Append(LPCTSTR text, int length);
    void Append(const CString& text);
    void AppendChar(TCHAR character);

    // -1, 0 or 1 by the order of character numbers; CompareNoCase by that of the folded characters.
    int Compare(LPCTSTR text) const noexcept;
    int CompareNoCase(LPCTSTR text) const;
    int CompareNoCase(const CString& text) const;

    CString& MakeLower();
    CString& MakeUpper();
    CString& MakeReverse();

    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    CString Left(int count) const;
    CString Right(int count) const;
    // The leading part that consists of characters of the set, or of none of them.
    CString SpanIncluding(LPCTSTR set) const;
    CString SpanExcluding(LPCTSTR set) const;
    // The part from `start` up to the next character of `separators`; leading separators are passed over.
    // `start` becomes the place behind the part, or -1 when nothing is left, and then the result is empty.
    CString Tokenize(LPCTSTR separators, int& start) const;

    // Index of the first hit at or behind `start`, or -1.
    int Find(TCHAR character, int start = 0) const noexcept;
    int Find(LPCTSTR text, int start = 0) const noexcept;
    int ReverseFind(TCHAR character) const noexcept;
    int FindOneOf(LPCTSTR set) const noexcept;

    // Replace and Remove return the number of changes, Insert and Delete the new length.
    int Replace(TCHAR from, TCHAR to);
    int Replace(LPCTSTR from, LPCTSTR to);
    int Remove(TCHAR character);
    int Insert(int index, TCHAR character);
    int Insert(int index, LPCTSTR text);
    int Delete(int index, int count = 1);

    CString& Trim();
    CString& Trim(TCHAR character);
    CString& Trim(LPCTSTR set);
    CString& TrimLeft();
    CString& TrimLeft(TCHAR character);
    CString& TrimLeft(LPCTSTR set);
    CString& TrimRight();
    CString& TrimRight(TCHAR character);
    CString& TrimRight(LPCTSTR set);

    // A buffer of this object alone with room for `minimumLength` characters and a terminator. ReleaseBuffer
    // ends its use with the new length; -1 looks for the terminator.
    LPTSTR GetBuffer(int minimumLength = 0);
    LPTSTR GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);
    void Truncate(int newLength);
    void Preallocate(int length);
    int GetAllocLength() const noexcept { return GetHeader()->capacity; }

    // Formatting as in framework/format.h. The object may be its own argument.
    template <class... Arguments>
    void Format(rampart::TextView format, const Arguments&... arguments) {
        const std::array<rampart::FormatArgument, sizeof...(Arguments)> list{
            rampart::FormatArgument(arguments)...};
        SetFormatted(format, list.data(), list.size());
    }
    template <class... Arguments>
    void AppendFormat(rampart::TextView format, const Arguments&... arguments) {
        const std::array<rampart::FormatArgument, sizeof...(Arguments)> list{
            rampart::FormatArgument(arguments)...};
        AppendFormattedText(format, list.data(), list.size());
    }

    friend bool operator==(const CString& left, const CString& right) noexcept {
        return left.m_data == right.m_data || left.View() == right.View();
    }
    friend bool operator==(const CString& left, LPCTSTR right) noexcept { return left.Compare(right) == 0; }
    friend std::strong_ordering operator<=>(const CString& left, const CString& right) noexcept {
        return left.View() <=> right.View();
    }
    friend std::strong_ordering operator<=>(const CString& left, LPCTSTR right) noexcept {
        return left.Compare(right) <=> 0;
    }

    friend CString operator+(const CString& left, const CString& right) {
        return Join(left.View(), right.View());
    }
    friend CString operator+(const CString& left, LPCTSTR right) { return Join(left.View(), ViewOf(right)); }
    friend CString operator+(LPCTSTR left, const CString& right) { return Join(ViewOf(left), right.View()); }
    friend CString operator+(const CString& left, TCHAR right) { return Join(left.View(), {&right, 1}); }
    friend CString operator+(TCHAR left, const CString& right) { return Join({&left, 1}, right.View()); }
    friend CString operator+(CString&& left, const CString& right) { return std::move(left += right); }
    friend CString operator+(CString&& left, LPCTSTR right) { return std::move(left += right); }
    friend CString operator+(CString&& left, TCHAR right) { return std::move(left += right); }

private:
    // Stands in front of the characters. A negative count marks the buffer of all empty texts.
    struct Header {
        std::atomic<int> references;
        int length;
        int capacity;  // without the terminator
    };

    Header* GetHeader() const noexcept { return reinterpret_cast<Header*>(m_data) - 1; }
    static rampart::TextView ViewOf(LPCTSTR text) noexcept {
        return text ? rampart::TextView(text) : rampart::TextView();
    }
    static CString Join(rampart::TextView left, rampart::TextView right);

    void SetFormatted(rampart::TextView format, const rampart::FormatArgument* arguments, size_t count);
    void AppendFormattedText(rampart::TextView format, const rampart::FormatArgument* arguments,
                             size_t count);

    static TCHAR* EmptyBuffer() noexcept;
    static TCHAR* Allocate(size_t capacity, rampart::TextView content);
    static void Release(TCHAR* data) noexcept;
    bool IsAlone() const noexcept;
    TCHAR* PrepareWrite(size_t newLength);
    void SetLength(size_t length) noexcept;
    bool Overlaps(rampart::TextView text) const noexcept;
    void Assign(rampart::TextView text);
    void KeepRange(size_t first, size_t end);

    TCHAR* m_data;
};

template <>
struct std::hash<CString> {
    size_t operator()(const CString& text) const noexcept {
        return std::hash<rampart::TextView>()(text.View());
    }
};

namespace rampart {

// A new text from a format; see framework/format.h.
template <class... Arguments>
CString FormatText(TextView format, const Arguments&... arguments) {
    CString text;
    text.Format(format, arguments...);
    return text;
}

}  // namespace rampart
