#pragma once
// Numbers as text, the same bytes as std::to_chars gives, in a tenth of its instructions where the
// numbers are those that results hold. Used by the result lines, which are full of them.

#include <cstddef>

namespace tavrik {

/// Room that a number needs at most: the largest double has 309 digits before the point.
inline constexpr std::size_t longest_number = 400;

/// Writes a number in fixed notation at `place`, which has room for longest_number bytes. Returns
/// where the text ends. decimals: 0 to 80.
char* write_fixed(char* place, double value, int decimals);

/// Writes a number in general notation with 6 digits, as printf's %g does.
char* write_general(char* place, double value);

}  // namespace tavrik
