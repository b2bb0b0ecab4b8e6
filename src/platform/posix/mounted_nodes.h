// What the system has looked up in a mounted tree: numbers for paths, as long as it remembers them.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "platform/text.h"

namespace rampart::platform {

// Any thread.
class MountedNodes {
public:
    static constexpr uint64_t kTop = 1;  // the mounted folder itself; never forgotten

    MountedNodes();

    // The number of a name in a folder, or with parent 0 of a lasting path; counts one look-up more.
    uint64_t Look(uint64_t parent, const Text& name);
    // Takes look-ups back. A node without any, and without nodes below it, is forgotten.
    void Forget(uint64_t node, uint64_t lookUps);
    // False if there is no such node.
    bool PathOf(uint64_t node, Text& path);
    // Whether it stands for a lasting path, or something below one.
    bool IsLasting(uint64_t node);

private:
    struct Node {
        uint64_t parent = 0;
        Text name;
        uint64_t uses = 0;  // look-ups, and nodes below it
    };
    void Release(uint64_t node, uint64_t uses);

    std::mutex m_mutex;  // guards what follows
    std::unordered_map<uint64_t, Node> m_nodes;
    std::map<std::pair<uint64_t, Text>, uint64_t> m_numbers;
    uint64_t m_next = kTop + 1;
};

}  // namespace rampart::platform
