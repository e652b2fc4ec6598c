// Converts recordings of other systems: the command line.

#include <array>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fmt/format.h>
#include <getopt.h>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "korla/messages.h"
#include "korla/stations.h"
#include "tools/channel_names.h"
#include "tools/conversion.h"

namespace {

constexpr const char* usage = R"(Usage: import_recording [options] -o FILE INPUT...
Writes FILE, a ko24 file of three channels, and the coordinate file that belongs to it, FILE with
the extension .coords, from miniSEED (version 2) and SAC files: one or several for each channel.

  -o, --output=FILE    the ko24 file; replaced if it is there
  --channels=A,B,C     the channels: NET.STA.LOC.CHA, or without some of these parts but STA
                       (all if they are three, else those of the first three stations)
  --stations=FILE      places: lines of station,latitude,longitude in degrees
                       (those of the SAC headers)
  --gaps=refuse|split  what to do with gaps: an error (refuse), or a file for each part, with
                       -1, -2, ... before the extension
  --scale=N            counts for 1 of the files' unit (1 if all samples are whole numbers of 24
                       bits, else a power of ten by which the largest one just fits)
  --station=N          station number in the ko24 file, one that has a name (255: unknown)
  --help               this text
  --version            the version
)";

enum class Task { convert, show_usage, show_version };

struct Request {
  Task task = Task::convert;
  traces::Conversion conversion;
};

[[noreturn]] void refuse(std::string_view option, std::string_view value, std::string_view wanted) {
  throw std::runtime_error(fmt::format("--{}={}: needs {}", option, value, wanted));
}

/// The whole of `text` as a number; false for anything else.
template <class Number>
bool parse(std::string_view text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

std::vector<std::string> channels(std::string_view text) {
  std::vector<std::string> names = traces::parts_of(text, ',');
  if (names.size() != 3) {
    refuse("channels", text, "three names, separated by commas");
  }
  return names;
}

bool is_split(std::string_view text) {
  if (text != "split" && text != "refuse") {
    refuse("gaps", text, "refuse or split");
  }
  return text == "split";
}

double scale(std::string_view text) {
  double value = 0.0;
  if (!parse(text, value) || !std::isfinite(value) || value <= 0.0) {
    refuse("scale", text, "a number above 0");
  }
  return value;
}

std::uint8_t station(std::string_view text) {
  std::uint8_t number = 0;
  if (!parse(text, number) || !KorLa::station_names.contains(number)) {
    refuse("station", text, "the number of a station that has a name");
  }
  return number;
}

constexpr std::array<option, 9> options = {{
    {"output", required_argument, nullptr, 'o'},
    {"channels", required_argument, nullptr, 'c'},
    {"stations", required_argument, nullptr, 't'},
    {"gaps", required_argument, nullptr, 'g'},
    {"scale", required_argument, nullptr, 's'},
    {"station", required_argument, nullptr, 'n'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},
    {nullptr, 0, nullptr, 0},
}};

void apply(int letter, std::string_view value, Request& request) {
  traces::Conversion& conversion = request.conversion;
  switch (letter) {
    case 'o':
      conversion.output = value;
      break;
    case 'c':
      conversion.channels = channels(value);
      break;
    case 't':
      conversion.stations = value;
      break;
    case 'g':
      conversion.split_at_gaps = is_split(value);
      break;
    case 's':
      conversion.scale = scale(value);
      break;
    case 'n':
      conversion.station = station(value);
      break;
    case 'h':
      request.task = Task::show_usage;
      break;
    case 'v':
      request.task = Task::show_version;
      break;
    default:
      throw std::runtime_error("try --help");
  }
}

Request parse_command_line(int argc, char** argv) {
  Request request;
  int letter = 0;
  while ((letter = getopt_long(argc, argv, "o:", options.data(), nullptr)) != -1) {
    apply(letter, optarg != nullptr ? optarg : "", request);
  }
  if (request.task != Task::convert) {
    return request;
  }
  request.conversion.inputs.assign(argv + optind, argv + argc);
  if (request.conversion.inputs.empty() || request.conversion.output.empty()) {
    throw std::runtime_error("an output (-o) and inputs are needed, try --help");
  }
  return request;
}

void run(const Request& request) {
  switch (request.task) {
    case Task::show_usage:
      fmt::print("{}", usage);
      break;
    case Task::show_version:
      fmt::print("import_recording {}\n", TAVRIK_DESCRIPTION);
      break;
    case Task::convert:
      KorLa::write_message(traces::convert(request.conversion));
      break;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow is a failed write
  try {
    run(parse_command_line(argc, argv));
  } catch (const std::bad_alloc&) {
    KorLa::write_message("Error: not enough memory for these files\n");
    return 1;
  } catch (const std::exception& error) {
    std::string_view reason = error.what();
    reason = reason.substr(0, reason.find_last_not_of('\n') + 1);
    KorLa::write_message(KorLa::compose("Error: {}\n", reason));
    return 1;
  }
  return 0;
}
