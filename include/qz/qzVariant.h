#pragma once

#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <map>
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
class VariantNodes;

/// Orders keys by their bytes, and the shorter of two that begin alike first.
struct VariantKeyLess {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const;
};

/// Takes the nodes of one map from blocks that the map owns, and lets trees be copied and ended
/// without recursion.
template <typename T>
struct VariantNodeAllocator {
    using value_type = T;
    using propagate_on_container_move_assignment = std::true_type;
    using propagate_on_container_swap = std::true_type;

    VariantNodeAllocator() = default;
    explicit VariantNodeAllocator(VariantNodes* blocks) : nodes(blocks) {}
    template <typename Other>
    VariantNodeAllocator(  // NOLINT(google-explicit-constructor)
        const VariantNodeAllocator<Other>& other)
        : nodes(other.nodes)
    {
    }

    T* allocate(std::size_t count);
    void deallocate(T* memory, std::size_t count);
    template <typename Entry>
    void construct(Entry* entry, const Entry& source);
    template <typename Entry, typename... Arguments>
    void construct(Entry* entry, Arguments&&... arguments);
    template <typename Entry>
    void destroy(Entry* entry);
    friend bool operator==(VariantNodeAllocator left, VariantNodeAllocator right)
    {
        return left.nodes == right.nodes;
    }
    friend bool operator!=(VariantNodeAllocator left, VariantNodeAllocator right)
    {
        return left.nodes != right.nodes;
    }

    VariantNodes* nodes = nullptr;
};

}  // namespace impl
/// @endcond

