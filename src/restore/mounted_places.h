// What the paths of a mounted vault mean: "latest", "at", moments, tasks and what lies below them.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/text.h"
#include "restore/vault_mount.h"
#include "storage/storage_service.h"

namespace rampart {

struct MountedPlace {
    enum class Level { kTop, kMoments, kTasks, kStored };
    Level level = Level::kTop;
    int64_t moment = kNoTime;  // none where each task has its own
    MountedTask task;
    std::vector<std::string> names;  // below the task's folder

    // Of what the first `depth` names lead to, and of its older versions; the latter may be empty.
    std::string ServerPath(size_t depth) const;
    std::string HistoryPath(size_t depth) const;
    // Of the task's folder at its moment, whatever else leads there now. A path that nobody can type: what is
    // above it is not there.
    Text LastingPath() const;
};

// Any thread.
class MountedPlaces {
public:
    // Both must outlive it.
    MountedPlaces(StorageService& service, const MountRequest& request)
        : m_service(service), m_request(request) {}

    // False: nothing has that path. Of a stored one the names are not looked up.
    bool Find(TextView path, MountedPlace& place);

    struct Named {
        Text name;
        int64_t moment = kNoTime;
        Text lastingPath;  // may be empty
    };
    // What the top, a place of tasks, and "at" list.
    static std::vector<Named> Top();
    std::vector<Named> Tasks(const MountedPlace& place);
    std::vector<Named> Moments();

private:
    // What was told last of tasks and runs.
    struct Known {
        std::vector<MountedTask> tasks;
        std::vector<CString> moments;
    };
    std::shared_ptr<const Known> Ask();
    bool FindTask(const Text& name, MountedPlace& place);
    bool FindMoment(const std::vector<Text>& names, MountedPlace& place);

    StorageService& m_service;
    const MountRequest& m_request;
    std::mutex m_mutex;  // guards what follows; held while asking, so that one asks for all
    uint64_t m_freshUntilMs = 0;
    std::shared_ptr<const Known> m_known;
};

}  // namespace rampart
