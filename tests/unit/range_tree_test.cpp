// The range tree: order and balance whatever comes in which order, equal keys, and a comparison that contradicts
// itself.
#include "conversion_test.h"
#include "ztrebdf.h"

#include <algorithm>
#include <list>
#include <numeric>
#include <random>

namespace {

struct Node {
    TREE links;
    double number;
    std::array<unsigned char, 2> bytes;
};

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

TEST(RangeTree, EveryOrderOfInsertionStaysSortedAndBalanced) {
    const struct {
        const char *what;
        std::int32_t len;
        std::size_t offset;
        cmpfptr func;
        bool ascending;
    } comparisons[] = {
        {"doubles", 0, offsetof(Node, number), nullptr, true},
        {"unsigned bytes", 2, offsetof(Node, bytes), nullptr, true},
        {"a function", 2, offsetof(Node, bytes), backwards, false},
    };
    std::vector<double> ascending(600); // past 255, where signed bytes would sort differently
    std::iota(ascending.begin(), ascending.end(), 0.0);
    std::vector<std::vector<double>> orders = {ascending, {ascending.rbegin(), ascending.rend()}};
    std::mt19937 random(7);
    for (int i = 0; i < 5; ++i) {
        orders.push_back(ascending);
        std::ranges::shuffle(orders.back(), random);
    }
    for (const auto &c : comparisons) {
        for (const auto &order : orders) {
            SCOPED_TRACE(c.what);
            std::list<Node> nodes;
            TREE *root = nullptr;
            const auto insert = [&](double key) {
                const auto whole = static_cast<unsigned>(key);
                nodes.push_back({{}, key, {static_cast<unsigned char>(whole >> 8), static_cast<unsigned char>(whole)}});
                return ztrebdf(&root, &nodes.back().links, c.len, static_cast<std::int32_t>(c.offset), c.func);
            };
            std::vector<TREE *> made;
            for (const double key : order) {
                made.push_back(insert(key));
                ASSERT_EQ(made.back(), &nodes.back().links);
            }
            EXPECT_EQ(insert(order[41]), made[41]);
            std::vector<double> keys;
            EXPECT_LE(inspect(root, keys), 13); // 1.44 log2 600
            if (!c.ascending)
                std::ranges::reverse(keys);
            EXPECT_EQ(keys, ascending);
        }
    }
}

class RangeTreeReport : public vor::test::ConversionTest {};

TEST_F(RangeTreeReport, ContradictionIsReported) {
    static std::string reported;
    static int answer, calls;
    replace(xebug, [](SERVICE_ID, const char *text) { reported = text; });
    for (const int second : {0, -1}) { // equal on the second walk, or off the way down
        Node root{{}, 1, {}};
        Node other{{}, 0, {}};
        TREE *tree = &root.links;
        answer = second;
        calls = 0;
        reported.clear();
        const auto contradict = [](const TREE *, const TREE *, std::int32_t, std::int32_t) {
            return calls++ == 0 ? 1 : answer;
        };
        EXPECT_EQ(ztrebdf(&tree, &other.links, 0, 0, contradict), nullptr);
        EXPECT_EQ(reported, "ztrebld: invalid compare");
    }
}

TEST(RangeTree, TextsCompareAsPaddedFields) {
    const auto text = [](const std::string &value) {
        std::vector<TREE> block(3 + value.size() / sizeof(TREE));
        auto *range = reinterpret_cast<IRANGESTR_C_S *>(block.data() + 1);
        range->rectype = RANGE_CHARACTER_VALUE;
        range->startlen = static_cast<std::int16_t>(value.size());
        value.copy(reinterpret_cast<char *>(range) + offsetof(IRANGESTR_C_S, startc), value.size());
        return block;
    };
    const struct {
        const char *first;
        const char *second;
        std::int32_t expected;
    } cases[] = {
        {"A", "A  ", 0},    {"", " ", 0},       {"ab", "ac", -2},
        {"a\x01", "a", -2}, {"a\xE4", "az", 2}, {"longer than seven", "long", 5},
    };
    for (const auto &c : cases)
        EXPECT_EQ(trecomp(text(c.first).data(), text(c.second).data(), 0, 0), c.expected) << c.first;
}

} // namespace
