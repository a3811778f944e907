// SPDX-License-Identifier: MIT
#pragma once

#include <xmmintrin.h>

namespace qz::ext {

/// While it exists, the thread calculates with reals as it does when it begins: rounded to the
/// nearest, with subnormal numbers, and without signals. The program may have chosen otherwise.
class UsualRounding {
public:
    UsualRounding()
    {
        constexpr unsigned int masksOnly = _MM_MASK_MASK;
        _mm_setcsr(masksOnly);
    }
    ~UsualRounding() { _mm_setcsr(mProgramsMode); }
    UsualRounding(const UsualRounding&) = delete;
    UsualRounding& operator=(const UsualRounding&) = delete;

private:
    const unsigned int mProgramsMode = _mm_getcsr();
};

}  // namespace qz::ext
