#pragma once
// From files of other systems to a ko24 file and its coordinate file.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "korla/stations.h"

namespace traces {

/// What to convert, and how.
struct Conversion {
  std::vector<std::string> inputs = {};        ///< miniSEED and SAC files
  std::string output = {};                     ///< the ko24 file
  std::vector<std::string> channels = {};      ///< three names; none: see `choose_channels`
  std::string stations = {};                   ///< a table with places; none: those of SAC headers
  bool split_at_gaps = false;                  ///< a file for each part; else gaps are refused
  std::optional<double> scale = std::nullopt;  ///< counts for 1 of the files' unit
  std::uint8_t station = KorLa::unknown_station;
};

/// Converts. Neither of an output's two files takes its name before all are whole, and existing
/// ones stay as they are if anything fails; an input is never overwritten. Returns a report of what
/// was done, several lines. Throws std::runtime_error, which names the file.
std::string convert(const Conversion& conversion);

}  // namespace traces
