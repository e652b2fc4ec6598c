#pragma once
// Where the microphones stand: the coordinate file, and the baselines that the direction methods
// use in every window.

#include <array>
#include <string>
#include <string_view>

namespace tavrik {

/// A place on the ground, metres.
struct Point {
  double x = 0;  ///< east
  double y = 0;  ///< north

  bool operator==(const Point&) const = default;
};

/// The microphones 1, 2, 3 in slots 0, 1, 2.
using Positions = std::array<Point, 3>;

/// The triangle that is used without a coordinate file.
inline constexpr Positions default_positions = {{{0, 0}, {-75, 0}, {0, -75}}};

/// The lines between the microphones: 12 goes from microphone 1 to 2, and so on.
struct Baselines {
  double d12 = 0, d13 = 0, d23 = 0;     ///< length, m
  double az12 = 0, az13 = 0, az23 = 0;  ///< direction, degrees clockwise from north, [0, 360)
  double dx12 = 0, dx13 = 0, dx23 = 0;  ///< component to the east, m
  double dy12 = 0, dy13 = 0, dy23 = 0;  ///< component to the north, m; never exactly 0
};

/// What makes the slowness of a plane wave of the lags of the pairs 12, 13 and 23: one product of
/// three values for each component.
struct SlownessFit {
  std::array<double, 3> east{}, north{};  ///< lags to components of the slowness, 1/m
  double cov_ee = 0, cov_en = 0,
         cov_nn = 0;  ///< covariance of these, for lags of variance 1, 1/m^2
};

struct ArrayGeometry {
  Positions pos = default_positions;
  std::array<int, 3> ch = {0, 1, 2};  ///< channel of each microphone, from 0; shown from 1
  Baselines baselines;                ///< zeros until coordinates were read for the first time
  SlownessFit fit = {};               ///< as the baselines

  bool operator==(const ArrayGeometry& other) const { return pos == other.pos && ch == other.ch; }
};

/// The array of this run.
inline ArrayGeometry array_geometry;

/// Lengths, directions and components of the three baselines. A unit component to the north of
/// exactly 0 counts as 1e-6 (intended), so that its baseline's dy is a millionth of its length.
/// Microphones on one spot give NaN or infinite values.
Baselines compute_geometry(const Positions& positions);

/// The least-squares solution of p . s = t for the slowness s, p being the three baselines and t
/// their lags: s = (A'A)^-1 A' t with the baselines as rows of A, and (A'A)^-1 as its covariance
/// (for instance Szuberla and Olson, J. Acoust. Soc. Am. 115, 253-258, 2004). Microphones in a
/// line, or in one place, give NaN or infinite values.
SlownessFit compute_fit(const Positions& positions);

/// Twice the signed area of the triangle, m^2: positive when the microphones are numbered
/// counter-clockwise, as the direction methods need them to be.
double signed_area(const Positions& positions);

/// What a coordinate file's text says, on top of the geometry that was in force.
struct ParsedCoordinates {
  ArrayGeometry geometry;
  int bad_line = 0;  ///< the line (from 1) that ended the reading too early; 0 if all were read
};

/// Reads the text of a coordinate file: a header line that is ignored, a line of three channel
/// numbers (from 1), and three lines "x y" in metres. The k-th of these belongs to the microphone
/// whose number is the k-th channel number. Reading ends at the first line that is missing or not
/// made of numbers; what is not given stays as it was.
/// Throws std::out_of_range for a channel number other than 1, 2, 3 whose position is reached.
/// Baselines are left alone.
ParsedCoordinates parse_coordinates(std::string_view text, const ArrayGeometry& before);

/// Says for each channel number (from 0) that is out of range, and for each pair of equal ones,
/// what is wrong; then ends the program with status 1 if anything was.
void check_channels(const std::array<int, 3>& channels);

/// Reads the coordinate file into `array_geometry`, or sets the default triangle when it can't be
/// opened; checks the channels, echoes the positions and computes the baselines. After a file was
/// read, the secondary direction method is the one in force. A file whose reading fails ends the
/// program with status 1.
/// Returns true when the defaults were set.
bool read_coordinates(const std::string& path);

}  // namespace tavrik
