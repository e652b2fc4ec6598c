#pragma once
// From the lags of one window to the direction and the speed of the sound: three methods, one of
// which is in force.

#include <array>

#include "src/geometry.h"
#include "src/result_record.h"
#include "src/settings.h"

namespace tavrik {

/// Arrival differences of the pairs 12, 13, 23 in samples, fractional; positive when the sound
/// reaches the pair's first microphone first.
using Lags = std::array<double, 3>;

/// Fills `az`, `vel` and the work fields of `record` from the lags. A lag that is exactly 0 may be
/// replaced by a small value, in the caller's array too: later steps divide by it.
/// frequency: samples per second. Never fails; NaN lags give NaN results.
using AngleMethod = void (*)(ResultRecord& record, Lags& lags, const ArrayGeometry& array,
                             double frequency);

/// A plane-wave fit of each two of the three pairs, and their mean. Takes microphones numbered
/// counter-clockwise; with clockwise ones the direction is turned by 180 degrees.
/// vel: mean of the three pairs' speeds, m/s.
void angle_new(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency);

/// As `angle_new`, with each two pairs weighted by the product of their cmax. `v12`, `v13`, `v23`
/// are half of what `angle_new` gives, `p12`, `p13`, `p23` are left alone (both intended).
/// vel: weighted mean of each two pairs' speed, m/s. NaN when all weights are 0.
void angle_weighted(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency);

/// The first method, from microphone 1 and the lags 12 and 13 alone; also for microphones numbered
/// counter-clockwise. It has no weak directions, unlike the others near 90 and 270 degrees.
/// vel: 2 pi / frequency times the speed where microphone 2 stands due west or east of microphone
/// 1, as in the default triangle; of no use elsewhere, since no frequency enters (intended).
void angle_old(ResultRecord& record, Lags& lags, const ArrayGeometry& array, double frequency);

/// The function of a method.
AngleMethod angle_method(Direction direction);

}  // namespace tavrik
