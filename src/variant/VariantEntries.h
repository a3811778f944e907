#pragma once

#include <string_view>
#include <utility>

#include "VariantNodes.h"

/// @file
/// The tree of a map's entries: an AVL tree, in which the heights of a node's two subtrees differ
/// by 1 at most. Nothing here recurses or allocates, except for new nodes.

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

/// Copies the tree of a map into an empty one, node by node.
/// @param copyValue is called with each value and the empty value of its copy. If it throws, the
///     copy is an incomplete tree, which can only be destroyed.
template <typename CopyValue>
void copyNodes(const VariantEntries& source, VariantEntries& target, CopyValue copyValue)
{
    // Parents first. `to` is the copy of the node before `from`, or of a parent of that.
    VariantNode* to = nullptr;
    for (const VariantNode* from = source.root; from != nullptr;) {
        VariantNode* const node = makeNode(target, from->entry.first, source.size - target.size);
        ++target.size;
        node->height = from->height;
        node->parent = to;
        if (to == nullptr)
            target.root = node;
        else
            to->child[from->parent->child[Larger] == from ? Larger : Smaller] = node;
        copyValue(from->entry.second, node->entry.second);

        to = node;
        // Up to the first node with a child that isn't copied yet.
        Side side = from->child[Smaller] != nullptr ? Smaller : Larger;
        while (from != nullptr && (from->child[side] == nullptr || to->child[side] != nullptr)) {
            from = from->parent;
            to = to->parent;
            side = Larger;
        }
        if (from != nullptr) from = from->child[side];
    }
}

/// Destroys all nodes. The map must not be used again.
/// @param beforeEach is called with each value before it is destroyed. It may move the value.
template <typename BeforeEach>
void destroyNodes(const VariantEntries& entries, BeforeEach beforeEach) noexcept
{
    // Children first, so that a node is only read before it is destroyed.
    for (VariantNode* node = entries.root; node != nullptr;) {
        VariantNode* const child = node->child[node->child[Smaller] != nullptr ? Smaller : Larger];
        if (child != nullptr) {
            node = child;
            continue;
        }
        VariantNode* const parent = node->parent;
        if (parent != nullptr)
            parent->child[parent->child[Larger] == node ? Larger : Smaller] = nullptr;
        beforeEach(node->entry.second);
        destroyNodeOfOldMap(node);
        node = parent;
    }
}

}  // namespace qz::impl
