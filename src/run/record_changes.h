// What a scan found out about records whose content stays as it is: attributes that changed, and entries that
// a complete look at their folder did not find any more. Told to the service at the end of the run.
#pragma once

#include <vector>

#include "interfaces/record_keeping.h"

namespace rampart {

// One thread.
class RecordChanges {
public:
    // Takes what the local system says of the path now.
    void AddAttributes(CString const& localPath, CString const& serverPath, __int64 modifiedTime,
                       __int64 changeTime);
    void AddGone(CString const& serverPath) { m_gone.push_back(serverPath); }
    std::vector<CString> const& Gone() const { return m_gone; }
    // `when`: nanoseconds since 1970 UTC, of the look. A service code, with its text.
    int Send(__int64 when, CString& message);

private:
    std::vector<RecordUpdate> m_updates;
    std::vector<CString> m_gone;
};

}  // namespace rampart
