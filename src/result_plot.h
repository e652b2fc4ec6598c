#pragma once
// The normal plot of a series: azimuths above, velocities below, a time axis, a histogram of
// azimuths.

#include <cstddef>
#include <span>
#include <vector>

#include "src/display_state.h"
#include "src/result_record.h"
#include "src/settings.h"

namespace tavrik {

/// What one column of the plot stands for, and how many there are.
struct PlotTimes {
  double first = 0;  ///< time at the left edge, seconds since 1970 UTC
  double last = 0;   ///< time at the right edge
  double step = 1;   ///< from one record to the next, seconds, above 0
  int width = 0;     ///< of the panels, pixels
};

/// Works out the plot's time range and width from the records, or from a forced range. More columns
/// than there are coordinates (1e9) end the program with status 1.
PlotTimes plot_times(const ResultSeries& series, const Settings& options);

/// Where things are in a plot, in pixels without the pan.
struct Panels {
  PlotTimes times;
  int compact = 1;          ///< steps in a column
  int left = 0, right = 0;  ///< of both panels
  int top = 0;              ///< of the azimuth panel
  int azimuth_height = 0;
  int middle = 0;  ///< bottom of the azimuth panel, top of the velocity panel
  int velocity_height = 0;
  int bottom = 0;  ///< of the velocity panel
  double row_per_degree = 0;
  double velocity_maximum = 0;
};

/// The window whose azimuth mark, or in the lower panel whose velocity mark, reaches into this
/// column and is nearest; null if there is none, or if the place is above or below the panels.
const ResultRecord* record_at(const Panels& panels, std::span<const ResultRecord> records, int x,
                              int y);

/// Top of the velocity scale, m/s: 1000 without a coordinate file. With one, the running maximum of
/// vel2 is followed through the records with an azimuth, and the scale ends at the value that it
/// had two rises before the end, so that two outliers do not press all other velocities to the
/// bottom. 1000 again if it rose fewer than three times, or if that value is not positive and
/// finite.
double velocity_maximum(std::span<const ResultRecord> records, const Settings& options);

/// Azimuths counted in one row of the histogram.
struct AzimuthBucket {
  std::size_t count = 0;           ///< valid records
  std::size_t filtered_count = 0;  ///< of these, the ones with enough correlation
  double quality = 0;              ///< sum of the qualities of all valid records
};

/// Counts azimuths in height + 1 buckets of 360 / height degrees; 360 itself is in the last.
std::vector<AzimuthBucket> count_azimuths(std::span<const ResultRecord> records, int height,
                                          double filter);

/// What is drawn of the records whose column is outside the canvas: nothing, or the part of their
/// marks that reaches onto it.
enum class BeyondEdge { nothing, reaching_marks };

/// Draws the plot on the open canvas, moved by the state's pan, and sets the state's least_x and
/// greatest_x to the plot's extent without that pan. Graphics must have been started in the
/// options' mode. Without records it draws frame, axes and title. The title is that of the options.
/// Returns where things are.
Panels draw_result_plot(const ResultSeries& series, const Settings& options, DisplayState& state,
                        BeyondEdge beyond);

}  // namespace tavrik
