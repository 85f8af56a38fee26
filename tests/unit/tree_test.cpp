// The balanced tree: order and balance after every insertion, and what happens when nothing can be added.
#include "imglue_tree.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

namespace {

struct Node {
    avlstruct links; // first
    int key;
};

// The user of the tree: keys are integers, nodes belong to this record.
struct Keys {
    int wanted = 0;
    bool refuse = false;
    std::vector<std::unique_ptr<Node>> nodes;
};

const Node *node_of(const avlstruct *links) {
    return reinterpret_cast<const Node *>(links);
}

avlstruct *find_key(avlglobalstruct *g, avlstruct *node) {
    g->slevel = 0;
    const int wanted = static_cast<Keys *>(g->private_ptr)->wanted;
    while (node != nullptr && node_of(node)->key != wanted)
        node = avl_descend(g, node, wanted < node_of(node)->key ? -1 : 1);
    return node;
}

avlstruct *add_key(avlglobalstruct *g) {
    auto *keys = static_cast<Keys *>(g->private_ptr);
    if (keys->refuse)
        return nullptr;
    // Stale links show whether the tree sets them.
    auto *stale = reinterpret_cast<avlstruct *>(keys);
    keys->nodes.push_back(std::make_unique<Node>(Node{{stale, stale, 1}, keys->wanted}));
    return &keys->nodes.back()->links;
}

avlstruct *put(Keys *keys, avlstruct **root, int key) {
    keys->wanted = key;
    avlglobalstruct g{};
    g.private_ptr = keys;
    return find_add_avl(&g, find_key, add_key, root);
}

// The depth of the subtree, whose keys lie between the bounds; -1 when an order or a balance factor is wrong.
int checked_depth(const avlstruct *node, int low = -1, int high = 1000) {
    if (node == nullptr)
        return 0;
    const int key = node_of(node)->key;
    const int left = checked_depth(node->lchild, low, key - 1);
    const int right = checked_depth(node->rchild, key + 1, high);
    const bool right_order = key >= low && key <= high;
    if (left < 0 || right < 0 || !right_order || node->bf != right - left || std::abs(right - left) > 1)
        return -1;
    return 1 + std::max(left, right);
}

TEST(Tree, StaysBalancedInAnyOrder) {
    std::vector<int> ascending(300);
    std::iota(ascending.begin(), ascending.end(), 0);
    std::vector<std::vector<int>> orders(22, ascending);
    std::ranges::reverse(orders[1]);
    std::mt19937 random(1);
    for (std::size_t i = 2; i < orders.size(); ++i)
        std::ranges::shuffle(orders[i], random);
    for (const std::vector<int> &order : orders) {
        Keys keys;
        avlstruct *root = nullptr;
        for (const int key : order) {
            ASSERT_EQ(node_of(put(&keys, &root, key))->key, key);
            ASSERT_GT(checked_depth(root), 0) << "after " << key;
        }
        EXPECT_LE(checked_depth(root), 11); // 1.44 x log2(302)
        for (const int key : order)
            EXPECT_EQ(node_of(put(&keys, &root, key))->key, key);
        EXPECT_EQ(keys.nodes.size(), order.size());
    }
}

TEST(Tree, IsUnchangedWhenNothingIsAdded) {
    for (const int size : {0, 7}) {
        Keys keys;
        avlstruct *root = nullptr;
        for (int key = 0; key < size; ++key)
            put(&keys, &root, key);
        const int depth = checked_depth(root);
        keys.refuse = true;
        EXPECT_EQ(put(&keys, &root, size), nullptr);
        EXPECT_EQ(checked_depth(root), depth);
    }
}

// A chain is no balanced tree, but it is the cheap way to a path without room.
TEST(Tree, AddsNothingBelowItsDeepestLevel) {
    Keys keys;
    std::vector<Node> chain(AVL_DEEPEST + 1);
    for (std::size_t i = 0; i < chain.size(); ++i)
        chain[i] = {{nullptr, i + 1 < chain.size() ? &chain[i + 1].links : nullptr, 1}, static_cast<int>(i)};
    avlstruct *root = &chain[0].links;
    EXPECT_EQ(put(&keys, &root, 1000), nullptr);
    EXPECT_TRUE(keys.nodes.empty());
    EXPECT_EQ(put(&keys, &root, AVL_DEEPEST), &chain.back().links);
}

} // namespace
