// The four direction methods.

#include "src/direction.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "src/console.h"
#include "src/guards.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/direction";

/// Solves the plane wave for each two of the three pairs.
/// A wave with the slowness (s_east, s_north), seconds per metre along its way, reaches the end of
/// a baseline (dx, dy) later than its start by t = s_east dx + s_north dy. Two baselines, 12 and 13
/// for instance, make two equations, and Cramer's rule with D = dx12 dy13 - dx13 dy12 gives
///   D s_east = t12 dy13 - t13 dy12 = b12_13,  D s_north = t13 dx12 - t12 dx13 = a12_13,
/// so that b / a is the tangent of the azimuth of propagation. The lags' unit cancels. D is the
/// same for all, twice the triangle's area: above 0, as the signs of a and b need it to tell the
/// quadrant, where the microphones are numbered counter-clockwise.
void estimate_pairwise(ResultRecord& record, const Lags& lags, const Baselines& base) {
  const auto& [t12, t13, t23] = lags;
  record.a12_13 = zero_guarded(t13 * base.dx12 - t12 * base.dx13);
  record.a12_23 = zero_guarded(base.dx12 * t23 - t12 * base.dx23);
  record.a13_23 = zero_guarded(base.dx13 * t23 - base.dx23 * t13);
  record.b12_13 = t12 * base.dy13 - t13 * base.dy12;
  record.b12_23 = t12 * base.dy23 - base.dy12 * t23;
  record.b13_23 = base.dy23 * t13 - base.dy13 * t23;
}

/// What each two of the three pairs count.
struct PairWeights {
  double w12_13, w12_23, w13_23;

  double sum() const { return w12_13 + w12_23 + w13_23; }
};

constexpr PairWeights equal_weights = {1, 1, 1};

/// Two pairs count as much as both of them correlate.
PairWeights correlation_weights(const ResultRecord& record) {
  return {record.cmax12 * record.cmax13, record.cmax12 * record.cmax23,
          record.cmax13 * record.cmax23};
}

/// From a tangent to where the sound comes from, degrees in [0, 360]. tangent: of the azimuth of
/// propagation; a, b: denominator and numerator, north and east, whose signs tell the quadrant.
double azimuth_of_arrival(double tangent, double a, double b) {
  double az = degrees(std::atan(tangent));
  if (a != 0) {
    if (a < 0) {
      az += 180;
    }
    if (b < 0 && a > 0) {
      az += 360;
    }
  } else if (b < 0) {
    az += 360;
  }
  if (az > 360) {
    az -= 360;
  }
  if (az < 0) {
    az += 180;  // not 360: intended
  }
  az += 180;  // from the propagation to the arrival
  if (az > 360) {
    az -= 360;
  }
  return az;
}

/// The azimuth by the weighted means of what each two pairs give: mean quotient, mean a, mean b.
double mean_azimuth(const ResultRecord& r, const PairWeights& weights) {
  const auto& [u, v, w] = weights;
  const double sum = weights.sum();
  const double a = (u * r.a12_13 + v * r.a12_23 + w * r.a13_23) / sum;
  const double b = (u * r.b12_13 + v * r.b12_23 + w * r.b13_23) / sum;
  const double tangent =
      (u * r.b12_13 / r.a12_13 + v * r.b12_23 / r.a12_23 + w * r.b13_23 / r.a13_23) / sum;
  return azimuth_of_arrival(tangent, a, b);
}

void guard(Lags& lags) {
  for (double& lag : lags) {
    lag = zero_guarded(lag);
  }
}

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// How much later a plane wave arrives for each metre, samples: along its way.
struct Slowness {
  double east, north;
  double size;

  /// Degrees in [0, 360); NaN without a direction.
  double azimuth_of_arrival() const {
    if (!(size > 0)) {
      return not_a_number;
    }
    const double az = degrees(std::atan2(-east, -north));
    return az < 0 ? std::fmod(az + 360, 360) : az;
  }
};

Slowness fit_slowness(const Lags& lags, const SlownessFit& fit) {
  const double east = std::inner_product(lags.begin(), lags.end(), fit.east.begin(), 0.0);
  const double north = std::inner_product(lags.begin(), lags.end(), fit.north.begin(), 0.0);
  return {east, north, std::hypot(east, north)};
}

/// The direction that only the trace of a failed `old` estimate shows.
double azimuth_without_quadrant(double p, double q, const Lags& lags) {
  const double angle = degrees(std::atan(p / q));
  if (lags[1] < 0) {
    return 180 - angle;
  }
  return lags[0] > 0 ? -angle : 360 - angle;
}

}  // namespace

void angle_new(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency) {
  const Baselines& base = array.baselines;
  estimate_pairwise(record, lags, base);
  record.az = mean_azimuth(record, equal_weights);
  guard(lags);
  const double cos12 = std::cos(radians(base.az12 - record.az));
  const double cos13 = std::cos(radians(base.az13 - record.az));
  const double cos23 = std::cos(radians(base.az23 - record.az));
  // A baseline's part along the wave's way, divided by the time that the wave takes for it.
  record.v12 = base.d12 * frequency * cos12 / lags[0];
  record.v13 = frequency * base.d13 * cos13 / lags[1];
  record.v23 = frequency * base.d23 * cos23 / lags[2];
  record.p12 = base.d12 * cos12;
  record.p13 = base.d13 * cos13;
  record.p23 = base.d23 * cos23;
  record.vel = (std::fabs(record.v12) + std::fabs(record.v13) + std::fabs(record.v23)) / 3;
}

