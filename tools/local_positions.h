#pragma once
// Positions of microphones from latitudes and longitudes.

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "tools/recording.h"
#include "tools/trace.h"

namespace traces {

/// A line of a station table.
struct StationPlace {
  std::string name;  ///< of channels, as `stands_for` takes it
  Place place;
};

/// Reads a table of station, latitude, longitude, separated by commas, one station on a line; what
/// follows them is ignored. The first line may name the columns; empty ones and those that begin
/// with # are passed over. Throws std::runtime_error, which names file and line, also
/// for a table without places.
std::vector<StationPlace> read_stations(const std::string& path);

/// The place of a channel in the table: that of the longest name, in parts, that stands for it.
/// Throws std::runtime_error where two of them differ.
std::optional<Place> place_of(const std::vector<StationPlace>& stations, const Name& name);

/// The place of a channel by its files: the first that is there. Throws std::runtime_error, which
/// names the file, where it is none on earth, and where another file's is further away than single
/// precision explains.
std::optional<Place> place_of(const std::vector<Trace>& traces, const Name& name);

/// Metres to the east and north of a reference, on the plane that touches the earth there.
recording::Position local_position(const Place& reference, const Place& place);

/// The positions of three places relative to the first, to the millimetre. Throws
/// std::runtime_error where they are too far from one another for a plane, or on one line.
recording::Positions local_positions(const std::array<Place, 3>& places);

/// Whether 1, 2, 3 go counter-clockwise as seen from above.
bool go_counter_clockwise(const recording::Positions& positions);

}  // namespace traces
