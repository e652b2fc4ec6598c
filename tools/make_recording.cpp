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

#include "tools/recording.h"

namespace {

constexpr const char* usage = R"(Usage: make_recording [options] FILE
Writes FILE, a ko24 recording of plane waves and wind noise by three microphones, and
the coordinate file that belongs to it, FILE with the extension .coords.

  --rate=HZ        samples per second (18)
  --duration=S     length in seconds (3600)
  --start=UNIX     start, seconds since 1970 UTC (1456812000: 06:00 on 1 March 2016)
  --station=N      station number, 0 to 255 (254)
  --noise=RMS      wind noise at each microphone in counts (200)
  --seed=N         another number, another noise and other wave forms (1)
  --version=N      version of the ko24 file, 0 to 2 (1)
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
  int version = 1;
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

constexpr std::array<option, 13> options = {{
    {"rate", required_argument, nullptr, 'r'},
    {"duration", required_argument, nullptr, 'd'},
    {"start", required_argument, nullptr, 't'},
    {"station", required_argument, nullptr, 's'},
    {"noise", required_argument, nullptr, 'n'},
    {"seed", required_argument, nullptr, 'e'},
    {"version", required_argument, nullptr, 'v'},
    {"marks", optional_argument, nullptr, 'm'},
    {"wave", required_argument, nullptr, 'w'},
    {"microphones", required_argument, nullptr, 'p'},
    {"demo", no_argument, nullptr, 'D'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
}};

void apply(int letter, const Value& value, Request& request) {
  constexpr double day = 86400.0;
  constexpr double largest = 1e7;  // more than 24 bits hold
  recording::Scene& scene = request.scene;
  switch (letter) {
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
      break;
    case 'n':
      scene.noise = number_between(value, 0.0, largest);
      break;
    case 'e':
      scene.seed =
          number_between<std::uint64_t>(value, 0, std::numeric_limits<std::uint64_t>::max());
      break;
    case 'v':
      request.version = number_between(value, 0, 2);
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
  check(request);
  return request;
}

void write_files(const Request& request) {
  const std::string coordinates =
      std::filesystem::path(request.path).replace_extension("coords").string();
  if (coordinates == request.path) {
    throw std::runtime_error(fmt::format("{} is the coordinate file's name", request.path));
  }
  recording::write_ko24(request.path, recording::compute_recording(request.scene), request.version);
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
