// CFile: a file that is read and written at a position.
#pragma once

#include <memory>

#include "framework/cfile_exception.h"
#include "framework/cstring.h"
#include "framework/types.h"
#include "platform/file_system.h"

// One thread at a time. Failures throw CFileException unless told otherwise, also when no file is open.
class VAULTLIB_API CFile {
public:
    enum OpenFlags : UINT {
        modeRead = 0x0,
        modeWrite = 0x1,
        modeReadWrite = 0x2,
        // Without a share flag the file is the opener's alone, as with shareExclusive.
        shareCompat = 0x0,
        shareExclusive = 0x10,
        shareDenyWrite = 0x20,
        shareDenyRead = 0x30,
        shareDenyNone = 0x40,
        modeNoInherit = 0x80,
        modeCreate = 0x1000,      // make the file if it is missing and empty it if it is there
        modeNoTruncate = 0x2000,  // with modeCreate: keep what is there
        typeText = 0x4000,        // no effect
        typeBinary = 0x8000,      // no effect
    };
    enum SeekPosition : UINT { begin = 0, current = 1, end = 2 };

    CFile() = default;
    // Opens; throws if that fails.
    CFile(LPCTSTR path, UINT flags);
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;
    // Closes.
    virtual ~CFile();

    // `path` is an engine path. 1 on success; 0 on failure, with the reason in `error` if that is not null;
    // never throws. An open file is closed first. Sharing is kept between the openers that ask for it: a file
    // that is open with any of the share flags but shareDenyNone refuses those openers that it excludes with
    // a sharing violation, and one opened with shareDenyNone asks nobody.
    virtual BOOL Open(LPCTSTR path, UINT flags, CFileException* error = nullptr);

    // Bytes read, fewer than asked for only at the end of the file.
    virtual UINT Read(void* buffer, UINT count);
    // All or a failure.
    virtual void Write(const void* buffer, UINT count);

    // The new position, counted from the beginning. One before the beginning throws with the cause badSeek;
    // one behind the end is allowed.
    virtual ULONGLONG Seek(LONGLONG offset, UINT from);
    void SeekToBegin() { Seek(0, begin); }
    ULONGLONG SeekToEnd() { return Seek(0, end); }
    virtual ULONGLONG GetPosition() const;
    virtual ULONGLONG GetLength() const;
    // Cuts or lengthens (with zeros) and sets the position to the new end.
    virtual void SetLength(ULONGLONG length);

    // Makes all that was written durable.
    virtual void Flush();
    virtual void Close();
    // Closes and never throws.
    virtual void Abort();

    virtual CString GetFilePath() const { return m_path; }
    virtual CString GetFileName() const;
    bool IsOpen() const { return m_handle != nullptr; }

protected:
    // Takes a position before the beginning or past 63 bits for a failure.
    ULONGLONG SeekTarget(LONGLONG offset, UINT from) const;

private:
    uint32_t TryOpen(LPCTSTR path, UINT flags);
    rampart::platform::FileHandle& OpenHandle() const;
    [[noreturn]] void ThrowLastError() const;

    std::unique_ptr<rampart::platform::FileHandle> m_handle;
    ULONGLONG m_position = 0;
    CString m_path;
};
