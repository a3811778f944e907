// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include <qz/qzExport.h>

namespace qz {
class ConcurrentPool;
class qzCancelInterfaceReadOnly;
class qzProgressNotifierInterface;
}  // namespace qz

namespace qz::ext {

/// How the functions of this header work; made without changes it suits most loops.
///
/// @code
/// qz::ext::ParallelOptions options;
/// options.leastPiece = 1000;  // an element takes some nanoseconds
/// options.notifier = &progress;
/// const auto result = qz::ext::parallelForEach(prices, raise, options);
/// @endcode
///
/// The pointers aren't owned, and must be valid during the call.
struct ParallelOptions {
    /// The pool that does the work; null for the pool of the process.
    ConcurrentPool* pool = nullptr;
    /// The least number of elements that a worker takes at a time; 0 is taken as 1. A range is cut
    /// into 1024 pieces at most, so pieces may be longer, and the last one may be shorter. Raise it
    /// if an element takes much less than a microsecond.
    std::size_t leastPiece = 1;
    /// Shows the progress; may be null. The work is one group in its current step, which counts as
    /// finished afterwards. The workers call it, one at a time, and poll its `shouldCancel` at any
    /// time.
    qzProgressNotifierInterface* notifier = nullptr;
    /// Stops the work before its end; may be null. All workers poll it, whenever they take pieces.
    const qzCancelInterfaceReadOnly* cancel = nullptr;
};

/// How far a loop came. It converts to true if the whole range is done.
///
/// @code
/// const qz::ext::ParallelResult result = qz::ext::parallelForEach(files, convert, options);
/// if (!result) qz::logInfo() << "cancelled after " << result.doneCount << " files";
/// @endcode
struct ParallelResult {
    /// Whether the whole range is done.
    bool isComplete = false;
    /// The number of elements that are done: the first ones of the range, without a gap.
    std::size_t doneCount = 0;

    /// Whether the whole range is done.
    explicit operator bool() const { return isComplete; }
};

/// How far `parallelReduce` came, and what it has calculated.
template <typename Value>
struct ParallelReduction : ParallelResult {
    /// The result for the elements that are done.
    Value value;
};

namespace impl {

/// A range in pieces. The division depends on its arguments alone, and not on the machine.
struct PieceDivision {
    static constexpr std::size_t msMostPieces = 1024;

    PieceDivision(std::size_t rangeCount, std::size_t leastPiece)
        : count(rangeCount),
          pieceSize(std::max(DivideUp(count, msMostPieces), std::max<std::size_t>(leastPiece, 1))),
          pieceCount(DivideUp(count, pieceSize))
    {
    }
    std::size_t getBegin(std::size_t piece) const
    {
        return piece < pieceCount ? piece * pieceSize : count;
    }

