// The road of a conversion: read, choose, merge, align, number, scale, write.

#include "tools/conversion.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "korla/messages.h"
#include "tools/channel_names.h"
#include "tools/common_time.h"
#include "tools/counts.h"
#include "tools/local_positions.h"
#include "tools/merge_traces.h"
#include "tools/recording.h"
#include "tools/trace_file.h"
#include "tools/whole_files.h"

namespace traces {

namespace {

constexpr int ko24_version = 1;

std::vector<Trace> read_all(const std::vector<std::string>& paths) {
  std::vector<Trace> all;
  for (const std::string& path : paths) {
    std::vector<Trace> traces = read_traces(path);
    std::ranges::move(traces, std::back_inserter(all));
  }
  return all;
}

/// The channels as they are numbered, and where their microphones stand.
struct Array {
  ThreeNames names;
  ThreeChannels channels;
  std::array<Place, 3> places;
  recording::Positions positions;
  bool was_clockwise = false;
};

/// The places by the table, or without one by the files.
void find_places(Array& array, const std::vector<Trace>& traces, const std::string& table) {
  const auto stations = table.empty() ? std::vector<StationPlace>() : read_stations(table);
  for (std::size_t c = 0; c < array.names.size(); ++c) {
    const Name& name = array.names.at(c);
    const auto place = table.empty() ? place_of(traces, name) : place_of(stations, name);
    if (!place) {
      throw std::runtime_error(
          fmt::format("{}: no latitude and longitude of {}, --stations may name them",
                      std::ranges::find(traces, name, &Trace::name)->file, text_of(name)));
    }
    array.places.at(c) = *place;
  }
}

void compute_positions(Array& array) {
  try {
    array.positions = local_positions(array.places);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(
        fmt::format("{}: {}", array.channels[0].pieces.front().file, error.what()));
  }
}

/// Numbers the microphones counter-clockwise, as the analysis takes them for granted.
void number_counter_clockwise(Array& array) {
  array.was_clockwise = !go_counter_clockwise(array.positions);
  if (array.was_clockwise) {
    std::swap(array.names[1], array.names[2]);
    std::swap(array.channels[1], array.channels[2]);
    std::swap(array.places[1], array.places[2]);
    std::swap(array.positions[1], array.positions[2]);
  }
}

Array build_array(const Conversion& conversion) {
  std::vector<Trace> traces = read_all(conversion.inputs);
  Array array;
  array.names = choose_channels(traces, conversion.channels);
  find_places(array, traces, conversion.stations);
  for (std::size_t c = 0; c < array.names.size(); ++c) {
    array.channels.at(c) = merge_channel(traces, array.names.at(c));
  }
  compute_positions(array);
  number_counter_clockwise(array);
  return array;
}

void refuse_gap(const Span& span, const Span& next) {
  const Gap gap = gap_between(span, next);
  const std::int64_t from = time_of(*gap.before, gap.before->samples.size());
  throw std::runtime_error(fmt::format(
      "{}: {} has a gap of {:.3f} s before its samples of {}; --gaps=split writes a file "
      "for each part",
      gap.after->file, text_of(gap.after->name), static_cast<double>(gap.after->start - from) / 1e6,
      time_text(gap.after->start)));
}

/// The name of a part's file: that of the output, with the part's number if there are several.
std::string part_path(const std::string& output, std::size_t part, std::size_t parts) {
  if (parts == 1) {
    return output;
  }
  const std::filesystem::path path(output);
  const std::string name =
      fmt::format("{}-{}{}", path.stem().string(), part + 1, path.extension().string());
  return (path.parent_path() / name).string();
}

std::string coordinate_path(const std::string& path) {
  return std::filesystem::path(path).replace_extension("coords").string();
}

std::int64_t start_of(const Span& span) {
  return time_of(*span.pieces[0], span.first[0]);
}

std::string ko24_of(const std::string& path, const Span& span, const Conversion& conversion,
                    double scale) {
  recording::Recording recording;
  recording.sampling_frequency = span.pieces[0]->frequency;
  recording.start = static_cast<double>(start_of(span)) / 1e6;
  recording.station = conversion.station;
  std::ranges::move(to_counts(span, scale), std::back_inserter(recording.samples));
  return recording::compose_ko24(path, recording, ko24_version);
}

// ---- The report

std::string describe(const Array& array) {
  std::string text;
  for (std::size_t c = 0; c < array.names.size(); ++c) {
    const recording::Position& position = array.positions.at(c);
    text += fmt::format("Microphone {}: {}, {:.3f} m east, {:.3f} m north\n", c + 1,
                        text_of(array.names.at(c)), position.x, position.y);
  }
  text += fmt::format("The origin is at latitude {}, longitude {}\n", array.places[0].latitude,
                      array.places[0].longitude);
  text += array.was_clockwise
              ? "Channels 2 and 3 changed places: the microphones go counter-clockwise now\n"
              : "The microphones go counter-clockwise\n";
  return text;
}

std::string describe_scale(double scale) {
  return scale == 1.0 ? "Samples are counts as they were\n"
                      : fmt::format("Scale: {} counts for 1 of the files' unit (--scale={})\n",
                                    scale, scale);
}

std::string describe(const std::string& path, const Span& span) {
  std::string text = KorLa::compose("{}: {} samples of {} Hz from {}\n", path, span.count,
                                    span.pieces[0]->frequency, time_text(start_of(span)));
  for (std::size_t c = 1; c < span.pieces.size(); ++c) {
    // Less than this is the clock's and the header's rounding.
    if (std::fabs(span.shift.at(c)) > 0.001) {
      text += fmt::format("Channel {} is {:.3f} samples later than channel 1, taken as none\n",
                          c + 1, span.shift.at(c));
    }
  }
  return text;
}

}  // namespace

std::string convert(const Conversion& conversion) {
  if (coordinate_path(conversion.output) == conversion.output) {
    throw std::runtime_error(conversion.output + ": this is the coordinate file's name");
  }
  const Array array = build_array(conversion);
  const std::vector<Span> spans = common_spans(array.channels);
  if (spans.size() > 1 && !conversion.split_at_gaps) {
    refuse_gap(spans[0], spans[1]);
  }
  const double scale = conversion.scale ? *conversion.scale : choose_scale(spans);
  std::string report = describe(array) + describe_scale(scale);
  std::vector<WholeFile> files;
  for (std::size_t i = 0; i < spans.size(); ++i) {
    const std::string path = part_path(conversion.output, i, spans.size());
    // The coordinates first: a ko24 file without them would be analysed with others.
    files.push_back({coordinate_path(path), recording::compose_coordinates(array.positions)});
    files.push_back({path, ko24_of(path, spans[i], conversion, scale)});
    report += describe(path, spans[i]);
  }
  std::vector<std::string> inputs = conversion.inputs;
  inputs.push_back(conversion.stations);
  write_whole_files(files, inputs);
  return report;
}

}  // namespace traces