/// A value that carries its type: a number, a text, a small array of doubles, a map or a list of
/// values, or an object of the caller's.
///
/// Two words: a cell and a type number. The variant owns what its cell points at, and a copy is a
/// deep one. Trees may be nested as deep as memory allows: no operation on them recurses.
/// Only a lack of memory leaves an operation as an exception (`std::bad_alloc`).
/// Threads: any number may read one variant; everything else needs the caller's lock.
class QZ_API qzVariant {
public:
    /// What a variant holds. The numbers are also the first key of the ordering; 8 and 9 are
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
        USERDATA = 15,  ///< An object of the caller's, or none.
        DESTROYED = 16  ///< What `destroy` leaves behind.
    };

    /// A point in time as a count, whose unit and origin are the caller's.
    class DateTime {
    public:
        /// The count 0.
        constexpr DateTime() = default;
        /// The given count.
        constexpr explicit DateTime(long ticks) : count(ticks) {}

        long count = 0;  ///< The count.
    };

    /// An object of the caller's that a variant holds and owns.
    class QZ_API UserDataInterface {
    public:
        UserDataInterface();
        /// Called when the variant lets go of the object; must not throw.
        virtual ~UserDataInterface();
        /// Makes a copy on the heap, which belongs to the variant that asked.
        virtual UserDataInterface* clone() const = 0;
        /// Compares with the object of another variant, which is never null but may be of any type.
        virtual bool isEqual(const UserDataInterface* other) const = 0;

    protected:
        /// For `clone`.
        UserDataInterface(const UserDataInterface&) = default;
        /// Copies what a derived class has.
        UserDataInterface& operator=(const UserDataInterface&) = default;
    };

    class qzVariantMapImpl;
    class qzVariantListImpl;

    /// An empty variant that exists as long as the library is loaded.
    static const qzVariant sNullVariant;

    /// The empty variant.
    constexpr qzVariant() noexcept : mType(UNKNOWN) {}
    // Values turn into variants by themselves. NOLINTBEGIN(google-explicit-constructor)

    /// An `INTEGER`.
    constexpr qzVariant(int value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// An `INTEGER`.
    constexpr qzVariant(unsigned int value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// An `INTEGER`.
    constexpr qzVariant(long long value) noexcept : qzVariant(static_cast<long>(value)) {}
    /// An `INTEGER`.
    constexpr qzVariant(long value) noexcept : mCell(value), mType(INTEGER) {}
    /// A `REAL`.
    constexpr qzVariant(double value) noexcept : mCell(value), mType(REAL) {}
    /// A `BOOL`. Only from `bool` itself, so that no pointer ends as a truth value.
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
    /// A `STRING` that takes the text over.
    qzVariant(std::string&& value);
    /// A `DATETIME`.
    constexpr qzVariant(DateTime value) noexcept : mCell(value.count), mType(DATETIME) {}
    /// A `MAP`, copied.
    qzVariant(const qzVariantMapImpl& value);
    /// A `MAP` that takes the content over.
    qzVariant(qzVariantMapImpl&& value);
    /// A `LIST`, copied.
    qzVariant(const qzVariantListImpl& value);
    /// A `LIST` that takes the content over.
    qzVariant(qzVariantListImpl&& value);
    /// A `USERDATA` that takes ownership of `value`, which may be null.
    qzVariant(UserDataInterface* value) noexcept : mCell(value), mType(USERDATA) {}
    // NOLINTEND(google-explicit-constructor)

    /// A vector or matrix, copied from 2, 3, 4, 9 or 16 doubles; matrices in storage order.
    /// Any other type number, and null `values`, give the empty variant.
    qzVariant(Type arrayType, const double* values);

    /// A deep copy; of a variant that has no type of the table, the empty variant.
    qzVariant(const qzVariant& other) : mCell(other.mCell), mType(other.mType)
    {
        if (!isInline(mType)) copyOwned(other);
    }
    /// Takes the value over and leaves `other` empty.
    qzVariant(qzVariant&& other) noexcept
        : mCell(std::exchange(other.mCell, Cell())), mType(std::exchange(other.mType, UNKNOWN))
    {
    }
    /// Frees what the variant owns.
    ~qzVariant()
    {
        if (isOwning(mType)) release();
    }

    /// Replaces the value by a deep copy, also by that of an element of itself. When memory is
    /// missing the variant is left as by `destroy`.
    qzVariant& operator=(const qzVariant& other);
    /// Takes the value over, also that of an element of itself, and leaves `other` empty.
    qzVariant& operator=(qzVariant&& other) noexcept;
    /// Exchanges two values.
    void swap(qzVariant& other) noexcept
    {
        std::swap(mCell, other.mCell);
        std::swap(mType, other.mType);
    }
    /// Frees what the variant owns and leaves it in the state `DESTROYED`, which equals nothing.
    void destroy() noexcept;
    /// Frees what the variant owns and leaves it empty.
    void clear() noexcept;

    /// The type number.
    Type getType() const { return mType; }
    /// Tells whether the variant is empty (`UNKNOWN`).
    bool isNull() const { return mType == UNKNOWN; }
    /// The name of the type; "NOT DEFINED" for `DATETIME`, `USERDATA` and all numbers without one.
    std::string getTypeAsString() const;
    /// The string of a `STRING`, else null; good until the variant changes.
    const std::string* getString() const { return mType == STRING ? mCell.string : nullptr; }
    /// The doubles of a vector or matrix, else null; good until the variant changes.
    const double* getArray() const { return arraySize() != 0 ? mCell.array : nullptr; }
    /// The count of doubles of a vector or matrix, else 0.
    std::size_t arraySize() const;
    /// The map of a `MAP`, else null; good until the variant changes.
    const qzVariantMapImpl* getMap() const { return mType == MAP ? mCell.map : nullptr; }
    /// The map of a `MAP` for changes, else null; good until the variant changes.
    qzVariantMapImpl* editMap() { return mType == MAP ? mCell.map : nullptr; }
    /// The list of a `LIST`, else null; good until the variant changes.
    const qzVariantListImpl* getList() const { return mType == LIST ? mCell.list : nullptr; }
    /// The list of a `LIST` for changes, else null; good until the variant changes.
    qzVariantListImpl* editList() { return mType == LIST ? mCell.list : nullptr; }
    /// The object of a `USERDATA`, which stays the variant's and may be null; else null.
    UserDataInterface* getUserData() const { return mType == USERDATA ? mCell.user : nullptr; }

    /// Equal types and equal values. The `INTEGER` 1 differs from the `REAL` 1.0. Reals compare as
    /// numbers, arrays by their bytes, objects by `isEqual`. A destroyed variant equals nothing.
    bool operator==(const qzVariant& other) const;
    /// The negation of `==`.
    bool operator!=(const qzVariant& other) const { return !(*this == other); }
    /// Orders by type number, then by value: arrays by their bytes (a total order, not a numeric
    /// one), objects by address, maps and lists element by element. A NaN is neither smaller nor
    /// larger than a real.
    bool operator<(const qzVariant& other) const;
    /// The mirror image of `<`.
    bool operator>(const qzVariant& other) const;

    /// The value as an integer; never fails.
    /// @return the count of a `DATETIME`; a `REAL` cut toward zero (the smallest integer for a NaN
    ///     and for what 64 bits can't hold); 0 or 1 of a `BOOL`; a `STRING` that is a number in C
    ///     notation as a whole ("0x1F", "017"); else 0.
    long toInteger() const;
    /// The value as a real; never fails.
    /// @return 1.0 or 0.0 of a `BOOL`; a `STRING` that is a number as a whole, else 0.0; a NaN for
    ///     the types that aren't scalar, `DATETIME` included.
    double toReal() const;
    /// The value as a truth value; never fails. A number is true when it isn't 0, a NaN included,
    /// and a `STRING` when it is "true", "True", "TRUE", "1" or "t".
    bool toBool() const;
    /// A `DateTime` of an `INTEGER` or `DATETIME`, else of 0.
    DateTime toDateTime() const;
    /// The value as text, in the process's global C++ locale; reals with 6 significant digits.
    /// Empty for the empty variant and for objects.
    std::string toString() const;
    /// The string of a `STRING`, the texts of the elements of a `LIST`, else nothing.
    std::vector<std::string> toStringList() const;
    /// A copy of a `LIST`; anything else as the only element of a list.
    qzVariantListImpl toList() const;
    /// A copy of a `MAP`; anything else gives an empty map.
    qzVariantMapImpl toMap() const;

    /// Guesses the type of a text: an `INTEGER` in C notation (also the empty text, as 0), else a
    /// `REAL` with a point or a comma, else the `STRING`. An integer beyond 64 bits is clamped.
    static qzVariant BuildFromString(const std::string& text);
    /// Converts between the four scalar types when nothing is lost.
    ///
    /// Two surprises: a `REAL` always becomes a `STRING`, of 3 significant digits; and a scalar
    /// that is asked for any other type converts nothing and tells whether `out` already has that
    /// type.
    /// @param out receives the value on success, and stays as it is otherwise.
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

    static constexpr bool isOneOf(Type type, unsigned set)
    {
        return type >= UNKNOWN && type <= DESTROYED && (set >> type & 1U) != 0;
    }
    static constexpr bool isInline(Type type) { return isOneOf(type, 0x4017U); }
    static constexpr bool isOwning(Type type) { return isOneOf(type, 0xbce8U); }

    void copyOwned(const qzVariant& other);
    void release() noexcept;

    Cell mCell;
    Type mType;
};

/// An ordered map from byte strings to variants, which may be maps again: a tree of named values.
///
/// A path names an entry of the tree by its keys from the top, joined by a separator that the
/// caller chooses. There is no escape for the separator, and empty keys are ordinary ones: the path
/// "" is the key "", and "a//b" has an empty key in the middle.
class QZ_API qzVariant::qzVariantMapImpl {
    using Allocator = impl::VariantNodeAllocator<std::pair<const std::string, qzVariant>>;
    using Entries = std::map<std::string, qzVariant, impl::VariantKeyLess, Allocator>;

public:
    using key_type = Entries::key_type;              ///< The keys.
    using mapped_type = Entries::mapped_type;        ///< The values.
    using value_type = Entries::value_type;          ///< A key and its value.
    using size_type = Entries::size_type;            ///< A count of entries.
    using iterator = Entries::iterator;              ///< Walks the entries in key order.
    using const_iterator = Entries::const_iterator;  ///< Walks the entries in key order.

    /// How a path that isn't created passes a list.
    enum PathSearchPolicy : int {
        PathSearchMapsOnly = 0,          ///< Not at all.
        PathSearchFirstListElement = 1,  ///< Through its first element, if that is a map.
    };

    /// An empty map.
    qzVariantMapImpl();
    /// A map of the given entries; of equal keys the first counts.
    qzVariantMapImpl(std::initializer_list<value_type> entries);
    /// A deep copy.
    qzVariantMapImpl(const qzVariantMapImpl& other);
    /// Takes the content over and leaves `other` empty.
    qzVariantMapImpl(qzVariantMapImpl&& other) noexcept;
    ~qzVariantMapImpl();
    /// Replaces the content by a deep copy, also by that of a map inside itself. When memory is
    /// missing, the map stays as it was.
    qzVariantMapImpl& operator=(const qzVariantMapImpl& other);
    /// Takes the content over, also that of a map inside itself, and leaves `other` empty.
    qzVariantMapImpl& operator=(qzVariantMapImpl&& other) noexcept;

    /// The first entry in key order.
    iterator begin() { return mEntries.begin(); }
    /// The first entry in key order.
    const_iterator begin() const { return mEntries.begin(); }
    /// Behind the last entry.
    iterator end() { return mEntries.end(); }
    /// Behind the last entry.
    const_iterator end() const { return mEntries.end(); }
    /// The count of entries of this level.
    size_type size() const { return mEntries.size(); }
    /// Tells whether there are no entries.
    bool empty() const { return mEntries.empty(); }
    /// The entry of `key`, or `end()`.
    iterator find(std::string_view key);
    /// The entry of `key`, or `end()`.
    const_iterator find(std::string_view key) const;
    /// 1 if there is an entry of `key`, else 0.
    size_type count(std::string_view key) const { return find(key) != end() ? 1 : 0; }
    /// The value of `key`, made empty if it is missing.
    qzVariant& operator[](std::string_view key);
    /// Removes the entry of `key`. @return how many were removed, 0 or 1.
    size_type erase(std::string_view key);
    /// Removes an entry. @return the one behind it.
    iterator erase(const_iterator position);
    /// Removes all entries.
    void clear() noexcept;

    /// Looks for the entry at `path`, or makes it.
    ///
    /// With `create` the missing maps on the way are made, and a value on the way that is no map is
    /// replaced by an empty map without notice.
    /// @param path the keys; null gives null.
    /// @param newValue the value of an entry that is made; null for an empty one. An entry that was
    ///     there keeps its value. Without `create` ignored.
    /// @param policy how lists on the way are taken; with `create` ignored.
    /// @return the value of the entry, which stays the map's; null when it isn't there.
    qzVariant* findPathImpl(const char* path, char separator, bool create,
                            const qzVariant* newValue, PathSearchPolicy policy);
    /// The same without making anything.
    const qzVariant* findPathImpl(const char* path, char separator,
                                  PathSearchPolicy policy = PathSearchMapsOnly) const;
    /// The value at `path`, which is made as a copy of `value` when it is missing.
    ///
    /// A null path gives the entry "avoidcrashkey" of this map, which is made as an empty one when
    /// it is missing, and stays.
    qzVariant& editValuePath(const char* path, const qzVariant& value, char separator);
    /// Replaces `out` by the keys of this level, in order.
    void getKeys(std::vector<std::string>& out) const;

    /// Adds a value without losing one.
    ///
    /// A key that is there already gets both: maps are merged key by key, equal strings stay one,
    /// a list gets the value as a new element, and anything else becomes a list of the two.
    /// @param value is consumed: what it holds afterwards is not told.
    /// @param keepApart true adds only: nothing is merged, and equal strings become a list.
    void multiInsertAndDestroy(const std::string& key, qzVariant& value, bool keepApart);
    /// Adds a copy of `value` in the same way.
    void multiInsert(const std::string& key, const qzVariant& value, bool keepApart);
    /// Adds copies of all entries of `other` in the same way.
    void mergeWith(const qzVariantMapImpl& other, bool keepApart);
    /// Adds the leaves of the tree to `out`, each under its path.
    ///
    /// Leaves of a list come under the path of the list with a separator behind it, by which the
    /// keys of lists are told from others: {"a": [1, 2]} gives "a/" with the list of both.
    void toFlattenMap(qzVariantMapImpl& out, char separator) const;
    /// The entries as "(key=value)", joined by ",".
    std::string toString() const;

    /// Equal keys with equal values.
    bool operator==(const qzVariantMapImpl& other) const;
    /// The negation of `==`.
    bool operator!=(const qzVariantMapImpl& other) const { return !(*this == other); }

private:
    friend struct impl::VariantAccess;

    Entries mEntries;
};

/// A growable sequence of variants.
class QZ_API qzVariant::qzVariantListImpl {
    using Elements = std::vector<qzVariant>;

public:
    using value_type = Elements::value_type;          ///< The elements.
    using size_type = Elements::size_type;            ///< A count of elements.
    using iterator = Elements::iterator;              ///< Walks the elements.
    using const_iterator = Elements::const_iterator;  ///< Walks the elements.

    /// An empty list.
    qzVariantListImpl();
    /// A list of the given elements. Mind that braces around a list make a list of that list.
    qzVariantListImpl(std::initializer_list<qzVariant> elements);
    /// A deep copy.
    qzVariantListImpl(const qzVariantListImpl& other);
    /// Takes the content over and leaves `other` empty.
    qzVariantListImpl(qzVariantListImpl&& other) noexcept;
    ~qzVariantListImpl();
    /// Replaces the content by a deep copy, also by that of a list inside itself. When memory is
    /// missing, the list stays as it was.
    qzVariantListImpl& operator=(const qzVariantListImpl& other);
    /// Takes the content over, also that of a list inside itself, and leaves `other` empty.
    qzVariantListImpl& operator=(qzVariantListImpl&& other) noexcept;

    /// The first element.
    iterator begin() { return mElements.begin(); }
    /// The first element.
    const_iterator begin() const { return mElements.begin(); }
    /// Behind the last element.
    iterator end() { return mElements.end(); }
    /// Behind the last element.
    const_iterator end() const { return mElements.end(); }
    /// The count of elements.
    size_type size() const { return mElements.size(); }
    /// Tells whether there are no elements.
    bool empty() const { return mElements.empty(); }
    /// The element at `index`, which must be there.
    qzVariant& operator[](size_type index) { return mElements[index]; }
    /// The element at `index`, which must be there.
    const qzVariant& operator[](size_type index) const { return mElements[index]; }
    /// The last element, which must be there.
    qzVariant& back() { return mElements.back(); }
    /// The last element, which must be there.
    const qzVariant& back() const { return mElements.back(); }
    /// Appends a copy.
    void push_back(const qzVariant& value) { mElements.push_back(value); }
    /// Appends the value itself.
    void push_back(qzVariant&& value) { mElements.push_back(std::move(value)); }
    /// Appends a value made of `arguments`. @return that element.
    template <typename... Arguments>
    qzVariant& emplace_back(Arguments&&... arguments)
    {
        return mElements.emplace_back(std::forward<Arguments>(arguments)...);
    }
    /// Cuts the list, or fills it up with empty variants.
    void resize(size_type size) { mElements.resize(size); }
    /// Cuts the list, or fills it up with copies of `value`.
    void resize(size_type size, const qzVariant& value) { mElements.resize(size, value); }
    /// Makes room for `capacity` elements.
    void reserve(size_type capacity) { mElements.reserve(capacity); }
    /// Removes all elements.
    void clear() noexcept { mElements.clear(); }

    /// The texts of the elements, joined by `separator`.
    std::string toString(const std::string& separator) const;
    /// Replaces `out` by the texts of the elements.
    void toStringList(std::vector<std::string>& out) const;
    /// The texts of the elements.
    std::vector<std::string> toStringList() const;

    /// Equal elements in the same order.
    bool operator==(const qzVariantListImpl& other) const;
    /// The negation of `==`.
    bool operator!=(const qzVariantListImpl& other) const { return !(*this == other); }

private:
    Elements mElements;
};

/// Writes a value as messages of tests and debuggers want it: types can be told apart, and strings
/// are quoted, as in {"a": 1, "b": [2.0, "x"]}. For the text of a value see `toString`.
QZ_API std::ostream& operator<<(std::ostream& stream, const qzVariant& value);
/// Writes a map in the same way.
QZ_API std::ostream& operator<<(std::ostream& stream, const qzVariant::qzVariantMapImpl& map);
/// Writes a list in the same way.
QZ_API std::ostream& operator<<(std::ostream& stream, const qzVariant::qzVariantListImpl& list);

}  // namespace qz
