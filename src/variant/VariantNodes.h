// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <utility>

#include <qz/qzVariant.h>

namespace qz::impl {

// The memory of a map's entries.
//
// A node is an entry with its place in the map's tree. Nodes are in blocks, so that those of one
// map are close together, and malloc is called once for many of them. A block belongs to one map.
//
// - A new block has as many cells as the map has entries, but at least `kFewestCells` and at most
//   `kMostCells`. So no map has much more memory than it uses.
// - Blocks with a free cell are in the doubly linked list `VariantEntries::openBlocks`.
// - A node knows the number of its cell, and so the address of its block. The block is freed when
//   its last node is destroyed.
// - With the address sanitizer, free cells are poisoned and never used again, so that each use of
//   an erased entry is reported.

/// An entry of a map and its place in the map's tree.
struct VariantNode {
    VariantNode(std::uint16_t cellNumber, std::string_view key)
        : cell(cellNumber),
          entry(std::piecewise_construct, std::forward_as_tuple(key), std::tuple())
    {
    }

    VariantNode* parent = nullptr;
    VariantNode* child[2] = {};  ///< The subtrees of the smaller and of the larger keys.
    std::uint16_t height = 1;    ///< Of the subtree below and with this node.
    const std::uint16_t cell;    ///< The number of this node's cell in its block.
    VariantEntry entry;
};

/// Makes a node with an empty value, which is in no tree yet.
/// @param cellCount the number of cells of a new block, if one is necessary.
VariantNode* makeNode(VariantEntries& entries, std::string_view key, std::size_t cellCount);

/// Destroys a node and frees its cell.
void destroyNode(VariantEntries& entries, VariantNode* node) noexcept;

/// Destroys a node of a map whose nodes are all destroyed in this way: `openBlocks` is neither used
/// nor updated.
void destroyNodeOfOldMap(VariantNode* node) noexcept;

}  // namespace qz::impl
