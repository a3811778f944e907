// SPDX-License-Identifier: MIT
#include "VariantNodes.h"

#include <algorithm>
#include <memory>
#include <new>
#include <string>

#include "AddressSanitizer.h"

namespace qz::impl {

namespace {

constexpr std::size_t kFewestCells = 2;
constexpr std::size_t kMostCells = 64;

// What a cell is while it is free.
struct FreeCell {
    FreeCell* next;
};

}  // namespace

// The head of a block, which its cells follow.
struct VariantBlock {
    VariantBlock* previous = nullptr;  // among the open blocks
    VariantBlock* next = nullptr;
    FreeCell* freeCells = nullptr;  // those that were released
    std::uint16_t cellCount;
    std::uint16_t usedCellCount = 0;  // the cells from here on were never in use
    std::uint16_t nodeCount = 0;

    explicit VariantBlock(std::size_t count) : cellCount(static_cast<std::uint16_t>(count)) {}

    VariantNode* getCell(std::size_t number)
    {
        return reinterpret_cast<VariantNode*>(this + 1) + number;
    }
    bool isOpen() const { return freeCells != nullptr || usedCellCount != cellCount; }
};

namespace {

static_assert(sizeof(VariantBlock) % alignof(VariantNode) == 0);
// debugger/libqzSystem-gdb.py knows these places.
static_assert(offsetof(VariantNode, child) == 8 && offsetof(VariantNode, entry) == 32);

VariantBlock* getBlock(VariantNode* node)
{
    return reinterpret_cast<VariantBlock*>(node - node->cell) - 1;
}

void linkBlock(VariantEntries& entries, VariantBlock* block)
{
    block->previous = nullptr;
    block->next = entries.openBlocks;
    if (block->next != nullptr) block->next->previous = block;
    entries.openBlocks = block;
}

void unlinkBlock(VariantEntries& entries, VariantBlock* block)
{
    if (block->next != nullptr) block->next->previous = block->previous;
    (block->previous != nullptr ? block->previous->next : entries.openBlocks) = block->next;
}

void addBlock(VariantEntries& entries, std::size_t wantedCells)
{
    const std::size_t cellCount = std::clamp(wantedCells, kFewestCells, kMostCells);
    void* const memory = ::operator new(sizeof(VariantBlock) + cellCount * sizeof(VariantNode));
    auto* const block = ::new (memory) VariantBlock(cellCount);
    variant::poisonMemory(block->getCell(0), cellCount * sizeof(VariantNode));
    linkBlock(entries, block);
}

void* takeCell(VariantEntries& entries, VariantBlock* block)
{
    void* cell = block->freeCells;
    if (cell != nullptr)
        block->freeCells = block->freeCells->next;
    else
        cell = block->getCell(block->usedCellCount++);
    variant::unpoisonMemory(cell, sizeof(VariantNode));
    ++block->nodeCount;
    if (!block->isOpen()) unlinkBlock(entries, block);
    return cell;
}

void releaseCell(VariantEntries& entries, VariantBlock* block, void* cell)
{
    const bool wasOpen = block->isOpen();
    if (--block->nodeCount == 0) {
        if (wasOpen) unlinkBlock(entries, block);
        ::operator delete(block);
        return;
    }
    if constexpr (variant::kHasAddressSanitizer)
        variant::poisonMemory(cell, sizeof(VariantNode));
    else
        block->freeCells = ::new (cell) FreeCell{block->freeCells};
    if (!wasOpen && block->isOpen()) linkBlock(entries, block);
}

}  // namespace

VariantNode* makeNode(VariantEntries& entries, std::string_view key, std::size_t cellCount)
{
    if (entries.openBlocks == nullptr) addBlock(entries, cellCount);
    VariantBlock* const block = entries.openBlocks;
    void* const cell = takeCell(entries, block);
    const auto number = static_cast<VariantNode*>(cell) - block->getCell(0);
    try {
        return ::new (cell) VariantNode(static_cast<std::uint16_t>(number), key);
    } catch (...) {
        releaseCell(entries, block, cell);
        throw;
    }
}

void destroyNode(VariantEntries& entries, VariantNode* node) noexcept
{
    VariantBlock* const block = getBlock(node);
    std::destroy_at(node);
    releaseCell(entries, block, node);
}

void destroyNodeOfOldMap(VariantNode* node) noexcept
{
    VariantBlock* const block = getBlock(node);
    std::destroy_at(node);
    if (--block->nodeCount == 0) ::operator delete(block);
}

}  // namespace qz::impl
