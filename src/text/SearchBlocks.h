#pragma once

// The search by vectors, for files that are compiled for one level of the processor each.
//
// It looks at the first and the last byte of the needle in 64 places at once, and compares the
// needle only where both stand. Each such place that turns out to be none has its price. As long
// as the sum of prices stays below the bytes that were passed, the search is worth it and its time
// linear; after that it gives up.

#include <cstring>

#include "ByteVectors.h"
#include "SearchLevels.h"

namespace qz::text {

namespace {

/// Compares bytes as they are.
template <typename Vector>
class ExactProbe {
public:
    explicit ExactProbe(const SearchJob& job)
        : mFirst(Vector::fill(job.needle[0])), mLast(Vector::fill(job.needle[job.needleSize - 1]))
    {
    }
    Vector compareEnds(const char* first, const char* last) const
    {
        return (Vector::load(first) == mFirst) & (Vector::load(last) == mLast);
    }
    bool isSame(const char* text, const char* needle, std::size_t size) const
    {
        return std::memcmp(text, needle, size) == 0;
    }

private:
    Vector mFirst;
    Vector mLast;
};

/// Compares bytes of the text, lowered, with those of the needle.
template <typename Vector>
class FoldedProbe {
public:
    explicit FoldedProbe(const FoldedBytes& folded)
        : mLowered(folded.lowered),
          mFirst(Vector::fill(folded.first.one)),
          mOtherFirst(Vector::fill(folded.first.other)),
          mLast(Vector::fill(folded.last.one)),
          mOtherLast(Vector::fill(folded.last.other))
    {
    }
    Vector compareEnds(const char* first, const char* last) const
    {
        const Vector atFirst = Vector::load(first);
        const Vector atLast = Vector::load(last);
        return ((atFirst == mFirst) | (atFirst == mOtherFirst)) &
               ((atLast == mLast) | (atLast == mOtherLast));
    }
    bool isSame(const char* text, const char* needle, std::size_t size) const
    {
        for (std::size_t i = 0; i < size; ++i) {
            if (static_cast<char>(mLowered[static_cast<unsigned char>(text[i])]) != needle[i])
                return false;
        }
        return true;
    }

private:
    const std::int32_t* mLowered;
    Vector mFirst;
    Vector mOtherFirst;
    Vector mLast;
    Vector mOtherLast;
};

template <typename Vector, typename Probe>
class BlockSearch {
public:
    BlockSearch(SearchJob& job, const Probe& probe, std::size_t* places, std::size_t room)
        : mJob(job), mProbe(probe), mPlaces(places), mRoom(room), mStart(job.position)
    {
    }

    SearchResult run()
    {
        if (mJob.size < mJob.needleSize) return {SearchEnd::Exhausted, 0};
        const std::size_t starts = mJob.size - mJob.needleSize + 1;
        while (mJob.position < starts) {
            const std::size_t left = starts - mJob.position;
            const bool goesOn = left >= kBlock ? takeBlock() : takeRest(starts, left);
            if (!goesOn) return {mEnd, mCount};
        }
        return {SearchEnd::Exhausted, mCount};
    }

private:
    static constexpr std::size_t kBlock = 64;
    static constexpr std::size_t kSlack = 1024;    // bytes for free, so that short texts never end
    static constexpr std::size_t kHead = 16;       // bytes of the needle that are compared first
    static constexpr std::size_t kHeadPrice = 16;  // of a comparison that they decide

    // The last places, in a block that overlaps what was done before if the text has enough for
    // one.
    bool takeRest(std::size_t starts, std::size_t left)
    {
        if (starts >= kBlock) {
            const std::size_t done = kBlock - left;
            return takePlaces(starts - kBlock, findEnds(starts - kBlock) >> done << done, starts);
        }
        return takePlaces(mJob.position, findFewerEnds(mJob.position, left), starts);
    }

