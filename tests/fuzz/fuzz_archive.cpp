// Streams of other programs and of damaged files: the primitives, lists of texts, the event log in both its
// forms, the filter form, and the item form of a progress list.
#include "engine/vaultlib.h"
#include "eventlog/log_file.h"
#include "framework/cmem_file.h"
#include "framework/guarded.h"
#include "fuzz/fuzz_input.h"
#include "progress/item_archive.h"

namespace rampart::fuzz {
namespace {

// Calls `read` with an archive over the bytes. That they end too early is what a reader may say of them.
template <class Read>
bool Load(std::string_view bytes, Read&& read) {
    std::vector<BYTE> block(bytes.begin(), bytes.end());
    CMemFile file(block.data(), static_cast<UINT>(block.size()));
    CArchive archive(&file, CArchive::load);
    try {
        read(archive);
        return true;
    } catch (const CArchiveException& exception) {
        Require(exception.m_cause == CArchiveException::endOfFile, "a reader stops at the end alone");
        return false;
    }
}

template <class Store>
std::string Stored(Store&& store) {
    CMemFile file;
    CArchive archive(&file, CArchive::store);
    store(archive);
    archive.Close();
    std::string bytes(static_cast<size_t>(file.GetLength()), '\0');
    file.SeekToBegin();
    file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
    return bytes;
}

void ReadTextsAndNumbers(std::string_view bytes) {
    Load(bytes, [](CArchive& archive) {
        for (;;) {
            CString text;
            bool flag = false;
            long number = 0;
            double real = 0;
            CTime time;
            archive >> text >> flag >> number >> real;
            LoadCTime(time, archive);
            time.Format(_T("%Y-%m-%d %H:%M:%S"));
        }
    });
}

void ReadList(std::string_view bytes) {
    std::vector<CString> texts;
    if (!Load(bytes, [&](CArchive& archive) { LoadCArchiveToVector(archive, texts); })) {
        return;
    }
    const std::string stored = Stored([&](CArchive& archive) { StoreVectorIntoCArchive(texts, archive); });
    std::vector<CString> again;
    Require(Load(stored, [&](CArchive& archive) { LoadCArchiveToVector(archive, again); }) && again == texts,
            "a list of texts comes back");
}

void ReadEventLog(std::string_view bytes) {
    Load(bytes, [](CArchive& archive) {
        LogContent log;
        ReadLogContent(archive, log);
        Require(static_cast<__int64>(log.records.size()) <= std::max<__int64>(log.header.count, 0),
                "a log has no more records than it counts");
    });
    Load(bytes, [](CArchive& archive) {
        CErrorLog log;
        CPtrList list;
        log.LoadErrorList(list, archive);
        log.ClearErrorList(list);
    });
}

void ReadFilters(std::string_view bytes) {
    Load(bytes, [](CArchive& archive) { CPathManage::InitByArchive(archive); });
}

void ReadItem(CArchive& archive, TaskItemInfo& item) {
    __int64 number = 0;
    CString tag, folder, name;
    archive >> number >> tag;
    if (tag == _T(":P")) {
        archive >> folder;
    }
    archive >> name >> item.m_nSize >> item.m_nDone >> item.m_nSeconds >> item.m_nRate >> item.m_nStatus;
    item.m_id = number;
    item.m_strPath = PathUtilities::Append(folder, name);
}

void ReadItems(std::string_view bytes) {
    Load(bytes, [](CArchive& archive) {
        for (;;) {
            TaskItemInfo item, again;
            ReadItem(archive, item);
            const std::string stored = Stored([&](CArchive& out) { StoreItem(item, out); });
            Require(Load(stored, [&](CArchive& in) { ReadItem(in, again); }) &&
                        static_cast<__int64>(again.m_id) == static_cast<__int64>(item.m_id) &&
                        again.m_nSize == item.m_nSize && again.m_nDone == item.m_nDone &&
                        again.m_nStatus == item.m_nStatus,
                    "an item comes back");
        }
    });
}

}  // namespace
}  // namespace rampart::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rampart::SetGuardSink(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace rampart::fuzz;
    const std::string_view bytes = Input(data, size).Rest();
    ReadTextsAndNumbers(bytes);
    ReadList(bytes);
    ReadEventLog(bytes);
    ReadFilters(bytes);
    ReadItems(bytes);
    return 0;
}
