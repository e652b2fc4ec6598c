// Numbers that are none.

#pragma once

#include <limits>

namespace support {

inline constexpr double inf = std::numeric_limits<double>::infinity();
inline constexpr double nan = std::numeric_limits<double>::quiet_NaN();

}  // namespace support
