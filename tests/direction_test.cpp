// The direction methods, over lags that a plane wave would give.

#include "src/direction.h"

#include <array>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"

namespace {

using tavrik::ArrayGeometry;
using tavrik::Direction;
using tavrik::Lags;
using tavrik::Positions;
using tavrik::ResultRecord;

constexpr double fs = 18.0;
constexpr double pi = std::numbers::pi;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

ArrayGeometry array_of(const Positions& pos) {
  return {pos, {0, 1, 2}, tavrik::compute_geometry(pos)};
}

const ArrayGeometry default_array = array_of(tavrik::default_positions);

/// A sound from `azimuth` reaches a microphone the sooner, the further that stands towards it.
Lags plane_wave(const Positions& pos, double azimuth, double speed) {
  const double angle = azimuth * pi / 180;
  std::array<double, 3> arrival;
  for (std::size_t i = 0; i < 3; ++i) {
    arrival[i] = -(pos[i].x * std::sin(angle) + pos[i].y * std::cos(angle)) / speed * fs;
  }
  return {arrival[1] - arrival[0], arrival[2] - arrival[0], arrival[2] - arrival[1]};
}

/// Angle between two azimuths, 0..180 degrees.
double apart(double a, double b) {
  return std::fabs(std::remainder(a - b, 360));
}

/// A triangle, and a wave over it.
struct World {
  Positions pos;
  double azimuth, speed;
};

/// Random triangles, directions and speeds; the same in every run.
class Worlds {
 public:
  World next() { return {triangle(), azimuth(), between(200, 2000)}; }

  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(generator_() >> 11) * 0x1p-53;
  }

  /// A triangle with no angle below 15 degrees, numbered counter-clockwise.
  Positions triangle() {
    for (;;) {
      Positions pos;
      for (tavrik::Point& point : pos) {
        point = {between(-200, 200), between(-200, 200)};
      }
      const double area = tavrik::signed_area(pos);
      const tavrik::Baselines base = tavrik::compute_geometry(pos);
      const double longest = std::max({base.d12, base.d13, base.d23});
      if (std::fabs(area) > 0.25 * longest * longest) {
        if (area < 0) {
          std::swap(pos[1], pos[2]);
        }
        return pos;
      }
    }
  }

  /// Away from due east and west, where rounding picks the side.
  double azimuth() {
    for (;;) {
      const double azimuth = between(0, 360);
      if (apart(azimuth, 90) > 0.01 && apart(azimuth, 270) > 0.01) {
        return azimuth;
      }
    }
  }

 private:
  std::mt19937_64 generator_{20160301};
};

TEST(angle_new, gives_direction_and_speed_of_any_plane_wave_back) {
  Worlds worlds;
  for (int i = 0; i < 2000; ++i) {
    const auto [pos, azimuth, speed] = worlds.next();
    SCOPED_TRACE(testing::Message() << i << ": from " << azimuth << " at " << speed);
    Lags lags = plane_wave(pos, azimuth, speed);
    ResultRecord record;
    tavrik::angle_new(record, lags, array_of(pos), fs);
    ASSERT_LT(apart(record.az, azimuth), 1e-6);
    ASSERT_GE(record.az, 0);
    ASSERT_LE(record.az, 360);
    ASSERT_NEAR(record.vel, speed, 1e-6 * speed);

    const Positions clockwise = {pos[0], pos[2], pos[1]};
    lags = plane_wave(clockwise, azimuth, speed);
    tavrik::angle_new(record, lags, array_of(clockwise), fs);
    ASSERT_LT(apart(record.az, azimuth + 180), 1e-6);
    ASSERT_NEAR(record.vel, speed, 1e-6 * speed);
  }
}

