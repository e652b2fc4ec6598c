// Writes an example recording as a station file, with the coordinate file that belongs to it.

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <getopt.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "korla/calendar.h"
#include "tools/recording.h"
#include "tools/write_recording.h"

namespace {

constexpr const char* usage = R"(Usage: make_recording [options] FILE
Writes FILE, a recording of plane waves and wind noise by three microphones, and the
coordinate file that belongs to it, FILE with the extension .coords.

  --format=NAME    station format (ko24-1): ko24-0 ko24-1 ko24-2 text text-crlf
                   text-form1 text-form2 binary binary-plain binary-u tm4;
                   text-form1 and -form2 have no date and station, binary-plain is at
                   18 Hz without any times; 16-bit samples in all but ko24 and tm4
  --block=N        samples in a block of text and binary files, 128 or 512 (512 where
                   the comment line can say so, else 128); the last is left out if not full
  --gap=START,LENGTH
                   leave out the samples of so many seconds; not in ko24 and binary-plain

  --rate=HZ        samples per second (18)
  --duration=S     length in seconds (3600)
  --start=UNIX     start, seconds since 1970 UTC (1456812000: 06:00 on 1 March 2016)
  --station=N      station number, 0 to 255 (254; 0 in formats that write its name)
  --noise=RMS      wind noise at each microphone in counts (200)
  --seed=N         another number, another noise and other wave forms (1)
  --marks[=S]      add a channel of time marks, by a clock that is S seconds ahead (0)
  --wave=AZIMUTH,VELOCITY,START,LENGTH,LOW,HIGH,AMPLITUDE[,TURN]
                   add a plane wave: degrees it comes from, m/s, seconds, seconds, band
                   in Hz, RMS in counts, degrees per second that it turns; repeatable
  --microphones=X1,Y1,X2,Y2,X3,Y3
                   metres to the east and north (0,0,-75,0,0,-75)
  --demo           add the waves of an ordinary morning: a passing event and an arrival
  --help           this text
)";

struct Request {
  recording::Scene scene;
  recording::Storage storage;
  bool has_station = false;
  std::string path;
  bool help = false;
};

/// An option's value, known by the name that error messages give it.
struct Value {
  std::string option;
  std::string_view text;
};

[[noreturn]] void refuse(const Value& value, const std::string& wanted) {
  throw std::runtime_error(fmt::format("--{}={}: {}", value.option, value.text, wanted));
}

/// The whole of `text` as a number. False for anything else, values out of the type's range, nan
/// and inf included.
template <class Number>
bool parse(std::string_view text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end && std::isfinite(static_cast<double>(number));
}

template <class Number>
Number number_between(const Value& value, Number low, Number high) {
  Number number{};
  if (!parse(value.text, number) || number < low || number > high) {
    refuse(value, fmt::format("needs a {} from {} to {}",
                              std::is_integral_v<Number> ? "whole number" : "number", low, high));
  }
  return number;
}

/// A list of numbers that are separated by commas, none of them beyond all sense.
std::vector<double> numbers(const Value& value) {
  constexpr double largest = 1e9;
  std::vector<double> list;
  std::size_t start = 0;
  while (start <= value.text.size()) {
    const std::size_t end = std::min(value.text.find(',', start), value.text.size());
    const std::string_view field = value.text.substr(start, end - start);
    if (!parse(field, list.emplace_back()) || std::fabs(list.back()) > largest) {
      refuse(value, fmt::format("\"{}\" is not a number up to {}", field, largest));
    }
    start = end + 1;
  }
  return list;
}

recording::PlaneWave wave(const Value& value) {
  const std::vector<double> list = numbers(value);
  if (list.size() != 7 && list.size() != 8) {
    refuse(value, fmt::format("needs 7 or 8 numbers, not {}", list.size()));
  }
  const recording::PlaneWave result{.azimuth = list[0],
                                    .turn = list.size() == 8 ? list[7] : 0.0,
                                    .velocity = list[1],
                                    .start = list[2],
                                    .length = list[3],
                                    .low = list[4],
                                    .high = list[5],
                                    .amplitude = list[6]};
  if (result.velocity <= 0.0 || result.length <= 0.0) {
    refuse(value, "velocity and length must be above 0");
  }
  if (result.low < 0.0 || result.high < result.low) {
    refuse(value, "the band must go from 0 Hz or more to as much or more");
  }
  return result;
}

recording::Positions microphones(const Value& value) {
  const std::vector<double> list = numbers(value);
  if (list.size() != 6) {
    refuse(value, fmt::format("needs 6 numbers, not {}", list.size()));
  }
  return {{{list[0], list[1]}, {list[2], list[3]}, {list[4], list[5]}}};
}

