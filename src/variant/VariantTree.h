#pragma once

#include "VariantAccess.h"

namespace qz::variant {

/// Ends a container and all below it, which must belong to nobody any more. Allocates nothing.
void destroyTree(MapBox* map) noexcept;
void destroyTree(ListBox* list) noexcept;

/// Makes a `MAP`, `LIST` or leaf out of a variant that owns nothing: a deep copy of `source`, or
/// the empty variant when `source` has no type of the table. Leaves `target` as it was when memory
/// is missing.
void copyTree(const qzVariant& source, qzVariant& target);
/// Fills an empty container with a deep copy of another one's content.
void copyChildren(const Map& source, Map& target);
void copyChildren(const List& source, List& target);

/// Tells whether two trees are equal.
bool areEqual(const qzVariant& left, const qzVariant& right);
bool areEqual(const Map& left, const Map& right);
bool areEqual(const List& left, const List& right);

/// Orders two trees. @return a negative number when `left` is the smaller, a positive one when it
///     is the larger, 0 when it is neither.
int order(const qzVariant& left, const qzVariant& right);

}  // namespace qz::variant
