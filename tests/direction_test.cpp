// The direction methods, over lags that a plane wave would give.

#include "src/direction.h"

#include <array>
#include <cmath>
#include <gmock/gmock.h>
#include <numbers>
#include <random>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/not_finite.h"

namespace {

using support::nan;
using enum tavrik::Direction;
using tavrik::Direction;
using tavrik::Lags;
using tavrik::Positions;
using tavrik::ResultRecord;

constexpr double fs = 18.0;
constexpr double pi = std::numbers::pi;
constexpr std::array methods = {new_method, weighted_method, old_method};

/// A sound from `angle` reaches a microphone the sooner, the further that stands towards it.
Lags plane_wave(const Positions& pos, double angle, double speed) {
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
  const tavrik::ArrayGeometry array = {
      pos, {0, 1, 2}, tavrik::compute_geometry(pos), tavrik::compute_fit(pos)};
  tavrik::angle_method(method)(record, lags, array, fs);
  return record;
}

/// Angle between two azimuths, 0..180 degrees.
double apart(double a, double b) {
  return std::fabs(std::remainder(a - b, 360));
}

/// All values of a list are this one.
auto all(double value) {
  return testing::Each(testing::DoubleNear(value, 1e-6 * std::max(1.0, std::fabs(value))));
}

// Over a plane wave all pairs agree: whatever their weights, each gives the same tangent and speed.
TEST(angle_methods, give_any_plane_wave_back) {
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
    const double s = std::sin(azimuth * pi / 180), c = std::cos(azimuth * pi / 180);
    const double speed = between(200, 2000);
    for (const Direction method : methods) {
      SCOPED_TRACE(testing::Message() << "method " << static_cast<int>(method) << ": " << azimuth);
      Lags lags = plane_wave(clockwise, azimuth * pi / 180, speed);
      ASSERT_LT(apart(estimate(method, lags, {1, 2, 3}, clockwise).az, azimuth + 180), 1e-6);
      lags = plane_wave(pos, azimuth * pi / 180, speed);
      const ResultRecord record = estimate(method, lags, {1, 2, 3}, pos);
      ASSERT_LT(apart(record.az, azimuth), 1e-6);
      ASSERT_TRUE(record.az >= 0 && record.az <= 360);
      if (method == old_method) {
        // True where microphone 2 stands due west or east; elsewhere the two terms would have to be
        // added, not subtracted. That and the factor 2 pi are intended.
        const double east = (pos[1].x - pos[0].x) * s, north = (pos[1].y - pos[0].y) * c;
        const double expected = 2 * pi * speed / fs * (east - north) / (east + north);
        ASSERT_NEAR(record.vel, expected, 1e-9 * std::max(speed, expected * expected));
        continue;
      }
      const double each = -speed / (method == new_method ? 1 : 2);
      ASSERT_THAT((std::array{record.v12, record.v13, record.v23}), all(each));
      const double area = -fs / speed * tavrik::signed_area(pos);
      ASSERT_THAT((std::array{record.a12_13, record.a12_23, record.a13_23}), all(area * c));
      ASSERT_THAT((std::array{record.b12_13, record.b12_23, record.b13_23}), all(area * s));
      if (method == new_method) {
        const std::array way = {record.p12 / lags[0], record.p13 / lags[1], record.p23 / lags[2]};
        ASSERT_THAT(way, all(-speed / fs));
        ASSERT_NEAR(record.vel, speed, 1e-6 * speed);
      }
    }
  }
}

// The fit needs no order of the microphones, knows every direction, and leaves the lags alone. Of
// lags that do not close, a brute search finds no better slowness.
TEST(angle_lsq, finds_the_slowness_that_fits_best) {
  std::mt19937_64 generator(20120409);
  std::uniform_real_distribution<double> place(-200, 200), error(-0.5, 0.5);
  for (int round = 0; round < 2000; ++round) {
    const Positions pos = {
        {{place(generator), place(generator)}, {place(generator), place(generator)}, {0, 0}}};
    if (std::fabs(tavrik::signed_area(pos)) < 500) {
      continue;  // nearly a line
    }
    const double azimuth = round % 8 * 45;  // due east and west, too
    const double velocity = 300 + std::fabs(place(generator));
    Lags lags = plane_wave(pos, azimuth * pi / 180, velocity);
    const Lags given = lags;
    ResultRecord record = estimate(lsq_method, lags, {1, 1, 1}, pos);
    EXPECT_EQ(lags, given);
    ASSERT_LT(apart(record.az, azimuth), 1e-6);
    ASSERT_NEAR(record.vel, velocity, 1e-6 * velocity);
    ASSERT_TRUE(record.az >= 0 && record.az < 360);
    for (double& lag : lags) {
      lag += error(generator);
    }
    record = estimate(lsq_method, lags, {1, 1, 1}, pos);
    const auto misfit = [&](double az, double vel) {
      const Lags fitted = plane_wave(pos, az * pi / 180, vel);
      return std::hypot(lags[0] - fitted[0], lags[1] - fitted[1], lags[2] - fitted[2]);
    };
    const double least = misfit(record.az, record.vel);
    for (const double step : {-0.01, 0.01}) {
      ASSERT_LT(least, misfit(record.az + 10 * step, record.vel));
      ASSERT_LT(least, misfit(record.az, record.vel * (1 + step)));
    }
    EXPECT_NEAR(least, std::fabs(lags[0] + lags[2] - lags[1]) / std::sqrt(3), 1e-9);
  }
  Lags none = {0, 0, 0};
  EXPECT_TRUE(std::isnan(estimate(lsq_method, none).az));
}

