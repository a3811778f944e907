// SPDX-License-Identifier: MIT
#pragma once

#include "VariantAccess.h"

namespace qz::variant {

/// Destroys a container, which nothing may own any more, and the tree below it.
/// Allocates nothing.
void destroyTree(MapBox* map) noexcept;
void destroyTree(ListBox* list) noexcept;

/// Makes a deep copy. A source that has no type of the table gives the empty variant.
/// @param target must own nothing. It stays as it was if memory runs out.
void copyTree(const qzVariant& source, qzVariant& target);
/// Fills an empty container with deep copies of the values of another one.
void copyChildren(const Map& source, Map& target);
void copyChildren(const List& source, List& target);

/// Whether two trees are equal.
bool areEqual(const qzVariant& left, const qzVariant& right);
bool areEqual(const Map& left, const Map& right);
bool areEqual(const List& left, const List& right);

/// Orders two trees.
/// @return a negative number if `left` is smaller, a positive one if it is larger, 0 if neither.
int order(const qzVariant& left, const qzVariant& right);

}  // namespace qz::variant
