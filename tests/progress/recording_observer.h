// An observer that writes down what it is told.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "progress/prg_attachment.h"

namespace rampart::test {

class RecordingObserver : public CPrgAttachment {
public:
    int BeginFileEx(CString path, __int64, int, CString const&) override {
        return Note("BeginFileEx " + Name(path));
    }
    int ChangeStatus(int status) override { return Note("ChangeStatus " + std::to_string(status)); }
    int EndFileEx(CString path, int code, CString const&) override {
        return Note("EndFileEx " + Name(path) + " " + std::to_string(code));
    }
    int InitBackupProgressList(CString const& task) override {
        return Note("InitBackupProgressList " + task.ToUtf8());
    }
    int InitFileList(CString const&, __int64 count, CPtrList& items, CString const&) override {
        return Note("InitFileList " + std::to_string(count) + " of " + std::to_string(items.GetCount()));
    }
    int RemoveAllItem(CString const&) override { return Note("RemoveAllItem"); }
    int RemoveItem(__int64 id, CString const&) override { return Note("RemoveItem " + std::to_string(id)); }
    int ShowPrg(CString const&) override { return Note("ShowPrg"); }
    int UpdateItemEx(__int64 id, TaskItemInfo* item, CString const&) override {
        return Note("UpdateItem " + std::to_string(id) + " " + Name(item->m_strPath) + " " +
                    std::to_string(item->m_nStatus));
    }
    int SetPercent(int percent, CString const&, CString const&, ProgresInfo*) override {
        return Note("SetPercent " + std::to_string(percent));
    }
    int RefreshProgressInfo(CString const&, ProgresInfo*) override { return Note("Refresh"); }
    int SetState(ProgressState state, CString const&, ProgresInfo* info) override {
        return Note("SetState " + std::to_string(state) + " " + std::to_string(info->m_nState));
    }
    int SetStateString(CString const& text, CString const&) override {
        return Note("State " + text.ToUtf8());
    }
    int EndCurrent(CString const&) override { return Note("EndCurrent"); }

    // What was told since the last call.
    std::vector<std::string> Told() {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_told, {});
    }

private:
    static std::string Name(CString const& path) { return path.Mid(path.ReverseFind(_T('\\')) + 1).ToUtf8(); }
    int Note(std::string text) {
        std::lock_guard lock(m_mutex);
        m_told.push_back(std::move(text));
        return 0;
    }

    std::mutex m_mutex;
    std::vector<std::string> m_told;
};

}  // namespace rampart::test
