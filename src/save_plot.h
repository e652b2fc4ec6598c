#pragma once
// Saving the whole result plot as one picture.

#include <string>

#include "src/result_record.h"

namespace tavrik {

/// A path without its root, and without "home" and any number of "korla" in front of the rest:
/// "/home/korla/data/x" gives "data/x".
std::string strippath(const std::string& path);

/// Draws the result plot as wide as it is and saves it, as a PNG file named after the stripped path
/// of the data file, or to standard output. The view is afterwards as before, but for the size of a
/// memory canvas. A picture that can't be saved is said and remembered in `picture_failed`.
void save_complete_plot(const std::string& data_path, const ResultSeries& results);

/// Whether a picture of this run could not be saved: the process ends with status 1.
inline bool picture_failed = false;

}  // namespace tavrik
