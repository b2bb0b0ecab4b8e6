#include "run/record_changes.h"

#include "interfaces/transferlib.h"
#include "platform/attributes.h"
#include "storage/service_code.h"

namespace rampart {

void RecordChanges::AddAttributes(CString const& localPath, CString const& serverPath, __int64 modifiedTime,
                                  __int64 changeTime) {
    std::string attributes = platform::ReadAttributes(ApiUtil::PathToFullPath(localPath));
    if (!attributes.empty()) {
        m_updates.push_back({serverPath, modifiedTime, changeTime, std::move(attributes)});
    }
}

int RecordChanges::Send(__int64 when, CString& message) {
    int const marked = m_gone.empty() ? kOk : RecordKeeping::MarkGone(m_gone, when, message);
    int const updated =
        marked != kOk || m_updates.empty() ? marked : RecordKeeping::Update(m_updates, message);
    m_gone.clear();
    m_updates.clear();
    return updated;
}

}  // namespace rampart
