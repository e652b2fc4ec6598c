// Station tables, and the plane that touches the earth.

#include "tools/local_positions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <numbers>
#include <stdexcept>

#include "korla/bytes.h"
#include "korla/lines.h"
#include "tools/channel_names.h"

namespace traces {

namespace {

/// Before the first line of a table that a spreadsheet wrote.
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr double longest_baseline = 100e3;  // metres
/// Metres by which longitudes up to 360 degrees of single precision may be off, and a little more.
constexpr double same_place = 2.0;
/// Height of the triangle above its longest side, as part of it.
constexpr double flattest = 0.01;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view around = " \t\"";
  const std::size_t first = std::min(text.find_first_not_of(around), text.size());
  text.remove_prefix(first);
  return text.substr(0, text.find_last_not_of(around) + 1);
}

std::optional<double> degrees(std::string_view text, double most) {
  text = trimmed(text);
  if (text.starts_with('+') && !text.starts_with("+-")) {
    text.remove_prefix(1);
  }
  double value = 0.0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool good = error == std::errc() && stop == text.data() + text.size();
  return good && std::fabs(value) <= most ? std::optional(value) : std::nullopt;
}

std::optional<StationPlace> station_of(std::string_view line) {
  const std::vector<std::string> fields = parts_of(line, ',');
  if (fields.size() < 3) {
    return std::nullopt;
  }
  const auto latitude = degrees(fields[1], 90.0);
  const auto longitude = degrees(fields[2], 360.0);
  if (!latitude || !longitude) {
    return std::nullopt;
  }
  return StationPlace{std::string(trimmed(fields[0])), {*latitude, *longitude}};
}

/// A line of a table's head has a word where the latitude belongs: neither 40 nor N40.
bool is_head(std::string_view line) {
  const std::vector<std::string> fields = parts_of(line, ',');
  return fields.size() >= 3 &&
         trimmed(fields[1]).substr(0, 2).find_first_of("0123456789+-.") == std::string::npos;
}

/// A place on the ellipsoid from the earth's centre, metres.
struct Vector {
  double x;
  double y;
  double z;
};

double radians(double angle) {
  return angle * std::numbers::pi / 180.0;
}

/// The ellipsoid of WGS84, at height 0.
Vector from_centre(const Place& place) {
  constexpr double radius = 6378137.0;
  constexpr double flattening = 1.0 / 298.257223563;
  constexpr double eccentricity2 = flattening * (2.0 - flattening);
  const double latitude = radians(place.latitude);
  const double longitude = radians(place.longitude);
  const double sine = std::sin(latitude);
  const double normal = radius / std::sqrt(1.0 - eccentricity2 * sine * sine);
  return {normal * std::cos(latitude) * std::cos(longitude),
          normal * std::cos(latitude) * std::sin(longitude), normal * (1.0 - eccentricity2) * sine};
}

void require_on_earth(const Trace& trace) {
  const Place& place = *trace.place;
  if (!(std::fabs(place.latitude) <= 90.0 && std::fabs(place.longitude) <= 360.0)) {
    throw std::runtime_error(fmt::format("{}: no place on earth: latitude {}, longitude {}",
                                         trace.file, place.latitude, place.longitude));
  }
}

double to_millimetres(double metres) {
  return std::round(metres * 1000.0) / 1000.0 + 0.0;  // no -0
}

double distance(const recording::Position& a, const recording::Position& b) {
  return std::hypot(b.x - a.x, b.y - a.y);
}

/// Twice the area of the triangle, above 0 if it goes counter-clockwise.
double double_area(const recording::Positions& p) {
  return (p[1].x - p[0].x) * (p[2].y - p[0].y) - (p[2].x - p[0].x) * (p[1].y - p[0].y);
}

}  // namespace

