#pragma once
// The analysis of one run: gathers the data files, walks the windows, fills the result series and
// writes the result files.

#include <string>
#include <vector>

#include "src/result_record.h"

namespace tavrik {

/// Runs the analysis over the files as one series, by `settings`: appends one record for each
/// window to `series` and writes the result files that the settings ask for. The settings must be
/// within their ranges. Returns false when the user ended it before the last window: the lines so
/// far are in the files, but neither a histogram nor passages.
/// Ends the program and throws as `gather` does.
bool analyse(const std::vector<std::string>& files, ResultSeries& series);

}  // namespace tavrik
