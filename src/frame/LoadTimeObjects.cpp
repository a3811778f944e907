#include "LoadTimeObjects.h"

#include <qz/qzVariant.h>

#include "LoadOrder.h"

namespace qz {

// In the order of their making.

[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER)]] impl::LibInitCounter gLightCounter("systemlight",
                                                                                 true);
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER)]] impl::LibInitCounter gFullCounter("systemfull", false);
[[gnu::init_priority(QZ_LOAD_NULL_VARIANT)]] const qzVariant qzVariant::sNullVariant;

}  // namespace qz
