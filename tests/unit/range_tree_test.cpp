// The range tree: order and balance whatever comes in which order, equal keys, and a comparison that contradicts
// itself.
#include "conversion_test.h"
#include "ztrebdf.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace {

struct Node {
    TREE links;
    double number;
    std::array<unsigned char, 2> bytes;
};

Node node_of(double key) {
    const auto whole = static_cast<unsigned>(key);
    return {{}, key, {static_cast<unsigned char>(whole >> 8), static_cast<unsigned char>(whole)}};
}

// Depth of the tree; checks every balance and appends the keys in order.
int inspect(const TREE *tree, std::vector<double> &keys) {
    if (tree == nullptr)
        return 0;
    const int left = inspect(tree->llink, keys);
    keys.push_back(reinterpret_cast<const Node *>(tree)->number);
    const int right = inspect(tree->rlink, keys);
    EXPECT_EQ(tree->bal, right - left) << keys.back();
    EXPECT_LE(std::abs(right - left), 1) << keys.back();
    return std::max(left, right) + 1;
}

std::int32_t backwards(const TREE *p1, const TREE *p2, std::int32_t len, std::int32_t offset) {
    return -ztrecc(p1, p2, len, offset);
}

class RangeTree : public vor::test::ConversionTest {};

TEST_F(RangeTree, EveryOrderOfInsertionStaysSortedAndBalanced) {
    const struct {
        std::int32_t len;
        std::size_t offset;
        cmpfptr func;
        bool ascending;
    } comparisons[] = {
        {0, offsetof(Node, number), nullptr, true}, // doubles
        {2, offsetof(Node, bytes), nullptr, true},
        {2, offsetof(Node, bytes), backwards, false},
    };
    std::vector<double> ascending(600); // past 255, where signed bytes would sort differently
    std::iota(ascending.begin(), ascending.end(), 0.0);
    std::vector<std::vector<double>> orders(7, ascending);
    std::ranges::reverse(orders[1]);
    std::mt19937 random(7);
    for (std::size_t i = 2; i < orders.size(); ++i)
        std::ranges::shuffle(orders[i], random);
    for (const auto &c : comparisons) {
        for (const auto &order : orders) {
            TREE *root = nullptr;
            const auto insert = [&](Node &node) {
                return ztrebdf(&root, &node.links, c.len, static_cast<std::int32_t>(c.offset), c.func);
            };
            std::vector<Node> nodes;
            for (const double key : order)
                nodes.push_back(node_of(key));
            for (Node &node : nodes)
                ASSERT_EQ(insert(node), &node.links);
            Node equal = node_of(order[41]);
            EXPECT_EQ(insert(equal), &nodes[41].links);
            std::vector<double> keys;
            EXPECT_LE(inspect(root, keys), 13); // 1.44 log2 600
            if (!c.ascending)
                std::ranges::reverse(keys);
            EXPECT_EQ(keys, ascending);
        }
    }
}

TEST_F(RangeTree, ContradictionIsReported) {
    static int reports, answer, calls;
    replace(xebug, [](SERVICE_ID, const char *text) { reports += std::strcmp(text, "ztrebld: invalid compare") == 0; });
    reports = 0;
    for (const int second : {0, -1}) { // equal on the second walk, or off the way down
        Node root{}, other{};
        TREE *tree = &root.links;
        answer = second;
        calls = 0;
        const auto contradict = [](const TREE *, const TREE *, std::int32_t, std::int32_t) {
            return calls++ == 0 ? 1 : answer;
        };
        EXPECT_EQ(ztrebdf(&tree, &other.links, 0, 0, contradict), nullptr);
    }
    EXPECT_EQ(reports, 2);
}

} // namespace