std::vector<StationPlace> read_stations(const std::string& path) {
  const KorLa::File file = KorLa::open_for_reading(path.c_str());
  if (!file) {
    throw std::runtime_error(fmt::format("{}: the station table can't be opened", path));
  }
  KorLa::LineReader lines(file.get(), path);
  std::vector<StationPlace> stations;
  bool may_be_head = true;
  std::string_view line;
  auto found = lines.next(line);
  for (; found == KorLa::LineReader::Found::line; found = lines.next(line)) {
    if (lines.number() == 1 && line.starts_with(byte_order_mark)) {
      line.remove_prefix(byte_order_mark.size());
    }
    if (trimmed(line).empty() || trimmed(line).starts_with('#')) {
      continue;
    }
    const auto station = station_of(line);
    if (station) {
      stations.push_back(*station);
    } else if (!may_be_head || !is_head(line)) {
      throw std::runtime_error(fmt::format(
          "{}: line {} is not station, latitude, longitude in degrees", path, lines.number()));
    }
    may_be_head = false;
  }
  if (found == KorLa::LineReader::Found::too_long) {
    throw std::runtime_error(fmt::format("{}: a line is too long", path));
  }
  if (stations.empty()) {
    throw std::runtime_error(fmt::format("{}: the station table has no places", path));
  }
  return stations;
}

std::optional<Place> place_of(const std::vector<StationPlace>& stations, const Name& name) {
  std::optional<Place> best;
  std::size_t most_parts = 0;
  bool is_unclear = false;
  for (const StationPlace& station : stations) {
    const std::size_t parts = parts_of(station.name, '.').size();
    if (!stands_for(station.name, name) || parts < most_parts) {
      continue;
    }
    const bool is_longer = parts > most_parts;
    is_unclear = !is_longer && (is_unclear || best != station.place);
    best = station.place;
    most_parts = parts;
  }
  if (is_unclear) {
    throw std::runtime_error(fmt::format("--stations: two places for {}", text_of(name)));
  }
  return best;
}

std::optional<Place> place_of(const std::vector<Trace>& traces, const Name& name) {
  std::optional<Place> first;
  for (const Trace& trace : traces) {
    if (trace.name != name || !trace.place) {
      continue;
    }
    require_on_earth(trace);
    first = first ? first : trace.place;
    const recording::Position way = local_position(*first, *trace.place);
    if (std::hypot(way.x, way.y) > same_place) {
      throw std::runtime_error(fmt::format("{}: {} stands in another place than in other files",
                                           trace.file, text_of(name)));
    }
  }
  return first;
}

recording::Position local_position(const Place& reference, const Place& place) {
  const double latitude = radians(reference.latitude);
  const double longitude = radians(reference.longitude);
  const Vector from = from_centre(reference);
  const Vector to = from_centre(place);
  const Vector way = {to.x - from.x, to.y - from.y, to.z - from.z};
  const double outward = way.x * std::cos(longitude) + way.y * std::sin(longitude);
  return {way.y * std::cos(longitude) - way.x * std::sin(longitude),
          way.z * std::cos(latitude) - outward * std::sin(latitude)};
}

recording::Positions local_positions(const std::array<Place, 3>& places) {
  recording::Positions positions;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const recording::Position exact = local_position(places[0], places.at(i));
    positions.at(i) = {to_millimetres(exact.x), to_millimetres(exact.y)};
  }
  const double longest =
      std::max({distance(positions[0], positions[1]), distance(positions[0], positions[2]),
                distance(positions[1], positions[2])});
  if (longest > longest_baseline) {
    throw std::runtime_error(
        fmt::format("the microphones are {:.0f} km apart, {:.0f} km is the most", longest / 1000.0,
                    longest_baseline / 1000.0));
  }
  if (std::fabs(double_area(positions)) <= flattest * longest * longest) {
    throw std::runtime_error(
        "the microphones are on one line or in one place, no direction can be told");
  }
  return positions;
}

bool go_counter_clockwise(const recording::Positions& positions) {
  return double_area(positions) > 0.0;
}

}  // namespace traces
