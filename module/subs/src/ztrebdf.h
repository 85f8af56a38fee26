// The range tree of the format builder: a height-balanced tree whose nodes (TREE) are each followed directly by their
// range record. The routines know nodes and keys; they allocate nothing.
#pragma once

#include "vor/formats.h"

#include <cstdint>

// Compares the keys of two nodes: below 0, 0 or above 0 as the first sorts lower, equal or higher. len and offset are
// those given to ztrebdf.
using cmpfptr = int32_t (*)(const TREE *p1, const TREE *p2, int32_t len, int32_t offset);

// ztrebdf: insert a node.
//
// headptr   the root, null for an empty tree; may change.
// now       the node to insert; its links need not be set.
// len, off  without func: len bytes at byte `off` of the nodes, compared as unsigned bytes; a len below 1 compares
//           the doubles there. off counts from the start of the node.
// func      the comparison, or null.
// now                the node is in the tree.
// another node       it already has an equal key; the tree is unchanged and `now` untouched.
// null               the comparison contradicted itself, which the host is told; the tree is not usable any more.
TREE *ztrebdf(TREE **headptr, TREE *now, int32_t len, int32_t off, cmpfptr func);

// trecomp: compare the range records behind two nodes by their values: numbers by their collating bytes, texts as
// blank-padded fields. 0 when they are equal, else the position of the first difference, counted from 1, negative when
// p1 sorts lower. len and offset are not used.
int32_t trecomp(const TREE *p1, const TREE *p2, int32_t len, int32_t offset);

// ztrecc: compare `len` bytes at byte `offset` of two nodes as unsigned bytes; the result is that of trecomp.
int32_t ztrecc(const TREE *p1, const TREE *p2, int32_t len, int32_t offset);
