#include "interfaces/baselib.h"

using namespace rampart;

namespace {

template <class List>
void StoreTexts(List const& list, size_t count, CArchive& archive) {
    archive << static_cast<DWORD>(count);
    for (CString const& text : list) {
        archive << text;
    }
}

}  // namespace

void StoreCTime(CTime const& time, CArchive& archive) {
    archive << time;
}

void LoadCTime(CTime& time, CArchive& archive) {
    archive >> time;
}

void StoreStringList(CStringList const& list, CArchive& archive) {
    StoreTexts(list, static_cast<size_t>(list.GetCount()), archive);
}

void StoreVectorIntoCArchive(std::vector<CString> const& list, CArchive& archive) {
    StoreTexts(list, list.size(), archive);
}

void LoadCArchiveToVector(CArchive& archive, std::vector<CString>& list) {
    list.clear();
    DWORD count = 0;
    archive >> count;
    // The count is only a claim: memory follows the texts that are really there.
    for (CString text; count > 0; count--) {
        archive >> text;
        list.push_back(text);
    }
}
