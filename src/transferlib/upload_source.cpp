#include "transferlib/upload_source.h"

#include "platform/error.h"
#include "storage/service_code.h"

namespace rampart {

int SourceCode(uint32_t error, TextView path) {
    if (error == platform::kFileNotFound || error == platform::kPathNotFound) {
        return kSourceVanished;
    }
    platform::FileStatus status;
    if (platform::QueryStatus(path, status) && !status.IsRegularFile()) {
        return kSourceNotAFile;
    }
    return kSourceUnreadable;
}

int UploadSource::Fail(int code, const std::string& reason) {
    m_message = m_path.ToUtf8() + ": " + reason;
    return code;
}

int UploadSource::Open() {
    m_file = platform::FileHandle::Open(m_path, platform::kOpenRead);
    if (!m_file || !m_file->QueryStatus(m_status)) {
        const uint32_t error = platform::LastError();
        const std::string reason = platform::ToUtf8(platform::ErrorText(error));
        return Fail(SourceCode(error, m_path), reason);
    }
    return kOk;
}

int UploadSource::Read(uint64_t offset, char* buffer, size_t size, size_t& read) {
    const int64_t moved = m_file->ReadAt(offset, buffer, size);
    read = moved > 0 ? static_cast<size_t>(moved) : 0;
    if (moved < 0) {
        return Fail(kSourceUnreadable, platform::ToUtf8(platform::ErrorText(platform::LastError())));
    }
    return kOk;
}

int UploadSource::CheckUnchanged() {
    platform::FileStatus now;
    if (!m_file->QueryStatus(now)) {
        return Fail(kSourceUnreadable, platform::ToUtf8(platform::ErrorText(platform::LastError())));
    }
    if (now.size != m_status.size || now.writeTime != m_status.writeTime) {
        return Fail(kSourceChanged, ServiceCodeText(kSourceChanged));
    }
    return kOk;
}

int ReadWholeSource(UploadSource& source, std::string& content, int64_t limit) {
    int code = kOk;
    for (int reads = 0; reads < kMostSourceReads; ++reads) {
        if ((code = source.Open()) != kOk) {
            return code;
        }
        if (source.Size() >= limit) {
            return kOk;
        }
        content.resize(static_cast<size_t>(source.Size()));
        size_t read = 0;
        if ((code = source.Read(0, content.data(), content.size(), read)) != kOk) {
            return code;
        }
        code = source.CheckUnchanged();
        if (code == kOk && read == content.size()) {
            return kOk;
        }
        code = kSourceChanged;
    }
    return code;
}

}  // namespace rampart