// The spread of many estimates is what a known variance of the lags leads to; c^2/3 estimates that.
TEST(uncertainty, is_the_spread_of_estimates) {
  const Positions pos = {{{0, 0}, {-40, 90}, {-110, -20}}};
  std::mt19937_64 generator(1);
  std::normal_distribution<double> error(0, 0.02);
  double az_squares = 0, vel_squares = 0, az_variance = 0, vel_variance = 0;
  for (int round = 0; round < 20000; ++round) {
    Lags lags = plane_wave(pos, 1, 340);
    for (double& lag : lags) {
      lag += error(generator);
    }
    const auto sd = tavrik::uncertainty(lags, tavrik::compute_fit(pos), fs);
    const ResultRecord record = estimate(lsq_method, lags, {1, 1, 1}, pos);
    az_squares += std::pow(record.az - 180 / pi, 2);
    vel_squares += std::pow(record.vel - 340, 2);
    az_variance += sd.azimuth * sd.azimuth;
    vel_variance += sd.velocity * sd.velocity;
  }
  EXPECT_NEAR(az_variance / az_squares, 1, 0.05);
  EXPECT_NEAR(vel_variance / vel_squares, 1, 0.05);
}

TEST(angle_methods, replace_lags_of_zero) {
  constexpr double e = 1e-6;
  const double away = std::atan2(0.01, 4.0) * 180 / pi;

  // The lags used, the azimuth, and the velocity, where it is not whatever it may be.
  const std::tuple<Direction, Lags, Lags, double, double> table[] = {
      {new_method, {0, 4, 4}, {e, 4, 4}, 0, nan},
      {new_method, {-4, -0.0, 4}, {-4, e, 4}, 270, nan},
      {new_method, {0, 0, 0}, {e, e, e}, 180, (75 * fs + 150 * fs / e) / 3},
      {weighted_method, {-4, 0, 4}, {-4, e, 4}, 270, nan},
      {old_method, {0, 4, 4}, {e, 4, 4}, 0, 0},
      {old_method, {-4, 0, 4}, {-4, 0.01, 4}, 270 + away, 2 * pi * 75 / 4},
      {old_method, {0, 0, 0}, {e, 0.01, 0}, 0, 0},
  };

  for (const auto& [method, given, used, azimuth, velocity] : table) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(method) << ", from " << azimuth);
    Lags lags = given;
    const ResultRecord record = estimate(method, lags);
    EXPECT_EQ(lags, used);
    EXPECT_LT(apart(record.az, azimuth), 1e-4);
    if (!std::isnan(velocity)) {
      EXPECT_NEAR(record.vel, velocity, 1e-3 + 1e-9 * velocity);
    }
  }
  Lags lags = {0, 3, 3};  // without a lag the velocity of `old` is huge: along 12 nothing is 1e-6
  const Positions pos = {{{0, 0}, {-60, -20}, {20, -80}}};
  EXPECT_NEAR(estimate(old_method, lags, {}, pos).vel, -2e6 * pi * 2 * 20 * 60 / std::hypot(20, 60),
              1);
}

// Lags that no wave has: the tangents' mean is negative though both sums are positive.
TEST(angle_new, turns_a_negative_angle_to_the_other_end) {
  const double x = (75 / 0.75 + 75 / 217.5 - 141.75 / 0.75) / 3;
  Lags lags = {-1, -0.01, -1.9};
  EXPECT_NEAR(estimate(new_method, lags).az, 360 + std::atan(x) * 180 / pi, 1e-4);
}

TEST(angle_weighted, weights_each_two_pairs_by_their_correlations) {
  Lags lags = {3, 4, 5};
  const Positions pos = {{{0, 0}, {-30, 0}, {0, -40}}};
  EXPECT_NEAR(estimate(weighted_method, lags, {1, 2, 4}, pos).vel,
              fs * (2 * 30 / 5.0 + 4 * 40 / std::sqrt(34.0) + 8 * 50 / std::sqrt(41.0)) / 14, 1e-9);
  for (std::size_t dead = 0; dead < 3; ++dead) {
    std::array<double, 3> cmax = {0.7, 0.8, 0.9};
    cmax[dead] = 0;
    lags = plane_wave(pos, 2, 340);
    lags[dead] = 16;
    EXPECT_LT(apart(estimate(weighted_method, lags, cmax, pos).az, 2 * 180 / pi), 1e-4);
  }
  for (const Lags& any : {Lags{3, 4, 5}, {-1, -0.01, -1.9}, {0.3, -7, 2}}) {  // weights of 1: `new`
    Lags lags1 = any;
    Lags lags2 = any;
    EXPECT_EQ(estimate(weighted_method, lags1).az, estimate(new_method, lags2).az);
  }
  lags = {0, 1, 0};
  EXPECT_TRUE(std::isnan(estimate(weighted_method, lags, {0, 0, 0.9}).az));
}

class angle_methods_trace : public FreshState {};

TEST_F(angle_methods_trace, let_a_nan_through_and_old_shows_it) {
  tavrik::settings.debug = 1;
  support::CapturedStderr captured;
  for (const Direction method : methods) {
    Lags lags = {nan, 2, 1};
    EXPECT_TRUE(std::isnan(estimate(method, lags).az) && std::isnan(lags[0]));
  }
  EXPECT_THAT(captured.take(),
              testing::MatchesRegex("src/direction:[0-9]+:: debug: dfi.0.= nan dfi.1. = 2\n"
                                    "src/direction:[0-9]+:: debug: az = -?nan azc = -?nan\n"));
}

}  // namespace
