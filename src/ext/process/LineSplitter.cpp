// SPDX-License-Identifier: MIT
#include "LineSplitter.h"

#include <algorithm>
#include <utility>

namespace qz::ext {

LineSplitter::LineSplitter(Handler onLine, std::size_t maxLineBytes)
    : mOnLine(std::move(onLine)), mMaxLineBytes(std::max<std::size_t>(maxLineBytes, 1))
{
}

void LineSplitter::add(std::string_view bytes)
{
    std::size_t end = bytes.find('\n');
    for (; end != std::string_view::npos; end = bytes.find('\n')) {
        addPart(bytes.substr(0, end), /*isLineEnd=*/true);
        bytes.remove_prefix(end + 1);
    }
    addPart(bytes, /*isLineEnd=*/false);
}

void LineSplitter::addPart(std::string_view bytes, bool isLineEnd)
{
    while (mPending.size() + bytes.size() >= mMaxLineBytes) {
        const std::size_t count = mMaxLineBytes - mPending.size();
        const std::string piece = std::exchange(mPending, {}).append(bytes.substr(0, count));
        bytes.remove_prefix(count);
        mIsCut = true;
        mOnLine(piece);
    }
    if (!isLineEnd) {
        mPending.append(bytes);
        return;
    }
    // After a piece of the whole line there is nothing left to pass on.
    const bool isEmptyRest = std::exchange(mIsCut, false) && mPending.empty() && bytes.empty();
    if (isEmptyRest) return;
    if (mPending.empty()) return mOnLine(bytes);
    const std::string line = std::exchange(mPending, {}).append(bytes);
    mOnLine(line);
}

void LineSplitter::finish()
{
    mIsCut = false;
    if (mPending.empty()) return;
    const std::string line = std::exchange(mPending, {});
    mOnLine(line);
}

}  // namespace qz::ext
