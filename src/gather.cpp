// Reading and joining of files, their coordinates, the lag range, holes between files.

#include "src/gather.h"

#include <boost/filesystem/path.hpp>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>
#include <utility>

#include "korla/korla_base.h"
#include "korla/stations.h"

#include "src/console.h"
#include "src/file_being_read.h"
#include "src/geometry.h"
#include "src/progress.h"
#include "src/result_stream.h"
#include "src/settings.h"

namespace tavrik {

namespace {

constexpr std::size_t used_channels = 3;

/// Reads where the microphones of a data file stand, from the first of these that there is: the
/// file of -x, the one named after the data file, coord.dat beside it. Says what is unusual about
/// them.
void read_array(const std::string& data_path) {
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
  // Of the angle at microphone 1.
  const double sine = signed_area(array_geometry.pos) / (base.d12 * base.d13);
  constexpr double nearly_straight = 0.001;
  if (!(std::fabs(sine) > nearly_straight)) {
    warn("WARNING: the microphones stand in a line: directions are ambiguous\n");
  } else if (sine < 0) {
    warn("WARNING: microphones 1, 2, 3 go clockwise: azimuths are turned by 180 degrees\n");
  }
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
void begin_run(LoadedSeries& loaded, const std::string& path, const KorLa::Korla_Base& file) {
  loaded.first_path = path;
  loaded.station = KorLa::station_names.at(file.header.station);
  loaded.start_time = file.times.empty() ? file.start_time() : file.times.front();
  if (is_usable(file.header.sampling_frequency)) {
    loaded.sampling_frequency = file.header.sampling_frequency;
    loaded.max_lag = choose_max_lag(loaded.sampling_frequency);
  }
}

/// Says what does not fit between the run so far and its next file.
void check_continuation(const LoadedSeries& loaded, const std::string& path,
                        const KorLa::Korla_Base& file) {
  constexpr double longest_gap = 5.0;
  if (!loaded.times.empty() && !file.times.empty()) {
    const double gap = file.times.front() - (loaded.times.back() + 1 / loaded.sampling_frequency);
    if (gap > longest_gap) {
      warn("\nWARNING: hole in data {} seconds\n\n", gap);
    }
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
        fmt::format("{} has too few channels ({}), 3 are needed\n", path, n_channels));
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
      warn("WARNING: can't read {}, skipping it\n", path);
      continue;
    }
    read_array(path);
    if (loaded.first_path.empty()) {
      begin_run(loaded, path, *file);
    } else {
      check_continuation(loaded, path, *file);
    }
    append_file(loaded, path, *file);
  }
  if (!(loaded.sampling_frequency > 0)) {
    fail("Can't determine sample frequency\n");
  }
  return loaded;
}

}  // namespace tavrik
