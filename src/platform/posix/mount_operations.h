// The operations of libfuse's low level interface over a mounted tree.
#pragma once

#define FUSE_USE_VERSION 35

#include <fuse_lowlevel.h>

#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/posix/mounted_nodes.h"
#include "platform/tree_mount.h"

namespace rampart::platform {

// What somebody has open, by the number that the library keeps for it. Any thread.
template <typename Thing>
class OpenThings {
public:
    uint64_t Add(std::shared_ptr<Thing> thing) {
        std::lock_guard lock(m_mutex);
        m_things[++m_last] = std::move(thing);
        return m_last;
    }
    std::shared_ptr<Thing> Get(uint64_t number) {
        std::lock_guard lock(m_mutex);
        return m_things.at(number);
    }
    void Close(uint64_t number) {
        std::lock_guard lock(m_mutex);
        m_things.erase(number);
    }

private:
    std::mutex m_mutex;  // guards what follows
    uint64_t m_last = 0;
    std::unordered_map<uint64_t, std::shared_ptr<Thing>> m_things;
};

// A folder as it was when somebody began to list it.
struct OpenFolder {
    std::vector<std::pair<Text, MountedStatus>> entries;
};

// What they work on: the user data of a session.
struct Shown {
    explicit Shown(MountedTree& shown) : tree(shown) {}

    MountedTree& tree;
    MountedNodes nodes;
    OpenThings<MountedFile> files;
    OpenThings<OpenFolder> folders;
};

fuse_lowlevel_ops MountOperations();

}  // namespace rampart::platform
