// The three direction methods.

#include "src/direction.h"

#include <cmath>
#include <numbers>

#include "src/console.h"
#include "src/guards.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/direction";

/// Solves the plane wave for each two of the three pairs: tan(azimuth) = b / a.
void estimate_pairwise(ResultRecord& record, const Lags& lags, const Baselines& base) {
  const auto& [t12, t13, t23] = lags;
  record.a12_13 = zero_guarded(t13 * base.dx12 - t12 * base.dx13);
  record.a12_23 = zero_guarded(base.dx12 * t23 - t12 * base.dx23);
  record.a13_23 = zero_guarded(base.dx13 * t23 - base.dx23 * t13);
  record.b12_13 = t12 * base.dy13 - t13 * base.dy12;
  record.b12_23 = t12 * base.dy23 - base.dy12 * t23;
  record.b13_23 = base.dy23 * t13 - base.dy13 * t23;
}

/// Where the sound comes from, degrees in [0, 360]. x: tangent of the propagation's azimuth;
/// sa, sb: the denominators' and the numerators' means, whose signs tell the quadrant.
double azimuth_of_arrival(double x, double sa, double sb) {
  double az = degrees(std::atan(x));
  if (sa != 0) {
    if (sa < 0) {
      az += 180;
    }
    if (sb < 0 && sa > 0) {
      az += 360;
    }
  } else if (sb < 0) {
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

void guard(Lags& lags) {
  for (double& lag : lags) {
    lag = zero_guarded(lag);
  }
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
  const double sa = (record.a12_13 + record.a12_23 + record.a13_23) / 3;
  const double sb = (record.b12_13 + record.b12_23 + record.b13_23) / 3;
  const double x = (record.b12_13 / record.a12_13 + record.b12_23 / record.a12_23 +
                    record.b13_23 / record.a13_23) /
                   3;
  record.az = azimuth_of_arrival(x, sa, sb);
  guard(lags);
  const double cos12 = std::cos(radians(base.az12 - record.az));
  const double cos13 = std::cos(radians(base.az13 - record.az));
  const double cos23 = std::cos(radians(base.az23 - record.az));
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
  estimate_pairwise(record, lags, base);
  const double wa = record.cmax12 * record.cmax13;
  const double wb = record.cmax12 * record.cmax23;
  const double wc = record.cmax13 * record.cmax23;
  const double w = wa + wb + wc;
  const double sa = (wa * record.a12_13 + wb * record.a12_23 + wc * record.a13_23) / w;
  const double sb = (wa * record.b12_13 + wb * record.b12_23 + wc * record.b13_23) / w;
  const double x = (wa * record.b12_13 / record.a12_13 + wb * record.b12_23 / record.a12_23 +
                    wc * record.b13_23 / record.a13_23) /
                   w;
  record.az = azimuth_of_arrival(x, sa, sb);
  guard(lags);
  const auto& [t12, t13, t23] = lags;
  // Half the speed that `new` gives: intended.
  record.v12 = std::cos(radians(base.az12 - record.az)) * (0.5 * frequency * base.d12) / t12;
  record.v13 = std::cos(radians(base.az13 - record.az)) * (0.5 * frequency * base.d13) / t13;
  record.v23 = std::cos(radians(base.az23 - record.az)) * (0.5 * frequency * base.d23) / t23;
  record.vel = (wa * frequency * base.d12 / std::sqrt(t12 * t12 + t13 * t13) +
                wb * frequency * base.d13 / std::sqrt(t12 * t12 + t23 * t23) +
                wc * frequency * base.d23 / std::sqrt(t13 * t13 + t23 * t23)) /
               w;
}

void angle_old(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double /*frequency*/) {
  const auto& [p1, p2, p3] = array.pos;
  double& t12 = lags[0];
  double& t13 = lags[1];
  if (t13 == 0) {
    t13 = 0.01;
  }
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

AngleMethod angle_method(Direction direction) {
  switch (direction) {
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
