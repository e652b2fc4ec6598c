// Baselines of the array, and the coordinate file.

#include "src/geometry.h"

#include <cmath>
#include <gmock/gmock.h>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace tavrik;
using enum Direction;
using testing::HasSubstr;

TEST(compute_geometry, points_each_baseline_from_the_lower_to_the_higher_microphone) {
  // What the guard of a component to the north of exactly 0 turns a direction by.
  const double guard = 1e-6 * 180 / std::numbers::pi;

  const struct {
    const char* name;
    Point to;
    double length, azimuth, north;
  } table[] = {
      {"north", {0, 20}, 20, 0, 20},
      {"east", {50, 0}, 50, 90 - guard, 50e-6},
      {"steep south-east", {30, -40}, 50, 180 - 36.86989764584402, -40},
      {"south", {0, -1}, 1, 180, -1},
      {"west", {-50, 0}, 50, 270 + guard, 50e-6},
      {"flat north-west", {-4, 3}, 5, 270 + 36.86989764584402, 3},
  };

  for (const auto& row : table) {
    SCOPED_TRACE(row.name);
    const Point far = {1000 + row.to.x, row.to.y - 500};
    const Point behind = {far.x + 2 * row.to.x, far.y + 2 * row.to.y};
    const Baselines base = compute_geometry({{{1000, -500}, far, behind}});
    const auto expect = [&row](double times, double d, double az, double dx, double dy) {
      EXPECT_NEAR(d, times * row.length, 1e-9);
      EXPECT_NEAR(az, row.azimuth, 1e-9);
      EXPECT_NEAR(dx, times * row.to.x, 1e-9);
      EXPECT_NEAR(dy, times * row.north, 1e-12);
    };
    expect(1, base.d12, base.az12, base.dx12, base.dy12);
    expect(3, base.d13, base.az13, base.dx13, base.dy13);
    expect(2, base.d23, base.az23, base.dx23, base.dy23);
  }
  EXPECT_EQ(signed_area({{{1, 1}, {1, 5}, {4, 1}}}), -12.0);
  EXPECT_TRUE(std::isnan(compute_geometry({{{7, 8}, {7, 8}, {7, 88}}}).az12));
}

TEST(parse_coordinates, takes_what_is_there_until_the_first_bad_line) {
  const struct {
    const char* name;
    const char* text;
    std::array<int, 3> ch;
    std::array<double, 3> x;  ///< of the positions; each y is 1 more
    int bad_line;
  } table[] = {
      {"all moved", "h\n3 1 2\n10 11\n20 21\n30 31\n", {2, 0, 1}, {20, 30, 10}, 0},
      {"CR LF", "h\r\n2 1 3\r\n10 11\r\n20 21\r\n30 31", {1, 0, 2}, {20, 10, 30}, 0},
      {"ways to write", "\n\t1  2 3 \n -1.5e1 -14.\n+.25 1.25\n0\t+1", {0, 1, 2}, {-15, .25, 0}, 0},
      {"more", "1 1 1\n1 2 3 4\n10 11 x\n20 21 9\n30 31\nx", {0, 1, 2}, {10, 20, 30}, 0},
      {"empty", "", {2, 0, 1}, {1, 3, 5}, 2},
      {"two channels", "h\n1 2\n10 11\n20 21\n30 31\n", {2, 0, 1}, {1, 3, 5}, 2},
      {"a word", "h\n1 two 3\n10 11\n20 21\n30 31\n", {2, 0, 1}, {1, 3, 5}, 2},
      {"channels only", "h\n2 1 3", {1, 0, 2}, {1, 3, 5}, 3},
      {"half a position", "h\n1 2 3\n10 11\n20 21\n30\n31\n", {0, 1, 2}, {10, 20, 5}, 5},
      {"beyond a double", "h\n1 2 3\n1e999 11\n20 21\n30 31\n", {0, 1, 2}, {1, 3, 5}, 3},
  };

  const ArrayGeometry before = {{{{1, 2}, {3, 4}, {5, 6}}}, {2, 0, 1}, {}};
  for (const auto& [name, text, ch, x, expected_line] : table) {
    SCOPED_TRACE(name);
    const auto [geometry, bad_line] = parse_coordinates(text, before);
    EXPECT_EQ(bad_line, expected_line);
    const Positions expected = {{{x[0], x[0] + 1}, {x[1], x[1] + 1}, {x[2], x[2] + 1}}};
    EXPECT_TRUE((geometry == ArrayGeometry{expected, ch, {}}));
  }
}

