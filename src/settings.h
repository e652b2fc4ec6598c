#pragma once
// The run's settings: one record, filled by the command line, read everywhere.

#include <cstdint>
#include <string>

namespace tavrik {

/// The methods that turn lags into a direction (src/direction.h). The words of --angle are "old",
/// "new", "weighted" and "lsq".
enum class Direction { old_method, new_method, weighted_method, lsq_method };

/// What the viewer draws.
enum class PlotKind { result, circular, circular_velocity };

/// How the markers of the result plot are weighted.
enum class MarkerType { normal, maxcrs, maxamp };

/// `save_and_exit` of a run that saves its picture without waiting for keys; also the key code that
/// stands for saving.
inline constexpr int save_and_exit_key = 264;

/// The usual NaN filter: says "Warning: encountered a Nan" and gives 0 for a NaN.
double replace_nan(double value);

/// The NaN filter of --dont-handle-nans: every value as it is.
double keep_nan(double value);

/// Every option's value. The initial values are the documented defaults.
struct Settings {
  int debug = 0;                ///< trace level 0..3
  bool quiet = false;           ///< no informational lines
  int graphics_mode = 4;        ///< 0 no graphics, 1..7 a screen size
  bool memory = false;          ///< draw on a memory canvas instead of a window
  bool to_stdout = false;       ///< the picture goes to standard output
  int save_and_exit = 0;        ///< save_and_exit_key, or 0
  bool webb = false;            ///< --webb was given
  int cstep = 128;              ///< samples from one window to the next, 1..512
  std::uint64_t clength = 128;  ///< samples in a window, 8..512
  MarkerType type = MarkerType::normal;
  bool histogram = false;        ///< write the histogram file
  double crsfilter = 0.0;        ///< lowest correlation that counts in histograms, 0..1
  bool write_az = false;         ///< write the az and caz files
  bool acr = false;              ///< autocorrelation statistics
  bool entropy = false;          ///< entropy statistics
  bool vortex = false;           ///< vortex statistics
  double vortex_level = 1000.0;  ///< their level, at least 1
  std::uint64_t lsq_len = 8;     ///< points of the spectrum's line fit, 2..clength
  bool lsq_plot = false;         ///< draw the fits' slopes
  int hist_size = 180;           ///< histogram bins, 4..360
  std::uint64_t maxdelay = 16;   ///< lags on each side of zero, 2..255
  bool maxdelay_auto = true;     ///< derive the lags from the first file's sampling frequency
  bool print_ut = true;          ///< clock times on the time axis, not minutes after midnight
  bool center_time = false;      ///< times stand for the middle of a step, not its start
  bool join = true;              ///< analyse all files as one series
  bool comment = false;          ///< headers in the result files
  std::string comment_text;      ///< the options of the run in one line
  bool partial = false;          ///< write the part file
  bool lltmp = false;            ///< write the lltmp file
  bool crn = false;              ///< write the crn file
  bool csv = false;              ///< write the csv file
  int strip_path = 0;            ///< recorded only: saved pictures are always stripped
  bool negtime = false;          ///< files that straddle midnight start before it, not on its day
  bool logcaz = false;           ///< logarithmic mean bars in the histogram
  bool plotcaz = false;          ///< mean bars in the histogram
  bool kodebug = false;          ///< trace output of the file library
  bool normalize = true;         ///< normalise the windows before they are correlated
  int compact = 1;               ///< divides the width of the plot, at least 1
  std::string title;             ///< plot title; empty: the first file's name
  std::string external;          ///< name given with --external; nothing reads it
  std::string coord_file;        ///< coordinate file given with -x
  bool coord_loaded = false;     ///< -x is in force
  bool range_set = false;        ///< only windows that start in the time range count
  bool range_forced = false;     ///< the plot spans the range even with less data
  double range_t0 = 0.0;         ///< seconds since 1970 UTC, inside the range
  double range_t1 = 0.0;         ///< seconds since 1970 UTC, the first moment after the range
  int ch1 = 0;                   ///< channel numbers of the microphones, from 0; shown from 1
  int ch2 = 1;
  int ch3 = 2;
  double (*nan_handler)(double) = replace_nan;  ///< applied to values written to result files
  Direction primary_direction = Direction::new_method;    ///< used in every window
  Direction secondary_direction = Direction::new_method;  ///< takes over once coordinates are read
  PlotKind plot_routine = PlotKind::result;

  bool operator==(const Settings&) const = default;
};

/// The settings of this run.
inline Settings settings;

/// A whole number in base 10, within 32 bits; what follows the digits is ignored. No digit at all,
/// or a number that does not fit, ends the program with status 1 and a message.
int get_long(const char* text);

/// A number, by the same rules, as the argument of -h is read.
double get_double(const char* text);

}  // namespace tavrik
