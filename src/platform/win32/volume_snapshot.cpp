// By the system's volume shadow copy service, in the form that asks no other program to take part and that
// goes with the object. Its library is loaded when it is first needed: nothing else needs it.
#include "platform/volume_snapshot.h"

#include "platform/win32/copy_file.h"
#include "platform/win32/native.h"

// native.h comes first
#include <objbase.h>
#include <vsbackup.h>
#include <vss.h>
#include <vsserror.h>

namespace rampart::platform {
namespace {

constexpr DWORD kLongestMs = 120'000;  // for the service to make a snapshot

bool FailWithResult(HRESULT result) {
    switch (result) {
        case VSS_E_VOLUME_NOT_SUPPORTED:
        case VSS_E_VOLUME_NOT_SUPPORTED_BY_PROVIDER:
        case VSS_E_VOLUME_NOT_LOCAL:
        case E_NOTIMPL:
            SetLastError(kNotSupported);
            break;
        case VSS_E_SNAPSHOT_SET_IN_PROGRESS:
        case VSS_E_FLUSH_WRITES_TIMEOUT:
        case VSS_E_HOLD_WRITES_TIMEOUT:
        case VSS_S_ASYNC_PENDING:
            SetLastError(kNotReady);
            break;
        case VSS_E_INSUFFICIENT_STORAGE:
        case VSS_E_MAXIMUM_NUMBER_OF_SNAPSHOTS_REACHED:
            SetLastError(kDiskFull);
            break;
        default:
            if (HRESULT_FACILITY(result) == FACILITY_WIN32) {
                return FailWithSystemError(static_cast<DWORD>(HRESULT_CODE(result)));
            }
            SetLastError(kOther);
    }
    return false;
}

// COM on this thread, as long as it lives. A thread on which others set it up in their way keeps that.
class ComScope {
public:
    ComScope() : m_isOwn(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;
    ~ComScope() {
        if (m_isOwn) {
            CoUninitialize();
        }
    }

private:
    const bool m_isOwn;
};

template <class Interface>
struct Release {
    void operator()(Interface* object) const { object->Release(); }
};
template <class Interface>
using ComPointer = std::unique_ptr<Interface, Release<Interface>>;

// The service's library; never unloaded.
struct SnapshotLibrary {
    using Create = HRESULT(STDAPICALLTYPE*)(IVssBackupComponents**);
    using FreeProperties = void(APIENTRY*)(VSS_SNAPSHOT_PROP*);

    static const SnapshotLibrary& Instance() {
        static const SnapshotLibrary library;
        return library;
    }

    const HMODULE module = LoadLibraryExW(L"vssapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const Create create = reinterpret_cast<Create>(Function("CreateVssBackupComponentsInternal"));
    const FreeProperties freeProperties =
        reinterpret_cast<FreeProperties>(Function("VssFreeSnapshotPropertiesInternal"));

private:
    // By way of a plain pointer: function pointers of one kind are not made of another.
    void* Function(const char* name) const {
        return module == nullptr ? nullptr : reinterpret_cast<void*>(GetProcAddress(module, name));
    }
};

class WindowsVolumeSnapshot : public VolumeSnapshot {
public:
    // `mountPoint`: path of the volume's root, which begins the paths of its files.
    bool Begin(const std::wstring& mountPoint) {
        const SnapshotLibrary& library = SnapshotLibrary::Instance();
        if (library.create == nullptr || library.freeProperties == nullptr) {
            SetLastError(kNotSupported);
            return false;
        }
        wchar_t volume[MAX_PATH];
        if (GetVolumeNameForVolumeMountPointW(mountPoint.c_str(), volume, MAX_PATH) == 0) {
            SetLastError(kNotSupported);  // a share, for one
            return false;
        }
        m_mountPoint = mountPoint;
        VSS_SNAPSHOT_PROP properties = {};
        const HRESULT result = Make(library, volume, properties);
        if (result != S_OK) {
            return FailWithResult(result);
        }
        m_device = properties.m_pwszSnapshotDeviceObject;
        library.freeProperties(&properties);
        return true;
    }

    bool CopyFileContent(TextView from, TextView to, const CopyProgress& progress) override {
        const std::wstring source = SystemPath(from);
        std::wstring target = SystemPath(to);
        if (source.empty() || target.empty()) {
            return false;
        }
        if (!source.starts_with(m_mountPoint)) {
            SetLastError(kNotSameDevice);
            return false;
        }
        return CopySystemFile(m_device + L'\\' + source.substr(m_mountPoint.size()), std::move(target),
                              progress,
                              /*mustRest=*/false);
    }

private:
    HRESULT Make(const SnapshotLibrary& library, wchar_t* volume, VSS_SNAPSHOT_PROP& properties) {
        IVssBackupComponents* made = nullptr;
        if (const HRESULT result = library.create(&made); result != S_OK) {
            return result;
        }
        m_components.reset(made);
        VSS_ID set = {}, snapshot = {};
        const VSS_ID anyProvider = {};
        IVssAsync* work = nullptr;
        HRESULT result = made->InitializeForBackup(nullptr);
        const auto then = [&result](auto&& step) {
            if (result == S_OK) {
                result = step();
            }
        };
        then([&] { return made->SetContext(VSS_CTX_FILE_SHARE_BACKUP); });
        then([&] { return made->SetBackupState(false, false, VSS_BT_COPY, false); });
        then([&] { return made->StartSnapshotSet(&set); });
        then([&] { return made->AddToSnapshotSet(volume, anyProvider, &snapshot); });
        then([&] { return made->DoSnapshotSet(&work); });
        then([&] { return ResultOf(ComPointer<IVssAsync>(work)); });
        then([&] { return made->GetSnapshotProperties(snapshot, &properties); });
        if (result != S_OK) {
            // A set that was begun would keep all others on the machine from making theirs.
            made->AbortBackup();
        }
        return result;
    }

    static HRESULT ResultOf(const ComPointer<IVssAsync>& work) {
        HRESULT result = work->Wait(kLongestMs);
        HRESULT status = VSS_S_ASYNC_PENDING;
        if (SUCCEEDED(result)) {
            result = work->QueryStatus(&status, nullptr);
        }
        if (status == VSS_S_ASYNC_PENDING) {
            work->Cancel();
        }
        return FAILED(result) ? result : status == VSS_S_ASYNC_FINISHED ? S_OK : status;
    }

    const ComScope m_com;  // outlives what follows
    ComPointer<IVssBackupComponents> m_components;
    std::wstring m_mountPoint;
    std::wstring m_device;
};

}  // namespace

std::unique_ptr<VolumeSnapshot> VolumeSnapshot::Take(TextView path) {
    const std::wstring system = SystemPath(path);
    if (system.empty()) {
        return nullptr;
    }
    std::wstring mountPoint(system.size() + MAX_PATH, L'\0');
    if (GetVolumePathNameW(system.c_str(), mountPoint.data(), static_cast<DWORD>(mountPoint.size())) == 0) {
        FailWithSystemError();
        return nullptr;
    }
    mountPoint.resize(wcslen(mountPoint.c_str()));
    auto snapshot = std::make_unique<WindowsVolumeSnapshot>();
    return snapshot->Begin(mountPoint) ? std::move(snapshot) : nullptr;
}

}  // namespace rampart::platform