// Here the lag between two microphones vanishes, and with it every a or nearly every b.
TEST(angle_new, finds_the_four_quarters_over_the_default_triangle) {
  const std::pair<double, Lags> table[] = {{0, {0, 4, 4}},      {90, {4, 0, -4}},
                                           {180, {0, -4, -4}},  {270, {-4, 0, 4}},
                                           {90, {4, -0.0, -4}}, {270, {-4, -0.0, 4}}};
  for (const auto& [azimuth, given] : table) {
    SCOPED_TRACE(azimuth);
    Lags lags = given;
    ResultRecord record;
    tavrik::angle_new(record, lags, default_array, fs);
    EXPECT_LT(apart(record.az, azimuth), 1e-4);
    // The pair without a lag has no speed of its own; the others have the wave's.
    const std::array pair_speeds = {record.v12, record.v13, record.v23};
    for (std::size_t p = 0; p < 3; ++p) {
      if (given[p] != 0) {
        EXPECT_NEAR(std::fabs(pair_speeds[p]), 75 * fs / 4, 1e-3);
      }
    }
  }
}

TEST(angle_new, takes_no_lag_at_all_for_the_south) {
  Lags lags{};
  ResultRecord record;
  tavrik::angle_new(record, lags, default_array, fs);
  EXPECT_EQ(record.az, 180.0);
  EXPECT_EQ(lags, (Lags{1e-6, 1e-6, 1e-6}));
  EXPECT_NEAR(record.v12, 75 * fs * -1e-6 / 1e-6, 1e-3);
  EXPECT_NEAR(record.v13, 75 * fs / 1e-6, 1.0);
  EXPECT_NEAR(record.v23, 75 * fs / 1e-6, 1.0);
  EXPECT_NEAR(record.vel, (75 * fs + 150 * fs / 1e-6) / 3, 1.0);
}

// Lags that no wave has: the tangents' mean is negative though both sums are positive.
TEST(angle_new, turns_a_negative_angle_to_the_other_end) {
  const double x = (75 / 0.75 + 75 / 217.5 - 141.75 / 0.75) / 3;
  Lags lags = {-1, -0.01, -1.9};
  ResultRecord record;
  tavrik::angle_new(record, lags, default_array, fs);
  EXPECT_NEAR(record.az, 360 + std::atan(x) * 180 / pi, 1e-4);
}

TEST(angle_new, fills_the_work_fields) {
  const Positions pos = {{{0, 0}, {-60, 10}, {20, -80}}};
  const Lags lags = {3, 5, 2};
  Lags used = lags;
  ResultRecord record;
  tavrik::angle_new(record, used, array_of(pos), fs);
  EXPECT_EQ(used, lags);
  const auto& [t12, t13, t23] = lags;
  EXPECT_NEAR(record.a12_13, t13 * -60 - t12 * 20, 1e-9);
  EXPECT_NEAR(record.a12_23, -60 * t23 - t12 * 80, 1e-9);
  EXPECT_NEAR(record.a13_23, 20 * t23 - 80 * t13, 1e-9);
  EXPECT_NEAR(record.b12_13, t12 * -80 - t13 * 10, 1e-9);
  EXPECT_NEAR(record.b12_23, t12 * -90 - 10 * t23, 1e-9);
  EXPECT_NEAR(record.b13_23, -90 * t13 - -80 * t23, 1e-9);
  // A baseline's projection is its share of the way to the source.
  const double angle = record.az * pi / 180;
  EXPECT_NEAR(record.p12, -60 * std::sin(angle) + 10 * std::cos(angle), 1e-9);
  EXPECT_NEAR(record.p13, 20 * std::sin(angle) - 80 * std::cos(angle), 1e-9);
  EXPECT_NEAR(record.p23, 80 * std::sin(angle) - 90 * std::cos(angle), 1e-9);
  EXPECT_NEAR(record.v12, record.p12 * fs / t12, 1e-9);
  EXPECT_NEAR(record.v13, record.p13 * fs / t13, 1e-9);
  EXPECT_NEAR(record.v23, record.p23 * fs / t23, 1e-9);
}

/// A record with the weights' ingredients, and work fields that a method may leave alone.
ResultRecord weighted_record(double cmax12, double cmax13, double cmax23) {
  ResultRecord record;
  record.cmax12 = cmax12;
  record.cmax13 = cmax13;
  record.cmax23 = cmax23;
  record.p12 = record.p13 = record.p23 = 7;
  return record;
}

