// Joining the groups of a 16-bit file.

#include "korla/korla16.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "korla/calendar.h"
#include "korla/file_warnings.h"
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

std::uint8_t find_station(const StationFile& file, const FileWarnings& warnings) {
  const std::string& name = file.comment.station_name;
  if (!name.empty()) {
    if (!station_numbers.contains(name)) {
      warnings.say(fmt::format("no station is called \"{}\"", name));
    }
    return station_numbers.at(name).number;
  }
  if (file.path_date && file.path_date->station) {
    return *file.path_date->station;
  }
  return unknown_station;
}

/// Scale of the samples at an amplifier gain.
double find_scale(int gain, const FileWarnings& warnings) {
  const std::size_t index = static_cast<std::size_t>(gain) - 1;
  if (index >= gain_scales.size()) {
    warnings.say(fmt::format("gain {} is not one of 1 to {}", gain, gain_scales.size()));
  }
  return gain_scales.at(index);
}

/// What a file's groups say about its times.
struct GroupTimes {
  SampleTimes times;
  std::optional<std::int64_t> first_stamp;  ///< nothing where no stamp can be believed
  bool late_start = false;                  ///< groups before the first one were left out
  std::size_t n_groups = 0;
  std::size_t n_agreeing = 0;     ///< groups whose channels are of one time
  std::size_t first_back = 0;     ///< number of the first group whose time goes back; 0: none
  std::size_t first_differs = 0;  ///< as above, whose channels' times differ
};

/// Takes the time of a group that begins at sample `index`. Stamps that differ show no gap: nothing
/// tells which of them is right.
void take_time(const KORLA& reader, const BlockGroup& group, std::size_t index, GroupTimes& found) {
  const bool marked = (group.after_mark || group.after_loss) && index > 0;
  ++found.n_groups;
  if (!reader.has_stamps()) {
    if (marked) {
      found.times.add_mark();
    }
    return;
  }
  if (index == 0) {
    found.first_stamp = group.time;
    found.late_start = group.after_loss;
  }
  if (group.stamps_differ) {
    found.first_differs = found.first_differs == 0 ? found.n_groups : found.first_differs;
    return;
  }
  ++found.n_agreeing;
  found.times.add_piece(index, static_cast<double>(group.time), marked);
  if (found.times.went_back() && found.first_back == 0) {
    found.first_back = found.n_groups;
  }
}

/// Says what is odd about the groups' times. Where no group has one time, the bytes that were taken
/// for stamps are something else.
void judge_times(KORLA& reader, GroupTimes& found) {
  const FileWarnings& warnings = reader.warnings();
  if (reader.is_binary() && found.n_groups > 1 && found.first_differs != 0 &&
      found.n_agreeing == 0) {
    warnings.say(
        "the channels' times differ in every group, the layout looks wrong; times count "
        "on from the start");
    found.first_stamp.reset();
    return;
  }
  if (found.first_back != 0) {
    warnings.say(fmt::format("the time goes back at group {}, samples count on", found.first_back));
  }
  if (found.first_differs != 0) {
    const std::size_t more = found.n_groups - found.n_agreeing - 1;
    warnings.say(fmt::format("the channels' times differ in group {}{}", found.first_differs,
                             more > 0 ? fmt::format(" and {} more", more) : ""));
  }
}

/// Reads all groups into the channels' samples, and says what is wrong with them.
GroupTimes read_groups(KORLA& reader, std::vector<std::vector<std::int32_t>>& samples) {
  GroupTimes found{.times = SampleTimes(reader.station_file().comment.frequency, block_tolerance),
                   .first_stamp = std::nullopt};
  BlockGroup group;
  while (reader.read_record(group) != -1) {
    take_time(reader, group, samples[0].size(), found);
    for (std::size_t c = 0; c < samples.size(); ++c) {
      samples[c].insert(samples[c].end(), group.samples[c].begin(), group.samples[c].end());
    }
  }
  reader.warnings().sum_up();
  judge_times(reader, found);
  if (reader.ended_in_group()) {
    reader.warnings().say(
        fmt::format("group {} is incomplete or damaged, samples end there", found.n_groups + 1));
  }
  return found;
}

/// Warns where the comment's time is not that of the first block. Which day a stamp is of is known
/// from the comment itself, so that only the times of day are compared.
void compare_starts(const FileWarnings& warnings, std::int64_t comment, std::int64_t first_stamp) {
  constexpr std::int64_t tolerance = 2;
  const std::int64_t later = time_of_day(first_stamp - comment);
  if (std::min(later, seconds_per_day - later) > tolerance) {
    warnings.say(fmt::format("the comment says {}, the first block {}; the comment's time is taken",
                             clock_text(comment), clock_text(first_stamp)));
  }
}

/// Warns of a file whose day is not known.
void judge_day(KORLA& reader, bool has_stamp) {
  if (!reader.station_file().day && !(has_stamp && reader.absolute_stamps())) {
    reader.warnings().say("neither comment nor path has a date, times count from 1970");
  }
}

/// Start of the series: the comment's date and time; else the first block's time, unless the path
/// names an hour that it is not in; else the hour in the path; else what is known of the day. The
/// comment's time is that of a first block which may have been left out.
double find_start(KORLA& reader, const GroupTimes& found) {
  const StationFile& file = reader.station_file();
  const std::optional<std::int64_t>& first_stamp = found.first_stamp;
  judge_day(reader, first_stamp.has_value());
  if (file.comment.record_time && !(found.late_start && first_stamp)) {
    if (first_stamp && found.first_differs != 1) {
      compare_starts(reader.warnings(), *file.comment.record_time, *first_stamp);
    }
    return static_cast<double>(*file.comment.record_time);
  }
  if (file.path_date) {
    const std::int64_t hour = file.path_date->time;
    const bool fits = first_stamp && *first_stamp >= hour && *first_stamp < hour + seconds_per_hour;
    return static_cast<double>(fits ? *first_stamp : hour);
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

void KORLA16::preset(KORLA& reader) {
  const StationFile& file = reader.station_file();
  header.magic = {'k', 'o', '2', '4'};
  header.version = 1;
  header.station = find_station(file, reader.warnings());
  header.n_channels = 3;
  header.sample_code = 7;
  header.bits_per_sample = 16;
  header.bytes_per_sample = 2;
  header.sampling_frequency = file.comment.frequency;
  const double scale = find_scale(file.comment.gain, reader.warnings());
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
  const GroupTimes found = read_groups(*reader, samples);
  report_gaps(found.times.gaps());

  double start = find_start(*reader, found);
  if (negtime) {
    start -= static_cast<double>(reader->midnights()) * seconds_per_day;
  }
  start = decide_start(header, start, reader->station_file().path_date.has_value(), name_time);
  times = found.times.times(start, samples[0].size());
}

int KORLA16::format_id() const {
  return 2;
}

}  // namespace KorLa
