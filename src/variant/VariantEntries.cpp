// SPDX-License-Identifier: MIT
#include "VariantEntries.h"

#include <algorithm>
#include <cstddef>

#include "KeyOrder.h"

namespace qz::impl {

namespace {

Side getSide(const VariantNode* node)
{
    return node->parent->child[Larger] == node ? Larger : Smaller;
}

int getHeight(const VariantNode* node)
{
    return node != nullptr ? node->height : 0;
}

void updateHeight(VariantNode* node)
{
    const int height =
        std::max(getHeight(node->child[Smaller]), getHeight(node->child[Larger])) + 1;
    node->height = static_cast<std::uint16_t>(height);
}

void setChild(VariantNode* above, Side side, VariantNode* below)
{
    above->child[side] = below;
    if (below != nullptr) below->parent = above;
}

// Sets what the parent of `outgoing` has in its place; `incoming` may be null.
void replaceNode(VariantEntries& entries, VariantNode* outgoing, VariantNode* incoming)
{
    if (outgoing->parent != nullptr) {
        setChild(outgoing->parent, getSide(outgoing), incoming);
        return;
    }
    entries.root = incoming;
    if (incoming != nullptr) incoming->parent = nullptr;
}

// Moves a child above its parent. @return the child.
VariantNode* rotate(VariantEntries& entries, VariantNode* node, Side side)
{
    VariantNode* const child = node->child[side];
    replaceNode(entries, node, child);
    setChild(node, side, child->child[opposite(side)]);
    setChild(child, opposite(side), node);
    updateHeight(node);
    updateHeight(child);
    return child;
}

// Restores the balance of a subtree whose children are balanced. @return its top.
VariantNode* balance(VariantEntries& entries, VariantNode* node)
{
    const int difference = getHeight(node->child[Larger]) - getHeight(node->child[Smaller]);
    if (difference >= -1 && difference <= 1) {
        updateHeight(node);
        return node;
    }
    const Side side = difference > 0 ? Larger : Smaller;
    VariantNode* const child = node->child[side];
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): the higher side has a child
    if (getHeight(child->child[opposite(side)]) > getHeight(child->child[side]))
        rotate(entries, child, opposite(side));
    return rotate(entries, node, side);
}

// Restores the balance from a node, one of whose subtrees has changed, up to where no height
// changes.
void balanceUpwards(VariantEntries& entries, VariantNode* node)
{
    while (node != nullptr) {
        const int heightBefore = node->height;
        const VariantNode* const top = balance(entries, node);
        if (top->height == heightBefore) return;
        node = top->parent;
    }
}

// Makes a node a leaf of the tree, below `parent` or as the root.
void linkNode(VariantEntries& entries, VariantNode* node, VariantNode* parent, Side side)
{
    if (parent != nullptr)
        setChild(parent, side, node);
    else
        entries.root = node;
    ++entries.size;
    // A parent of another node stays as high as it was. That is the case for most new nodes.
    if (parent != nullptr && parent->height == node->height) balanceUpwards(entries, parent);
}

// Takes a node with two children out of the tree: the next one, which has one child at most, takes
// its place. @return the lowest node whose subtree has changed.
VariantNode* replaceByNext(VariantEntries& entries, VariantNode* node)
{
    VariantNode* const next = getOutermost(node->child[Larger], Smaller);
    VariantNode* const changed = next->parent == node ? next : next->parent;
    replaceNode(entries, next, next->child[Larger]);
    setChild(next, Smaller, node->child[Smaller]);
    setChild(next, Larger, node->child[Larger]);
    next->height = node->height;
    replaceNode(entries, node, next);
    return changed;
}

}  // namespace

VariantNode* findNode(const VariantEntries& entries, std::string_view key)
{
    VariantNode* node = entries.root;
    while (node != nullptr) {
        const int order = variant::compareKeys(key, node->entry.first);
        if (order == 0) break;
        node = node->child[order > 0 ? Larger : Smaller];
    }
    return node;
}

std::pair<VariantNode*, bool> findOrAddNode(VariantEntries& entries, std::string_view key)
{
    VariantNode* parent = nullptr;
    Side side = Smaller;
    for (VariantNode* node = entries.root; node != nullptr; node = node->child[side]) {
        const int order = variant::compareKeys(key, node->entry.first);
        if (order == 0) return {node, false};
        parent = node;
        side = order > 0 ? Larger : Smaller;
    }
    VariantNode* const node = makeNode(entries, key, entries.size);
    linkNode(entries, node, parent, side);
    return {node, true};
}

void eraseNode(VariantEntries& entries, VariantNode* node) noexcept
{
    VariantNode* changed = node->parent;
    if (node->child[Smaller] != nullptr && node->child[Larger] != nullptr)
        changed = replaceByNext(entries, node);
    else
        replaceNode(entries, node, node->child[node->child[Larger] != nullptr ? Larger : Smaller]);
    --entries.size;
    balanceUpwards(entries, changed);
    // The value is destroyed last, since the destructor of a caller's object may use the map.
    const qzVariant value(std::move(node->entry.second));
    destroyNode(entries, node);
}

VariantNode* getNodeOf(const VariantEntry* entry)
{
    const auto address = reinterpret_cast<std::uintptr_t>(entry);
    return reinterpret_cast<VariantNode*>(address - offsetof(VariantNode, entry));
}

}  // namespace qz::impl
