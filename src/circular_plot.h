#pragma once
// The two compass plots: every window a dot at the angle of its azimuth, and a rose of azimuths.

#include <cstddef>
#include <span>
#include <vector>

#include "src/display_state.h"
#include "src/result_record.h"
#include "src/settings.h"

namespace tavrik {

/// Counts the azimuths of records with at least the filter's correlation in `sectors` sectors of
/// equal width from north clockwise. NaN is in none, 360 in the first.
std::vector<std::size_t> count_sectors(std::span<const ResultRecord> records, int sectors,
                                       double filter);

/// What the distance of a dot from the centre shows, one pixel for each window or m/s before it is
/// divided by the state's `div`.
enum class DotRadius { window_number, velocity };

/// Draws a compass plot, north up and east to the right, on the open canvas. Of the options the
/// title, hist_size and crsfilter are read. Records with a NaN azimuth or velocity have no dot.
void draw_circular_plot(const ResultSeries& series, const Settings& options,
                        const DisplayState& state, DotRadius radius);

/// The record whose azimuth the dot has that is nearest to a place on the canvas, in pixels without
/// the pan; null if there is no dot.
const ResultRecord* nearest_dot(std::span<const ResultRecord> records, const DisplayState& state,
                                DotRadius radius, int x, int y);

}  // namespace tavrik
