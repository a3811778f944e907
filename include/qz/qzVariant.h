// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <qz/qzExport.h>

namespace qz {

/// @cond
namespace impl {

struct VariantAccess;
struct VariantBlock;
struct VariantNode;

/// The entries of a map: a balanced tree of nodes, which are in blocks of memory.
struct VariantEntries {
    VariantNode* root = nullptr;
    VariantBlock* openBlocks = nullptr;  // those with a free cell
    std::size_t size = 0;
};

}  // namespace impl
/// @endcond

/// A value that carries its type: a number, a text, a small array of doubles, a map or a list of
/// values, or an object of the caller's class.
///
/// A variant owns what it holds, and copying it copies the whole tree below it. Trees may be nested
/// as deep as memory allows: no operation recurses.
///
/// @code
/// qzVariant::qzVariantMapImpl settings{{"name", "north"}, {"height", 412.5}, {"active", true}};
/// settings.editValuePath("log/level", 0, '/') = 2;
/// const qzVariant tree(std::move(settings));
/// tree.getMap()->findPathImpl("log/level", '/')->toInteger();  // 2
/// @endcode
///
/// Exceptions: `std::bad_alloc` when memory runs out; others only where the function says so.
/// Threads: several threads may read one variant at the same time. A thread that changes it must
/// have it alone.
class QZ_API qzVariant {
public:
    /// What a variant holds. Variants of different types are ordered by these numbers. 8 and 9 are
    /// reserved.
    enum Type : int {
        UNKNOWN = 0,    ///< Nothing: the empty variant.
        INTEGER = 1,    ///< A signed integer of 64 bits.
        REAL = 2,       ///< A double.
        STRING = 3,     ///< A string of bytes, UTF-8 by convention.
        BOOL = 4,       ///< True or false.
        VEC2D = 5,      ///< 2 doubles.
        VEC3D = 6,      ///< 3 doubles.
        VEC4D = 7,      ///< 4 doubles.
        MAP = 10,       ///< A `qzVariantMapImpl`.
        LIST = 11,      ///< A `qzVariantListImpl`.
        MAT3D = 12,     ///< 9 doubles.
        MAT4D = 13,     ///< 16 doubles.
        DATETIME = 14,  ///< A `DateTime`.
        USERDATA = 15,  ///< An object of the caller's class, or null.
        DESTROYED = 16  ///< The state after `destroy`.
    };

    /// A point in time as a count. The caller chooses its unit and origin.
    class DateTime {
    public:
        /// The count 0.
        constexpr DateTime() = default;
        /// The given count.
        constexpr explicit DateTime(long ticks) : count(ticks) {}

        long count = 0;  ///< The count.
    };

    /// The base class of a caller's objects that variants hold and own.
    class QZ_API UserDataInterface {
    public:
        UserDataInterface();
        /// Called when the variant releases the object. Must not throw.
        virtual ~UserDataInterface();
        /// Makes a copy with `new`. The variant that calls this owns it.
        virtual UserDataInterface* clone() const = 0;
        /// Compares with the object of another variant, which is never null, but may be of any
        /// derived class.
        virtual bool isEqual(const UserDataInterface* other) const = 0;

    protected:
        /// For `clone`.
        UserDataInterface(const UserDataInterface&) = default;
        /// For derived classes.
        UserDataInterface& operator=(const UserDataInterface&) = default;
    };

    class qzVariantMapImpl;
    class qzVariantListImpl;

    /// An empty variant that exists as long as the library is loaded.
    static const qzVariant sNullVariant;

    /// The empty variant.
    constexpr qzVariant() noexcept : mType(UNKNOWN) {}
    // Implicit on purpose. NOLINTBEGIN(google-explicit-constructor)

