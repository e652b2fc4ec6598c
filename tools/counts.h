#pragma once
// Turning samples into the counts of a ko24 file.

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/common_time.h"

namespace traces {

/// The scale, counts for 1 of the files' unit, that all spans have in common. 1 if their samples
/// are whole numbers of 24 bits, as a recorder's counts are; else the power of ten by which the
/// largest sample just fits.
double choose_scale(const std::vector<Span>& spans);

/// The samples of a span's channels in counts, rounded. Throws std::runtime_error, which names the
/// file, for a sample that has more than 24 bits.
std::array<std::vector<std::int32_t>, 3> to_counts(const Span& span, double scale);

}  // namespace traces
