#include "LoadTimeObjects.h"

#include "LoadOrder.h"

namespace qz {

// In the order of their making.

[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER)]] impl::LibInitCounter gLightCounter("systemlight",
                                                                                 true);
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER)]] impl::LibInitCounter gFullCounter("systemfull", false);

}  // namespace qz
