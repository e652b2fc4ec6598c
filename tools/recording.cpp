// Computing of recordings, and their files.

#include "tools/recording.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string_view>

#include "korla/korla_base.h"

// Headers and samples are written as the bytes that they are in memory.
static_assert(std::endian::native == std::endian::little);

namespace recording {

namespace {

constexpr double pi = std::numbers::pi;

// ---- Random numbers: the same with every standard library, so none of its distributions.

/// What a sequence of random numbers is for; each use has its own, so that one does not shift
/// another.
enum class Use : std::uint32_t { noise, wave };

std::mt19937_64 generator_for(std::uint64_t seed, Use use, std::size_t index) {
  std::seed_seq words{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                      static_cast<std::uint32_t>(use), static_cast<std::uint32_t>(index)};
  return std::mt19937_64(words);
}

/// Uniform from 0 to below 1.
double uniform(std::mt19937_64& generator) {
  return static_cast<double>(generator() >> 11) * 0x1p-53;
}

/// Close to normal: mean 0, variance 1.
double normal(std::mt19937_64& generator) {
  double sum = -6.0;
  for (int i = 0; i < 12; ++i) {
    sum += uniform(generator);
  }
  return sum;
}

// ---- Waves

/// The pressure of a plane wave at the array's origin.
class Sound {
 public:
  Sound(const PlaneWave& wave, std::mt19937_64 generator) : length_(wave.length) {
    // One tone somewhere in each slice of the band: no clumps, no common period.
    const int slices = wave.high > wave.low ? 32 : 1;
    const double slice = (wave.high - wave.low) / slices;
    amplitude_ = wave.amplitude * std::sqrt(2.0 / slices);
    for (int i = 0; i < slices; ++i) {
      const double frequency = wave.low + (i + uniform(generator)) * slice;
      tones_.push_back({2.0 * pi * frequency, 2.0 * pi * uniform(generator)});
    }
  }

  /// age: seconds since the wave's start; any value.
  double pressure_at(double age) const {
    if (age <= 0.0 || age >= length_) {
      return 0.0;
    }
    double sum = 0.0;
    for (const Tone& tone : tones_) {
      sum += std::sin(tone.omega * age + tone.phase);
    }
    return amplitude_ * envelope(age) * sum;
  }

 private:
  struct Tone {
    double omega;  // radians per second
    double phase;
  };

  double envelope(double age) const {
    const double taper = length_ / 8.0;
    const double from_end = std::min(age, length_ - age);
    return from_end < taper ? 0.5 - 0.5 * std::cos(pi * from_end / taper) : 1.0;
  }

