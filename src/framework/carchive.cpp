#include "framework/carchive.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <limits>
#include <utility>

#include "framework/guarded.h"

namespace {

constexpr int kSmallestBuffer = 128;
constexpr int kLargestBuffer = 1 << 20;

// The length prefix of a text: each form is left for the next wider one by a value that says so.
constexpr uint8_t kLongerThanByte = 0xFF;
constexpr uint16_t kWideMarker = 0xFFFE;
constexpr uint16_t kLongerThanWord = 0xFFFF;
constexpr uint32_t kLongerThanDword = 0xFFFFFFFF;

// A claimed length is believed only so far before the bytes are there.
constexpr size_t kTextPiece = 32768;

}  // namespace

CArchive::CArchive(CFile* file, UINT mode, int bufferSize, void*)
    : m_file(file),
      m_mode(mode),
      m_buffer(static_cast<size_t>(std::clamp(bufferSize, kSmallestBuffer, kLargestBuffer))) {}

CArchive::~CArchive() {
    if (m_file && (m_mode & bNoFlushOnDelete) == 0) {
        rampart::Guarded(_T("Error: CArchive"), [this] { Close(); });
    }
}

CFile& CArchive::OpenFile() const {
    if (!m_file) {
        AfxThrowArchiveException(CArchiveException::genericException);
    }
    return *m_file;
}

// --- Bytes ---

UINT CArchive::Read(void* buffer, UINT count) {
    if (IsStoring()) {
        AfxThrowArchiveException(CArchiveException::writeOnly);
    }
    CFile& file = OpenFile();
    BYTE* to = static_cast<BYTE*>(buffer);
    UINT left = count;
    while (left > 0) {
        const size_t buffered = std::min<size_t>(left, m_bufferEnd - m_bufferPosition);
        if (buffered > 0) {
            std::memcpy(to, m_buffer.data() + m_bufferPosition, buffered);
            m_bufferPosition += buffered;
            to += buffered;
            left -= static_cast<UINT>(buffered);
        } else if (left >= m_buffer.size()) {
            const UINT direct = file.Read(to, left);
            if (direct == 0) {
                break;
            }
            to += direct;
            left -= direct;
        } else {
            m_bufferPosition = 0;
            m_bufferEnd = 0;
            m_bufferEnd = file.Read(m_buffer.data(), static_cast<UINT>(m_buffer.size()));
            if (m_bufferEnd == 0) {
                break;
            }
        }
    }
    return count - left;
}

void CArchive::EnsureRead(void* buffer, UINT count) {
    if (Read(buffer, count) != count) {
        AfxThrowArchiveException(CArchiveException::endOfFile);
    }
}

void CArchive::Write(const void* buffer, UINT count) {
    if (IsLoading()) {
        AfxThrowArchiveException(CArchiveException::readOnly);
    }
    CFile& file = OpenFile();
    if (count > m_buffer.size() - m_bufferPosition) {
        Flush();
    }
    if (count >= m_buffer.size()) {
        file.Write(buffer, count);
    } else if (count > 0) {
        std::memcpy(m_buffer.data() + m_bufferPosition, buffer, count);
        m_bufferPosition += count;
    }
}

void CArchive::Flush() {
    CFile& file = OpenFile();
    if (IsStoring()) {
        // Forgotten before it is written: what failed once is not written again by the destructor.
        const UINT pending = static_cast<UINT>(std::exchange(m_bufferPosition, 0));
        if (pending > 0) {
            file.Write(m_buffer.data(), pending);
        }
        return;
    }
    const LONGLONG unread = static_cast<LONGLONG>(m_bufferEnd - m_bufferPosition);
    m_bufferPosition = 0;
    m_bufferEnd = 0;
    if (unread > 0) {
        file.Seek(-unread, CFile::current);
    }
}

void CArchive::Close() {
    Flush();
    m_file = nullptr;
}

void CArchive::Abort() {
    m_file = nullptr;
}

// --- Numbers ---

CArchive& CArchive::operator<<(long value) {
    if (value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) {
        AfxThrowArchiveException(CArchiveException::genericException);
    }
    return Put(static_cast<uint32_t>(value));
}