TEST(angle_weighted, finds_the_direction_whatever_the_weights) {
  Worlds worlds;
  for (int i = 0; i < 1000; ++i) {
    const auto [pos, azimuth, speed] = worlds.next();
    SCOPED_TRACE(testing::Message() << i << ": from " << azimuth << " at " << speed);
    Lags lags = plane_wave(pos, azimuth, speed);
    ResultRecord record =
        weighted_record(worlds.between(0.1, 2), worlds.between(0.1, 2), worlds.between(0.1, 2));
    tavrik::angle_weighted(record, lags, array_of(pos), fs);
    ASSERT_LT(apart(record.az, azimuth), 1e-6);
    // Half of what `new` gives for each pair.
    for (const double pair_speed : {record.v12, record.v13, record.v23}) {
      ASSERT_NEAR(std::fabs(pair_speed), 0.5 * speed, 1e-6 * speed);
    }
    for (const double untouched : {record.p12, record.p13, record.p23}) {
      ASSERT_EQ(untouched, 7);
    }
  }
}

/// What each two pairs' formula makes of a plane wave of speed 1 over the default triangle: the
/// lags are proportional to sin, cos and cos - sin of the azimuth. Only the first two pairs, which
/// are at right angles and of one length, give the true speed.
std::array<double, 3> weighted_speeds(double azimuth) {
  const double s = std::sin(azimuth * pi / 180);
  const double c = std::cos(azimuth * pi / 180);
  return {1, 1 / std::hypot(s, c - s), std::sqrt(2.0) / std::hypot(c, c - s)};
}

TEST(angle_weighted, averages_the_speeds_of_each_two_pairs) {
  for (const double azimuth : {10.0, 30.0, 45.0, 135.0, 200.0, 315.0}) {
    SCOPED_TRACE(azimuth);
    const auto& [a, b, c] = weighted_speeds(azimuth);
    ResultRecord record = weighted_record(1, 2, 4);
    Lags lags = plane_wave(tavrik::default_positions, azimuth, 340);
    tavrik::angle_weighted(record, lags, default_array, fs);
    EXPECT_NEAR(record.vel, 340 * (2 * a + 4 * b + 8 * c) / 14, 1e-3);
  }
}

TEST(angle_weighted, leaves_a_dead_pair_out) {
  const Positions pos = {{{3, 4}, {-60, 10}, {20, -80}}};
  for (std::size_t dead = 0; dead < 3; ++dead) {
    SCOPED_TRACE(dead);
    std::array<double, 3> cmax = {0.7, 0.8, 0.9};
    cmax[dead] = 0;
    Lags lags = plane_wave(pos, 123, 340);
    lags[dead] = 16;
    ResultRecord record = weighted_record(cmax[0], cmax[1], cmax[2]);
    tavrik::angle_weighted(record, lags, array_of(pos), fs);
    EXPECT_LT(apart(record.az, 123), 1e-6);
    EXPECT_TRUE(std::isfinite(record.vel));
  }
}

TEST(angle_weighted, has_no_result_without_any_weight) {
  Lags lags = {0, 1, 0};
  ResultRecord record = weighted_record(0, 0, 0.9);
  tavrik::angle_weighted(record, lags, default_array, fs);
  EXPECT_TRUE(std::isnan(record.az));
  EXPECT_TRUE(std::isnan(record.vel));
  EXPECT_EQ(lags, (Lags{1e-6, 1, 1e-6}));
}

TEST(angle_old, finds_any_direction) {
  Worlds worlds;
  for (int i = 0; i < 1000; ++i) {
    const auto [pos, azimuth, speed] = worlds.next();
    SCOPED_TRACE(testing::Message() << i << ": from " << azimuth);
    Lags lags = plane_wave(pos, azimuth, speed);
    ResultRecord record;
    tavrik::angle_old(record, lags, array_of(pos), fs);
    ASSERT_LT(apart(record.az, azimuth), 1e-6);

    const Positions clockwise = {pos[0], pos[2], pos[1]};
    lags = plane_wave(clockwise, azimuth, speed);
    tavrik::angle_old(record, lags, array_of(clockwise), fs);
    ASSERT_LT(apart(record.az, azimuth + 180), 1e-6);
  }
}