    bool takeBlock()
    {
        const std::size_t base = mJob.position;
        return takePlaces(base, findEnds(base), base + kBlock);
    }

    // A bit for each of 64 places that have the needle's first and last byte.
    std::uint64_t findEnds(std::size_t base) const
    {
        constexpr std::size_t kVectors = kBlock / Vector::kSize;
        const char* const first = mJob.text + base;
        const char* const last = first + (mJob.needleSize - 1);
        Vector ends[kVectors];
        Vector any = ends[0] = mProbe.compareEnds(first, last);
        for (std::size_t i = 1; i < kVectors; ++i) {
            ends[i] = mProbe.compareEnds(first + i * Vector::kSize, last + i * Vector::kSize);
            any = any | ends[i];
        }
        if (any.highBits() == 0) return 0;
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < kVectors; ++i)
            bits |= ends[i].highBits() << i * Vector::kSize;
        return bits;
    }

    // The same for fewer places; behind the last whole vector of them by the first byte alone.
    std::uint64_t findFewerEnds(std::size_t base, std::size_t count) const
    {
        const char* const first = mJob.text + base;
        std::uint64_t bits = 0;
        std::size_t i = 0;
        for (; count - i >= Vector::kSize; i += Vector::kSize) {
            const char* const last = first + i + (mJob.needleSize - 1);
            bits |= mProbe.compareEnds(first + i, last).highBits() << i;
        }
        for (; i < count; ++i) {
            if (mProbe.isSame(first + i, mJob.needle, 1)) bits |= std::uint64_t(1) << i;
        }
        return bits;
    }

    // Looks at the places whose bits are set, and moves on to `next`. @return false at the end.
    bool takePlaces(std::size_t base, std::uint64_t bits, std::size_t next)
    {
        while (bits != 0) {
            const std::size_t place = base + static_cast<std::size_t>(__builtin_ctzll(bits));
            bits &= bits - 1;
            if (place < mJob.position) continue;  // inside the place before
            if (isMatch(place)) {
                mPlaces[mCount++] = place;
                mJob.position = place + mJob.needleSize;
                if (mCount == mRoom) return leave(SearchEnd::Full);
            } else if (mPrice > kSlack + (place - mStart)) {
                mJob.position = place + 1;
                return leave(SearchEnd::TooHard);
            }
        }
        if (mJob.position < next) mJob.position = next;
        return true;
    }

    bool isMatch(std::size_t place)
    {
        const char* const text = mJob.text + place;
        const std::size_t head = mJob.needleSize < kHead ? mJob.needleSize : kHead;
        if (!mProbe.isSame(text, mJob.needle, head)) {
            mPrice += kHeadPrice;
            return false;
        }
        const std::size_t rest = mJob.needleSize - head;
        if (rest == 0 || mProbe.isSame(text + head, mJob.needle + head, rest)) return true;
        mPrice += kHeadPrice + rest;
        return false;
    }

    bool leave(SearchEnd end)
    {
        mEnd = end;
        return false;
    }

    SearchJob& mJob;
    const Probe& mProbe;
    std::size_t* mPlaces;
    std::size_t mRoom;
    std::size_t mStart;
    std::size_t mCount = 0;
    std::size_t mPrice = 0;
    SearchEnd mEnd = SearchEnd::Exhausted;
};

template <typename Vector>
SearchResult searchByBlocks(SearchJob& job, std::size_t* places, std::size_t room)
{
    const ExactProbe<Vector> probe(job);
    return BlockSearch<Vector, ExactProbe<Vector>>(job, probe, places, room).run();
}

template <typename Vector>
SearchResult searchFoldedByBlocks(SearchJob& job, const FoldedBytes& folded, std::size_t* place)
{
    const FoldedProbe<Vector> probe(folded);
    return BlockSearch<Vector, FoldedProbe<Vector>>(job, probe, place, 1).run();
}

}  // namespace

}  // namespace qz::text
