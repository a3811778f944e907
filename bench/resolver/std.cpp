// SPDX-License-Identifier: MIT
#include <map>
#include <unordered_map>

#include "container.h"

namespace bench {

namespace {

const IndexRows<ContainerIndex<std::map>> kOrdered("std map");
const IndexRows<ContainerIndex<std::unordered_map>> kHashed("std hash");

}  // namespace

}  // namespace bench
