#include "platform/posix/mounted_nodes.h"

#include <vector>

namespace rampart::platform {

MountedNodes::MountedNodes() {
    m_nodes[kTop].uses = 1;
}

uint64_t MountedNodes::Look(uint64_t parent, const Text& name) {
    std::lock_guard lock(m_mutex);
    const auto [number, isNew] = m_numbers.try_emplace({parent, name}, m_next);
    if (isNew) {
        m_nodes[m_next++] = {parent, name, 0};
        if (const auto above = m_nodes.find(parent); above != m_nodes.end()) {
            ++above->second.uses;
        }
    }
    ++m_nodes[number->second].uses;
    return number->second;
}

void MountedNodes::Forget(uint64_t node, uint64_t lookUps) {
    std::lock_guard lock(m_mutex);
    if (node != kTop) {
        Release(node, lookUps);
    }
}

void MountedNodes::Release(uint64_t node, uint64_t uses) {
    for (auto found = m_nodes.find(node); found != m_nodes.end(); found = m_nodes.find(node)) {
        Node& released = found->second;
        released.uses -= uses < released.uses ? uses : released.uses;
        if (released.uses != 0) {
            return;
        }
        const uint64_t parent = released.parent;
        m_numbers.erase({parent, released.name});
        m_nodes.erase(found);
        node = parent;
        uses = 1;
    }
}

bool MountedNodes::PathOf(uint64_t node, Text& path) {
    std::lock_guard lock(m_mutex);
    path.clear();
    std::vector<const Text*> names;
    for (uint64_t at = node; at != kTop; at = m_nodes[at].parent) {
        const auto found = m_nodes.find(at);
        if (found == m_nodes.end()) {
            return false;
        }
        names.push_back(&found->second.name);
        if (found->second.parent == 0) {
            break;  // a lasting path, whole
        }
    }
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        const bool isWhole = !(*name)->empty() && (*name)->front() == _T('\\');
        path += (isWhole ? Text() : Text(1, _T('\\'))) + **name;
    }
    return true;
}

bool MountedNodes::IsLasting(uint64_t node) {
    std::lock_guard lock(m_mutex);
    for (auto found = m_nodes.find(node); found != m_nodes.end() && node != kTop;
         found = m_nodes.find(node)) {
        node = found->second.parent;
        if (node == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace rampart::platform
