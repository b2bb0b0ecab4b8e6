#include "transferlib/upload_source.h"

#include <algorithm>

#include "baselib/file_kind.h"
#include "platform/attributes.h"
#include "platform/error.h"
#include "platform/path_mapping.h"
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

std::string UploadSource::Name() const {
    return platform::ToUtf8(platform::ShownPath(m_origin.IsEmpty() ? m_path : m_origin));
}

int UploadSource::Fail(int code, const std::string& reason) {
    m_message = Name() + ": " + reason;
    return code;
}

int UploadSource::FailWithLastError(uint32_t error) {
    const std::string reason = platform::ToUtf8(platform::ErrorText(error));
    return Fail(SourceCode(error, m_path), reason);
}

int UploadSource::Open() {
    // A pipe or a device is never opened: that alone may do something.
    if (KeepsSpecialFiles() && platform::QueryStatus(m_path, m_status) &&
        KindOf(m_status) == FileKind::kSpecial) {
        m_file.reset();
        m_status.size = 0;
        return kOk;
    }
    m_file = platform::FileHandle::Open(m_path, platform::kOpenRead);
    if (m_file && m_file->QueryStatus(m_status)) {
        return kOk;
    }
    const uint32_t error = platform::LastError();
    m_file.reset();
    if (platform::QueryStatus(m_path, m_status) && m_status.IsLink()) {
        return OpenLink();
    }
    return FailWithLastError(error);
}

int UploadSource::OpenLink() {
    if (!platform::ReadLink(m_path, m_target)) {
        return FailWithLastError(platform::LastError());
    }
    m_status.size = m_target.size();
    return kOk;
}

int UploadSource::Read(uint64_t offset, char* buffer, size_t size, size_t& read) {
    if (!m_file) {
        const std::string_view rest =
            std::string_view(m_target).substr(std::min<size_t>(offset, m_target.size()));
        read = rest.copy(buffer, size);
        return kOk;
    }
    const int64_t moved = m_file->ReadAt(offset, buffer, size);
    read = moved > 0 ? static_cast<size_t>(moved) : 0;
    if (moved < 0) {
        return Fail(kSourceUnreadable, platform::ToUtf8(platform::ErrorText(platform::LastError())));
    }
    return kOk;
}

FileKind UploadSource::Kind() const {
    return KindOf(m_status);
}

int UploadSource::CheckUnchanged() {
    platform::FileStatus now;
    const bool isKnown = m_file ? m_file->QueryStatus(now) : platform::QueryStatus(m_path, now);
    if (!isKnown) {
        return Fail(kSourceUnreadable, platform::ToUtf8(platform::ErrorText(platform::LastError())));
    }
    const bool isSame = m_file ? now.size == m_status.size && now.writeTime == m_status.writeTime
                               : KindOf(now) == Kind() && now.changeTime == m_status.changeTime;
    return isSame ? kOk : Fail(kSourceChanged, ServiceCodeText(kSourceChanged));
}

void UploadSource::ReadAttributes(std::string& attributes, int64_t& changeTime) const {
    if (m_origin.IsEmpty() || m_origin == m_path) {
        attributes = m_file ? m_file->ReadAttributes() : platform::ReadAttributes(m_path);
        changeTime = m_status.changeTime;
        return;
    }
    attributes = platform::ReadAttributes(m_origin);
    platform::FileStatus origin;
    const bool isContents = platform::QueryStatus(m_origin, origin) && origin.size == m_status.size &&
                            origin.writeTime == m_status.writeTime;
    changeTime = isContents ? origin.changeTime : 0;
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
