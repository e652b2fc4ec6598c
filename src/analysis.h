#pragma once
// The analysis of one run: gathers the data files, walks the windows, fills the result series and
// writes the result files.

#include <string>
#include <vector>

#include "src/result_record.h"

namespace tavrik {

/// Runs the analysis over the files as one series, by `settings`: writes the result files that the
/// settings ask for, and appends one record for each window to `series` if they ask for pictures, a
/// histogram or passages. The settings must be within their ranges. Returns false when the user
/// ended it before the last window: the lines so far are kept beside the result files, and there is
/// neither a histogram nor passages.
/// A signal that would end the process does so after that.
/// Ends the program and throws as `gather` does.
bool analyse(const std::vector<std::string>& files, ResultSeries& series);

}  // namespace tavrik