    std::size_t count;
    std::size_t pieceSize;
    std::size_t pieceCount;

private:
    static std::size_t DivideUp(std::size_t number, std::size_t divisor)
    {
        return number / divisor + (number % divisor != 0 ? 1 : 0);
    }
};

/// Does the elements from `begin` to before `end`, which are a piece.
using PieceFunction = void (*)(void* work, std::size_t piece, std::size_t begin, std::size_t end);

/// Calls the function for all pieces, on the workers of the pool or on the calling thread.
QZ_API ParallelResult runPieces(const PieceDivision& division, const ParallelOptions& options,
                                PieceFunction function, void* work);

/// Calls `work(piece, begin, end)` for all pieces.
template <typename Work>
ParallelResult runPieces(const PieceDivision& division, const ParallelOptions& options, Work& work)
{
    const PieceFunction call = [](void* object, std::size_t piece, std::size_t begin,
                                  std::size_t end) {
        (*static_cast<Work*>(object))(piece, begin, end);
    };
    return runPieces(division, options, call, std::addressof(work));
}

/// An argument that doesn't decide about the type of a template.
template <typename Type>
struct Identity {
    using type = Type;
};

/// The numbers from `begin` to before `end`, by their offset. The difference of two signed numbers
/// may exceed their type, so offsets are calculated without sign.
template <typename Index>
class IndexRange {
    static_assert(std::is_integral_v<Index> && sizeof(Index) <= sizeof(std::size_t),
                  "the range must be of integers of at most 64 bits");

public:
    IndexRange(Index begin, Index end)
        : mBegin(static_cast<std::size_t>(begin)),
          mCount(begin < end ? static_cast<std::size_t>(end) - mBegin : 0)
    {
    }
    std::size_t getCount() const { return mCount; }
    Index operator[](std::size_t offset) const { return static_cast<Index>(mBegin + offset); }

private:
    std::size_t mBegin;
    std::size_t mCount;
};

/// Finds the first element of each piece of a container.
template <typename Iterator>
class PieceStarts {
    using Category = typename std::iterator_traits<Iterator>::iterator_category;
    using Distance = typename std::iterator_traits<Iterator>::difference_type;
    static_assert(std::is_base_of_v<std::forward_iterator_tag, Category>,
                  "the iterators must be forward iterators at least");
    static constexpr bool msIsRandomAccess =
        std::is_base_of_v<std::random_access_iterator_tag, Category>;

public:
    PieceStarts(Iterator begin, const PieceDivision& division) : mBegin(begin)
    {
        if (msIsRandomAccess) return;
        mStarts.reserve(division.pieceCount);
        while (mStarts.size() < division.pieceCount) {
            mStarts.push_back(begin);
            const std::size_t piece = mStarts.size();
            const std::size_t step = division.getBegin(piece) - division.getBegin(piece - 1);
            std::advance(begin, static_cast<Distance>(step));
        }
    }
    Iterator get(std::size_t piece, std::size_t offset) const
    {
        if constexpr (msIsRandomAccess) return mBegin + static_cast<Distance>(offset);
        return mStarts[piece];
    }

private:
    Iterator mBegin;
    std::vector<Iterator> mStarts;  // empty with random access
};

}  // namespace impl

/// Calls `body(i)` for each number `i` from `begin` to before `end`, on all workers of a pool.
///
/// @code
/// std::vector<double> roots(squares.size());
/// const auto calculate = [&](std::size_t i) { roots[i] = std::sqrt(squares[i]); };
/// qz::ext::parallelFor(0, squares.size(), calculate);
/// @endcode
///
/// The workers take the range piece by piece from its begin on, up to 16 pieces at once if they are
/// done within 0.1 ms, and the caller sleeps until all is done. The caller does the work itself
/// before the library's full start, with a pool of one worker, for a range of one piece, and in a
/// forked child. A worker that calls for its own pool does so too; on a worker of another pool the
/// call waits, so two pools must not call each other.
///
/// To wake the workers takes some ten microseconds. So if there are at most 100,000 elements, at
/// least 32 pieces for each worker and no notifier, the caller begins: for 30 microseconds, or for
/// one piece if that takes longer. A small loop is done by then, and no worker has to wake.
///
/// If a call throws, the other workers finish the pieces that they have taken. The exception of the
/// first element that threw comes out, as from a plain loop, and the pool can be used again. So
/// does an exception of the notifier or of `cancel`.
///
/// Threads: any. Callers of one pool take turns. A cancellation of the calling thread
/// (`pthread_cancel`) waits for the end; a body must not end its thread. A child that a body forks
/// must end in the body: the loop can't end in it. The library must not be stopped meanwhile. The
/// exception of a signal, such as SIGINT without a `qzCancelConsoleEventCatcher`, must not be
/// caught above a call that it interrupts: the workers would go on with objects that don't exist
/// any more.
/// @param begin the first number; it is converted to the type of `end`.
/// @param end the number after the last one; if it isn't above `begin`, nothing is called.
/// @param body called on several threads at once. It must not wait for another call.
/// @return false after a request to stop; each piece that was taken is done then.
/// @throws std::bad_alloc if there is no memory to begin, and then nothing is called.
template <typename Index, typename Body>
ParallelResult parallelFor(typename impl::Identity<Index>::type begin, Index end, Body&& body,
                           const ParallelOptions& options = {})
{
    const impl::IndexRange<Index> range(begin, end);
    auto work = [&](std::size_t /*piece*/, std::size_t first, std::size_t last) {
        for (Index i = range[first], after = range[last]; i != after; ++i)
            body(i);
    };
    return impl::runPieces({range.getCount(), options.leastPiece}, options, work);
}

/// Calls `body(element)` for each element of a container, on all workers of a pool.
///
/// @code
/// std::list<Image> images = loadAll();
/// qz::ext::parallelForEach(images, [](Image& image) { image.shrink(); });
/// @endcode
///
/// All else is as for `parallelFor`. A container without random access is walked through once
/// before. Neighbours in a `std::vector<bool>` share their bytes, so threads can't write them.
/// @param container has forward iterators at least; a temporary object or an array will do.
template <typename Container, typename Body>
ParallelResult parallelForEach(Container&& container, Body&& body,
                               const ParallelOptions& options = {})
{
    using std::begin;
    using std::end;
    const auto count = static_cast<std::size_t>(std::distance(begin(container), end(container)));
    const impl::PieceDivision division(count, options.leastPiece);
    const impl::PieceStarts starts(begin(container), division);
    auto work = [&](std::size_t piece, std::size_t first, std::size_t last) {
        auto it = starts.get(piece, first);
        for (std::size_t left = last - first; left != 0; --left, ++it)
            body(*it);
    };
    return impl::runPieces(division, options, work);
}

/// Combines `map(i)` for all numbers `i` from `begin` to before `end`, on all workers of a pool.
///
/// @code
/// const double energy = qz::ext::parallelReduce(
///     0, bodies.size(), 0.0, [&](std::size_t i) { return bodies[i].getEnergy(); },
///     [](double left, double right) { return left + right; }).value;
/// @endcode
///
/// Each piece is combined from its first element to its last, and then `initial` with the pieces in
/// the order of the range. So `combine` must be associative, but `combine(a, b)` may differ from
/// `combine(b, a)`. The pieces depend on the length of the range and on `leastPiece` alone: sums of
/// floating-point numbers are the same in each run, on any number of workers.
///
/// All else is as for `parallelFor`.
/// @param initial the left argument of the first `combine` between pieces, used once. Its type is
///     that of the result, so write 0.0 for a sum of `double`.
/// @param map called on several threads at once.
/// @param combine called on several threads at once, with two values that it may move from.
/// @return after a request to stop, the combination of the elements that are done.
template <typename Index, typename Value, typename Map, typename Combine>
ParallelReduction<Value> parallelReduce(typename impl::Identity<Index>::type begin, Index end,
                                        Value initial, Map&& map, Combine&& combine,
                                        const ParallelOptions& options = {})
{
    const impl::IndexRange<Index> range(begin, end);
    const impl::PieceDivision division(range.getCount(), options.leastPiece);
    std::vector<std::optional<Value>> results(division.pieceCount);
    auto work = [&](std::size_t piece, std::size_t first, std::size_t last) {
        Index i = range[first];
        Value value = map(i);
        for (const Index after = range[last]; ++i != after;)
            value = combine(std::move(value), map(i));
        results[piece].emplace(std::move(value));
    };
    const ParallelResult result = impl::runPieces(division, options, work);
    for (std::optional<Value>& each : results) {
        if (each) initial = combine(std::move(initial), std::move(*each));
    }
    return {result, std::move(initial)};
}

}  // namespace qz::ext
