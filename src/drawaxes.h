#pragma once

// The axes of the result plot: clock times below a panel, values on both of its sides.

namespace tavrik {

/// Distance of ticks, and which rule gave it.
struct NiceSpacing {
  double spacing = 0;     ///< 1, 2 or 5 times a power of ten, with the sign of b - a
  int spacing_class = 0;  ///< 0 for 1 (and 10), 1 for 2, 2 for 5
};

/// Spacing for about five intervals between a and b, which reads well on an axis. Equal ends print
/// "Error: bad trial inter-tick spacing" and end the program with status 1. NaN gives an undefined
/// spacing.
NiceSpacing nice_spacing(double a, double b);

/// Draws ticks and labels below a panel. width, height: of the panel in pixels; left, top: its
/// corner; t0, t1: times at its edges, seconds, finite and different. t1 below t0 is a time of the
/// next day. Labels are clock times with print_ut, else minutes of the day.
/// Returns the last column of panel and labels. What is left of the panel is not told: a tick there
/// stands for an earlier time, any number of columns away.
int draw_time_axis(int width, int height, int left, int top, double t0, double t1, bool print_ut);

/// Draws ticks, a dotted grid and labels on both sides of a panel for values from lo (bottom) to hi
/// (top), finite and different. integer_steps: minor ticks are at least 1 apart.
/// Returns the width of the widest label in pixels, 0 without labels.
int draw_value_axis(int width, int height, int left, int top, bool integer_steps, double lo,
                    double hi);

}  // namespace tavrik
