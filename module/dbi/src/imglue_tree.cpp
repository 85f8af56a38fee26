// The balanced tree: insertion after a recorded search, with at most one rotation. Both mirror images of a rotation are
// the same code, which reaches a node's children by direction.
#include "imglue_tree.h"

namespace {

avlstruct *&child(avlstruct *node, int32_t direction) {
    return direction < 0 ? node->lchild : node->rchild;
}

// p leans to `direction`, and so does its child there: the child comes up. Returns the subtree's new root.
avlstruct *rotate_once(avlstruct *p, int32_t direction) {
    avlstruct *c = child(p, direction);
    child(p, direction) = child(c, -direction);
    child(c, -direction) = p;
    p->bf = 0;
    c->bf = 0;
    return c;
}

// p leans to `direction` and its child there the other way: the grandchild between them comes up.
avlstruct *rotate_twice(avlstruct *p, int32_t direction) {
    avlstruct *c = child(p, direction);
    avlstruct *q = child(c, -direction);
    child(c, -direction) = child(q, direction);
    child(p, direction) = child(q, -direction);
    child(q, -direction) = p;
    child(q, direction) = c;
    p->bf = static_cast<int16_t>(q->bf == direction ? -direction : 0);
    c->bf = static_cast<int16_t>(q->bf == -direction ? direction : 0);
    q->bf = 0;
    return q;
}

// Restores the balance along the path above a new node.
void rebalance(const avlglobalstruct *g, avlstruct **root) {
    for (int32_t level = g->slevel; level >= 1; --level) {
        avlstruct *p = g->stack[level];
        const int32_t direction = g->sctype[level];
        if (p->bf == 0) {
            p->bf = static_cast<int16_t>(direction);
            continue;
        }
        if (p->bf == -direction) {
            p->bf = 0;
            return;
        }
        avlstruct *top = child(p, direction)->bf == direction ? rotate_once(p, direction) : rotate_twice(p, direction);
        if (level == 1)
            *root = top;
        else
            child(g->stack[level - 1], g->sctype[level - 1]) = top;
        return;
    }
}

} // namespace

avlstruct *avl_descend(avlglobalstruct *g, avlstruct *node, int32_t direction) {
    if (g->slevel >= AVL_DEEPEST) {
        g->slevel = AVL_DEEPEST + 1;
        return nullptr;
    }
    ++g->slevel;
    g->stack[g->slevel] = node;
    g->sctype[g->slevel] = direction;
    return child(node, direction);
}

avlstruct *find_add_avl(avlglobalstruct *g, avl_compare compare, avl_add add, avlstruct **root) {
    g->slevel = 0;
    avlstruct *found = compare(g, *root);
    if (found != nullptr)
        return found;
    if (g->slevel > AVL_DEEPEST)
        return nullptr;
    avlstruct *node = add(g);
    if (node == nullptr)
        return nullptr;
    node->lchild = nullptr;
    node->rchild = nullptr;
    node->bf = 0;
    if (g->slevel == 0) {
        *root = node;
        return node;
    }
    child(g->stack[g->slevel], g->sctype[g->slevel]) = node;
    rebalance(g, root);
    return node;
}