    /// An `INTEGER`.
    constexpr qzVariant(int value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// An `INTEGER`.
    constexpr qzVariant(unsigned int value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// An `INTEGER`.
    constexpr qzVariant(long long value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// An `INTEGER`.
    constexpr qzVariant(long value) noexcept : mCell(value), mType(INTEGER) {}
    /// An `INTEGER`. A value above the largest `long` wraps around to a negative one.
    constexpr qzVariant(unsigned long value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// An `INTEGER`. A value above the largest `long` wraps around to a negative one.
    constexpr qzVariant(unsigned long long value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// A `REAL`.
    constexpr qzVariant(double value) noexcept : mCell(value), mType(REAL) {}
    /// A `BOOL`. Only from `bool` itself, so that no pointer converts to one.
    template <typename Bool, typename = std::enable_if_t<std::is_same_v<Bool, bool>>>
    constexpr qzVariant(Bool value) noexcept : mCell(value), mType(BOOL)
    {
    }
    /// A `STRING`; null gives the empty one.
    qzVariant(const char* value);
    /// A `STRING`.
    qzVariant(std::string_view value) : qzVariant(std::string(value)) {}
    /// A `STRING`.
    qzVariant(const std::string& value);
    /// A `STRING`, moved from `value`.
    qzVariant(std::string&& value);
    /// A `DATETIME`.
    constexpr qzVariant(DateTime value) noexcept : mCell(value.count), mType(DATETIME) {}
    /// A `MAP`, copied.
    qzVariant(const qzVariantMapImpl& value);
    /// A `MAP`, moved from `value`, which is empty afterwards.
    qzVariant(qzVariantMapImpl&& value);
    /// A `LIST`, copied.
    qzVariant(const qzVariantListImpl& value);
    /// A `LIST`, moved from `value`, which is empty afterwards.
    qzVariant(qzVariantListImpl&& value);
    // NOLINTEND(google-explicit-constructor)

    /// A `USERDATA` that takes ownership of `value`, which may be null. Explicit, because otherwise
    /// a comparison of a variant with a pointer would delete the object.
    explicit qzVariant(UserDataInterface* value) noexcept : mCell(value), mType(USERDATA) {}

    /// A vector or matrix, copied from 2, 3, 4, 9 or 16 doubles; matrices in storage order.
    /// Any other type number, and null `values`, give the empty variant.
    qzVariant(Type arrayType, const double* values);

    /// A deep copy. A variant of type `DESTROYED` gives the empty variant.
    qzVariant(const qzVariant& other) : mCell(other.mCell), mType(other.mType)
    {
        if (!isInline(mType)) copyOwned(other);
    }
    /// Moves the value and leaves `other` empty.
    qzVariant(qzVariant&& other) noexcept
        : mCell(std::exchange(other.mCell, Cell())), mType(std::exchange(other.mType, UNKNOWN))
    {
    }
    /// Frees what the variant owns.
    ~qzVariant()
    {
        if (isOwning(mType)) release();
    }

    /// Replaces the value by a deep copy. `other` may be a part of this variant, so the old value
    /// is destroyed after the copy has been made; an object sees its `clone` before its destructor.
    /// If memory runs out, this variant is left as after `destroy`.
    qzVariant& operator=(const qzVariant& other);
    /// Moves the value and leaves `other` empty. `other` may be a part of this variant.
    qzVariant& operator=(qzVariant&& other) noexcept;
    /// Exchanges two values.
    void swap(qzVariant& other) noexcept
    {
        std::swap(mCell, other.mCell);
        std::swap(mType, other.mType);
    }
    /// Frees what the variant owns and sets the type `DESTROYED`, which equals nothing.
    void destroy() noexcept;
    /// Frees what the variant owns and makes it empty.
    void clear() noexcept;

    /// The type number.
    Type getType() const { return mType; }
    /// Whether the variant is empty (`UNKNOWN`).
    bool isNull() const { return mType == UNKNOWN; }
    /// The name of the type. Compatibility: "NOT DEFINED" also for `DATETIME` and `USERDATA`.
    std::string getTypeAsString() const;
    /// The string of a `STRING`, else null. Valid until the variant changes.
    const std::string* getString() const { return mType == STRING ? mCell.string : nullptr; }
    /// The doubles of a vector or matrix, else null. Valid until the variant changes.
    const double* getArray() const { return arraySize() != 0 ? mCell.array : nullptr; }
    /// The number of doubles of a vector or matrix, else 0.
    std::size_t arraySize() const;
    /// The map of a `MAP`, else null. Valid until the variant changes.
    const qzVariantMapImpl* getMap() const { return mType == MAP ? mCell.map : nullptr; }
    /// The map of a `MAP` for changes, else null. Valid until the variant changes.
    qzVariantMapImpl* editMap() { return mType == MAP ? mCell.map : nullptr; }
    /// The list of a `LIST`, else null. Valid until the variant changes.
    const qzVariantListImpl* getList() const { return mType == LIST ? mCell.list : nullptr; }
    /// The list of a `LIST` for changes, else null. Valid until the variant changes.
    qzVariantListImpl* editList() { return mType == LIST ? mCell.list : nullptr; }
    /// The object of a `USERDATA`, which the variant still owns and which may be null; else null.
    UserDataInterface* getUserData() const { return mType == USERDATA ? mCell.user : nullptr; }

    /// Whether types and values are equal. The `INTEGER` 1 differs from the `REAL` 1.0. Reals
    /// compare as numbers, arrays by their bytes, objects by `isEqual`. A destroyed variant equals
    /// nothing.
    bool operator==(const qzVariant& other) const;
    /// The negation of `==`.
    bool operator!=(const qzVariant& other) const { return !(*this == other); }
    /// Orders by type number, then by value: arrays by their bytes (so not by their numbers),
    /// objects by address, maps and lists element by element. A NaN is neither smaller nor larger
    /// than any real. This order and `==` differ: two equal objects are ordered.
    bool operator<(const qzVariant& other) const;
    /// Whether `other` is smaller than this variant.
    bool operator>(const qzVariant& other) const;

    /// The value as an integer; never fails.
    /// @return the count of a `DATETIME`; a `REAL` rounded toward zero (the smallest integer for a
    ///     NaN and for what 64 bits can't hold); 0 or 1 for a `BOOL`; the number of a `STRING` that
    ///     is an integer in C notation ("31", "0x1F", "037") and nothing else; otherwise 0.
    long toInteger() const;
    /// The value as a real; never fails.
    /// @return 1.0 or 0.0 for a `BOOL`; the number of a `STRING` that is a number and nothing else,
    ///     otherwise 0.0; a NaN for every type that isn't scalar, which includes `DATETIME`.
    double toReal() const;
    /// The value as a truth value; never fails. A number is true if it isn't 0 (so a NaN is true),
    /// and a `STRING` if it is "true", "True", "TRUE", "1" or "t".
    bool toBool() const;
    /// A `DateTime` with the count of an `INTEGER` or `DATETIME`, else with 0.
    DateTime toDateTime() const;
    /// The value as text, in the process's global C++ locale. Reals have 6 significant digits.
    /// The empty variant and objects give the empty text.
    std::string toString() const;
    /// The string of a `STRING`, the texts of the elements of a `LIST`, else nothing.
    std::vector<std::string> toStringList() const;
    /// A copy of a `LIST`; for any other type, a list with a copy of this variant.
    qzVariantListImpl toList() const;
    /// A copy of a `MAP`; for any other type, an empty map.
    qzVariantMapImpl toMap() const;

    /// Guesses the type of a text: an `INTEGER` in C notation, else a `REAL` with a point or a
    /// comma, else a `STRING`. An integer beyond 64 bits is clamped. The empty text is the integer
    /// 0. White space before a number is accepted, but not after it. "inf", "nan" and hexadecimal
    /// reals are numbers.
    static qzVariant BuildFromString(const std::string& text);
    /// Converts between the four scalar types when nothing is lost.
    ///
    /// Compatibility: the empty text converts to 0, a text with an integer beyond 64 bits to the
    /// nearest `INTEGER`, and a `REAL` always converts to a `STRING`, with 3 significant digits.
    /// For a `target` that isn't scalar nothing is converted, and the result is whether `out`
    /// already has that type.
    /// @param out receives the value on success, otherwise stays as it was.
    /// @return whether the conversion succeeded. Always false if this variant isn't scalar.
    bool convertLosslessTo(Type target, qzVariant& out) const;

private:
    friend struct impl::VariantAccess;

    union Cell {
        constexpr Cell() : integer(0) {}
        constexpr explicit Cell(long value) : integer(value) {}
        constexpr explicit Cell(double value) : real(value) {}
        constexpr explicit Cell(bool value) : boolean(value) {}
        constexpr explicit Cell(UserDataInterface* value) : user(value) {}

        long integer;
        double real;
        bool boolean;
        std::string* string;
        double* array;
        qzVariantMapImpl* map;
        qzVariantListImpl* list;
        UserDataInterface* user;
    };

    template <Type... Types>
    static constexpr bool isOneOf(Type type)
    {
        return type >= UNKNOWN && type <= DESTROYED && (((1U << Types) | ...) >> type & 1U) != 0;
    }
    static constexpr bool isInline(Type type)
    {
        return isOneOf<UNKNOWN, INTEGER, REAL, BOOL, DATETIME>(type);
    }
    static constexpr bool isOwning(Type type)
    {
        return isOneOf<STRING, VEC2D, VEC3D, VEC4D, MAP, LIST, MAT3D, MAT4D, USERDATA>(type);
    }

    void copyOwned(const qzVariant& other);
    void release() noexcept;

    Cell mCell;
    Type mType;
};

/// @cond
namespace impl {

using VariantEntry = std::pair<const std::string, qzVariant>;

/// A position in a map.
template <typename Entry>
class VariantMapIterator {
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = VariantEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = Entry*;
    using reference = Entry&;

    VariantMapIterator() = default;
    VariantMapIterator(const VariantEntries* entries, Entry* entry)
        : mEntries(entries), mEntry(entry)
    {
    }
    /// A position for reading of one for changes.
    template <typename Other, typename = std::enable_if_t<std::is_convertible_v<Other*, Entry*>>>
    VariantMapIterator(  // NOLINT(google-explicit-constructor)
        const VariantMapIterator<Other>& other)
        : mEntries(other.mEntries), mEntry(other.mEntry)
    {
    }

    Entry& operator*() const { return *mEntry; }
    Entry* operator->() const { return mEntry; }
    VariantMapIterator& operator++();
    VariantMapIterator& operator--();
    VariantMapIterator operator++(int) { return std::exchange(*this, std::next(*this)); }
    VariantMapIterator operator--(int) { return std::exchange(*this, std::prev(*this)); }
    template <typename Other>
    bool operator==(const VariantMapIterator<Other>& other) const
    {
        return mEntry == other.mEntry;
    }
    template <typename Other>
    bool operator!=(const VariantMapIterator<Other>& other) const
    {
        return mEntry != other.mEntry;
    }

private:
    template <typename Other>
    friend class VariantMapIterator;

    const VariantEntries* mEntries = nullptr;
    Entry* mEntry = nullptr;  // null after the last entry
};

}  // namespace impl
/// @endcond

/// An ordered map from byte strings to variants, which may be maps again: a tree of named values.
///
/// A path names an entry of the tree by its keys from the top, joined by a separator that the
/// caller chooses. The separator can't be escaped. Empty keys are ordinary ones: the path "" is the
/// key "", and "a//b" has an empty key in the middle.
///
/// @code
/// qzVariant::qzVariantMapImpl map;
/// map.editValuePath("window/width", 800, '/');          // makes the map "window"
/// map.editValuePath("window/width", 0, '/') = 1024;     // an entry that exists keeps its value
/// map.multiInsert("file", "a.txt", /*keepApart=*/false);
/// map.multiInsert("file", "b.txt", /*keepApart=*/false);
/// map.toString();  // "(file=a.txt b.txt),(window=(width=1024))"
/// @endcode
///
/// As in `std::map`, pointers, references and iterators to an entry stay valid until that entry is
/// erased, whatever happens to the others.
class QZ_API qzVariant::qzVariantMapImpl {
public:
    using key_type = std::string;                           ///< The keys.
    using mapped_type = qzVariant;                          ///< The values.
    using value_type = impl::VariantEntry;                  ///< A key and its value.
    using size_type = std::size_t;                          ///< A number of entries.
    using difference_type = std::ptrdiff_t;                 ///< A distance between iterators.
    using reference = value_type&;                          ///< An entry.
    using const_reference = const value_type&;              ///< An entry.
    using iterator = impl::VariantMapIterator<value_type>;  ///< In key order.
    using const_iterator = impl::VariantMapIterator<const value_type>;  ///< In key order.

    /// How a search passes a list on the path.
    enum PathSearchPolicy : int {
        PathSearchMapsOnly = 0,          ///< It ends there.
        PathSearchFirstListElement = 1,  ///< It enters the first element, if that is a map.
    };

    /// An empty map.
    qzVariantMapImpl();
    /// A map of the given entries. Of equal keys, the first entry counts.
    qzVariantMapImpl(std::initializer_list<value_type> entries);
    /// A deep copy.
    qzVariantMapImpl(const qzVariantMapImpl& other);
    /// Moves the content and leaves `other` empty.
    qzVariantMapImpl(qzVariantMapImpl&& other) noexcept;
    /// Destroys all entries.
    ~qzVariantMapImpl();
    /// Replaces the content by a deep copy. `other` may be a map inside this one.
    /// If memory runs out, this map stays as it was.
    qzVariantMapImpl& operator=(const qzVariantMapImpl& other);
    /// Moves the content and leaves `other` empty. `other` may be a map inside this one.
    qzVariantMapImpl& operator=(qzVariantMapImpl&& other) noexcept;

    /// The first entry in key order.
    iterator begin();
    /// The first entry in key order.
    const_iterator begin() const;
    /// The position after the last entry.
    iterator end() { return {&mEntries, nullptr}; }
    /// The position after the last entry.
    const_iterator end() const { return {&mEntries, nullptr}; }
    /// The number of entries of this level.
    size_type size() const { return mEntries.size; }
    /// Whether there are no entries.
    bool empty() const { return mEntries.size == 0; }
    /// The entry of `key`, or `end()`.
    iterator find(std::string_view key);
    /// The entry of `key`, or `end()`.
    const_iterator find(std::string_view key) const;
    /// 1 if there is an entry of `key`, else 0.
    size_type count(std::string_view key) const { return find(key) != end() ? 1 : 0; }
    /// The value of `key`. A missing entry is made, with an empty value.
    qzVariant& operator[](std::string_view key);

    /// Adds a copy of an entry, if its key is new. @return the entry of the key, and whether it is
    /// new.
    std::pair<iterator, bool> insert(const value_type& entry);
    /// Adds an entry, if its key is new; else `entry` keeps its value.
    std::pair<iterator, bool> insert(value_type&& entry);
    /// Adds copies of those entries whose keys are new.
    void insert(std::initializer_list<value_type> entries);
    /// Adds copies of those entries whose keys are new. They must not be entries of this map.
    template <typename InputIterator>
    void insert(InputIterator first, InputIterator last)
    {
        for (; first != last; ++first)
            insert(*first);
    }
    /// Sets the value of `key`. @return its entry, and whether it is new.
    std::pair<iterator, bool> insert_or_assign(std::string_view key, qzVariant value);
    /// Removes the entry of `key`. @return the number of removed entries, 0 or 1.
    size_type erase(std::string_view key);
    /// Removes an entry, which must exist. @return the next entry.
    iterator erase(const_iterator position);
    /// Removes the entries from `first` up to, not including, `last`. @return `last`.
    iterator erase(const_iterator first, const_iterator last);
    /// Removes all entries.
    void clear() noexcept;

    /// Finds the entry at `path`, and makes it if `create` is set.
    ///
    /// With `create`, missing maps on the path are made, and a value on the path that is no map is
    /// replaced by an empty map. If memory runs out, no value has been replaced, but some of the
    /// new maps may remain.
    /// @param path the keys; null gives null.
    /// @param newValue the value of an entry that is made; null for an empty one. An entry that
    ///     exists keeps its value. It may be a value on the path: its old content counts, although
    ///     it may be replaced by a map. Ignored without `create`.
    /// @param policy how lists on the path are passed. Ignored with `create`.
    /// @return the value, which the map owns; null if there is no such entry.
    qzVariant* findPathImpl(const char* path, char separator, bool create,
                            const qzVariant* newValue, PathSearchPolicy policy);
    /// Finds the entry at `path` without making it.
    const qzVariant* findPathImpl(const char* path, char separator,
                                  PathSearchPolicy policy = PathSearchMapsOnly) const;
    /// The value at `path`. A missing entry is made with a copy of `value`, as `findPathImpl` does
    /// with `create`.
    ///
    /// Compatibility: a null path gives the entry "avoidcrashkey" of this map. If it is missing, it
    /// is made with an empty value, and remains.
    qzVariant& editValuePath(const char* path, const qzVariant& value, char separator);
    /// Replaces `out` by the keys of this level, in order.
    void getKeys(std::vector<std::string>& out) const;

    /// Adds a value and keeps the one that the key has already.
    ///
    /// If the key exists, two maps are merged key by key, two equal strings become one, a list gets
    /// the value as its last element, and all other pairs become a list of two.
    /// To add a string to a list takes time in proportion to the list; `multiInsert` is faster.
    /// @param value is empty afterwards where it was swapped in. It is the empty string where its
    ///     text was moved to a list of strings only or was there already. It stays where a list got
    ///     a copy. If it is the value of `key` itself, nothing changes.
    /// @param keepApart true if nothing may be merged: two maps or two equal strings become a list.
    void multiInsertAndDestroy(const std::string& key, qzVariant& value, bool keepApart);
    /// Adds a copy of `value` in the same way.
    void multiInsert(const std::string& key, const qzVariant& value, bool keepApart);
    /// Adds copies of all entries of `other` in the same way.
    void mergeWith(const qzVariantMapImpl& other, bool keepApart);
    /// Adds the leaves of the tree to `out`, each with its path as key. The entries of `out` stay,
    /// and a key that it has already is joined as by `multiInsert` with `keepApart` false: equal
    /// strings of a list become one. Empty maps and lists add nothing.
    ///
    /// The key of a list's leaves is the path of the list followed by the separator, which tells
    /// them from other leaves: {"a": [1, 2]} gives {"a/": [1, 2]}.
    /// @param out may be this map, which is then copied first, or a map that contains it.
    /// @throw std::invalid_argument if `out` is a map inside this one. Nothing has changed then.
    void toFlattenMap(qzVariantMapImpl& out, char separator) const;
    /// The entries as "(key=value)", joined by ",".
    std::string toString() const;

    /// Whether the keys and their values are equal.
    bool operator==(const qzVariantMapImpl& other) const;
    /// The negation of `==`.
    bool operator!=(const qzVariantMapImpl& other) const { return !(*this == other); }

private:
    friend struct impl::VariantAccess;
    template <typename Entry>
    friend class impl::VariantMapIterator;

    static value_type* getNext(const value_type* entry);
    static value_type* getPrevious(const impl::VariantEntries& entries, const value_type* entry);

    impl::VariantEntries mEntries;
};

/// @cond
template <typename Entry>
impl::VariantMapIterator<Entry>& impl::VariantMapIterator<Entry>::operator++()
{
    mEntry = qzVariant::qzVariantMapImpl::getNext(mEntry);
    return *this;
}

template <typename Entry>
impl::VariantMapIterator<Entry>& impl::VariantMapIterator<Entry>::operator--()
{
    mEntry = qzVariant::qzVariantMapImpl::getPrevious(*mEntries, mEntry);
    return *this;
}
/// @endcond

/// A growable sequence of variants, with the calls of `std::vector`.
class QZ_API qzVariant::qzVariantListImpl {
    using Elements = std::vector<qzVariant>;

public:
    using value_type = Elements::value_type;            ///< The elements.
    using size_type = Elements::size_type;              ///< A number of elements.
    using difference_type = Elements::difference_type;  ///< A distance between iterators.
    using reference = Elements::reference;              ///< An element.
    using const_reference = Elements::const_reference;  ///< An element.
    using iterator = Elements::iterator;                ///< In order.
    using const_iterator = Elements::const_iterator;    ///< In order.

    /// An empty list.
    qzVariantListImpl();
    /// A list of the given elements. Braces around one list make a list that contains that list.
    qzVariantListImpl(std::initializer_list<qzVariant> elements);
    /// A deep copy.
    qzVariantListImpl(const qzVariantListImpl& other);
    /// Moves the content and leaves `other` empty.
    qzVariantListImpl(qzVariantListImpl&& other) noexcept;
    /// Destroys all elements.
    ~qzVariantListImpl();
    /// Replaces the content by a deep copy. `other` may be a list inside this one.
    /// If memory runs out, this list stays as it was.
    qzVariantListImpl& operator=(const qzVariantListImpl& other);
    /// Moves the content and leaves `other` empty. `other` may be a list inside this one.
    qzVariantListImpl& operator=(qzVariantListImpl&& other) noexcept;

    /// The first element.
    iterator begin() { return mElements.begin(); }
    /// The first element.
    const_iterator begin() const { return mElements.begin(); }
    /// The position after the last element.
    iterator end() { return mElements.end(); }
    /// The position after the last element.
    const_iterator end() const { return mElements.end(); }
    /// The number of elements.
    size_type size() const { return mElements.size(); }
    /// Whether there are no elements.
    bool empty() const { return mElements.empty(); }
    /// The element at `index`, which must exist.
    qzVariant& operator[](size_type index) { return mElements[index]; }
    /// The element at `index`, which must exist.
    const qzVariant& operator[](size_type index) const { return mElements[index]; }
    /// The first element. The list must not be empty.
    qzVariant& front() { return mElements.front(); }
    /// The first element. The list must not be empty.
    const qzVariant& front() const { return mElements.front(); }
    /// The last element. The list must not be empty.
    qzVariant& back() { return mElements.back(); }
    /// The last element. The list must not be empty.
    const qzVariant& back() const { return mElements.back(); }
    /// Appends a copy.
    void push_back(const qzVariant& value) { mElements.push_back(value); }
    /// Appends the value, moved.
    void push_back(qzVariant&& value) { mElements.push_back(std::move(value)); }
    /// Appends a value made of `arguments`. @return that element.
    template <typename... Arguments>
    qzVariant& emplace_back(Arguments&&... arguments)
    {
        return mElements.emplace_back(std::forward<Arguments>(arguments)...);
    }
    /// Removes the last element. The list must not be empty.
    void pop_back() { mElements.pop_back(); }
    /// Inserts a copy before `position`. @return the new element.
    iterator insert(const_iterator position, const qzVariant& value)
    {
        return mElements.insert(position, value);
    }
    /// Inserts the value, moved, before `position`. @return the new element.
    iterator insert(const_iterator position, qzVariant&& value)
    {
        return mElements.insert(position, std::move(value));
    }
    /// Inserts `count` copies before `position`. @return the first new element, or `position` if
    /// none.
    iterator insert(const_iterator position, size_type count, const qzVariant& value)
    {
        return mElements.insert(position, count, value);
    }
    /// Inserts copies before `position`. @return the first new element, or `position` if none.
    iterator insert(const_iterator position, std::initializer_list<qzVariant> values)
    {
        return mElements.insert(position, values);
    }
    /// Inserts copies before `position`. They must not be elements of this list.
    /// @return the first new element, or `position` if none.
    template <typename InputIterator,
              typename = typename std::iterator_traits<InputIterator>::iterator_category>
    iterator insert(const_iterator position, InputIterator first, InputIterator last)
    {
        return mElements.insert(position, first, last);
    }
    /// Removes an element, which must exist. @return the next element.
    iterator erase(const_iterator position) { return mElements.erase(position); }
    /// Removes the elements from `first` up to, not including, `last`. @return the next element.
    iterator erase(const_iterator first, const_iterator last)
    {
        return mElements.erase(first, last);
    }
    /// Shortens the list, or extends it with empty variants.
    void resize(size_type size) { mElements.resize(size); }
    /// Shortens the list, or extends it with copies of `value`.
    void resize(size_type size, const qzVariant& value) { mElements.resize(size, value); }
    /// Allocates memory for `capacity` elements in advance.
    void reserve(size_type capacity) { mElements.reserve(capacity); }
    /// Removes all elements.
    void clear() noexcept { mElements.clear(); }

    /// The texts of the elements, joined by `separator`.
    std::string toString(const std::string& separator) const;
    /// Replaces `out` by the texts of the elements.
    void toStringList(std::vector<std::string>& out) const;
    /// The texts of the elements.
    std::vector<std::string> toStringList() const;

    /// Whether both lists have equal elements in the same order.
    bool operator==(const qzVariantListImpl& other) const;
    /// The negation of `==`.
    bool operator!=(const qzVariantListImpl& other) const { return !(*this == other); }

private:
    Elements mElements;
};

/// Writes a value for messages of tests and debuggers: types can be told apart, and strings are
/// quoted, as in {"a": 1, "b": [2.0, "x"]}. For the text of a value see `toString`.
QZ_API std::ostream& operator<<(std::ostream& stream, const qzVariant& value);
/// Writes a map in the same way.
QZ_API std::ostream& operator<<(std::ostream& stream, const qzVariant::qzVariantMapImpl& map);
/// Writes a list in the same way.
QZ_API std::ostream& operator<<(std::ostream& stream, const qzVariant::qzVariantListImpl& list);

}  // namespace qz
