#pragma once
// Saving the whole result plot as one picture.

#include <string>

#include "src/result_record.h"

namespace tavrik {

/// A path without its root, and without "home" and any number of "korla" in front of the rest:
/// "/home/korla/data/x" gives "data/x".
std::string strippath(const std::string& path);

/// What became of a picture.
struct SavedPicture {
  bool saved = false;
  std::string text;  ///< for the user: "saved NAME", or why it was not
};

/// Draws the result plot as wide as it is and saves it, as a PNG file named after the stripped path
/// of the data file, or to standard output. Afterwards the view is as before, but a memory canvas
/// keeps the size of the picture. A picture that can't be saved, as it has more than widest_picture
/// columns, is reported and sets `result_state.output_lost`.
SavedPicture save_complete_plot(const std::string& data_path, const ResultSeries& results);

/// Of a run that has nothing to draw: removes the picture that an earlier run saved under the name
/// of this one's, so that nobody takes it for this run's, and sets `result_state.output_lost`.
void remove_older_picture(const std::string& data_path);

}  // namespace tavrik
