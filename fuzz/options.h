#pragma once
// The program's options for a run, as an input chooses them.

#include <getopt.h>
#include <iterator>
#include <sstream>
#include <string_view>

#include "fuzz/harness.h"

#include "src/geometry.h"
#include "src/options.h"
#include "src/result_stream.h"
#include "src/settings.h"

namespace fuzz {

/// All that the analysis and the plots obey, with values at the ends of their ranges.
inline constexpr const char* options =
    "-c -h -h0.5 -l8 -l33 -l512 -s1 -s7 -s512 -tmaxcrs -tmaxamp -xplaces -g1 -g2 -g3 -g5 -g6 -g7 "
    "--acr --angle=old --angle=weighted --center-time --comment --compact=3 --compact=65535 --crn "
    "--dont-handle-nans --entropy --force=0-100 --force=1456812000-1456813000 --hist-size=4 "
    "--hist-size=360 --lltmp --logcaz --lsq-len=2 --lsq-len=33 --lsq-plot --maxdelay=2 "
    "--maxdelay=255 --no-normalize --partial --plotcaz --range=1-9 --title=\xc3\xa4\xff --vortex "
    "--vortex=1 --angle=lsq --csv";

/// The coordinates of -x: usual, clockwise, in a line, all on one spot, huge.
inline constexpr std::string_view places[] = {
    "\n1 2 3\n0 0\n-75 0\n0 -75", "\n1 2 3\n0 0\n0 -75\n-75 0", "\n1 2 3\n0 0\n1 1\n2 2",
    "\n1 2 3\n0 0\n0 0\n0 0", "\n1 2 3\n0 0\n1e308 0\n0 -1e308"};

/// Puts the program into its first state, and reads up to nine options.
inline void take_options(Source& source) {
  static std::istringstream stream(options);
  static const std::vector<std::string> table{std::istream_iterator<std::string>(stream), {}};
  tavrik::settings = {};
  tavrik::array_geometry = {};
  tavrik::result_state = {};
  const std::string_view text = places[source.take<std::uint8_t>() % std::size(places)];
  memory_files = {{"places", {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}}};
  std::vector<std::string> words = {"tavrik", "--quiet", "--memory"};
  for (int i = source.among(0, 9); i > 0; --i) {
    words.push_back(table[source.take<std::uint8_t>() % table.size()]);
  }
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  optind = 0;
  tavrik::parse_command_line(arguments);
}

}  // namespace fuzz
