// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <string>

namespace shop {

/// How much of a thing a customer buys.
struct Order {
    int amount;
};

/// The orders by their things; null for one that was cancelled.
using Orders = std::map<std::string, std::unique_ptr<Order>>;

/// Returns the amount of the order for a thing. It has a mistake: the order may be cancelled.
int readAmount(const Orders& orders, const std::string& thing);

}  // namespace shop