// The velocity is the wave's in metres per sample, times 2 pi, where microphone 2 stands due west
// of the first. Elsewhere the two terms of the projection would have to be added, not subtracted;
// the factor that this costs is intended too.
TEST(angle_old, has_a_velocity_of_its_own) {
  for (const double north : {0.0, 10.0, -40.0}) {
    const Positions pos = {{{0, 0}, {-75, north}, {0, -75}}};
    for (int azimuth = 1; azimuth < 360; azimuth += 2) {
      SCOPED_TRACE(testing::Message() << "from " << azimuth << ", microphone 2 at " << north);
      const double angle = azimuth * pi / 180;
      const double west = 75 * std::sin(angle);
      const double south = -north * std::cos(angle);
      Lags lags = plane_wave(pos, azimuth, 340);
      ResultRecord record;
      tavrik::angle_old(record, lags, array_of(pos), 99);
      const double expected = 2 * pi * 340 / fs * (west - south) / (west + south);
      EXPECT_NEAR(record.vel, expected, 1e-9 * std::max(1.0, expected * expected));
    }
  }
}

TEST(angle_old, replaces_lags_of_zero) {
  struct Row {
    const char* name;
    Lags lags, used;
    double azimuth, speed;
  };

  const double small = std::atan2(0.01, 4.0) * 180 / pi;
  const std::vector<Row> table = {
      {"north", {0, 4, 4}, {1e-6, 4, 4}, 0, 0},
      {"south", {0, -4, -4}, {1e-6, -4, -4}, 180, 0},
      {"east", {4, 0, -4}, {4, 0.01, -4}, 90 - small, 2 * pi * 75 / 4},
      {"west", {-4, 0, 4}, {-4, 0.01, 4}, 270 + small, 2 * pi * 75 / 4},
      {"none", {0, 0, 0}, {1e-6, 0.01, 0}, 0, 0},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    Lags lags = row.lags;
    ResultRecord record;
    tavrik::angle_old(record, lags, default_array, fs);
    EXPECT_EQ(lags, row.used);
    EXPECT_LT(apart(record.az, row.azimuth), 1e-9);
    EXPECT_NEAR(record.vel, row.speed, 1e-3);
  }
}

TEST(angle_old, has_a_huge_velocity_without_a_lag) {
  const Positions pos = {{{0, 0}, {-60, -20}, {20, -80}}};
  Lags lags = {0, 3, 3};
  ResultRecord record;
  tavrik::angle_old(record, lags, array_of(pos), fs);
  const double azimuth = 2 * pi - std::atan2(20, 60);
  EXPECT_NEAR(record.az, azimuth * 180 / pi, 1e-9);
  EXPECT_NEAR(record.vel, -6283185.307179587 * (std::cos(azimuth) * 20 - std::sin(azimuth) * 60),
              1);
}

TEST(angle_methods, let_a_nan_through) {
  for (const Direction method :
       {Direction::new_method, Direction::weighted_method, Direction::old_method}) {
    for (std::size_t p = 0; p < (method == Direction::old_method ? 2U : 3U); ++p) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(method) << " lag " << p);
      Lags lags = {1, 2, 1};
      lags[p] = nan;
      ResultRecord record = weighted_record(1, 1, 1);
      tavrik::angle_method(method)(record, lags, default_array, fs);
      EXPECT_TRUE(std::isnan(record.az));
      EXPECT_TRUE(std::isnan(record.vel));
      EXPECT_TRUE(std::isnan(lags[p]));
    }
  }
}

/// The fixture is named after the function under test.
class angle_old_trace : public FreshState {};

TEST_F(angle_old_trace, shows_the_lags_that_gave_no_direction) {
  tavrik::settings.debug = 1;
  const auto trace = [](Lags lags) {
    support::CapturedStderr captured;
    ResultRecord record;
    tavrik::angle_old(record, lags, default_array, fs);
    return captured.take();
  };
  EXPECT_EQ(trace({1, 2, 3}), "");
  EXPECT_THAT(trace({nan, 2, 3}),
              testing::MatchesRegex("src/direction:[0-9]+:: debug: dfi.0.= nan dfi.1. = 2\n"
                                    "src/direction:[0-9]+:: debug: az = -?nan azc = -?nan\n"));
}

}  // namespace
