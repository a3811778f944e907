#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <tuple>
#include <utility>

#include <qz/qzVariant.h>

#include "KeyOrder.h"

namespace qz::impl {

/// Takes part when the values of a map are copied or go, so that containers among them can wait
/// for their turn instead.
class VariantVisitor {
public:
    /// Copies a value to one that is empty.
    virtual void copy(const qzVariant& source, qzVariant& target) = 0;
    /// Takes from a value that is about to go what needs more than its destructor.
    virtual void detach(qzVariant& value) = 0;

protected:
    ~VariantVisitor() = default;
};

inline bool VariantKeyLess::operator()(std::string_view left, std::string_view right) const
{
    return variant::compareKeys(left, right) < 0;
}

/// The memory of one map's nodes: blocks that grow with the map and go with it. Nodes of a map lie
/// side by side, so that a walk and a copy find most of them in the cache, and a copy takes one
/// block for all of its nodes.
class VariantNodes {
public:
    /// Makes a store with room for `count` nodes, at least one.
    static VariantNodes* create(std::size_t count);
    /// Gives all memory back; null does nothing. No node may live any more.
    static void destroy(VariantNodes* nodes) noexcept;

    void* take();
    void give(void* node) noexcept;

    /// Who takes part in the work on the map at this time. Entries are copied with somebody only.
    VariantVisitor* visitor = nullptr;

    /// The bytes of a node: those of the map's tree, a key and a value.
    static constexpr std::size_t kNodeSize = 32 + sizeof(std::string) + sizeof(qzVariant);

private:
    // Stands ahead of the nodes of a block.
    struct Block {
        Block* next;
    };
    // What a node is while nobody has it.
    struct FreeNode {
        FreeNode* next;
    };

    explicit VariantNodes(std::size_t count);
    void addBlock(std::size_t count);

    Block* mBlocks = nullptr;  // behind the first one, which holds this object
    FreeNode* mFree = nullptr;
    std::byte* mUnused;
    std::byte* mUnusedEnd;
    std::size_t mCount;  // of nodes in all blocks
};

/// Lets a visitor take part for a while.
class VisitorScope {
public:
    VisitorScope(VariantNodes& nodes, VariantVisitor& visitor) : mNodes(nodes)
    {
        nodes.visitor = &visitor;
    }
    ~VisitorScope() { mNodes.visitor = nullptr; }
    VisitorScope(const VisitorScope&) = delete;
    VisitorScope& operator=(const VisitorScope&) = delete;

private:
    VariantNodes& mNodes;
};

template <typename T>
T* VariantNodeAllocator<T>::allocate(std::size_t /*count*/)
{
    static_assert(sizeof(T) == VariantNodes::kNodeSize);
    return static_cast<T*>(nodes->take());
}

template <typename T>
void VariantNodeAllocator<T>::deallocate(T* memory, std::size_t /*count*/)
{
    nodes->give(memory);
}

template <typename T>
template <typename Entry>
void VariantNodeAllocator<T>::construct(Entry* entry, const Entry& source)
{
    std::construct_at(entry, std::piecewise_construct, std::forward_as_tuple(source.first),
                      std::tuple<>());
    try {
        nodes->visitor->copy(source.second, entry->second);
    } catch (...) {
        std::destroy_at(entry);
        throw;
    }
}

template <typename T>
template <typename Entry, typename... Arguments>
void VariantNodeAllocator<T>::construct(Entry* entry, Arguments&&... arguments)
{
    std::construct_at(entry, std::forward<Arguments>(arguments)...);
}

template <typename T>
template <typename Entry>
void VariantNodeAllocator<T>::destroy(Entry* entry)
{
    if (nodes->visitor != nullptr) nodes->visitor->detach(entry->second);
    std::destroy_at(entry);
}

}  // namespace qz::impl
