// SPDX-License-Identifier: MIT
#include "Orders.h"

namespace shop {

int readAmount(const Orders& orders, const std::string& thing)
{
    return orders.at(thing)->amount;
}

}  // namespace shop
