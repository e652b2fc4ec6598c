#pragma once
// The display of one file's results: draw, wait for a key, do what it says.

#include <cstddef>
#include <string>
#include <vector>

#include "src/result_record.h"

namespace tavrik {

/// Shows the results of the file at `cursor` of `files` until a key moves on. Returns true when the
/// run is to end; else `cursor` is at another file, or after the last. A
/// file without records prints "file: NAME No data" and ends the run.
bool display(const ResultSeries& results, const std::vector<std::string>& files,
             std::size_t& cursor);

}  // namespace tavrik
