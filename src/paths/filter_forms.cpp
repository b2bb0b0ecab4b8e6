// The persistent forms of the account-wide filters: elements of a task package, and an archive.
#include "paths/path_manage.h"

namespace {

struct ListElements {
    LPCTSTR count;
    LPCTSTR entry;
};
constexpr ListElements kFileElements{_T("PathFilterFileCount"), _T("FilterEx")};
constexpr ListElements kFolderElements{_T("PathFilterFolderCount"), _T("FiltedPath")};
constexpr LPCTSTR kProductElement = _T("ProductName");

CString EntryName(ListElements const& elements, __int64 number) {
    return rampart::FormatText(_T("%s%I64d"), elements.entry, number);
}

bool SaveList(XMLNode& node, ListElements const& elements, std::vector<CString> const& list) {
    bool result = node.SetValue(elements.count, static_cast<__int64>(list.size()));
    __int64 number = 0;
    for (CString const& entry : list) {
        result = node.SetValue(EntryName(elements, number++), entry);
    }
    return result;
}

bool LoadList(XMLNode& node, ListElements const& elements, std::vector<CString>& list) {
    __int64 count = 0;
    bool result = node.GetValue(elements.count, count, static_cast<__int64>(0));
    // A package cannot hold more entries than it has elements, whatever it says.
    count = std::min<__int64>(count, node.GetNumberOfNodes());
    for (__int64 number = 0; number < count; ++number) {
        CString entry;
        result = node.GetValue(EntryName(elements, number), entry, CString());
        list.push_back(entry);
    }
    return result;
}

}  // namespace

bool CPathManage::SaveFilterInfoToPackageXML(XMLNode& node) {
    return rampart::Guarded(_T("Error:SaveFilterInfoToPackageXML"), false, [&] {
        if (!node.IsValid()) {
            return false;
        }
        rampart::CriticalLock lock(s_filterLock);
        node.SetValue(kProductElement, s_productName);
        SaveList(node, kFileElements, s_fileFilters);
        return SaveList(node, kFolderElements, s_folderFilters);
    });
}

bool CPathManage::LoadFilterInfoFromPackageXML(XMLNode& node) {
    return rampart::Guarded(_T("Error:LoadFilterInfoFromPackageXML"), false, [&] {
        if (!node.IsValid()) {
            return false;
        }
        rampart::CriticalLock lock(s_filterLock);
        node.GetValue(kProductElement, s_productName, CString());
        LoadList(node, kFileElements, s_fileFilters);
        return LoadList(node, kFolderElements, s_folderFilters);
    });
}

int CPathManage::SaveToArchive(CArchive& archive) {
    return rampart::Guarded(_T("Error:SaveToArchive."), 0, [&] {
        rampart::CriticalLock lock(s_filterLock);
        archive << s_productName;
        StoreVectorIntoCArchive(s_fileFilters, archive);
        StoreVectorIntoCArchive(s_folderFilters, archive);
        return 1;
    });
}

int CPathManage::InitByArchive(CArchive& archive) {
    return rampart::Guarded(_T("Error:InitByArchive."), 0, [&] {
        CString productName;
        std::vector<CString> files;
        std::vector<CString> folders;
        archive >> productName;
        LoadCArchiveToVector(archive, files);
        LoadCArchiveToVector(archive, folders);
        rampart::CriticalLock lock(s_filterLock);
        s_productName = productName;
        s_fileFilters.swap(files);
        s_folderFilters.swap(folders);
        return 1;
    });
}