CArchive& CArchive::operator<<(unsigned long value) {
    if (value > std::numeric_limits<uint32_t>::max()) {
        AfxThrowArchiveException(CArchiveException::genericException);
    }
    return Put(static_cast<uint32_t>(value));
}

CArchive& CArchive::operator<<(float value) {
    return Put(std::bit_cast<uint32_t>(value));
}

CArchive& CArchive::operator<<(double value) {
    return Put(std::bit_cast<uint64_t>(value));
}

CArchive& CArchive::operator>>(bool& value) {
    value = GetPlain<uint8_t>() != 0;
    return *this;
}

CArchive& CArchive::operator>>(long& value) {
    value = static_cast<int32_t>(GetPlain<uint32_t>());
    return *this;
}

CArchive& CArchive::operator>>(unsigned long& value) {
    value = GetPlain<uint32_t>();
    return *this;
}

CArchive& CArchive::operator>>(float& value) {
    value = std::bit_cast<float>(GetPlain<uint32_t>());
    return *this;
}

CArchive& CArchive::operator>>(double& value) {
    value = std::bit_cast<double>(GetPlain<uint64_t>());
    return *this;
}

CArchive& CArchive::operator>>(CTime& value) {
    value = CTime(static_cast<__int64>(GetPlain<uint64_t>()));
    return *this;
}

// --- Texts ---

void CArchive::PutStringLength(uint64_t length) {
    Put(kLongerThanByte).Put(kWideMarker);
    if (length < kLongerThanByte) {
        Put(static_cast<uint8_t>(length));
        return;
    }
    Put(kLongerThanByte);
    if (length < kWideMarker) {
        Put(static_cast<uint16_t>(length));
        return;
    }
    Put(kLongerThanWord);
    if (length < kLongerThanDword) {
        Put(static_cast<uint32_t>(length));
        return;
    }
    Put(kLongerThanDword).Put(length);
}

uint64_t CArchive::GetStringLength(bool& wide) {
    wide = false;
    if (const uint8_t byte = GetPlain<uint8_t>(); byte != kLongerThanByte) {
        return byte;
    }
    uint16_t word = GetPlain<uint16_t>();
    if (word == kWideMarker) {
        wide = true;
        if (const uint8_t byte = GetPlain<uint8_t>(); byte != kLongerThanByte) {
            return byte;
        }
        word = GetPlain<uint16_t>();
    }
    if (word != kLongerThanWord) {
        return word;
    }
    const uint32_t dword = GetPlain<uint32_t>();
    return dword != kLongerThanDword ? dword : GetPlain<uint64_t>();
}

CArchive& CArchive::operator<<(const CString& value) {
    PutStringLength(static_cast<uint64_t>(value.GetLength()));
    static_assert(std::endian::native == std::endian::little, "characters go to the stream as they lie");
    Write(value.GetString(), static_cast<UINT>(value.GetLength()) * sizeof(TCHAR));
    return *this;
}

CArchive& CArchive::operator>>(CString& value) {
    bool wide = false;
    uint64_t left = GetStringLength(wide);
    if (left > INT_MAX / 2) {
        AfxThrowArchiveException(
            CArchiveException::endOfFile);  // no text is that long: it can only end early
    }
    CString text;
    std::string narrow;
    while (left > 0) {
        const size_t piece = static_cast<size_t>(std::min<uint64_t>(left, kTextPiece));
        if (wide) {
            const int before = text.GetLength();
            EnsureRead(text.GetBuffer(before + static_cast<int>(piece)) + before,
                       static_cast<UINT>(piece * sizeof(TCHAR)));
            text.ReleaseBuffer(before + static_cast<int>(piece));
        } else {
            const size_t before = narrow.size();
            narrow.resize(before + piece);
            EnsureRead(narrow.data() + before, static_cast<UINT>(piece));
        }
        left -= piece;
    }
    value = wide ? std::move(text) : CString(rampart::TextView(rampart::platform::FromCodePage(narrow)));
    return *this;
}
