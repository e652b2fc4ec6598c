#pragma once
// Pieces of recordings as other systems store them, one channel each: what the readers of
// import_recording give.

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace traces {

/// What names a channel. Any part but the station may be empty.
struct Name {
  std::string network;
  std::string station;
  std::string location;
  std::string channel;

  bool operator==(const Name&) const = default;

  bool operator<(const Name& other) const {
    return std::tie(network, station, location, channel) <
           std::tie(other.network, other.station, other.location, other.channel);
  }
};

/// "NET.STA.LOC.CHA", as messages may show it.
std::string text_of(const Name& name);

/// A place on the earth by WGS84, degrees: north and east are above 0.
struct Place {
  double latitude = 0.0;
  double longitude = 0.0;

  bool operator==(const Place&) const = default;
};

/// Samples of one channel without a gap, as `require_sound` wants them once the channel is chosen:
/// what nobody asked for may be anything.
struct Trace {
  Name name = {};
  std::string file = {};                      ///< where it comes from
  std::int64_t start = 0;                     ///< of the first sample, microseconds since 1970 UTC
  double frequency = 0.0;                     ///< Hz, above 0
  std::vector<double> samples = {};           ///< finite, at least one
  std::optional<Place> place = std::nullopt;  ///< as the file has it; unchecked
};

/// A start that the file does not have.
inline constexpr std::int64_t no_start = -1;

/// Throws std::runtime_error, which names the file, unless the trace is as said above, has 0.01 to
/// 100000 Hz and starts where ko24 files can, from 1970 to 2106.
void require_sound(const Trace& trace);

/// Samples from the first of `trace` to a time (microseconds since 1970); no whole number where the
/// time lies between two.
double samples_until(const Trace& trace, std::int64_t time);

/// The time of a sample, microseconds since 1970. The index may be that of the sample after the
/// last.
std::int64_t time_of(const Trace& trace, std::size_t index);

/// A time in microseconds since 1970 as "2016-03-01 12:00:00.250".
std::string time_text(std::int64_t time);

/// Part of a sampling interval by which samples may lie beside the places of others.
inline constexpr double largest_shift = 0.1;

/// Relative difference up to which two frequencies of a channel are the same.
inline constexpr double same_frequency = 1e-6;

}  // namespace traces
