#include "restore/mounted_places.h"

#include <algorithm>
#include <cstdlib>

#include "platform/clock.h"
#include "platform/path_mapping.h"
#include "restore/mounted_tasks.h"
#include "storage/server_path.h"

namespace rampart {
namespace {

constexpr TextView kLatest = _T("latest");
constexpr TextView kAt = _T("at");
constexpr TextView kLasting = _T("=");
constexpr uint64_t kFreshMs = 2000;

std::vector<Text> NamesOf(TextView path) {
    std::vector<Text> names;
    while (!path.empty()) {
        path.remove_prefix(path.front() == _T('\\') ? 1 : 0);
        const size_t end = std::min(path.find(_T('\\')), path.size());
        names.emplace_back(path.substr(0, end));
        path.remove_prefix(end);
    }
    return names;
}

std::string Below(const CString& top, const std::vector<std::string>& names, size_t depth) {
    std::string path = top.ToUtf8();
    for (size_t i = 0; i < depth; ++i) {
        path = JoinServerPath(path, names[i]);
    }
    return path;
}

// Known to the second: the whole of it is meant, as far as it has passed.
int64_t EndOfRun(const MountedTask& task) {
    constexpr int64_t kNanoseconds = 1'000'000'000;
    return std::min<int64_t>((*task.lastRun + 1) * kNanoseconds - 1,
                             platform::CurrentClock().NowNanoseconds());
}

}  // namespace

std::string MountedPlace::ServerPath(size_t depth) const {
    return Below(task.serverFolder, names, depth);
}

std::string MountedPlace::HistoryPath(size_t depth) const {
    return task.historyFolder.IsEmpty() ? std::string() : Below(task.historyFolder, names, depth);
}

Text MountedPlace::LastingPath() const {
    Text path = _T("\\");
    path += kLasting;
    path += _T("\\") + platform::FromUtf8(std::to_string(moment)) + _T("\\");
    return path + task.name.ToText();
}

bool MountedPlaces::Find(TextView path, MountedPlace& place) {
    const std::vector<Text> names = NamesOf(path);
    if (names.empty()) {
        return true;
    }
    const bool isLatest = names[0] == kLatest;
    if (names[0] == kAt && names.size() == 1) {
        place.level = MountedPlace::Level::kMoments;
        return true;
    }
    if (!isLatest && !FindMoment(names, place)) {
        return false;
    }
    place.level = MountedPlace::Level::kTasks;
    const size_t task = isLatest ? 1 : 2;
    if (names.size() == task) {
        return true;
    }
    for (size_t at = task + 1; at < names.size(); ++at) {
        place.names.push_back(platform::ToUtf8(names[at]));
    }
    return FindTask(names[task], place);
}

bool MountedPlaces::FindMoment(const std::vector<Text>& names, MountedPlace& place) {
    if (names[0] == kLasting && names.size() > 2) {
        place.moment = std::strtoll(platform::ToUtf8(names[1]).c_str(), nullptr, 10);
        return true;
    }
    const std::optional<__int64> moment =
        names[0] == kAt ? m_request.momentOf(CString(TextView(names[1]))) : std::nullopt;
    // What is still to come is not settled: there each task is as its last run left it.
    if (moment && *moment <= platform::CurrentClock().NowNanoseconds()) {
        place.moment = *moment;
    }
    return moment.has_value();
}

bool MountedPlaces::FindTask(const Text& name, MountedPlace& place) {
    // A task's name is text; the system's name for it may stand for another engine name.
    const std::string wanted = platform::NameToNative(name);
    const std::shared_ptr<const Known> known = Ask();
    for (const MountedTask& task : known->tasks) {
        if (platform::NameToNative(task.name.View()) == wanted && (place.moment != kNoTime || task.lastRun)) {
            place.level = MountedPlace::Level::kStored;
            place.moment = place.moment != kNoTime ? place.moment : EndOfRun(task);
            place.task = task;
            return true;
        }
    }
    return false;
}

std::vector<MountedPlaces::Named> MountedPlaces::Top() {
    return {{Text(kAt), kNoTime, {}}, {Text(kLatest), kNoTime, {}}};
}

std::vector<MountedPlaces::Named> MountedPlaces::Tasks(const MountedPlace& place) {
    std::vector<Named> tasks;
    const std::shared_ptr<const Known> known = Ask();
    for (const MountedTask& task : known->tasks) {
        if (place.moment != kNoTime || task.lastRun) {
            MountedPlace there = place;
            there.task = task;
            there.moment = place.moment != kNoTime ? place.moment : EndOfRun(task);
            tasks.push_back({task.name.ToText(), there.moment, there.LastingPath()});
        }
    }
    return tasks;
}

std::vector<MountedPlaces::Named> MountedPlaces::Moments() {
    std::vector<Named> moments;
    const std::shared_ptr<const Known> known = Ask();
    for (const CString& name : known->moments) {
        const std::optional<__int64> moment = m_request.momentOf(name);
        moments.push_back({name.ToText(), moment ? *moment : kNoTime, {}});
    }
    return moments;
}

std::shared_ptr<const MountedPlaces::Known> MountedPlaces::Ask() {
    std::lock_guard lock(m_mutex);
    if (m_known && platform::CurrentClock().MonotonicMilliseconds() < m_freshUntilMs) {
        return m_known;
    }
    auto asked = std::make_shared<Known>();
    const bool isRead = ReadMountedTasks(m_service, asked->tasks).Ok();
    if (isRead) {
        asked->moments = m_request.moments(asked->tasks);
    }
    if (isRead || !m_known) {
        m_known = std::move(asked);  // else the vault is away, and what was known may be asked for
    }
    m_freshUntilMs = platform::CurrentClock().MonotonicMilliseconds() + kFreshMs;
    return m_known;
}

}  // namespace rampart
