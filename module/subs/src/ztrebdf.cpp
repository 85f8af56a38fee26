// Insertion into a height-balanced tree in one pass down (Knuth, The Art of Computer Programming, 6.2.3, Algorithm A).
#include "ztrebdf.h"

#include "service_entries.h"
#include "wzst.h"

#include <cstddef>
#include <cstring>

namespace {

// How the nodes of one insertion are compared.
struct key_order {
    cmpfptr func;
    int32_t len;
    int32_t off;
};

const char *bytes_at(const TREE *node, int32_t offset) {
    return reinterpret_cast<const char *>(node) + offset;
}

int32_t compare_doubles(const TREE *p1, const TREE *p2, int32_t, int32_t offset) {
    double first;
    double second;
    memcpy(&first, bytes_at(p1, offset), sizeof first);
    memcpy(&second, bytes_at(p2, offset), sizeof second);
    return first < second ? -1 : first > second ? 1 : 0;
}

cmpfptr comparison(int32_t len, cmpfptr func) {
    if (func != nullptr)
        return func;
    return len < 1 ? compare_doubles : ztrecc;
}

// -1 left, +1 right, 0 equal.
int32_t direction(const key_order &order, const TREE *key, const TREE *node) {
    const int32_t result = order.func(key, node, order.len, order.off);
    return result < 0 ? -1 : result > 0 ? 1 : 0;
}

TREE *&child(TREE *node, int32_t side) {
    return side < 0 ? node->llink : node->rlink;
}

TREE *report_contradiction() {
    xebug("ztrebld: invalid compare");
    return nullptr;
}

// Sets the balances of the nodes between `from` and the new leaf; false when the comparison contradicts the way down.
bool balance_path(const key_order &order, TREE *from, TREE *leaf) {
    TREE *node = from;
    while (node != leaf) {
        const int32_t side = node == nullptr ? 0 : direction(order, leaf, node);
        if (side == 0)
            return false;
        node->bal = static_cast<int16_t>(side);
        node = child(node, side);
    }
    return true;
}

// The subtree at `top` has become two levels deeper on `side` than on the other; returns its new root.
TREE *rotate(TREE *top, int32_t side) {
    TREE *below = child(top, side);
    TREE *inner = child(below, -side); // not null when below leans inward
    if (below->bal == side || inner == nullptr) {
        child(top, side) = inner;
        child(below, -side) = top;
        top->bal = below->bal = 0;
        return below;
    }
    child(below, -side) = child(inner, side);
    child(inner, side) = below;
    child(top, side) = child(inner, -side);
    child(inner, -side) = top;
    top->bal = static_cast<int16_t>(inner->bal == side ? -side : 0);
    below->bal = static_cast<int16_t>(inner->bal == -side ? side : 0);
    inner->bal = 0;
    return inner;
}

} // namespace

TREE *ztrebdf(TREE **headptr, TREE *now, int32_t len, int32_t off, cmpfptr func) {
    const key_order order{comparison(len, func), len, off};
    TREE **link = headptr;       // where the search goes on
    TREE **unbalanced = headptr; // link to the last node on the path that leans to a side, or to the root
    while (*link != nullptr) {
        const int32_t side = direction(order, now, *link);
        if (side == 0)
            return *link;
        if ((*link)->bal != 0)
            unbalanced = link;
        link = &child(*link, side);
    }
    now->llink = now->rlink = nullptr;
    now->bal = 0;
    *link = now;
    TREE *top = *unbalanced;
    if (top == now)
        return now;

    const int32_t side = direction(order, now, top);
    if (side == 0 || !balance_path(order, child(top, side), now))
        return report_contradiction();
    if (top->bal != side)
        top->bal = static_cast<int16_t>(top->bal + side);
    else
        *unbalanced = rotate(top, side);
    return now;
}

int32_t trecomp(const TREE *p1, const TREE *p2, int32_t, int32_t) {
    if (*bytes_at(p1 + 1, 0) == RANGE_NUMERIC_VALUE) {
        constexpr auto start = static_cast<int32_t>(sizeof(TREE) + offsetof(IRANGESTR_N_S, start));
        return ztrecc(p1, p2, sizeof(IRANGESTR_N_S::start), start);
    }
    const auto *first = reinterpret_cast<const IRANGESTR_C_S *>(p1 + 1);
    const auto *second = reinterpret_cast<const IRANGESTR_C_S *>(p2 + 1);
    return wzstcom(bytes_at(p1 + 1, offsetof(IRANGESTR_C_S, startc)), first->startlen,
                   bytes_at(p2 + 1, offsetof(IRANGESTR_C_S, startc)), second->startlen);
}

int32_t ztrecc(const TREE *p1, const TREE *p2, int32_t len, int32_t offset) {
    const auto *first = reinterpret_cast<const unsigned char *>(bytes_at(p1, offset));
    const auto *second = reinterpret_cast<const unsigned char *>(bytes_at(p2, offset));
    for (int32_t i = 0; i < len; ++i)
        if (first[i] != second[i])
            return first[i] < second[i] ? -(i + 1) : i + 1;
    return 0;
}
