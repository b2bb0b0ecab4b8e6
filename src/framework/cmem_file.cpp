#include "framework/cmem_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "platform/error.h"

CMemFile::CMemFile(UINT growBytes) : m_growing(growBytes != 0) {}

CMemFile::CMemFile(BYTE* buffer, UINT size, UINT growBytes) {
    Attach(buffer, size, growBytes);
}

CMemFile::~CMemFile() {
    CMemFile::Close();
}

void CMemFile::Attach(BYTE* buffer, UINT size, UINT growBytes) {
    CMemFile::Close();
    m_buffer = buffer;
    m_capacity = buffer ? size : 0;
    m_growing = growBytes != 0;
    m_length = m_growing ? 0 : m_capacity;
    m_owned = false;
}

BYTE* CMemFile::Detach() {
    BYTE* buffer = std::exchange(m_buffer, nullptr);
    CMemFile::Close();
    return buffer;
}

void CMemFile::Close() {
    if (m_owned) {
        std::free(m_buffer);
    }
    m_buffer = nullptr;
    m_capacity = 0;
    m_length = 0;
    m_position = 0;
    m_growing = true;
    m_owned = true;
}

BOOL CMemFile::Open(LPCTSTR path, UINT, CFileException* error) {
    if (error) {
        *error = CFileException(CFileException::badPath, rampart::platform::kNotSupported, path);
    }
    return FALSE;
}

UINT CMemFile::Read(void* buffer, UINT count) {
    if (m_position >= m_length) {
        return 0;
    }
    const size_t moved = std::min<size_t>(count, m_length - static_cast<size_t>(m_position));
    std::memcpy(buffer, m_buffer + m_position, moved);
    m_position += moved;
    return static_cast<UINT>(moved);
}

void CMemFile::Write(const void* buffer, UINT count) {
    if (count == 0) {
        return;
    }
    const ULONGLONG end = m_position + count;
    Reserve(end);
    if (m_position > m_length) {
        std::memset(m_buffer + m_length, 0, static_cast<size_t>(m_position) - m_length);
    }
    std::memcpy(m_buffer + m_position, buffer, count);
    m_position = end;
    m_length = std::max(m_length, static_cast<size_t>(end));
}

ULONGLONG CMemFile::Seek(LONGLONG offset, UINT from) {
    return m_position = SeekTarget(offset, from);
}

void CMemFile::SetLength(ULONGLONG length) {
    Reserve(length);
    if (length > m_length) {
        std::memset(m_buffer + m_length, 0, static_cast<size_t>(length) - m_length);
    }
    m_length = static_cast<size_t>(length);
    m_position = length;
}

void CMemFile::Reserve(ULONGLONG size) {
    if (size <= m_capacity) {
        return;
    }
    constexpr ULONGLONG kSmallest = 1024;
    constexpr ULONGLONG kMost = std::numeric_limits<LONGLONG>::max() / 2;
    if (!m_growing || size > kMost) {
        AfxThrowFileException(CFileException::diskFull, rampart::platform::kDiskFull);
    }
    const size_t capacity = static_cast<size_t>(std::max({size, ULONGLONG{m_capacity} * 2, kSmallest}));
    BYTE* grown = static_cast<BYTE*>(std::realloc(m_buffer, capacity));
    if (!grown) {
        throw std::bad_alloc();
    }
    m_buffer = grown;
    m_capacity = capacity;
}
