// Reading coordinate files and computing baselines.

#include "src/geometry.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fmt/format.h>
#include <optional>
#include <system_error>
#include <utility>

#include "korla/bytes.h"

#include "src/console.h"
#include "src/file_being_read.h"
#include "src/guards.h"
#include "src/settings.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/geometry";
constexpr const char* header_line = "VQS-FILE";

/// The first bytes of a file, more than enough for its five lines; nothing if it can't be opened.
/// One that can't be read ends the program: positions that are only half right would go unseen.
std::optional<std::string> read_start(const std::string& path) {
  constexpr std::size_t most = 65536;
  const KorLa::File file = KorLa::open_for_reading(path.c_str());
  if (!file) {
    return std::nullopt;
  }
  std::string text(most, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (std::ferror(file.get()) != 0) {
    fail("Can't read {}: {}\n", path, std::generic_category().message(errno));
  }
  return text;
}

/// Takes the next line, without its end, from the front of the text.
std::string_view take_line(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

/// Reads numbers separated by white space from the front of a line; false when one can't be read. A
/// "+", which std::from_chars refuses, may stand in front of each.
template <typename Number, std::size_t count>
bool read_numbers(std::string_view line, std::array<Number, count>& numbers) {
  for (Number& number : numbers) {
    const std::size_t start = line.find_first_not_of(" \t\r\v\f");
    if (start == std::string_view::npos) {
      return false;
    }
    line.remove_prefix(start + (line[start] == '+' ? 1 : 0));
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    if (error != std::errc()) {
      return false;
    }
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
  }
  return true;
}

/// One baseline: length, direction and components; see Baselines.
struct Baseline {
  double d, az, dx, dy;
};

Baseline baseline(const Point& from, const Point& to) {
  // Azimuths go clockwise from north, so that east is the ordinate of atan2 and north the abscissa.
  const double d = std::hypot(to.x - from.x, to.y - from.y);
  const double ux = (to.x - from.x) / d;
  const double uy = zero_guarded((to.y - from.y) / d);  // the east component has no guard: intended
  double az = degrees(std::atan2(ux, uy));
  if (az < 0) {
    az += 360;
  }
  return {d, az, ux * d, uy * d};
}

std::string describe(const Point& point) {
  return fmt::format("x: {} y: {}", point.x, point.y);
}

void echo(const ArrayGeometry& array) {
  const Positions& pos = array.pos;
  info("\n{} {} {}\n{} {}\n{} {}\n{} {}\n", array.ch[0] + 1, array.ch[1] + 1, array.ch[2] + 1,
       pos[0].x, pos[0].y, pos[1].x, pos[1].y, pos[2].x, pos[2].y);
}

}  // namespace

Baselines compute_geometry(const Positions& positions) {
  const Baseline b12 = baseline(positions[0], positions[1]);
  const Baseline b13 = baseline(positions[0], positions[2]);
  const Baseline b23 = baseline(positions[1], positions[2]);
  return {b12.d,  b13.d,  b23.d,  b12.az, b13.az, b23.az,
          b12.dx, b13.dx, b23.dx, b12.dy, b13.dy, b23.dy};
}

SlownessFit compute_fit(const Positions& positions) {
  const auto& [p1, p2, p3] = positions;
  const std::array<Point, 3> rows = {
      {{p2.x - p1.x, p2.y - p1.y}, {p3.x - p1.x, p3.y - p1.y}, {p3.x - p2.x, p3.y - p2.y}}};
  double xx = 0, xy = 0, yy = 0;  // A'A
  for (const Point& row : rows) {
    xx += row.x * row.x;
    xy += row.x * row.y;
    yy += row.y * row.y;
  }
  // Of two microphones in one place the difference would be rounding noise. It is the sum of the
  // squared cross products of each two rows, all of which are twice the triangle's area.
  const double area = signed_area(positions);
  const double determinant = 3 * area * area;
  SlownessFit fit;
  fit.cov_ee = yy / determinant;
  fit.cov_en = -xy / determinant;
  fit.cov_nn = xx / determinant;
  for (std::size_t k = 0; k < rows.size(); ++k) {
    fit.east[k] = fit.cov_ee * rows[k].x + fit.cov_en * rows[k].y;
    fit.north[k] = fit.cov_en * rows[k].x + fit.cov_nn * rows[k].y;
  }
  return fit;
}

/// The cross product of the baselines 12 and 13.
double signed_area(const Positions& positions) {
  const auto& [p1, p2, p3] = positions;
  return (p2.x - p1.x) * (p3.y - p1.y) - (p3.x - p1.x) * (p2.y - p1.y);
}

ParsedCoordinates parse_coordinates(std::string_view text, const ArrayGeometry& before) {
  ParsedCoordinates result{before};
  take_line(text);
  std::array<int, 3> numbers{};
  if (!read_numbers(take_line(text), numbers)) {
    result.bad_line = 2;
    return result;
  }
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    // Unsigned, so that a number out of range wraps instead of overflowing.
    result.geometry.ch[k] = static_cast<int>(static_cast<unsigned>(numbers[k]) - 1U);
  }
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    std::array<double, 2> xy{};
    if (!read_numbers(take_line(text), xy)) {
      result.bad_line = static_cast<int>(k) + 3;
      return result;
    }
    const auto slot = static_cast<std::size_t>(result.geometry.ch[k]);
    result.geometry.pos.at(slot) = {xy[0], xy[1]};
  }
  return result;
}

void check_channels(const std::array<int, 3>& channels) {
  bool wrong = false;
  for (std::size_t k = 0; k < channels.size(); ++k) {
    if (channels[k] < 0 || channels[k] > 2) {
      warn("ch{}={} out of range (1-3)\n", k + 1, channels[k] + 1L);
      wrong = true;
    }
  }
  for (const auto& [a, b] : {std::pair{0U, 1U}, {0U, 2U}, {1U, 2U}}) {
    if (channels[a] == channels[b]) {
      warn("ch{}={} and ch{}={} must be different\n", a + 1, channels[a] + 1L, b + 1,
           channels[b] + 1L);
      wrong = true;
    }
  }
  if (wrong) {
    end_process(1);
  }
}

bool read_coordinates(const std::string& path) {
  const ReadingFile reading(path);
  const std::optional<std::string> text = read_start(path);
  if (text) {
    print("Coord-file: {}\n", path);
    const ParsedCoordinates parsed = parse_coordinates(*text, array_geometry);
    if (parsed.bad_line != 0) {
      warn("WARNING: {}: can't read line {}, what follows keeps its values\n", path,
           parsed.bad_line);
    }
    array_geometry = parsed.geometry;
    check_channels(array_geometry.ch);
    settings.primary_direction = settings.secondary_direction;
  } else {
    info("No coord.dat-file, using defaults\n");
    array_geometry = ArrayGeometry();
    info("{}", header_line);
  }
  echo(array_geometry);
  const Positions& pos = array_geometry.pos;
  TAVRIK_TRACE(1, "M[1]: {}\nM[2]: {}\nM[3]: {}", describe(pos[0]), describe(pos[1]),
               describe(pos[2]));
  array_geometry.baselines = compute_geometry(array_geometry.pos);
  array_geometry.fit = compute_fit(array_geometry.pos);
  return !text;
}

}  // namespace tavrik
