#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace qor::test
{

/** Distance in representable floats; adjacent floats are 1 apart, +0 and -0 are 0 apart. */
inline int64_t floatSteps(float a, float b)
{
    auto ordered = [](float x)
    {
        int32_t bits;
        std::memcpy(&bits, &x, sizeof bits);
        return bits < 0 ? -static_cast<int64_t>(bits & 0x7fffffff) : static_cast<int64_t>(bits);
    };
    return std::abs(ordered(a) - ordered(b));
}

} // namespace qor::test
