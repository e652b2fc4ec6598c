// The direction methods, over lags that a plane wave would give.

#include "src/direction.h"

#include <array>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <numbers>
#include <random>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"

namespace {

using tavrik::Direction;
using enum Direction;
using tavrik::Lags;
using tavrik::Positions;
using tavrik::ResultRecord;

constexpr double fs = 18.0;
constexpr double pi = std::numbers::pi;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::array methods = {new_method, weighted_method, old_method};

/// A sound from `azimuth` reaches a microphone the sooner, the further that stands towards it.
Lags plane_wave(const Positions& pos, double azimuth, double speed) {
  const double angle = azimuth * pi / 180;
  std::array<double, 3> arrival;
  for (std::size_t i = 0; i < 3; ++i) {
    arrival[i] = -(pos[i].x * std::sin(angle) + pos[i].y * std::cos(angle)) / speed * fs;
  }
  return {arrival[1] - arrival[0], arrival[2] - arrival[0], arrival[2] - arrival[1]};
}

/// What a method makes of lags, which it may change, and of the pairs' correlations.
ResultRecord estimate(Direction method, Lags& lags, const std::array<double, 3>& cmax = {1, 1, 1},
                      const Positions& pos = tavrik::default_positions) {
  ResultRecord record;
  record.cmax12 = cmax[0];
  record.cmax13 = cmax[1];
  record.cmax23 = cmax[2];
  const tavrik::ArrayGeometry array = {pos, {0, 1, 2}, tavrik::compute_geometry(pos)};
  tavrik::angle_method(method)(record, lags, array, fs);
  return record;
}

/// Angle between two azimuths, 0..180 degrees.
double apart(double a, double b) {
  return std::fabs(std::remainder(a - b, 360));
}

TEST(angle_methods, give_any_plane_wave_back_whatever_the_weights) {
  std::mt19937_64 generator(20160301);
  const auto between = [&generator](double low, double high) {
    return low + (high - low) * static_cast<double>(generator() >> 11) * 0x1p-53;
  };
  for (int round = 0; round < 2000; ++round) {
    Positions pos;  // around the origin, counter-clockwise
    for (std::size_t i = 0; i < 3; ++i) {
      const double angle = (120 * static_cast<double>(i) + between(-40, 40)) * pi / 180;
      const double radius = between(40, 200);
      pos[i] = {radius * std::cos(angle), radius * std::sin(angle)};
    }
    const Positions clockwise = {pos[0], pos[2], pos[1]};
    // Away from due east and west, where rounding picks the side.
    const double azimuth = round % 2 * 180 + between(-89.99, 89.99);
    const double speed = between(200, 2000);
    const std::array cmax = {between(0.1, 2), between(0.1, 2), between(0.1, 2)};
    for (const Direction method : methods) {
      SCOPED_TRACE(testing::Message() << "method " << static_cast<int>(method) << ": " << azimuth);
      Lags lags = plane_wave(clockwise, azimuth, speed);
      ASSERT_LT(apart(estimate(method, lags, cmax, clockwise).az, azimuth + 180), 1e-6);
      lags = plane_wave(pos, azimuth, speed);
      const ResultRecord record = estimate(method, lags, cmax, pos);
      ASSERT_LT(apart(record.az, azimuth), 1e-6);
      ASSERT_TRUE(record.az >= 0 && record.az <= 360);
      if (method == new_method) {
        ASSERT_NEAR(record.vel, speed, 1e-6 * speed);
      } else if (method == weighted_method) {
        for (const double pair_speed : {record.v12, record.v13, record.v23}) {
          ASSERT_NEAR(std::fabs(pair_speed), 0.5 * speed, 1e-6 * speed);
        }
        ASSERT_EQ(record.p12, 0);
      }
    }
  }
}

TEST(angle_methods, replace_lags_of_zero) {
  constexpr double e = 1e-6;
  const double away = std::atan2(0.01, 4.0) * 180 / pi;

  const struct {
    Direction method;
    Lags lags, used;
    double azimuth, speed;  // nan: whatever
  } table[] = {
      {new_method, {0, 4, 4}, {e, 4, 4}, 0, nan},
      {new_method, {4, 0, -4}, {4, e, -4}, 90, nan},
      {new_method, {0, -4, -4}, {e, -4, -4}, 180, nan},
      {new_method, {-4, -0.0, 4}, {-4, e, 4}, 270, nan},
      {new_method, {0, 0, 0}, {e, e, e}, 180, (75 * fs + 150 * fs / e) / 3},
      {weighted_method, {-4, 0, 4}, {-4, e, 4}, 270, nan},
      {old_method, {0, 4, 4}, {e, 4, 4}, 0, 0},
      {old_method, {0, -4, -4}, {e, -4, -4}, 180, 0},
      {old_method, {4, 0, -4}, {4, 0.01, -4}, 90 - away, 2 * pi * 75 / 4},
      {old_method, {-4, 0, 4}, {-4, 0.01, 4}, 270 + away, 2 * pi * 75 / 4},
      {old_method, {0, 0, 0}, {e, 0.01, 0}, 0, 0},
  };

  for (const auto& row : table) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(row.method) << ", from " << row.azimuth);
    Lags lags = row.lags;
    const ResultRecord record = estimate(row.method, lags);
    EXPECT_EQ(lags, row.used);
    EXPECT_LT(apart(record.az, row.azimuth), 1e-4);
    if (!std::isnan(row.speed)) {
      EXPECT_NEAR(record.vel, row.speed, 1e-3 + 1e-9 * row.speed);
    }
  }
}

