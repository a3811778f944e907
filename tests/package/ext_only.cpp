// SPDX-License-Identifier: MIT
// Calls nothing but the second library.

#include <qz/ext/SystemFailure.h>

int main()
{
    const qz::ext::SystemFailure failure{"open /none", 2};
    return failure.toString().find("open /none: ") == 0 ? 0 : 1;
}
