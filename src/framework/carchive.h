// CArchive: a buffered sequential stream of little-endian primitives over a CFile.
#pragma once

#include <vector>

#include "framework/carchive_exception.h"
#include "framework/cfile.h"
#include "framework/cstring.h"
#include "framework/ctime.h"
#include "framework/types.h"

// One thread at a time. The file belongs to the caller, outlives the archive and is not touched beside it. A
// stream that ends early throws CArchiveException with the cause endOfFile; a failure of the file throws its
// CFileException. Storing to a loading archive and loading from a storing one throw with the causes readOnly
// and writeOnly.
class VAULTLIB_API CArchive {
public:
    enum Mode : UINT { store = 0, load = 1, bNoFlushOnDelete = 2 };

    // A buffer of the caller's is not used.
    CArchive(CFile* file, UINT mode, int bufferSize = 4096, void* buffer = nullptr);
    CArchive(const CArchive&) = delete;
    CArchive& operator=(const CArchive&) = delete;
    // Closes. A failure to write the rest is a line in the debug log here; call Close to have it thrown.
    ~CArchive();

    BOOL IsLoading() const { return (m_mode & load) != 0; }
    BOOL IsStoring() const { return !IsLoading(); }
    CFile* GetFile() const { return m_file; }

    // Bytes read, fewer than asked for only at the end of the stream.
    UINT Read(void* buffer, UINT count);
    // All or the exception of the stream's end.
    void EnsureRead(void* buffer, UINT count);
    void Write(const void* buffer, UINT count);

    // Sends what is buffered to the file, or sets the file's position to the first byte not read yet.
    void Flush();
    // Flushes and lets the file go; further use throws. The file stays open.
    void Close();
    // Lets the file go without flushing, and never throws.
    void Abort();

    CArchive& operator<<(bool value) { return Put(static_cast<uint8_t>(value)); }
    CArchive& operator<<(char value) { return Put(static_cast<uint8_t>(value)); }
    CArchive& operator<<(signed char value) { return Put(static_cast<uint8_t>(value)); }
    CArchive& operator<<(BYTE value) { return Put(value); }
    CArchive& operator<<(TCHAR value) { return Put(static_cast<uint16_t>(value)); }
    CArchive& operator<<(short value) { return Put(static_cast<uint16_t>(value)); }
    CArchive& operator<<(WORD value) { return Put(value); }
    CArchive& operator<<(int value) { return Put(static_cast<uint32_t>(value)); }
    CArchive& operator<<(unsigned int value) { return Put(static_cast<uint32_t>(value)); }
    // Four bytes whatever a long has here; one that does not fit throws with the cause genericException. On
    // POSIX int64_t is a long: stream 64-bit values as __int64.
    CArchive& operator<<(long value);
    CArchive& operator<<(unsigned long value);
    CArchive& operator<<(__int64 value) { return Put(static_cast<uint64_t>(value)); }
    CArchive& operator<<(unsigned __int64 value) { return Put(static_cast<uint64_t>(value)); }
    CArchive& operator<<(float value);
    CArchive& operator<<(double value);
    CArchive& operator<<(CTime value) { return *this << value.GetTime(); }
    CArchive& operator<<(const CString& value);
    CArchive& operator<<(const TCHAR* value) { return *this << CString(value); }
    CArchive& operator<<(const void*) = delete;

    // A bool is true for every byte but 0.
    CArchive& operator>>(bool& value);
    CArchive& operator>>(char& value) { return Get<uint8_t>(value); }
    CArchive& operator>>(signed char& value) { return Get<uint8_t>(value); }
    CArchive& operator>>(BYTE& value) { return Get<uint8_t>(value); }
    CArchive& operator>>(TCHAR& value) { return Get<uint16_t>(value); }
    CArchive& operator>>(short& value) { return Get<uint16_t>(value); }
    CArchive& operator>>(WORD& value) { return Get<uint16_t>(value); }
    CArchive& operator>>(int& value) { return Get<uint32_t>(value); }
    CArchive& operator>>(unsigned int& value) { return Get<uint32_t>(value); }
    CArchive& operator>>(long& value);
    CArchive& operator>>(unsigned long& value);
    CArchive& operator>>(__int64& value) { return Get<uint64_t>(value); }
    CArchive& operator>>(unsigned __int64& value) { return Get<uint64_t>(value); }
    CArchive& operator>>(float& value);
    CArchive& operator>>(double& value);
    CArchive& operator>>(CTime& value);
    // Takes the form without marker too: bytes in the system's code page. The memory used follows what the
    // stream really holds, not the length that it claims.
    CArchive& operator>>(CString& value);

private:
    template <class Unsigned>
    CArchive& Put(Unsigned value) {
        BYTE bytes[sizeof value];
        for (size_t index = 0; index < sizeof value; ++index) {
            bytes[index] = static_cast<BYTE>(value >> (8 * index));
        }
        Write(bytes, sizeof value);
        return *this;
    }
    template <class Unsigned>
    Unsigned GetPlain() {
        BYTE bytes[sizeof(Unsigned)];
        EnsureRead(bytes, sizeof bytes);
        Unsigned value = 0;
        for (size_t index = 0; index < sizeof bytes; ++index) {
            value =
                static_cast<Unsigned>(value | static_cast<Unsigned>(Unsigned{bytes[index]} << (8 * index)));
        }
        return value;
    }
    template <class Unsigned, class Value>
    CArchive& Get(Value& value) {
        value = static_cast<Value>(GetPlain<Unsigned>());
        return *this;
    }
    uint64_t GetStringLength(bool& wide);
    void PutStringLength(uint64_t length);
    CFile& OpenFile() const;

    CFile* m_file;
    UINT m_mode;
    std::vector<BYTE> m_buffer;
    size_t m_bufferPosition = 0;  // next byte to read, or end of what is to be written
    size_t m_bufferEnd = 0;       // end of what was read
};
