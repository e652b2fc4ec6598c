// Reading and joining of files, their coordinates, the lag range, holes between files.

#include "src/gather.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "korla/bytes.h"
#include "korla/korla_base.h"
#include "korla/stations.h"

#include "src/console.h"
#include "src/file_being_read.h"
#include "src/geometry.h"
#include "src/progress.h"
#include "src/result_stream.h"
#include "src/run_files.h"
#include "src/settings.h"

namespace tavrik {

namespace {

constexpr std::size_t used_channels = 3;

/// Reads where the microphones of a data file stand, from the first of these that there is: the
/// file of -x, the one named after the data file, coord.dat beside it. Returns its path.
std::string read_array(const std::string& data_path) {
  std::string used = settings.coord_file;
  if (settings.coord_loaded) {
    read_coordinates(used);
  } else {
    used = result_path(data_path, "coords");
    if (read_coordinates(used)) {
      used = (boost::filesystem::path(data_path).parent_path() / "coord.dat").string();
      read_coordinates(used);
    }
  }
  protect_input(used);

  const Baselines& base = array_geometry.baselines;
  info("\n{}:{} {}:{} {}:{}\n", base.d12, base.az12, base.d13, base.az13, base.d23, base.az23);
  return used;
}

/// The lag range for a sampling frequency, unless --maxdelay gave one: 16 samples at 18 Hz, and as
/// many seconds at any other.
std::size_t choose_max_lag(double frequency) {
  if (!settings.maxdelay_auto) {
    return settings.maxdelay;
  }
  constexpr double usual = 16.0;
  constexpr double usual_frequency = 18.0;
  constexpr double most = 65535.0;
  const double max_lag = std::floor(frequency * usual / usual_frequency + 0.5);
  if (!(max_lag >= 1.0 && max_lag <= most)) {
    fail("Error: maxdelay out of range 2 < {} < {}\n", max_lag, 255);
  }
  info("Setting maxdelay to {}. Default was {}.\n", max_lag, usual);
  return static_cast<std::size_t>(max_lag);
}

bool is_usable(double frequency) {
  return frequency > 0 && std::isfinite(frequency);
}

/// Takes what the run knows of its first file from it.
void begin_run(LoadedSeries& loaded, const KorLa::Korla_Base& file) {
  loaded.start_time = file.times.empty() ? file.start_time() : file.times.front();
  if (is_usable(file.header.sampling_frequency)) {
    loaded.sampling_frequency = file.header.sampling_frequency;
    loaded.max_lag = choose_max_lag(loaded.sampling_frequency);
  }
}

/// Says whether the next file begins long after the last one's end, or before it. Less than a
/// second may come from stamps in whole seconds; but windows a step apart must not go back in time.
void check_gap(const LoadedSeries& loaded, const std::string& path, double begin) {
  constexpr double longest_gap = 5.0;
  const double longest_overlap = std::min(1.0, settings.cstep / loaded.sampling_frequency);
  const double gap = begin - (loaded.times.back() + 1 / loaded.sampling_frequency);
  if (gap > longest_gap) {
    warn("\nWARNING: hole in data {} seconds\n\n", gap);
  } else if (loaded.sampling_frequency > 0 && gap <= -longest_overlap) {
    warn("WARNING: {}: begins {:.2f} seconds before {} ends, times of windows may be wrong\n", path,
         -gap, loaded.files.back().path);
  }
}

/// Says what does not fit between the run so far and its next file.
void check_continuation(const LoadedSeries& loaded, const std::string& path,
                        const KorLa::Korla_Base& file) {
  if (!loaded.times.empty() && !file.times.empty()) {
    check_gap(loaded, path, file.times.front());
  }
  const double frequency = file.header.sampling_frequency;
  if (loaded.sampling_frequency > 0 && frequency != loaded.sampling_frequency) {
    warn("WARNING: {} has {} samples/s, the run has {}\n", path, frequency,
         loaded.sampling_frequency);
  }
}

/// Moves the first `count` values to the target's end, and gives the source's memory back.
template <typename Value>
void append(std::vector<Value>& target, std::vector<Value>& source, std::size_t count) {
  source.resize(count);
  if (target.empty()) {
    target = std::move(source);
  } else {
    target.insert(target.end(), source.begin(), source.end());
  }
  source = {};
}

void append_file(LoadedSeries& loaded, const std::string& path, KorLa::Korla_Base& file) {
  const std::size_t n_channels = file.channels.size();
  if (n_channels < used_channels) {
    throw std::runtime_error(
        compose("{} has too few channels ({}), 3 are needed\n", path, n_channels));
  }
  if (n_channels > used_channels) {
    warn("WARNING: More than 3 channels ({}). Using channels 0, 1 & 2\n", n_channels);
  }
  const std::size_t count = file.times.size();
  for (std::size_t c = 0; c < used_channels; ++c) {
    append(loaded.samples[c], file.samples[c], count);
  }
  append(loaded.times, file.times, count);
}

/// The station's name. A number without one ends the program.
const char* station_name(const std::string& path, std::uint8_t number) {
  if (!KorLa::station_names.contains(number)) {
    warn("WARNING: {}: station number {} has no name, the run ends\n", path, number);
  }
  return KorLa::station_names.at(number);
}

/// Reads the coordinates of a file, and joins it to the run.
void join_file(LoadedSeries& loaded, const std::string& path, KorLa::Korla_Base& file) {
  const std::string coordinates = read_array(path);
  const JoinedFile next = {path, station_name(path, file.header.station), file.channels.size(),
                           array_geometry.pos, loaded.times.size()};
  // An array that stays what it was is judged once.
  if (loaded.files.empty() || loaded.files.back().positions != next.positions) {
    check_array(coordinates, array_geometry);
  }
  if (loaded.files.empty()) {
    begin_run(loaded, file);
  } else {
    check_continuation(loaded, path, file);
    check_same_array(loaded.files, next);
  }
  append_file(loaded, path, file);
  loaded.files.push_back(next);
}

/// Why open_series could make nothing of a file.
std::string why_unreadable(const std::string& path) {
  KorLa::FileStatus status{};
  if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
    return std::generic_category().message(errno);
  }
  return S_ISREG(status.st_mode) ? "not a station file" : "not a regular file";
}

}  // namespace

LoadedSeries gather(const std::vector<std::string>& files) {
  LoadedSeries loaded;
  Progress progress("reading");
  for (const std::string& path : files) {
    loaded.ended_early = end_is_wanted();
    if (loaded.ended_early) {
      return loaded;
    }
    progress.show(static_cast<std::size_t>(&path - files.data()), files.size());
    const ReadingFile reading(path);
    protect_input(path);
    const std::unique_ptr<KorLa::Korla_Base> file = KorLa::open_series(path, 0.0, true);
    if (!file) {
      warn("WARNING: can't read {}, skipping it: {}\n", path, why_unreadable(path));
      continue;
    }
    join_file(loaded, path, *file);
  }
  if (!(loaded.sampling_frequency > 0)) {
    fail("Can't determine sample frequency\n");
  }
  return loaded;
}

}  // namespace tavrik
