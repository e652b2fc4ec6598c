#pragma once
// The viewer's plot routines: each draws a whole plot and waits for the key that ends it.

#include <string>

#include "src/result_record.h"

namespace tavrik {

// All have one form. series: at least one record. Graphics must have been started. They return the
// code of the key; with a `save` that is not 0 they wait for nothing and return that. name: the
// title of this plot and of all later ones, if no title was set before.

/// The normal plot. A drag of the mouse pans it and returns 'R'.
int result_plot(const std::string& name, const ResultSeries& series, int save);

/// The compass with the windows' numbers as radii.
int circular_plot(const std::string& name, const ResultSeries& series, int save);

/// The compass with the windows' velocities as radii.
int circular_velocity_plot(const std::string& name, const ResultSeries& series, int save);

}  // namespace tavrik
