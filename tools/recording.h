#pragma once
// Example recordings: plane waves and wind noise as three microphones would record them, and the
// writing of such a recording as a ko24 file; write_recording.h has the other formats. For the
// demo, the tests and the benchmark.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korla/stations.h"

namespace recording {

/// A place relative to the array's origin.
struct Position {
  double x = 0.0;  ///< metres to the east
  double y = 0.0;  ///< metres to the north
};

/// Places of the three microphones, in the order of their channels.
using Positions = std::array<Position, 3>;

/// A sound that crosses the array with a straight front: a sum of sinusoids under an envelope that
/// rises and falls smoothly over an eighth of its length each. It is a function of time and not a
/// series, so that each microphone hears it late by exactly its own delay, also by parts of a
/// sample.
struct PlaneWave {
  double azimuth = 0.0;     ///< where it comes from at its start; degrees clockwise from north
  double turn = 0.0;        ///< change of azimuth, degrees per second
  double velocity = 340.0;  ///< apparent velocity: of the front's trace on the ground, m/s
  double start = 0.0;       ///< when it reaches the array's origin, seconds into the recording
  double length = 60.0;     ///< seconds
  double low = 0.5;         ///< lower end of its band, Hz
  double high = 3.0;        ///< upper end of its band, Hz; where equal to `low`: a pure tone
  double amplitude = 1000;  ///< RMS between rise and fall, counts
};

/// What there is to record, and how.
struct Scene {
  double sampling_frequency = 18.0;  ///< Hz
  double length = 3600.0;            ///< seconds
  /// Seconds since 1970 UTC by the recorder's clock: 06:00 on 1 March 2016.
  double start = 1456812000.0;
  std::uint8_t station = KorLa::unnamed_station;
  Positions microphones = {{{0.0, 0.0}, {-75.0, 0.0}, {0.0, -75.0}}};
  std::vector<PlaneWave> waves = {};
  double noise = 200.0;  ///< RMS of the wind noise, counts; independent at each microphone
  /// Of everything random. The tones of a wave depend on it and on the wave's place in the list
  /// alone.
  std::uint64_t seed = 1;
  /// With a value the recording gets a fourth channel, with time marks. Seconds that the recorder's
  /// clock is ahead, and that the marks seem late therefore.
  std::optional<double> clock_error = std::nullopt;
};

/// A recording as a station stores it.
struct Recording {
  double sampling_frequency = 0.0;  ///< Hz
  double start = 0.0;               ///< seconds since 1970 UTC of the first sample
  std::uint8_t station = 0;
  std::vector<std::vector<std::int32_t>> samples;  ///< counts within 24 bits, a vector per channel
};

/// Records a scene. The same scene gives the same samples everywhere.
/// Sampling frequency and velocities are above 0, bands below half the sampling frequency.
Recording compute_recording(const Scene& scene);

/// The sounds of an ordinary morning, for an hour's recording: a quarter of an hour's event that
/// moves from azimuth 40 to 75 degrees, and one strong arrival of 20 seconds from 290 degrees.
std::vector<PlaneWave> demo_waves();

/// Writes a file. Throws std::runtime_error, which names it, when it can't be written whole.
void write_file(const std::string& path, std::string_view bytes);

/// The bytes of a ko24 file of version 0, 1 or 2. All channels are of one length. path: the file's
/// name, for errors.
/// Throws std::runtime_error when the format has no room for the recording's start (1970 to 2106),
/// its channels or the version.
std::string compose_ko24(const std::string& path, const Recording& recording, int version);

/// Writes a file of `compose_ko24`. Throws what that throws, and std::runtime_error, which names
/// the file, when it can't be written whole.
void write_ko24(const std::string& path, const Recording& recording, int version);

/// The text of a coordinate file: the channel numbers, from 1, and below them the position of the
/// microphone on each of those channels.
std::string compose_coordinates(const Positions& microphones,
                                const std::array<int, 3>& channel_order = {1, 2, 3});

/// Writes a file of `compose_coordinates`. Throws std::runtime_error, which names the file.
void write_coordinates(const std::string& path, const Positions& microphones,
                       const std::array<int, 3>& channel_order = {1, 2, 3});

}  // namespace recording
