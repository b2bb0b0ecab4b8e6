// CMemFile: a file in memory.
#pragma once

#include "framework/cfile.h"

// Grows as it is written. Blocks that cross the interface come from malloc.
class VAULTLIB_API CMemFile : public CFile {
public:
    // `growBytes` has no effect beside being nonzero or not.
    explicit CMemFile(UINT growBytes = 1024);
    // As Attach.
    CMemFile(BYTE* buffer, UINT size, UINT growBytes = 0);
    ~CMemFile() override;

    // Uses a block of the caller, which stays the caller's. With `growBytes` 0 the block is the whole content
    // and a write past its end throws with the cause diskFull. Otherwise the content is empty at first, the
    // block must come from malloc, and growing it may move it.
    void Attach(BYTE* buffer, UINT size, UINT growBytes = 0);
    // Gives the block to the caller, who frees it with `free` unless it is his own, and leaves an empty file.
    // Ask for the length before. Null if nothing was written.
    BYTE* Detach();

    // Refused: returns 0.
    BOOL Open(LPCTSTR path, UINT flags, CFileException* error = nullptr) override;
    UINT Read(void* buffer, UINT count) override;
    void Write(const void* buffer, UINT count) override;
    ULONGLONG Seek(LONGLONG offset, UINT from) override;
    ULONGLONG GetPosition() const override { return m_position; }
    ULONGLONG GetLength() const override { return m_length; }
    void SetLength(ULONGLONG length) override;
    void Flush() override {}
    // Both free the content unless it is the caller's.
    void Close() override;
    void Abort() override { Close(); }

private:
    void Reserve(ULONGLONG size);

    BYTE* m_buffer = nullptr;  // from malloc: Detach hands it out
    size_t m_capacity = 0;
    size_t m_length = 0;
    ULONGLONG m_position = 0;
    bool m_growing = true;
    bool m_owned = true;
};
