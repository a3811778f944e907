#include "VariantNodes.h"

#include <algorithm>
#include <utility>

namespace qz::impl {

namespace {

// A block is as large as all before it, up to this many nodes, so that no map holds much more
// memory than it uses.
constexpr std::size_t kMaxBlockCount = 64;

}  // namespace

VariantNodes* VariantNodes::create(std::size_t count)
{
    void* const memory = ::operator new(sizeof(VariantNodes) + count * kNodeSize);
    return new (memory) VariantNodes(count);
}

VariantNodes::VariantNodes(std::size_t count)
    : mUnused(reinterpret_cast<std::byte*>(this + 1)),
      mUnusedEnd(mUnused + count * kNodeSize),
      mCount(count)
{
}

void VariantNodes::destroy(VariantNodes* nodes) noexcept
{
    if (nodes == nullptr) return;
    for (Block* block = nodes->mBlocks; block != nullptr;)
        ::operator delete(std::exchange(block, block->next));
    ::operator delete(nodes);
}

void* VariantNodes::take()
{
    if (mFree != nullptr) return std::exchange(mFree, mFree->next);
    if (mUnused == mUnusedEnd) addBlock(std::min(mCount, kMaxBlockCount));
    return std::exchange(mUnused, mUnused + kNodeSize);
}

void VariantNodes::give(void* node) noexcept
{
    mFree = new (node) FreeNode{mFree};
}

void VariantNodes::addBlock(std::size_t count)
{
    void* const memory = ::operator new(sizeof(Block) + count * kNodeSize);
    mBlocks = new (memory) Block{mBlocks};
    mUnused = reinterpret_cast<std::byte*>(mBlocks + 1);
    mUnusedEnd = mUnused + count * kNodeSize;
    mCount += count;
}

}  // namespace qz::impl
