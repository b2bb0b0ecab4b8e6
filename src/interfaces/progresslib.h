// Contract of progresslib: what a transfer tells, and how it hears of a cancel or a pause.
#pragma once

#include <atomic>
#include <mutex>

#include "framework/framework.h"

// The callback that the transfer library calls. Any thread may call; an implementation is thread-safe.
class VAULTLIB_API ProgressCallBack {
public:
    virtual ~ProgressCallBack() = default;
    // Position of the whole work in percent, with a text for the display. 0 means that the user cancelled.
    virtual int DoProgress(int percent, CString text) = 0;
    // `bytes` more of `file` were moved; `percent` and `total` (bytes) are those of the file. 0 means
    // cancelled: the transfer ends with code 6.
    virtual int DoProgressEx(CString const& file, __int64 bytes, int percent, __int64 total) = 0;
    // `mode` 0 sets the count of bytes moved, anything else adds to it.
    virtual void SetByteSend(__int64 bytes, int mode) = 0;
    virtual __int64 GetByteSend() = 0;
    virtual int GetSpeed() = 0;        // bytes a second, lately
    virtual __int64 GetNowSent() = 0;  // bytes moved since the work began
};

// The callback with a real clock behind it: averages the speed, keeps cancel and pause.
class VAULTLIB_API CTruePrgCallback : public ProgressCallBack {
public:
    CTruePrgCallback();
    ~CTruePrgCallback() override;

    // Stores the percent; 0 when the user cancelled.
    int DoProgress(int percent, CString text) override;
    // Adds `bytes`, names the file, then asks RefreshProgressInfo; waits while paused.
    int DoProgressEx(CString const& file, __int64 bytes, int percent, __int64 total) override;
    void SetByteSend(__int64 bytes, int mode) override;
    __int64 GetByteSend() override;
    int GetSpeed() override;
    __int64 GetNowSent() override;

    virtual int SetPercent(int percent, CString text);
    virtual int NextPercent();         // one percent more, at most 100
    virtual void SetPause(int pause);  // 0 resumes
    virtual void CancelMe();
    virtual int RefreshProgressInfo();  // 0 ends the transfer that asked

    CString GetFilePath() const;
    void SetFilePath(CString const& path);
    int GetLastPercent() const;
    int IsClickedCancel() const;
    int IsPaused() const;
    int GetAveSpeed() const;    // bytes a second since the work began
    int GetMillsecs() const;    // milliseconds since the work began, without pauses
    int GetRemSec() const;      // seconds left at the average speed; 0 when unknown
    int GetBeginCount() const;  // tick at which the work began
    int GetLastCount() const;   // tick of the last change
    // Bytes done and to do in all.
    void GetProgressBarInfo(__int64& sent, __int64& total) const;
    void SetProgressBarInfo(__int64 sent, __int64 total);
    // Clears counts, texts, cancel and pause; the clock of the averages starts anew.
    void EndProgress();

protected:
    void ClearCancel();

private:
    struct State;
    std::unique_ptr<State> m_state;
};
