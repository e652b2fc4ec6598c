#pragma once
// The normal plot of a series: azimuths above, speeds below, a time axis, a histogram of azimuths.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "src/result_record.h"

namespace tavrik {

/// What one column of the plot stands for, and how many there are.
struct PlotTimes {
  double first = 0;  ///< time at the left edge, seconds since 1970 UTC
  double last = 0;   ///< time at the right edge
  double step = 1;   ///< from one record to the next, seconds, above 0
  int width = 0;     ///< of the panels, pixels
};

/// Works out the plot's time range and width from the records, or from a forced range. A picture
/// wider than can be saved ends the program with status 1.
PlotTimes plot_times(const ResultSeries& series);

/// Top of the velocity scale, m/s: 1000; with a coordinate file given, the record before the record
/// before the highest of the running maximum, which keeps the two highest outliers off the scale.
/// 1000 again where that is not positive and finite.
double velocity_maximum(std::span<const ResultRecord> records);

/// Azimuths counted in one row of the histogram.
struct AzimuthBucket {
  std::size_t count = 0;           ///< valid records
  std::size_t filtered_count = 0;  ///< of these, the ones with enough correlation
  double quality = 0;              ///< their sum, over all valid records
};

/// Counts azimuths in height + 1 buckets of 360 / height degrees; 360 itself is in the last.
std::vector<AzimuthBucket> count_azimuths(std::span<const ResultRecord> records, int height,
                                          double filter);

/// What is drawn of the records whose column is beyond the edges of the surface: nothing, or the
/// part of their marks that reaches onto it.
enum class BeyondEdge { nothing, reaching_marks };

/// Draws the plot.
void draw_result_plot(const ResultSeries& series, BeyondEdge beyond);

/// Draws the plot and waits for a key, whose code is returned; with a `save` that is not 0 returns
/// that at once. name: title where none is given, kept as the title from then on.
int result_plot(const std::string& name, const ResultSeries& series, int save);

}  // namespace tavrik
