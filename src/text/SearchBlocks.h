// SPDX-License-Identifier: MIT
#pragma once

// The search by vectors, for files that are compiled for one level of the processor each.
//
// It compares three bytes of the needle at 64 places at once: the first, the middle and the last
// one. The whole needle is compared only where all three are equal. Each such place without the
// needle has a price. While the sum of the prices is below the number of bytes passed, the time is
// linear; then the search gives up.

#include <cstring>

#include "ByteVectors.h"
#include "SearchLevels.h"

namespace qz::text {

namespace {

/// The places in the needle that are compared first, besides the first byte.
struct ProbedBytes {
    explicit ProbedBytes(const SearchJob& job)
        : middle(job.needleSize / 2), last(job.needleSize - 1)
    {
    }
    std::size_t middle;
    std::size_t last;
};

/// Compares bytes as they are.
template <typename Vector>
class ExactProbe {
public:
    explicit ExactProbe(const SearchJob& job)
        : mPlaces(job),
          mFirst(Vector::fill(job.needle[0])),
          mMiddle(Vector::fill(job.needle[mPlaces.middle])),
          mLast(Vector::fill(job.needle[mPlaces.last])),
          mTextEnd(job.text + job.size),
          mHeadBits((1U << (job.needleSize < kHead ? job.needleSize : kHead)) - 1)
    {
        char head[kHead] = {};
        std::memcpy(head, job.needle, job.needleSize < kHead ? job.needleSize : kHead);
        mHead = Vector16::load(head);
    }

    /// Marks the places from `text` on where the needle may be.
    Vector compareProbes(const char* text) const
    {
        return (Vector::load(text) == mFirst) & (Vector::load(text + mPlaces.last) == mLast) &
               (Vector::load(text + mPlaces.middle) == mMiddle);
    }
    /// Compares the first `size` bytes, at most 16. It is inline because it is called very often.
    bool hasHead(const char* text, const char* needle, std::size_t size) const
    {
        if (static_cast<std::size_t>(mTextEnd - text) < kHead) return isSame(text, needle, size);
        return ((Vector16::load(text) == mHead).highBits() & mHeadBits) == mHeadBits;
    }
    bool isSame(const char* text, const char* needle, std::size_t size) const
    {
        return std::memcmp(text, needle, size) == 0;
    }

private:
    static constexpr std::size_t kHead = Vector16::kSize;

    ProbedBytes mPlaces;
    Vector mFirst;
    Vector mMiddle;
    Vector mLast;
    const char* mTextEnd;
    std::uint64_t mHeadBits;
    Vector16 mHead;
};

/// Compares the lowered bytes of the text with those of the needle.
template <typename Vector>
class FoldedProbe {
public:
    FoldedProbe(const SearchJob& job, const FoldedBytes& folded)
        : mPlaces(job),
          mLowered(folded.lowered),
          mFirst(folded, job.needle[0]),
          mMiddle(folded, job.needle[mPlaces.middle]),
          mLast(folded, job.needle[mPlaces.last])
    {
    }

    Vector compareProbes(const char* text) const
    {
        return mFirst.compare(text) & mLast.compare(text + mPlaces.last) &
               mMiddle.compare(text + mPlaces.middle);
    }
    bool hasHead(const char* text, const char* needle, std::size_t size) const
    {
        return isSame(text, needle, size);
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
    /// Compares with all bytes that are lowered to one byte, and perhaps with some more.
    class Letter {
    public:
        Letter(const FoldedBytes& folded, char lowered)
        {
            const std::uint8_t bits = folded.otherBits[static_cast<unsigned char>(lowered)];
            mOtherBits = Vector::fill(bits);
            mWanted = Vector::fill(lowered | bits);
        }
        Vector compare(const char* text) const
        {
            return (Vector::load(text) | mOtherBits) == mWanted;
        }

    private:
        Vector mOtherBits;
        Vector mWanted;
    };

    ProbedBytes mPlaces;
    const std::int32_t* mLowered;
    Letter mFirst;
    Letter mMiddle;
    Letter mLast;
};

/// The array for the places.
struct Room {
    std::size_t* places;
    std::size_t size;
};

template <typename Vector, typename Probe>
class BlockSearch {
public:
    BlockSearch(SearchJob& job, const Probe& probe, Room room)
        : mJob(job), mProbe(probe), mRoom(room), mStart(job.position)
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

    // The last places. If the text is long enough, they are the end of a whole block.
    bool takeRest(std::size_t starts, std::size_t left)
    {
        if (starts >= kBlock) {
            const std::size_t done = kBlock - left;
            return takePlaces(starts - kBlock, findProbes(starts - kBlock) >> done << done, starts);
        }
        return takePlaces(mJob.position, findFewerProbes(mJob.position, left), starts);
    }

    bool takeBlock()
    {
        const std::size_t base = mJob.position;
        return takePlaces(base, findProbes(base), base + kBlock);
    }

    // A bit for each of 64 places where the needle may be.
    std::uint64_t findProbes(std::size_t base) const
    {
        constexpr std::size_t kVectors = kBlock / Vector::kSize;
        const char* const text = mJob.text + base;
        Vector probes[kVectors];
        Vector any = probes[0] = mProbe.compareProbes(text);
        for (std::size_t i = 1; i < kVectors; ++i) {
            probes[i] = mProbe.compareProbes(text + i * Vector::kSize);
            any = any | probes[i];
        }
        if (any.highBits() == 0) return 0;
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < kVectors; ++i)
            bits |= probes[i].highBits() << i * Vector::kSize;
        return bits;
    }

    // The same for fewer places. After the last whole vector only the first byte is compared.
    std::uint64_t findFewerProbes(std::size_t base, std::size_t count) const
    {
        const char* const text = mJob.text + base;
        std::uint64_t bits = 0;
        std::size_t i = 0;
        for (; count - i >= Vector::kSize; i += Vector::kSize)
            bits |= mProbe.compareProbes(text + i).highBits() << i;
        for (; i < count; ++i) {
            if (mProbe.isSame(text + i, mJob.needle, 1)) bits |= std::uint64_t(1) << i;
        }
        return bits;
    }

    // Checks the places whose bits are set, and continues at `next`. @return false at the end.
    bool takePlaces(std::size_t base, std::uint64_t bits, std::size_t next)
    {
        while (bits != 0) {
            const std::size_t place = base + static_cast<std::size_t>(__builtin_ctzll(bits));
            bits &= bits - 1;
            if (place < mJob.position) continue;  // inside the place before
            if (isMatch(place)) {
                mRoom.places[mCount++] = place;
                mJob.position = place + mJob.needleSize;
                if (mCount == mRoom.size) return leave(SearchEnd::Full);
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
        if (!mProbe.hasHead(text, mJob.needle, head)) {
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
    Room mRoom;
    std::size_t mStart;
    std::size_t mCount = 0;
    std::size_t mPrice = 0;
    SearchEnd mEnd = SearchEnd::Exhausted;
};

template <typename Vector>
SearchResult searchByBlocks(SearchJob& job, Room room)
{
    const ExactProbe<Vector> probe(job);
    return BlockSearch<Vector, ExactProbe<Vector>>(job, probe, room).run();
}

template <typename Vector>
SearchResult searchFoldedByBlocks(SearchJob& job, const FoldedBytes& folded, Room room)
{
    const FoldedProbe<Vector> probe(job, folded);
    return BlockSearch<Vector, FoldedProbe<Vector>>(job, probe, room).run();
}

}  // namespace

}  // namespace qz::text
