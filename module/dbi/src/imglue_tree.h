// A balanced search tree (AVL) whose order and nodes belong to its users: the names of a data set, the long strings of
// a file. A user's node begins with an avlstruct; nodes live as long as the session. The tree is known by a pointer to
// its root, null for an empty one.
#pragma once

#include "vor/imglue.h"

#include <cstdint>

struct avlstruct {
    avlstruct *lchild;
    avlstruct *rchild;
    int16_t bf; // -1 the left subtree is one level deeper, 0 balanced, +1 the right one is
};

// Path entries 1 to AVL_DEEPEST are used. A tree that needs one more would have at least 267,914,295 nodes.
inline constexpr int32_t AVL_DEEPEST = 39;

// One search or insertion.
struct avlglobalstruct {
    int32_t slevel;                    // entries of the path; above AVL_DEEPEST when it had no room
    avlstruct *stack[AVL_DEEPEST + 1]; // the nodes that the search left behind, from the root on; entry 0 is not used
    int32_t sctype[AVL_DEEPEST + 1];   // where it went from each: -1 left, +1 right
    const char *compare_string;        // what is searched for
    IMGLUE *self;                      // for allocations
    int32_t compare_len;               // length of compare_string, for users that compare by length
    void *private_ptr;                 // the user's own
};

// Searches the tree from `root` for what g describes: the matching node, or null. It leaves the path in g: it sets
// slevel to 0 at the start and moves with avl_descend.
using avl_compare = avlstruct *(*)(avlglobalstruct *g, avlstruct *root);

// A new node for what g describes, or null. Its links need not be set.
using avl_add = avlstruct *(*)(avlglobalstruct *g);

// Records that the search leaves `node` to the left (-1) or right (+1) and returns the child there. Null when there is
// none, or when the path is full; find_add_avl then adds nothing.
avlstruct *avl_descend(avlglobalstruct *g, avlstruct *node, int32_t direction);

// The node that `compare` finds, else the node that `add` makes, put in its place; *root may change. Null when `add`
// returned null or the tree has reached its greatest depth; the tree is then unchanged.
avlstruct *find_add_avl(avlglobalstruct *g, avl_compare compare, avl_add add, avlstruct **root);