// Lags that no wave has: the tangents' mean is negative though both sums are positive.
TEST(angle_new, turns_a_negative_angle_to_the_other_end) {
  const double x = (75 / 0.75 + 75 / 217.5 - 141.75 / 0.75) / 3;
  Lags lags = {-1, -0.01, -1.9};
  EXPECT_NEAR(estimate(new_method, lags).az, 360 + std::atan(x) * 180 / pi, 1e-4);
}

TEST(angle_new, fills_the_work_fields) {
  Lags lags = {3, 5, 2};
  const ResultRecord record = estimate(new_method, lags, {}, {{{0, 0}, {-60, 10}, {20, -80}}});
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

// What each two pairs' formula makes of a plane wave over the default triangle: the lags are
// proportional to sin, cos and cos - sin of the azimuth. Only the first two pairs, which are at
// right angles and of one length, give the true speed.
TEST(angle_weighted, averages_the_speeds_of_each_two_pairs) {
  for (const double azimuth : {10.0, 30.0, 45.0, 135.0, 200.0, 315.0}) {
    SCOPED_TRACE(azimuth);
    const double s = std::sin(azimuth * pi / 180);
    const double c = std::cos(azimuth * pi / 180);
    Lags lags = plane_wave(tavrik::default_positions, azimuth, 340);
    const double sum = 2 + 4 / std::hypot(s, c - s) + 8 * std::sqrt(2.0) / std::hypot(c, c - s);
    EXPECT_NEAR(estimate(weighted_method, lags, {1, 2, 4}).vel, 340 * sum / 14, 1e-3);
  }
}

TEST(angle_weighted, leaves_a_dead_pair_out) {
  for (std::size_t dead = 0; dead < 3; ++dead) {
    std::array<double, 3> cmax = {0.7, 0.8, 0.9};
    cmax[dead] = 0;
    Lags lags = plane_wave(tavrik::default_positions, 123, 340);
    lags[dead] = 16;
    const ResultRecord record = estimate(weighted_method, lags, cmax);
    EXPECT_LT(apart(record.az, 123), 1e-4);
    EXPECT_TRUE(std::isfinite(record.vel));
  }
  Lags lags = {0, 1, 0};
  EXPECT_TRUE(std::isnan(estimate(weighted_method, lags, {0, 0, 0.9}).az));
}

// The velocity is the wave's in metres per sample, times 2 pi, where microphone 2 stands due west
// of the first. Elsewhere the two terms of the projection would have to be added, not subtracted;
// the factor that this costs is intended too.
TEST(angle_old, has_a_velocity_of_its_own) {
  for (const double north : {0.0, 10.0, -40.0}) {
    const Positions pos = {{{0, 0}, {-75, north}, {0, -75}}};
    for (int azimuth = 1; azimuth < 360; azimuth += 2) {
      SCOPED_TRACE(testing::Message() << "from " << azimuth << ", microphone 2 at " << north);
      const double west = 75 * std::sin(azimuth * pi / 180);
      const double south = -north * std::cos(azimuth * pi / 180);
      Lags lags = plane_wave(pos, azimuth, 340);
      const double expected = 2 * pi * 340 / fs * (west - south) / (west + south);
      EXPECT_NEAR(estimate(old_method, lags, {}, pos).vel, expected,
                  1e-9 * std::max(1.0, expected * expected));
    }
  }
  Lags lags = {0, 3, 3};  // without a lag it is huge
  const double angle = 2 * pi - std::atan2(20, 60);
  EXPECT_NEAR(estimate(old_method, lags, {}, {{{0, 0}, {-60, -20}, {20, -80}}}).vel,
              -6283185.307179587 * (std::cos(angle) * 20 - std::sin(angle) * 60), 1);
}

class angle_methods_trace : public FreshState {};

TEST_F(angle_methods_trace, let_a_nan_through_and_old_shows_it) {
  tavrik::settings.debug = 1;
  const char* const trace =
      "|src/direction:[0-9]+:: debug: dfi.0.= nan dfi.1. = 2\n"
      "src/direction:[0-9]+:: debug: az = -?nan azc = -?nan\n";
  for (const Direction method : methods) {
    Lags lags = {nan, 2, 1};
    support::CapturedStderr captured;
    const ResultRecord record = estimate(method, lags);
    EXPECT_TRUE(std::isnan(record.az) && std::isnan(record.vel) && std::isnan(lags[0]));
    const std::string said = captured.take();
    EXPECT_EQ(said.empty(), method != old_method);
    EXPECT_THAT(said, testing::MatchesRegex(trace));
  }
}

}  // namespace
