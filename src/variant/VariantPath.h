// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include <qz/qzVariant.h>

namespace qz::variant {

/// Splits a path into its keys. A path has at least one key, which may be empty.
class PathKeys {
public:
    PathKeys(std::string_view path, char separator)
        : mSeparator(separator), mRest(path), mKeySize(findEnd(mRest))
    {
    }

    std::string_view key() const { return mRest.substr(0, mKeySize); }
    bool isLast() const { return mKeySize == mRest.size(); }
    /// Goes to the next key. The current key must not be the last.
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

/// A value on a path that was replaced by a map. The destructor restores it, unless the work was
/// committed: when memory runs out, no value is lost.
class ReplacedValue {
public:
    ReplacedValue() = default;
    ~ReplacedValue()
    {
        if (mPlace != nullptr) mPlace->swap(mValue);
    }
    ReplacedValue(const ReplacedValue&) = delete;
    ReplacedValue& operator=(const ReplacedValue&) = delete;

    /// Replaces a value by an empty map. At most one value of a path can be other than empty, since
    /// all after it is new.
    void replaceByMap(qzVariant& value);
    /// Returns what `value` was before: it may be the one that was replaced.
    const qzVariant& getOld(const qzVariant& value) const
    {
        return &value == mPlace ? mValue : value;
    }
    void commit() { mPlace = nullptr; }

private:
    qzVariant mValue;
    qzVariant* mPlace = nullptr;
};

/// Returns the entry at `path`, which is made with an empty value if it is missing. A value on the
/// path that is no map is replaced by one.
/// @param isNew receives whether the entry was made.
/// @param replaced receives the value that was replaced. The caller must commit it.
qzVariant& makeEntry(qzVariant::qzVariantMapImpl& map, std::string_view path, char separator,
                     bool& isNew, ReplacedValue& replaced);

/// Returns the map at `path`, which is made in the same way.
qzVariant::qzVariantMapImpl& makeMap(qzVariant::qzVariantMapImpl& map, std::string_view path,
                                     char separator);

}  // namespace qz::variant
