#pragma once
// The fonts that the build makes. For this folder's own sources.

#include <cstdint>
#include <span>

namespace gr {

/// A font of equal cells, at most eight pixels wide: one byte for each row of each printable
/// character of Latin 1, in the order of their numbers.
struct BuiltinFont {
  const char* name;
  int width;
  int height;
  std::span<const std::uint8_t> rows;
};

/// All of them.
std::span<const BuiltinFont> builtin_fonts();

}  // namespace gr
