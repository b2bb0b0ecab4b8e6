// Numbers for what the system looked up, and what becomes of them.
#include "platform/posix/mounted_nodes.h"

#include <gtest/gtest.h>

namespace rampart::platform {
namespace {

Text PathOf(MountedNodes& nodes, uint64_t node) {
    Text path;
    return nodes.PathOf(node, path) ? path : Text(_T("none"));
}

TEST(MountedNodes, OneThingHasOneNumberAsLongAsAnybodyKnowsIt) {
    MountedNodes nodes;
    EXPECT_EQ(Text(), PathOf(nodes, MountedNodes::kTop));
    uint64_t const latest = nodes.Look(MountedNodes::kTop, _T("latest"));
    uint64_t const task = nodes.Look(0, _T("\\=\\5\\docs"));
    uint64_t const file = nodes.Look(task, _T("a"));
    EXPECT_EQ(Text(_T("\\latest")), PathOf(nodes, latest));
    EXPECT_EQ(Text(_T("\\=\\5\\docs\\a")), PathOf(nodes, file));
    EXPECT_EQ(file, nodes.Look(task, _T("a")));
    EXPECT_NE(file, nodes.Look(0, _T("\\=\\6\\docs")));
    EXPECT_FALSE(nodes.IsLasting(MountedNodes::kTop));
    EXPECT_FALSE(nodes.IsLasting(latest));
    EXPECT_TRUE(nodes.IsLasting(task));
    EXPECT_TRUE(nodes.IsLasting(file));

    // The folder is forgotten before the file in it, of which two look-ups are out.
    nodes.Forget(task, 1);
    nodes.Forget(file, 1);
    EXPECT_EQ(Text(_T("\\=\\5\\docs\\a")), PathOf(nodes, file));
    nodes.Forget(file, 1);
    EXPECT_EQ(Text(_T("none")), PathOf(nodes, file));
    EXPECT_EQ(Text(_T("none")), PathOf(nodes, task));
    EXPECT_NE(task, nodes.Look(0, _T("\\=\\5\\docs")));
    nodes.Forget(MountedNodes::kTop, 7);
    EXPECT_EQ(Text(), PathOf(nodes, MountedNodes::kTop));
}

}  // namespace
}  // namespace rampart::platform