  double length_;
  double amplitude_;
  std::vector<Tone> tones_;
};

/// Seconds that a wave from `azimuth` is later at the microphone than at the origin: the
/// microphone's distance from the origin along the wave's way, divided by the velocity.
double delay_at(const Position& microphone, double azimuth, double velocity) {
  const double angle = azimuth * pi / 180.0;
  return -(microphone.x * std::sin(angle) + microphone.y * std::cos(angle)) / velocity;
}

/// The index of the first sample at or after a time, within the channel.
std::size_t index_at(double time, double frequency, std::size_t n_samples) {
  return static_cast<std::size_t>(
      std::clamp(std::ceil(time * frequency), 0.0, static_cast<double>(n_samples)));
}

void add_wave(std::vector<double>& channel, const Position& microphone, const PlaneWave& wave,
              const Sound& sound, double frequency) {
  // However it turns, no delay is longer than this.
  const double reach = std::hypot(microphone.x, microphone.y) / wave.velocity;
  const std::size_t first = index_at(wave.start - reach, frequency, channel.size());
  const std::size_t end = index_at(wave.start + wave.length + reach, frequency, channel.size());
  for (std::size_t i = first; i < end; ++i) {
    const double age = static_cast<double>(i) / frequency - wave.start;
    const double azimuth = wave.azimuth + wave.turn * age;
    channel[i] += sound.pressure_at(age - delay_at(microphone, azimuth, wave.velocity));
  }
}

// ---- Noise and marks

/// Wind at one microphone: mostly slow, some of it white, coming in gusts.
void add_noise(std::vector<double>& channel, double level, double frequency,
               std::mt19937_64 generator) {
  constexpr double corner = 2.0 * pi * 0.3;  // of the slow part, radians per second
  constexpr double slow_share = 0.95;        // of the RMS
  constexpr double gust_depth = 0.5;
  constexpr double gust_rate = 2.0 * pi / 150.0;  // radians per second
  const double white_share = std::sqrt(1.0 - slow_share * slow_share);
  const double base = level / std::sqrt(1.0 + gust_depth * gust_depth / 2.0);

  const double follow = corner / (corner + frequency);
  const double slow_rms = std::sqrt(follow / (2.0 - follow));
  const double gust_phase = 2.0 * pi * uniform(generator);
  double slow = slow_rms * normal(generator);
  for (std::size_t i = 0; i < channel.size(); ++i) {
    slow += follow * (normal(generator) - slow);
    const double wind = slow_share * slow / slow_rms + white_share * normal(generator);
    const double time = static_cast<double>(i) / frequency;
    channel[i] += base * (1.0 + gust_depth * std::sin(gust_rate * time + gust_phase)) * wind;
  }
}

/// The channel of time marks: a pulse of a second and a sample from minutes 5 and 35 of each hour.
std::vector<std::int32_t> time_marks(const Scene& scene, std::size_t n_samples) {
  constexpr std::int32_t level = 400000;
  constexpr double distance = 1800.0;
  constexpr double first_minute = 300.0;
  const double frequency = scene.sampling_frequency;
  const double pulse = std::round(frequency) + 1.0;
  const double end = static_cast<double>(n_samples);

  std::vector<std::int32_t> channel(n_samples, 0);
  const double shift = first_minute + scene.clock_error.value_or(0.0);
  double mark = std::floor((scene.start - shift) / distance) * distance + shift;
  for (; mark - scene.start <= scene.length; mark += distance) {
    // The first one may have begun before the recording did.
    const double start = std::round((mark - scene.start) * frequency);
    const auto from = static_cast<std::ptrdiff_t>(std::clamp(start, 0.0, end));
    const auto to = static_cast<std::ptrdiff_t>(std::clamp(start + pulse, 0.0, end));
    std::fill(channel.begin() + from, channel.begin() + to, level);
  }
  return channel;
}

// ---- Counts

std::int32_t to_counts(double value) {
  constexpr double largest = (1 << 23) - 1;
  return static_cast<std::int32_t>(std::lround(std::clamp(value, -largest, largest)));
}

std::vector<std::int32_t> to_counts(const std::vector<double>& channel) {
  std::vector<std::int32_t> counts(channel.size());
  std::transform(channel.begin(), channel.end(), counts.begin(),
                 [](double value) { return to_counts(value); });
  return counts;
}

// ---- Files

template <class Record>
void append_bytes(std::string& bytes, const Record& record) {
  bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
}

/// A chunk's tag with the size of what follows.
void append_tag(std::string& bytes, std::string_view tag, std::size_t size) {
  bytes += tag;
  append_bytes(bytes, static_cast<std::uint32_t>(size));
}

void check_ko24(const std::string& path, const Recording& recording, int version) {
  if (version < 0 || version > 2) {
    throw std::runtime_error(fmt::format("Can't write {}: no ko24 version {}", path, version));
  }
  if (recording.samples.empty() || recording.samples.size() > 255) {
    throw std::runtime_error(fmt::format("Can't write {}: ko24 holds 1 to 255 channels, not {}",
                                         path, recording.samples.size()));
  }
  constexpr double latest = std::numeric_limits<std::uint32_t>::max();
  if (!(recording.start >= 0.0 && recording.start < latest)) {
    throw std::runtime_error(
        fmt::format("Can't write {}: ko24 has no start time {}", path, recording.start));
  }
}

KorLa::SeriesHeader ko24_header(const Recording& recording, int version) {
  KorLa::SeriesHeader header;
  header.magic = {'k', 'o', '2', '4'};
  header.version = static_cast<std::uint8_t>(version);
  header.station = recording.station;
  header.header_size = version == 2 ? 40 : 32;  // version 1 leaves its four bytes out
  double seconds = std::floor(recording.start);
  // A double has no more than microseconds.
  double nanoseconds = std::round((recording.start - seconds) * 1e6) * 1e3;
  if (nanoseconds >= 1e9) {
    seconds += 1.0;
    nanoseconds = 0.0;
  }
  header.start_sec = static_cast<std::uint32_t>(seconds);
  header.start_nsec = static_cast<std::uint32_t>(nanoseconds);
  header.sample_code = 7;
  header.n_channels = static_cast<std::uint8_t>(recording.samples.size());
  header.sampling_frequency = recording.sampling_frequency;
  header.bits_per_sample = 24;
  header.bytes_per_sample = 4;
  return header;
}

KorLa::ChannelDescriptor ko24_channel(std::size_t index) {
  KorLa::ChannelDescriptor channel;
  channel.magic = {'c', 'h', 'a', 'n'};
  channel.index = static_cast<std::uint16_t>(index);
  channel.range_low = -10.0;
  channel.range_high = 10.0;
  channel.scale = 1.0;
  return channel;
}

}  // namespace

Recording compute_recording(const Scene& scene) {
  const double frequency = scene.sampling_frequency;
  const auto n_samples = static_cast<std::size_t>(std::lround(scene.length * frequency));
  std::vector<Sound> sounds;
  for (const PlaneWave& wave : scene.waves) {
    sounds.emplace_back(wave, generator_for(scene.seed, Use::wave, sounds.size()));
  }

  Recording result{frequency, scene.start, scene.station, {}};
  for (std::size_t c = 0; c < scene.microphones.size(); ++c) {
    std::vector<double> channel(n_samples, 0.0);
    add_noise(channel, scene.noise, frequency, generator_for(scene.seed, Use::noise, c));
    for (std::size_t w = 0; w < sounds.size(); ++w) {
      add_wave(channel, scene.microphones[c], scene.waves[w], sounds[w], frequency);
    }
    result.samples.push_back(to_counts(channel));
  }
  if (scene.clock_error) {
    result.samples.push_back(time_marks(scene, n_samples));
  }
  return result;
}

std::vector<PlaneWave> demo_waves() {
  constexpr double quarter_hour = 900.0;
  const PlaneWave event{.azimuth = 40.0,
                        .turn = (75.0 - 40.0) / quarter_hour,
                        .velocity = 345.0,
                        .start = 1200.0,
                        .length = quarter_hour,
                        .low = 0.6,
                        .high = 4.0,
                        .amplitude = 400.0};
  const PlaneWave arrival{.azimuth = 290.0,
                          .turn = 0.0,
                          .velocity = 380.0,
                          .start = 2700.0,
                          .length = 20.0,
                          .low = 0.8,
                          .high = 5.0,
                          .amplitude = 3000.0};
  return {event, arrival};
}

void write_file(const std::string& path, std::string_view bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wbe");
  bool written = file != nullptr;
  int error = errno;
  if (written) {
    errno = 0;
    written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    written = std::fclose(file) == 0 && written;
    error = errno;
  }
  if (!written) {
    throw std::runtime_error(fmt::format("Can't write {}: {}", path, std::strerror(error)));
  }
}

std::string compose_ko24(const std::string& path, const Recording& recording, int version) {
  constexpr std::size_t bare_header = 32;
  constexpr std::array<std::size_t, 3> extension = {0, 4, 8};  // bytes more, by version
  check_ko24(path, recording, version);
  const KorLa::SeriesHeader header = ko24_header(recording, version);
  const std::size_t n_channels = recording.samples.size();
  const std::size_t n_samples = recording.samples.front().size();
  const std::size_t block_size = n_channels * n_samples * sizeof(std::int32_t);

  std::string bytes;
  bytes.reserve(block_size + n_channels * sizeof(KorLa::ChannelDescriptor) + 64);
  bytes.append(reinterpret_cast<const char*>(&header),
               bare_header + extension.at(static_cast<std::size_t>(version)));
  append_tag(bytes, "chns", n_channels * sizeof(KorLa::ChannelDescriptor));
  for (std::size_t c = 0; c < n_channels; ++c) {
    append_bytes(bytes, ko24_channel(c));
  }
  append_tag(bytes, "data", block_size);
  for (std::size_t i = 0; i < n_samples; ++i) {
    for (const std::vector<std::int32_t>& channel : recording.samples) {
      append_bytes(bytes, channel[i]);
    }
  }
  return bytes;
}

void write_ko24(const std::string& path, const Recording& recording, int version) {
  write_file(path, compose_ko24(path, recording, version));
}

std::string compose_coordinates(const Positions& microphones,
                                const std::array<int, 3>& channel_order) {
  std::string text =
      fmt::format("VQS-FILE\n{} {} {}\n", channel_order[0], channel_order[1], channel_order[2]);
  for (const int channel : channel_order) {
    const Position& position = microphones.at(static_cast<std::size_t>(channel - 1));
    text += fmt::format("{} {}\n", position.x, position.y);
  }
  return text;
}

void write_coordinates(const std::string& path, const Positions& microphones,
                       const std::array<int, 3>& channel_order) {
  write_file(path, compose_coordinates(microphones, channel_order));
}

}  // namespace recording
