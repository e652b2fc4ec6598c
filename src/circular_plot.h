#pragma once
// The two compass plots: every window a dot at the angle of its azimuth, and a rose of azimuths.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "src/result_record.h"

namespace tavrik {

/// Counts the azimuths of records with at least the filter's correlation in `sectors` sectors of
/// equal width from north clockwise. NaN is in none, 360 in the first.
std::vector<std::size_t> count_sectors(std::span<const ResultRecord> records, int sectors,
                                       double filter);

/// Draws the plot whose dots lie at the window's number from the centre, and waits for a key, whose
/// code is returned; with a `save` that is not 0 returns that at once.
int circular_plot(const std::string& name, const ResultSeries& series, int save);

/// As `circular_plot`, with the window's speed for its number.
int circular_velocity_plot(const std::string& name, const ResultSeries& series, int save);

}  // namespace tavrik
