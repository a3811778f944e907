// SPDX-License-Identifier: MIT
#include <qz/qzVariant.h>

#include <algorithm>

#include "StringPool.h"
#include "VariantTree.h"
#include "frame/base/LoadOrder.h"

namespace qz {

namespace {

struct TypeRow {
    const char* name;
    std::size_t arraySize;
};

constexpr const char* kNotDefined = "NOT DEFINED";

// By type number. Compatibility: the two types after the matrices have no name.
constexpr TypeRow kTypes[] = {
    {"UNKNOWN", 0}, {"INTEGER", 0}, {"REAL", 0},  {"STRING", 0},    {"BOOL", 0},
    {"VEC2D", 2},   {"VEC3D", 3},   {"VEC4D", 4}, {kNotDefined, 0}, {kNotDefined, 0},
    {"MAP", 0},     {"LIST", 0},    {"MAT3D", 9}, {"MAT4D", 16},
};

const TypeRow& getRow(qzVariant::Type type)
{
    static constexpr TypeRow none = {kNotDefined, 0};
    const auto number = static_cast<std::size_t>(type);
    return number < std::size(kTypes) ? kTypes[number] : none;
}

}  // namespace

[[gnu::init_priority(QZ_LOAD_NULL_VARIANT)]] const qzVariant qzVariant::sNullVariant;

qzVariant::UserDataInterface::UserDataInterface() = default;
qzVariant::UserDataInterface::~UserDataInterface() = default;

qzVariant::qzVariant(const char* value) : qzVariant(std::string(value != nullptr ? value : "")) {}

qzVariant::qzVariant(const std::string& value) : qzVariant()
{
    mCell.string = variant::makeString(value);
    mType = STRING;
}

qzVariant::qzVariant(std::string&& value) : qzVariant()
{
    mCell.string = variant::makeString(std::move(value));
    mType = STRING;
}

qzVariant::qzVariant(const qzVariantMapImpl& value) : qzVariant(qzVariantMapImpl(value)) {}

qzVariant::qzVariant(qzVariantMapImpl&& value) : qzVariant()
{
    auto box = std::make_unique<variant::MapBox>();
    static_cast<qzVariantMapImpl&>(*box) = std::move(value);
    impl::VariantAccess::giveMap(*this, std::move(box));
}

qzVariant::qzVariant(const qzVariantListImpl& value) : qzVariant(qzVariantListImpl(value)) {}

qzVariant::qzVariant(qzVariantListImpl&& value) : qzVariant()
{
    auto box = std::make_unique<variant::ListBox>();
    static_cast<qzVariantListImpl&>(*box) = std::move(value);
    impl::VariantAccess::giveList(*this, std::move(box));
}

qzVariant::qzVariant(Type arrayType, const double* values) : qzVariant()
{
    const std::size_t size = getRow(arrayType).arraySize;
    if (size == 0 || values == nullptr) return;
    mCell.array = new double[size];
    mType = arrayType;
    std::copy_n(values, size, mCell.array);
}

// The constructor has copied the cell, but this variant must not own what that points at.
void qzVariant::copyOwned(const qzVariant& other)
{
    mCell = Cell();
    mType = UNKNOWN;
    variant::copyTree(other, *this);
}

void qzVariant::release() noexcept
{
    switch (mType) {
        case STRING:
            variant::destroyString(mCell.string);
            break;
        case VEC2D:
        case VEC3D:
        case VEC4D:
        case MAT3D:
        case MAT4D:
            delete[] mCell.array;
            break;
        case MAP:
            variant::destroyTree(impl::VariantAccess::takeMap(*this));
            break;
        case LIST:
            variant::destroyTree(impl::VariantAccess::takeList(*this));
            break;
        case USERDATA:
            delete mCell.user;
            break;
        default:
            break;
    }
}

void qzVariant::destroy() noexcept
{
    // The destructor of a caller's object may use this variant.
    qzVariant old(std::move(*this));
    mType = DESTROYED;
}

void qzVariant::clear() noexcept
{
    destroy();
    mType = UNKNOWN;
}

qzVariant& qzVariant::operator=(const qzVariant& other)
{
    if (this == &other) return *this;
    // `other` may be a part of the old value, which is therefore destroyed after the copy.
    const qzVariant old(std::move(*this));
    mType = DESTROYED;
    if (isInline(other.mType)) {
        mCell = other.mCell;
        mType = other.mType;
    } else {
        variant::copyTree(other, *this);
    }
    return *this;
}

qzVariant& qzVariant::operator=(qzVariant&& other) noexcept
{
    qzVariant taken(std::move(other));
    swap(taken);
    return *this;
}

std::string qzVariant::getTypeAsString() const
{
    return getRow(mType).name;
}

std::size_t qzVariant::arraySize() const
{
    return getRow(mType).arraySize;
}

bool qzVariant::operator==(const qzVariant& other) const
{
    return variant::areEqual(*this, other);
}

bool qzVariant::operator<(const qzVariant& other) const
{
    return variant::order(*this, other) < 0;
}

bool qzVariant::operator>(const qzVariant& other) const
{
    return variant::order(*this, other) > 0;
}

}  // namespace qz