recording::Gap gap(const Value& value) {
  const std::vector<double> list = numbers(value);
  if (list.size() != 2 || list[0] < 0.0 || list[1] < 0.0) {
    refuse(value, "needs a start and a length in seconds");
  }
  return {list[0], list[1]};
}

recording::Format format(const Value& value) {
  const auto found = recording::find_format(value.text);
  if (!found) {
    refuse(value, "needs one of " + recording::format_names());
  }
  return *found;
}

constexpr std::array<option, 15> options = {{
    {"format", required_argument, nullptr, 'f'},
    {"block", required_argument, nullptr, 'b'},
    {"gap", required_argument, nullptr, 'g'},
    {"rate", required_argument, nullptr, 'r'},
    {"duration", required_argument, nullptr, 'd'},
    {"start", required_argument, nullptr, 't'},
    {"station", required_argument, nullptr, 's'},
    {"noise", required_argument, nullptr, 'n'},
    {"seed", required_argument, nullptr, 'e'},
    {"marks", optional_argument, nullptr, 'm'},
    {"wave", required_argument, nullptr, 'w'},
    {"microphones", required_argument, nullptr, 'p'},
    {"demo", no_argument, nullptr, 'D'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
}};

void apply(int letter, const Value& value, Request& request) {
  constexpr double day = KorLa::seconds_per_day;
  constexpr double largest = 1e7;  // more than 24 bits hold
  recording::Scene& scene = request.scene;
  switch (letter) {
    case 'f':
      request.storage.format = format(value);
      break;
    case 'b':
      request.storage.block_length = number_between<std::size_t>(value, 128, 512);
      break;
    case 'g':
      request.storage.gap = gap(value);
      break;
    case 'r':
      scene.sampling_frequency = number_between(value, 0.01, 1e5);
      break;
    case 'd':
      scene.length = number_between(value, 0.0, 366 * day);
      break;
    case 't':
      scene.start = number_between(value, 0.0, 4294967294.0);
      break;
    case 's':
      scene.station = number_between<std::uint8_t>(value, 0, 255);
      request.has_station = true;
      break;
    case 'n':
      scene.noise = number_between(value, 0.0, largest);
      break;
    case 'e':
      scene.seed =
          number_between<std::uint64_t>(value, 0, std::numeric_limits<std::uint64_t>::max());
      break;
    case 'm':
      scene.clock_error = value.text.empty() ? 0.0 : number_between(value, -day, day);
      break;
    case 'w':
      scene.waves.push_back(wave(value));
      break;
    case 'p':
      scene.microphones = microphones(value);
      break;
    case 'D':
      for (const recording::PlaneWave& demo_wave : recording::demo_waves()) {
        scene.waves.push_back(demo_wave);
      }
      break;
    case 'h':
      request.help = true;
      break;
    default:
      throw std::runtime_error("try --help");
  }
}

/// What can only be judged when all options are known.
void check(const Request& request) {
  constexpr double most_samples = 1e8;
  const recording::Scene& scene = request.scene;
  const double nyquist = scene.sampling_frequency / 2.0;
  if (scene.length * scene.sampling_frequency > most_samples) {
    throw std::runtime_error("--duration, --rate: more than 100 million samples");
  }
  for (const recording::PlaneWave& each : scene.waves) {
    if (each.high >= nyquist) {
      throw std::runtime_error(fmt::format(
          "--wave: {} Hz is not below half the sampling frequency, {} Hz", each.high, nyquist));
    }
  }
}

Request parse_command_line(int argc, char** argv) {
  Request request;
  int letter = 0;
  int index = 0;
  while ((letter = getopt_long(argc, argv, "", options.data(), &index)) != -1) {
    const char* text = optarg != nullptr ? optarg : "";
    apply(letter, {options.at(static_cast<std::size_t>(index)).name, text}, request);
  }
  if (request.help) {
    return request;
  }
  if (argc - optind != 1) {
    throw std::runtime_error("one FILE is needed, try --help");
  }
  request.path = argv[optind];
  if (!request.has_station && recording::has_full_comment(request.storage.format)) {
    request.scene.station = 0;
  }
  check(request);
  return request;
}

void write_files(const Request& request) {
  const std::string coordinates =
      std::filesystem::path(request.path).replace_extension("coords").string();
  if (coordinates == request.path) {
    throw std::runtime_error(fmt::format("{} is the coordinate file's name", request.path));
  }
  recording::write_recording(request.path, recording::compute_recording(request.scene),
                             request.storage);
  recording::write_coordinates(coordinates, request.scene.microphones);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const Request request = parse_command_line(argc, argv);
    if (request.help) {
      fmt::print("{}", usage);
      return 0;
    }
    write_files(request);
  } catch (const std::exception& error) {
    fmt::print(stderr, "make_recording: {}\n", error.what());
    return 1;
  }
  return 0;
}
