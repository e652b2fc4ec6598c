#pragma once
// Small conversions that the geometry and the direction methods share.

#include <numbers>

namespace tavrik {

/// A value to divide by: an exact 0 becomes 1e-6, a NaN stays.
inline double zero_guarded(double value) {
  return value == 0 ? 1e-6 : value;
}

/// An angle in degrees, from radians. The order of the operations is part of the results.
inline double degrees(double radians) {
  return radians * 180 / std::numbers::pi;
}

/// An angle in radians, from degrees.
inline double radians(double degrees) {
  return degrees * std::numbers::pi / 180;
}

}  // namespace tavrik
