#pragma once
// The station tables: number to name, and name or short form to number. Read by every reader that
// finds a station named in text, and by the analysis.

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace KorLa {

/// A row of the table of names.
struct Station {
  std::uint8_t number;
};

/// A TM4 file's station while nothing has named it.
inline constexpr std::uint8_t unnamed_station = 254;
/// The station of a name that the table lacks.
inline constexpr std::uint8_t unknown_station = 255;

/// Station number to name. Use `at`: a number that is not here throws std::out_of_range.
extern const std::map<std::uint8_t, const char*> station_names;

/// Station name or short form to number, case-sensitive. Not the inverse of `station_names`:
/// "ostermyra2" and "o2" give 3, and 8, 254 and 255 have no name here. Intended.
extern const std::map<std::string, Station, std::less<>> station_numbers;

}  // namespace KorLa
