// Makes the plan of a restore: walks the stored tree at the wanted state beside the folders that are there.
#pragma once

#include <map>
#include <unordered_map>

#include "platform/file_system.h"
#include "restore/path_filter.h"
#include "restore/restore_context.h"
#include "restore/tree_state.h"

namespace rampart {

class RestorePlanner {
public:
    explicit RestorePlanner(RestoreContext& context);

    // Fills the context's plan and what the report says of it; removes what killed restores left. kCancelled
    // when the progress says so.
    ServiceResult Run();

private:
    struct Step {
        std::string serverFolder;
        uint32_t folder = 0;
        bool isInside = false;  // of a folder that is included as a whole
    };
    using Present = std::unordered_map<Text, platform::FileStatus>;

    ServiceResult AddPlace(const RestorePlace& place);
    ServiceResult AddFilePlace(const RestorePlace& place, const std::string& serverPath);
    uint32_t RootAt(const CString& path, const RestorePlace& place);
    ServiceResult WalkFolder(const Step& step);
    Present LookAt(uint32_t folder);
    void AddFolder(const Step& step, const StateEntry& found, const Text& name, const Present& present);
    void AddEntry(const Step& step, const StateEntry& found, const Text& name, const Present& present);
    void Decide(PlannedEntry& entry, const platform::FileStatus& there);
    // Finds the content of the entries from `first` on; `found` are theirs.
    ServiceResult Locate(size_t first, const std::vector<StateEntry>& found);
    void TakeLocated(PlannedEntry& entry, const StateEntry& expected, LocatedFile& located);
    void MarkWanted(uint32_t folder);
    void FindLinks();
    CString FilterPath(const std::string& serverFolder, const StoredRecord& record) const;
    bool Proceed();

    RestoreContext& m_context;
    RestorePlan& m_plan;
    const PathFilter m_filter;
    const std::unique_ptr<TreeState> m_state;
    std::vector<Step> m_left;
    std::vector<StateEntry> m_found;  // of the entries of the folder at hand
    std::map<Text, uint32_t> m_roots;
};

}  // namespace rampart
