#pragma once
// From the lags of one window to the azimuth and the apparent velocity of the sound: four methods,
// one of which is in force. Azimuths are where the sound comes from. docs/method.md derives them.

#include "src/correlation.h"
#include "src/geometry.h"
#include "src/result_record.h"
#include "src/settings.h"

namespace tavrik {

/// Fills `az`, `vel` and the work fields of `record` from the lags. A lag that is exactly 0 may be
/// replaced by a small value, in the caller's array too: later steps divide by it.
/// array: with baselines worked out (`old` uses the positions). frequency: samples per second,
/// above 0. Never fails; NaN lags give NaN results.
using AngleMethod = void (*)(ResultRecord& record, Lags& lags, const ArrayGeometry& array,
                             double frequency);

/// A plane-wave fit of each two of the three pairs, and their mean. Takes microphones numbered
/// counter-clockwise; with clockwise ones the direction is turned by 180 degrees.
/// vel: mean of the three pairs' velocities, m/s.
void angle_new(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency);

/// As `angle_new`, with each two pairs weighted by the product of their cmax, which `record` has.
/// `v12`, `v13`, `v23` are half of what `angle_new` gives, `p12`, `p13`, `p23` are left alone (both
/// intended). vel: weighted mean of each two pairs' velocity, m/s. NaN when all weights are 0.
void angle_weighted(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency);

/// The first method, from microphone 1 and the lags 12 and 13 alone; also for microphones numbered
/// counter-clockwise. It has no weak directions, unlike the others near 90 and 270 degrees.
/// vel: 2 pi / frequency times the velocity where microphone 2 stands due west or east of
/// microphone 1, as in the default triangle; meaningless elsewhere. No frequency enters (intended).
void angle_old(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency);

/// The slowness vector that fits the three lags best, s: the sound comes from the direction
/// opposite to it, in [0, 360), with the velocity 1/|s|, m/s. For any triangle, numbered either
/// way, and without weak directions beyond those of the triangle. All lags 0 give NaN. The work
/// fields are those of `angle_new` for that direction; the lags stay as they are.
void angle_lsq(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency);

/// One standard deviation of what `angle_lsq` gives.
struct Uncertainty {
  double azimuth = 0;   ///< degrees
  double velocity = 0;  ///< m/s
};

/// What the residual of the fit says about it. The lags of a closed triangle, t12 + t23 - t13 = 0,
/// fit exactly, and their misclosure c leaves residuals of c/3 each: with three lags and two
/// unknowns there is one degree of freedom, so that the variance of a lag is estimated as c^2 / 3
/// from a single number, and a window may have small residuals by chance. Its propagation is that
/// of first order: along the unit vector n of the slowness s the velocity's is |s|^-2 sqrt(n'Cn),
/// across it, along m, the azimuth's is |s|^-1 sqrt(m'Cm), C being the covariance of s.
Uncertainty uncertainty(const Lags& lags, const SlownessFit& fit, double frequency);

/// The function of a method.
AngleMethod angle_method(Direction direction);

}  // namespace tavrik
