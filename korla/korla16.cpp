// Joining the groups of a 16-bit file.

#include "korla/korla16.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

#include "korla/calendar.h"
#include "korla/korla.h"
#include "korla/messages.h"
#include "korla/sample_times.h"
#include "korla/stations.h"

namespace KorLa {

namespace {

/// Seconds that a block may be late without a gap: stamps are whole seconds.
constexpr double block_tolerance = 2.0;

/// Scale of the samples by amplifier gain, 1 to 4.
constexpr std::array<double, 4> gain_scales = {10.0, 20.0, 30.0, 40.0};

std::uint8_t find_station(const StationFile& file) {
  if (!file.comment.station_name.empty()) {
    return station_numbers.at(file.comment.station_name).number;
  }
  if (file.path_date && file.path_date->station) {
    return *file.path_date->station;
  }
  return unknown_station;
}

/// Says what is odd about the groups' times, each thing once for a file.
class TimeWarnings {
 public:
  explicit TimeWarnings(const std::string& path) : path_(path) {}

  void check(std::size_t number, bool went_back, bool stamps_differ) {
    if (went_back && !said_back_) {
      write_message(fmt::format("WARNING: {}: the time goes back at group {}, samples count on\n",
                                path_, number));
      said_back_ = true;
    }
    if (stamps_differ && !said_differ_) {
      write_message(
          fmt::format("WARNING: {}: the channels' times differ in group {}\n", path_, number));
      said_differ_ = true;
    }
  }

 private:
  const std::string& path_;
  bool said_back_ = false;
  bool said_differ_ = false;
};

/// Reads all groups into the channels' samples, says what is wrong with them, and returns the times
/// that their stamps give. first_stamp: of the first group; left alone if there is no group.
SampleTimes read_groups(KORLA& reader, std::vector<std::vector<std::int32_t>>& samples,
                        std::int64_t& first_stamp) {
  const StationFile& file = reader.station_file();
  SampleTimes times(file.comment.frequency, block_tolerance);
  TimeWarnings warnings(file.path);
  BlockGroup group;
  std::size_t number = 1;
  for (; reader.read_record(group) != -1; ++number) {
    const std::size_t index = samples[0].size();
    first_stamp = index == 0 ? group.time : first_stamp;
    const bool marked = group.after_mark && index > 0;
    if (reader.has_stamps()) {
      times.add_piece(index, static_cast<double>(group.time), marked);
    } else if (marked) {
      times.add_mark();
    }
    warnings.check(number, times.went_back(), group.stamps_differ);
    for (std::size_t c = 0; c < samples.size(); ++c) {
      samples[c].insert(samples[c].end(), group.samples[c].begin(), group.samples[c].end());
    }
  }
  if (reader.ended_in_group()) {
    write_message(fmt::format("WARNING: {}: group {} is incomplete or damaged, samples end there\n",
                              file.path, number));
  }
  return times;
}

/// Start of the series: the comment's date and time; else the first block's time, unless the path
/// names an hour that it is not in; else the hour in the path; else what is known of the day.
double find_start(const KORLA& reader, std::optional<std::int64_t> first_stamp) {
  const StationFile& file = reader.station_file();
  const Comment& comment = file.comment;
  if (comment.record_time) {
    return static_cast<double>(*comment.record_time);
  }
  if (file.path_date) {
    const std::int64_t hour = file.path_date->time;
    const bool fits = first_stamp && *first_stamp >= hour && *first_stamp < hour + seconds_per_hour;
    return static_cast<double>(fits ? *first_stamp : hour);
  }
  if (!file.day && !(first_stamp && comment.u_flag && reader.is_binary())) {
    write_message(fmt::format(
        "WARNING: {}: neither comment nor path has a date, times count from 1970\n", file.path));
  }
  return static_cast<double>(first_stamp.value_or(file.day.value_or(0)));
}

}  // namespace

double decide_start(SeriesHeader& header, double start, bool from_path, double name_time) {
  const bool from_name = name_time != 0 && std::fabs(name_time - start) < 2.0;
  if (from_name) {
    start = name_time;
  }
  constexpr double most = std::numeric_limits<std::uint32_t>::max();
  const double whole = std::floor(std::clamp(start, 0.0, most));
  header.start_sec = static_cast<std::uint32_t>(whole);
  header.start_nsec = static_cast<std::uint32_t>(std::clamp(start - whole, 0.0, 1.0) * 1e9);
  if (from_path || from_name) {
    std::memcpy(header.extra_time.data(), &header.start_sec, sizeof header.start_sec);
  }
  return start;
}

void report_gaps(std::size_t gaps) {
  if (gaps == 1) {
    write_message("TIMEGAP in data\n");
  } else if (gaps > 1) {
    write_message("Warning: TIMEGAPs in data\n");
  }
}

void KORLA16::preset(const KORLA& reader) {
  const StationFile& file = reader.station_file();
  header.magic = {'k', 'o', '2', '4'};
  header.version = 1;
  header.station = find_station(file);
  header.n_channels = 3;
  header.sample_code = 7;
  header.bits_per_sample = 16;
  header.bytes_per_sample = 2;
  header.sampling_frequency = file.comment.frequency;
  const double scale = gain_scales.at(static_cast<std::size_t>(file.comment.gain) - 1);
  channels.resize(header.n_channels);
  for (std::size_t c = 0; c < channels.size(); ++c) {
    channels[c] = {{'c', 'h', 'a', 'n'}, static_cast<std::uint16_t>(c), 1, -10.0, 10.0, scale};
  }
  samples.resize(header.n_channels);
  for (std::vector<std::int32_t>& channel : samples) {
    channel.reserve(reader.most_samples());
  }
}

KORLA16::KORLA16(const std::string& path, double name_time) {
  const auto reader = open_station_file(path, name_time, true);
  preset(*reader);
  std::int64_t first_stamp = 0;
  const SampleTimes stamps = read_groups(*reader, samples, first_stamp);
  report_gaps(stamps.gaps());

  const bool stamped = reader->has_stamps() && !samples[0].empty();
  double start = find_start(*reader, stamped ? std::optional(first_stamp) : std::nullopt);
  if (negtime && reader->straddles_midnight()) {
    start -= seconds_per_day;
  }
  start = decide_start(header, start, reader->station_file().path_date.has_value(), name_time);
  times = stamps.times(start, samples[0].size());
}

int KORLA16::format_id() const {
  return 2;
}

}  // namespace KorLa
