// The usage text and the version line.

#include "src/usage.h"

#include <cstdlib>
#include <fmt/format.h>
#include <string_view>

#include "korla/korla_base.h"

#include "src/console.h"
#include "src/settings.h"
#include "src/viewer_keys.h"

namespace tavrik {

namespace {

/// The placeholders: program, three defaults, lags, the current choice of joining. The misspelt
/// words are known and stay.
constexpr std::string_view main_text = R"(Usage: {} file.ext [-options] [--long-options]

  -g#             # = [0   no gfx] [1  640x200] [2   640x350]
                      [3  640x480] [4* 800x600] [5  1024x768]
                      [6  1280x1024] *=default
 --lsq_len=#      Sets how many points to use for lsq-fitting(default:8)
 --no-lsq-plot    Disable plot of lsq
 --print-ut       Print time on x-axis in HHMM.SS ut instead of
                  minutes.sec after midnight
 --center-time    Show center time instead of start time
 -o               Old files.
 -c               Writes az & fc to <file.az>.
                  and writes a <file.caz>.
 --entropy        calculate entropy and write <file.crs> and <file.cre>.
 --vortex[=level] Vortex statistics (Default: 1000)
 -h[#]            Writes histogram to <file.hst>.
                  if # is given skip points with
                  max crosscorrelation lower than #.
 -s #             Steplength ({}).
 -l #             Correlationslength ({}).
 -t #             Weighted markers ( 0=normal, 1=maxcrs, 2=maxamp) (Default: {}).
 -x coord.dat     Complete path to coordinate file including filename
 --angle=type     Specify function for angular calulation:
                   o(ld)      - original function
                   n(ew)      - manages other positions of microphones (Default)
                   w(eighted) - modified new
                   l(sq)      - least squares, for any positions
 --acr            Calculate autocorrelation.
 --maxdelay=#     Number of crosscorrelation steps. (Default: {})
 --save-and-exit  Save complete plot in one .png.
 --memory         Use memory for drawing instead of display
 --[no-]join      Join several files (default: {})
 --partial        Dump partial calculations
 --quiet          Hush!
 --strip-path     strip /home & /korla from beginning of path
 --title=string   title of plot (default: first filename)
 --dont-handle-nans
                  Print nan instead of 0 for invalid values
 --negtime        Files that straddle midnight get negative starttime
 --postime        Files that straddle midnight get positive starttime (default)
 --range=t0-t1    Limit result to timerange t0-t1 (unix timestamps)
 --force=t0-t1    Force timerange to t0-t1 (unix timestamps) even if less data
 --compact=#      Compact X-size by #
 -where           Show the location of this program.
 -?               Show this help.

)";

constexpr const char* notice = "Free software under the MIT licence, without any warranty.";
constexpr const char* contact = "Questions and reports: see CONTRIBUTING.md in the source tree.";

std::string_view file_name(std::string_view path) {
  std::size_t last = path.rfind('\\');
  if (last == std::string_view::npos) {
    last = path.rfind('/');
  }
  return last == std::string_view::npos ? path : path.substr(last + 1);
}

}  // namespace

std::string version_line() {
  return "tavrik Version " TAVRIK_DESCRIPTION " " __DATE__ " " __TIME__ " by the tavrik team";
}

void usage(const char* program) {
  // The numbers are the defaults, not the settings; only the joining follows the options so far.
  write_message(fmt::format(fmt::runtime(main_text), KorLa::printable(file_name(program)), 128, 128,
                            0, 16, settings.join ? "join" : "no-join"));
  for (const char* row : online_help) {
    print("{}\n", row);
  }
  print("{}\n{}\n{}\n", version_line(), notice, contact);
  print("Using {}\n", KorLa::version_line());
  end_process(0);
  std::abort();
}

}  // namespace tavrik