class coordinates : public FreshState {
 protected:
  static constexpr const char* swapped = "VQS-FILE\n2 1 3\n10.5 11\n-20 21\n30 31\n";

  /// Reads a file and returns what was said.
  static std::string read(const std::string& path, bool expect_defaults = false) {
    support::CapturedStderr captured;
    EXPECT_EQ(read_coordinates(path), expect_defaults);
    return captured.take();
  }

  support::TemporaryFolder folder;
};

TEST_F(coordinates, check_channels_names_everything_that_is_wrong) {
  const std::pair<std::array<int, 3>, std::string> table[] = {
      {{2, 0, 1}, ""},
      {{-1, 1, 2}, "ch1=0 out of range (1-3)\n"},
      {{0, 1, 2147483647}, "ch3=2147483648 out of range (1-3)\n"},
      {{1, 1, 2}, "ch1=2 and ch2=2 must be different\n"},
      {{3, 3, 3},
       "ch1=4 out of range (1-3)\nch2=4 out of range (1-3)\nch3=4 out of range (1-3)\n"
       "ch1=4 and ch2=4 must be different\nch1=4 and ch3=4 must be different\n"
       "ch2=4 and ch3=4 must be different\n"}};
  for (const auto& [channels, said] : table) {
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&ch = channels] { check_channels(ch); }), said.empty() ? -1 : 1);
    EXPECT_EQ(captured.take(), said);
  }
}

TEST_F(coordinates, are_read_echoed_and_measured) {
  settings.secondary_direction = weighted_method;
  const std::string missing =
      "No coord.dat-file, using defaults\nVQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n";
  EXPECT_EQ(read(folder / "none", true), missing);
  EXPECT_EQ(settings.primary_direction, new_method);

  const std::string path = folder.write("a", swapped);
  EXPECT_EQ(read(path), "Coord-file: " + path + "\n\n2 1 3\n-20 21\n10.5 11\n30 31\n");
  EXPECT_NEAR(array_geometry.baselines.d12, std::hypot(30.5, 10), 1e-12);
  EXPECT_EQ(settings.primary_direction, weighted_method);

  const std::string said = read(folder.write("short", "VQS-FILE\n1 2 3\n5 6\n"));
  EXPECT_THAT(said, HasSubstr("/short: can't read line 4, what follows keeps its values\n"));
  EXPECT_THAT(said, HasSubstr("\n5 6\n10.5 11\n30 31\n"));
  EXPECT_EQ(read(folder.path().string(), true), missing) << "a folder is no file";
  EXPECT_EQ(array_geometry.baselines.d13, 75.0);

  settings.quiet = true;
  settings.debug = 1;
  EXPECT_THAT(read("none", true),
              testing::MatchesRegex("src/geometry:[0-9]+:: debug: M.1.: x: 0 y: 0\n"
                                    "M.2.: x: -75 y: 0\nM.3.: x: 0 y: -75\n"));
}

TEST_F(coordinates, end_for_a_channel_without_a_slot_before_the_channels_are_checked) {
  const auto path_with = [this](const std::string& channels) {
    return folder.write("bad", "h\n" + channels + "\n1 2\n3 4\n5 6\n");
  };
  for (const char* channels : {"4 4 4", "0 1 2", "-2147483648 1 2"}) {
    support::CapturedStderr captured;
    EXPECT_THAT([&] { read_coordinates(path_with(channels)); },
                testing::ThrowsMessage<std::out_of_range>(HasSubstr(") >= _Nm (which is 3)")));
    EXPECT_EQ(captured.take(), "Coord-file: " + (folder / "bad") + "\n");
  }
  support::CapturedStderr captured;
  EXPECT_EQ(exit_status([&] { read_coordinates(path_with("1 3 1")); }), 1);
  EXPECT_THAT(captured.take(), testing::EndsWith("\nch1=1 and ch3=1 must be different\n"));
}

}  // namespace
