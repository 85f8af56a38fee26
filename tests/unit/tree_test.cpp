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
int checked_depth(const avlstruct *node, int low, int high) {
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

int checked_depth(const avlstruct *root) {
    return checked_depth(root, INT32_MIN / 2, INT32_MAX / 2);
}

std::vector<std::vector<int>> insertion_orders(int count) {
    std::vector<int> ascending(static_cast<std::size_t>(count));
    std::iota(ascending.begin(), ascending.end(), 0);
    std::vector<std::vector<int>> orders{ascending, {ascending.rbegin(), ascending.rend()}};
    std::mt19937 random(1);
    for (int i = 0; i < 20; ++i) {
        std::shuffle(ascending.begin(), ascending.end(), random);
        orders.push_back(ascending);
    }
    return orders;
}

TEST(Tree, StaysBalancedInAnyOrder) {
    for (const std::vector<int> &order : insertion_orders(300)) {
        Keys keys;
        avlstruct *root = nullptr;
        for (std::size_t i = 0; i < order.size(); ++i) {
            ASSERT_EQ(node_of(put(&keys, &root, order[i]))->key, order[i]);
            ASSERT_GT(checked_depth(root), 0) << "after " << i;
        }
        EXPECT_LE(checked_depth(root), 11); // 1.44 x log2(302)
        for (int key : order)
            EXPECT_EQ(node_of(put(&keys, &root, key))->key, key);
        EXPECT_EQ(keys.nodes.size(), order.size());
    }
}

TEST(Tree, IsUnchangedWhenNothingIsAdded) {
    Keys keys;
    avlstruct *root = nullptr;
    keys.refuse = true;
    EXPECT_EQ(put(&keys, &root, 1), nullptr);
    EXPECT_EQ(root, nullptr);
    keys.refuse = false;
    for (int key = 0; key < 7; ++key)
        put(&keys, &root, key);
    keys.refuse = true;
    EXPECT_EQ(put(&keys, &root, 7), nullptr);
    EXPECT_EQ(checked_depth(root), 3);
    EXPECT_EQ(node_of(put(&keys, &root, 6))->key, 6);
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
