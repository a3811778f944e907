// SPDX-License-Identifier: MIT
#include <qz/qzVariant.h>

#include "VariantText.h"
#include "VariantTree.h"

namespace qz {

using List = qzVariant::qzVariantListImpl;

List::qzVariantListImpl() = default;

List::qzVariantListImpl(std::initializer_list<qzVariant> elements) : mElements(elements) {}

List::qzVariantListImpl(const qzVariantListImpl& other)
{
    variant::copyChildren(other, *this);
}

List::qzVariantListImpl(qzVariantListImpl&& other) noexcept : mElements(std::move(other.mElements))
{
    other.mElements.clear();
}

List::~qzVariantListImpl() = default;

List& List::operator=(const qzVariantListImpl& other)
{
    // The copy comes first, since `other` may be a part of this list.
    if (this != &other) *this = List(other);
    return *this;
}

List& List::operator=(qzVariantListImpl&& other) noexcept
{
    List taken(std::move(other));
    mElements.swap(taken.mElements);
    return *this;
}

std::string List::toString(const std::string& separator) const
{
    return variant::toText(*this, separator);
}

void List::toStringList(std::vector<std::string>& out) const
{
    out.clear();
    out.reserve(size());
    for (const qzVariant& element : mElements)
        out.push_back(element.toString());
}

std::vector<std::string> List::toStringList() const
{
    std::vector<std::string> texts;
    toStringList(texts);
    return texts;
}

bool List::operator==(const qzVariantListImpl& other) const
{
    return variant::areEqual(*this, other);
}

}  // namespace qz
