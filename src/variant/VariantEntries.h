// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <utility>

#include "VariantNodes.h"

/// @file
/// The tree of a map's entries: an AVL tree, in which the heights of a node's two subtrees differ
/// by 1 at most. So a tree of n nodes is at most 1.44 * log2(n) high, which is also the depth of
/// the recursion here.

namespace qz::impl {

/// The two children of a node, and the two directions of a walk.
enum Side : int { Smaller = 0, Larger = 1 };

constexpr Side opposite(Side side)
{
    return side == Smaller ? Larger : Smaller;
}

/// Returns the node of a key, or null.
VariantNode* findNode(const VariantEntries& entries, std::string_view key);

/// Finds a node or makes it, with an empty value. @return the node, and whether it is new.
std::pair<VariantNode*, bool> findOrAddNode(VariantEntries& entries, std::string_view key);

/// Takes a node out of the tree and destroys it.
void eraseNode(VariantEntries& entries, VariantNode* node) noexcept;

/// The node at the end of a subtree, or null for none.
inline VariantNode* getOutermost(VariantNode* node, Side side)
{
    while (node != nullptr && node->child[side] != nullptr)
        node = node->child[side];
    return node;
}

/// The next node in key order, with a smaller or larger key, or null.
inline VariantNode* getNeighbour(const VariantNode* node, Side side)
{
    if (node->child[side] != nullptr) return getOutermost(node->child[side], opposite(side));
    while (node->parent != nullptr && node->parent->child[side] == node)
        node = node->parent;
    return node->parent;
}

/// The node of an entry that is in a map.
VariantNode* getNodeOf(const VariantEntry* entry);

/// Copies a subtree, node by node.
/// @param place receives the copy: the root of `target`, or a child of `parent`.
/// @param copyValue is called with each value and the empty value of its copy. If it throws, the
///     copy is an incomplete tree, which can only be destroyed.
template <typename CopyValue>
void copyNodes(const VariantNode* from, std::size_t entryCount, VariantEntries& target,
               VariantNode* parent, VariantNode** place, CopyValue copyValue)
{
    for (; from != nullptr; from = from->child[Smaller]) {
        VariantNode* const node = makeNode(target, from->entry.first, entryCount - target.size);
        ++target.size;
        node->height = from->height;
        node->parent = parent;
        *place = node;
        copyValue(from->entry.second, node->entry.second);
        copyNodes(from->child[Larger], entryCount, target, node, &node->child[Larger], copyValue);
        parent = node;
        place = &node->child[Smaller];
    }
}

/// Destroys the nodes of a subtree. The map must not be used again.
/// @param beforeEach is called with each value before it is destroyed. It may move the value.
template <typename BeforeEach>
void destroyNodes(VariantNode* node, BeforeEach beforeEach) noexcept
{
    while (node != nullptr) {
        destroyNodes(node->child[Larger], beforeEach);
        VariantNode* const smaller = node->child[Smaller];
        beforeEach(node->entry.second);
        destroyNodeOfOldMap(node);
        node = smaller;
    }
}

}  // namespace qz::impl
