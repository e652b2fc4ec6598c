// From data files to one joined series: reading, coordinates, the lag range, holes between files.

#include <boost/filesystem/path.hpp>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "korla/korla_base.h"
#include "korla/stations.h"

#include "src/analysis.h"
#include "src/console.h"
#include "src/correlation.h"
#include "src/geometry.h"
#include "src/process.h"
#include "src/progress.h"
#include "src/result_stream.h"
#include "src/settings.h"

namespace tavrik {

namespace {

using Record = std::unique_ptr<KorLa::Korla_Base>;

constexpr std::size_t used_channels = 3;

/// Settles where the microphones of a data file stand, and says what is unusual about it.
void settle_coordinates(const std::string& data_path) {
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
  const double sine = signed_area(array_geometry.pos) / (base.d12 * base.d13);
  constexpr double nearly_straight = 0.001;
  if (!(std::fabs(sine) > nearly_straight)) {
    warn("WARNING: the microphones stand in a line: directions are ambiguous\n");
  } else if (sine < 0) {
    warn("WARNING: microphones 1, 2, 3 go clockwise: azimuths are turned by 180 degrees\n");
  }
}

/// Derives the lag range from the sampling frequency, unless --maxdelay gave one.
void settle_lags(double frequency) {
  if (!settings.maxdelay_auto) {
    set_maxdelay(settings.maxdelay);
    return;
  }
  constexpr double usual = 16.0;
  constexpr double usual_frequency = 18.0;
  constexpr double most = 65535.0;
  const double max_lag = std::floor(frequency * usual / usual_frequency + 0.5);
  if (!(max_lag >= 1.0 && max_lag <= most)) {
    fail("Error: maxdelay out of range 2 < {} < {}\n", max_lag, 255);
  }
  info("Setting maxdelay to {}. Default was {}.\n", max_lag, usual);
  set_maxdelay(static_cast<std::size_t>(max_lag));
}

bool is_usable(double frequency) {
  return frequency > 0 && std::isfinite(frequency);
}

/// Takes what the run knows of its first file from it.
void begin_run(JoinedSeries& joined, const std::string& path, const KorLa::Korla_Base& record) {
  joined.first_path = path;
  joined.station = KorLa::station_names.at(record.header.station);
  joined.start_time = record.times.empty() ? record.start_time() : record.times.front();
  if (is_usable(record.header.sampling_frequency)) {
    joined.sampling_frequency = record.header.sampling_frequency;
    settle_lags(joined.sampling_frequency);
  }
}

/// Says what does not fit between the run so far and its next file.
void check_continuation(const JoinedSeries& joined, const std::string& path,
                        const KorLa::Korla_Base& record) {
  constexpr double longest_gap = 5.0;
  if (!joined.times.empty() && !record.times.empty()) {
    const double gap = record.times.front() - (joined.times.back() + 1 / joined.sampling_frequency);
    if (gap > longest_gap) {
      warn("\nWARNING: hole in data {} seconds\n\n", gap);
    }
  }
  const double frequency = record.header.sampling_frequency;
  if (joined.sampling_frequency > 0 && frequency != joined.sampling_frequency) {
    warn("WARNING: {} has {} samples/s, the run has {}\n", path, frequency,
         joined.sampling_frequency);
  }
}

/// Moves values behind those that are there, and gives the source's memory back.
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

void append_record(JoinedSeries& joined, const std::string& path, KorLa::Korla_Base& record) {
  const std::size_t n_channels = record.channels.size();
  if (n_channels < used_channels) {
    throw std::runtime_error(
        fmt::format("{} has too few channels ({}), 3 are needed\n", path, n_channels));
  }
  if (n_channels > used_channels) {
    warn("WARNING: More than 3 channels ({}). Using channels 0, 1 & 2\n", n_channels);
  }
  const std::size_t count = record.times.size();
  for (std::size_t c = 0; c < used_channels; ++c) {
    append(joined.samples[c], record.samples[c], count);
  }
  append(joined.times, record.times, count);
}

}  // namespace

JoinedSeries gather(const std::vector<std::string>& files) {
  JoinedSeries joined;
  Progress progress("reading");
  for (const std::string& path : files) {
    joined.ended_early = end_is_wanted();
    if (joined.ended_early) {
      return joined;
    }
    progress.show(static_cast<std::size_t>(&path - files.data()), files.size());
    const ReadingFile reading(path);
    protect_input(path);
    const Record record = KorLa::open_series(path, 0.0, true);
    if (!record) {
      warn("WARNING: can't read {}, skipping it\n", path);
      continue;
    }
    settle_coordinates(path);
    if (joined.first_path.empty()) {
      begin_run(joined, path, *record);
    } else {
      check_continuation(joined, path, *record);
    }
    append_record(joined, path, *record);
  }
  if (!(joined.sampling_frequency > 0)) {
    fail("Can't determine sample frequency\n");
  }
  return joined;
}

}  // namespace tavrik