void angle_weighted(ResultRecord& record, Lags& lags, const ArrayGeometry& array,
                    double frequency) {
  const Baselines& base = array.baselines;
  const PairWeights weights = correlation_weights(record);
  estimate_pairwise(record, lags, base);
  record.az = mean_azimuth(record, weights);
  guard(lags);
  const auto& [t12, t13, t23] = lags;
  // Half the velocity that `new` gives: intended.
  record.v12 = std::cos(radians(base.az12 - record.az)) * (0.5 * frequency * base.d12) / t12;
  record.v13 = std::cos(radians(base.az13 - record.az)) * (0.5 * frequency * base.d13) / t13;
  record.v23 = std::cos(radians(base.az23 - record.az)) * (0.5 * frequency * base.d23) / t23;
  // The first term is exact where 12 and 13 are of one length and at a right angle: their lags are
  // then fs d / v times the cosine and the sine of one angle. The others have its form alone.
  const auto& [u, v, w] = weights;
  record.vel = (u * frequency * base.d12 / std::sqrt(t12 * t12 + t13 * t13) +
                v * frequency * base.d13 / std::sqrt(t12 * t12 + t23 * t23) +
                w * frequency * base.d23 / std::sqrt(t13 * t13 + t23 * t23)) /
               weights.sum();
}

void angle_old(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double /*frequency*/) {
  const auto& [p1, p2, p3] = array.pos;
  double& t12 = lags[0];
  double& t13 = lags[1];
  if (t13 == 0) {
    t13 = 0.01;
  }
  // With r = t12 / t13, t12 - r t13 = 0: to a wave it is as if the vector 12 - r 13 lay along its
  // front, since its two ends are reached at once. (p, q) is that vector, north and east, reversed;
  // the sound comes at a right angle to it, on the side that the lags' signs tell.
  const double r = t12 / t13;
  const double p = (p1.y - p2.y) - (p1.y - p3.y) * r;
  const double q = (p1.x - p2.x) - (p1.x - p3.x) * r;
  double az = 180 - degrees(std::atan2(p, q));
  if (t12 >= 0 && t13 > 0) {
    az -= 180;
  } else if (t12 < 0 && t13 > 0) {
    az += 180;
  }
  if (std::isnan(az)) {
    TAVRIK_TRACE(1, "dfi[0]= {} dfi[1] = {}", t12, t13);
    TAVRIK_TRACE(1, "az = {} azc = {}", az, azimuth_without_quadrant(p, q, lags));
  }
  while (az < 0) {
    az += 360;
  }
  while (az > 360) {
    az -= 360;
  }
  double k = -2 * std::numbers::pi / t12;
  if (t12 == 0) {
    k = -6283185.307179587;
    t12 = 1e-6;
  }
  record.az = az;
  record.vel = (std::cos(radians(az)) * (p1.y - p2.y) - std::sin(radians(az)) * (p1.x - p2.x)) * k;
}

void angle_lsq(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency) {
  const Baselines& base = array.baselines;
  estimate_pairwise(record, lags, base);
  const Slowness slowness = fit_slowness(lags, array.fit);
  record.az = slowness.azimuth_of_arrival();
  record.vel = slowness.size > 0 ? frequency / slowness.size : not_a_number;
  record.p12 = base.d12 * std::cos(radians(base.az12 - record.az));
  record.p13 = base.d13 * std::cos(radians(base.az13 - record.az));
  record.p23 = base.d23 * std::cos(radians(base.az23 - record.az));
  record.v12 = record.p12 * frequency / zero_guarded(lags[0]);
  record.v13 = record.p13 * frequency / zero_guarded(lags[1]);
  record.v23 = record.p23 * frequency / zero_guarded(lags[2]);
}

Uncertainty uncertainty(const Lags& lags, const SlownessFit& fit, double frequency) {
  const Slowness s = fit_slowness(lags, fit);
  const double closure = lags[0] + lags[2] - lags[1];
  const double deviation = std::fabs(closure) / std::sqrt(3.0);
  const double east = s.east / s.size;
  const double north = s.north / s.size;
  const double along =
      east * east * fit.cov_ee + 2 * east * north * fit.cov_en + north * north * fit.cov_nn;
  const double across =
      north * north * fit.cov_ee - 2 * east * north * fit.cov_en + east * east * fit.cov_nn;
  return {degrees(deviation * std::sqrt(across) / s.size),
          deviation * std::sqrt(along) * frequency / (s.size * s.size)};
}

AngleMethod angle_method(Direction direction) {
  switch (direction) {
    case Direction::lsq_method:
      return angle_lsq;
    case Direction::old_method:
      return angle_old;
    case Direction::weighted_method:
      return angle_weighted;
    case Direction::new_method:
      break;
  }
  return angle_new;
}

}  // namespace tavrik
