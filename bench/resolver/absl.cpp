// SPDX-License-Identifier: MIT
#include <absl/container/btree_map.h>

#include "container.h"

namespace bench {

namespace {

const IndexRows<ContainerIndex<absl::btree_map>> kRows("absl btree");

}  // namespace

}  // namespace bench
