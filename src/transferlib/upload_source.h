// A local file that is being read for an upload, and whether it stayed the same meanwhile.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "framework/cstring.h"
#include "interfaces/baselib.h"
#include "platform/file_system.h"

namespace rampart {

// One thread.
class UploadSource {
public:
    // `origin`: the file of which `path` is a copy, whose attributes count; empty for `path` itself.
    explicit UploadSource(CString path, CString origin = CString())
        : m_path(std::move(path)), m_origin(std::move(origin)) {}

    // kOk, or the code of why the file cannot be read; `Message` says it in words.
    int Open();
    // Up to `size` bytes at `offset`; kSourceUnreadable on a failure.
    int Read(uint64_t offset, char* buffer, size_t size, size_t& read);
    // kSourceChanged if size or last-write time are not those of Open.
    int CheckUnchanged();

    const CString& Path() const { return m_path; }
    // What a person knows the file by: not the copy of it that is read.
    std::string Name() const;
    int64_t Size() const { return static_cast<int64_t>(m_status.size); }
    int64_t WriteTime() const { return m_status.writeTime; }
    FileKind Kind() const;
    // Attributes and change time of the file, as they were when it was opened. A change time of 0 says that
    // they are not those of the content.
    void ReadAttributes(std::string& attributes, int64_t& changeTime) const;
    const std::string& Message() const { return m_message; }

private:
    int Fail(int code, const std::string& reason);
    int FailWithLastError(uint32_t error);
    int OpenLink();

    const CString m_path;
    const CString m_origin;
    std::string m_target;  // of a link
    std::unique_ptr<platform::FileHandle> m_file;
    platform::FileStatus m_status;
    std::string m_message;
};

// Opens and reads a whole file below `limit` bytes; of a bigger one nothing is read, and `Size` tells. A file
// that changes under the read is read again a few times.
int ReadWholeSource(UploadSource& source, std::string& content, int64_t limit);

// So often is a file read that changes while it is read, before it is given up.
inline constexpr int kMostSourceReads = 3;

// The service code for a local file that could not be opened or read.
int SourceCode(uint32_t error, TextView path);

}  // namespace rampart
