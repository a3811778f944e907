#pragma once

#include <map>
#include <memory>
#include <string>

namespace shop {

/// What somebody wants to have.
struct Order {
    int amount;
};

/// The orders by their things; null for one that was taken back.
using Orders = std::map<std::string, std::unique_ptr<Order>>;

/// Gives the amount that was ordered of a thing. It has a mistake: orders may be taken back.
int readAmount(const Orders& orders, const std::string& thing);

}  // namespace shop
