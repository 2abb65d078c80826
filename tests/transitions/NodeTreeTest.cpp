// SPDX-License-Identifier: BSD-3-Clause

#include "NodeTree.h"

#include <gtest/gtest.h>

#include <string>

namespace Tracewell {
namespace {

/// The number of children, level by level along the last ones, and the counts of the nodes.
std::string shapeOf(const BTreeElem* node)
{
    std::string shape;
    for (; !node->isLeaf(); node = node->children->back()) {
        shape += std::to_string(node->children->size()) + "(" + std::to_string(node->count) + ") ";
    }
    return shape + "leaf";
}

TEST(NodeTree, growsToThreeLevelsAndThenOnlyWider)
{
    WdbDamageLog damage;
    NodeTree tree([] { FAIL() << "there is no limit"; }, damage);
    auto insertUntil = [&, leaves = 0](int count) mutable {
        for (; leaves < count; ++leaves) {
            BTreeElem* const leaf = tree.createBTreeElem();
            leaf->firstTime = leaves * 10LL + (leaves >= 3000 ? 500 : 0);
            leaf->lastTime = leaf->firstTime + 9;
            leaf->largestDiff = 3;
            leaf->count = kMaxBlockCount;
            leaf->flags = ValueVlog;
            tree.insertNewBTreeNode(5, leaf);
        }
        return shapeOf(tree.findRoot(5));
    };
    EXPECT_EQ(insertUntil(1), "leaf");
    EXPECT_EQ(insertUntil(2), "2(2) leaf");
    EXPECT_EQ(insertUntil(2048), "2048(2048) leaf");
    EXPECT_EQ(tree.findRoot(5)->largestDiff, 3);
    EXPECT_EQ(insertUntil(2049), "2(2) 1(1) leaf");
    EXPECT_EQ(insertUntil(4096), "2(2) 2048(2048) leaf");
    EXPECT_EQ(insertUntil(4097), "3(2) 1(1) leaf");
    EXPECT_EQ(insertUntil(4 * 2048 + 1), "5(2) 1(1) leaf");

    const BTreeElem* const root = tree.findRoot(5);
    EXPECT_EQ(root->lastTime, 4 * 2048 * 10 + 509);
    EXPECT_EQ(root->largestDiff, 501);
    EXPECT_EQ((*root->children)[0]->largestDiff, 3);
    EXPECT_EQ((*root->children)[1]->largestDiff, 501);
    EXPECT_EQ((*root->children)[2]->firstTime, 4096 * 10 + 500);
    EXPECT_EQ(tree.findRoot(6), nullptr);
}

} // namespace
} // namespace Tracewell
