#pragma once

#include <string_view>

#include <qz/qzVariant.h>

namespace qz::variant {

/// Cuts a path into its keys; there is always one at least.
class PathKeys {
public:
    PathKeys(std::string_view path, char separator)
        : mSeparator(separator), mRest(path), mKeySize(findEnd(mRest))
    {
    }

    std::string_view key() const { return mRest.substr(0, mKeySize); }
    bool isLast() const { return mKeySize == mRest.size(); }
    /// Goes to the next key; the present one must not be the last.
    void advance()
    {
        mRest.remove_prefix(mKeySize + 1);
        mKeySize = findEnd(mRest);
    }

private:
    std::size_t findEnd(std::string_view text) const
    {
        const std::size_t end = text.find(mSeparator);
        return end == std::string_view::npos ? text.size() : end;
    }

    const char mSeparator;
    std::string_view mRest;
    std::size_t mKeySize;
};

/// Gives the entry at `path`, which is made empty when it is missing. A value on the way that is no
/// map gives way to one.
/// @param isNew receives whether the entry was made.
/// @param displaced receives the value that gave way, at most one.
qzVariant& makeEntry(qzVariant::qzVariantMapImpl& map, std::string_view path, char separator,
                     bool& isNew, qzVariant& displaced);

/// Gives the map at `path`, made in the same way.
qzVariant::qzVariantMapImpl& makeMap(qzVariant::qzVariantMapImpl& map, std::string_view path,
                                     char separator);

}  // namespace qz::variant
