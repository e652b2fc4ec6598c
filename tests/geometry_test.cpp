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

using tavrik::array_geometry;
using tavrik::ArrayGeometry;
using tavrik::Baselines;
using tavrik::Direction;
using tavrik::Point;
using tavrik::Positions;
using tavrik::settings;
using testing::HasSubstr;
using testing::StartsWith;

/// What the guard of a component to the north of exactly 0 turns a direction by.
constexpr double guard_angle = 1e-6 * 180 / std::numbers::pi;

TEST(compute_geometry, measures_the_default_triangle) {
  const Baselines base = tavrik::compute_geometry(tavrik::default_positions);
  EXPECT_EQ(base.d12, 75.0);
  EXPECT_EQ(base.d13, 75.0);
  EXPECT_NEAR(base.d23, 75.0 * std::sqrt(2.0), 1e-12);
  EXPECT_NEAR(base.az12, 270.0 + guard_angle, 1e-9);
  EXPECT_EQ(base.az13, 180.0);
  EXPECT_NEAR(base.az23, 135.0, 1e-12);
  EXPECT_EQ(base.dx12, -75.0);
  EXPECT_EQ(base.dx13, 0.0);
  EXPECT_NEAR(base.dx23, 75.0, 1e-12);
  EXPECT_NEAR(base.dy12, 75e-6, 1e-18);
  EXPECT_EQ(base.dy13, -75.0);
  EXPECT_NEAR(base.dy23, -75.0, 1e-12);
}

TEST(compute_geometry, points_each_baseline_from_the_lower_to_the_higher_microphone) {
  struct Row {
    const char* name;
    Point to;
    double length, azimuth, north;
  };

  const std::vector<Row> table = {
      {"north", {0, 20}, 20, 0, 20},
      {"north-east", {30, 30}, std::sqrt(1800.0), 45, 30},
      {"east", {50, 0}, 50, 90 - guard_angle, 50e-6},
      {"steep south-east", {30, -40}, 50, 180 - 36.86989764584402, -40},
      {"south", {0, -1}, 1, 180, -1},
      {"west", {-50, 0}, 50, 270 + guard_angle, 50e-6},
      {"flat north-west", {-4, 3}, 5, 270 + 36.86989764584402, 3},
  };
  const Point origin = {1000, -500};
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const Point far = {origin.x + row.to.x, origin.y + row.to.y};
    const Point behind = {far.x + 2 * row.to.x, far.y + 2 * row.to.y};
    const Baselines base = tavrik::compute_geometry({origin, far, behind});
    EXPECT_NEAR(base.d12, row.length, 1e-9);
    EXPECT_NEAR(base.d13, 3 * row.length, 1e-9);
    EXPECT_NEAR(base.d23, 2 * row.length, 1e-9);
    for (const double azimuth : {base.az12, base.az13, base.az23}) {
      EXPECT_NEAR(azimuth, row.azimuth, 1e-9);
    }
    EXPECT_NEAR(base.dx12, row.to.x, 1e-9);
    EXPECT_NEAR(base.dx23, 2 * row.to.x, 1e-9);
    EXPECT_NEAR(base.dy12, row.north, 1e-12);
    EXPECT_NEAR(base.dy13, 3 * row.north, 1e-12);
    EXPECT_NEAR(base.dy23, 2 * row.north, 1e-12);
  }
}

TEST(compute_geometry, keeps_the_other_baselines_of_microphones_on_one_spot) {
  const Baselines base = tavrik::compute_geometry({{{7, 8}, {7, 8}, {7, 88}}});
  EXPECT_EQ(base.d12, 0.0);
  EXPECT_TRUE(std::isnan(base.az12));
  EXPECT_TRUE(std::isnan(base.dy12));
  EXPECT_EQ(base.az13, 0.0);
  EXPECT_EQ(base.dy23, 80.0);
}

TEST(signed_area, tells_the_sense_of_the_numbering) {
  EXPECT_EQ(tavrik::signed_area(tavrik::default_positions), 75.0 * 75.0);
  EXPECT_EQ(tavrik::signed_area({{{1, 1}, {1, 5}, {4, 1}}}), -12.0);
  EXPECT_EQ(tavrik::signed_area({{{1, 1}, {2, 2}, {5, 5}}}), 0.0);
}

TEST(parse_coordinates, takes_what_is_there_until_the_first_bad_line) {
  struct Row {
    const char* name;
    const char* text;
    std::array<int, 3> ch;
    std::array<double, 3> x;  ///< of the positions; each y is 1 more
    int bad_line;
  };

  const std::vector<Row> table = {
      {"in order", "h\n1 2 3\n10 11\n20 21\n30 31\n", {0, 1, 2}, {10, 20, 30}, 0},
      {"two swapped", "h\n2 1 3\n10 11\n20 21\n30 31\n", {1, 0, 2}, {20, 10, 30}, 0},
      {"all moved", "h\n3 1 2\n10 11\n20 21\n30 31\n", {2, 0, 1}, {20, 30, 10}, 0},
      {"CR LF", "h\r\n2 1 3\r\n10 11\r\n20 21\r\n30 31", {1, 0, 2}, {20, 10, 30}, 0},
      {"ways to write", "\n\t1  2 3 \n -1.5e1 -14.\n+.25 1.25\n0\t+1", {0, 1, 2}, {-15, .25, 0}, 0},
      {"more", "1 1 1\n1 2 3 4\n10 11 x\n20 21 9\n30 31\nx", {0, 1, 2}, {10, 20, 30}, 0},
      {"empty", "", {2, 0, 1}, {1, 3, 5}, 2},
      {"two channels", "h\n1 2\n10 11\n20 21\n30 31\n", {2, 0, 1}, {1, 3, 5}, 2},
      {"a word", "h\n1 two 3\n10 11\n20 21\n30 31\n", {2, 0, 1}, {1, 3, 5}, 2},
      {"channels only", "h\n2 1 3", {1, 0, 2}, {1, 3, 5}, 3},
      {"ends early", "h\n2 1 3\n10 11\n", {1, 0, 2}, {1, 10, 5}, 4},
      {"a word in a position", "h\n1 2 3\n10 11\n20 y\n30 31\n", {0, 1, 2}, {10, 3, 5}, 4},
      {"half a position", "h\n1 2 3\n10 11\n20 21\n30\n31\n", {0, 1, 2}, {10, 20, 5}, 5},
      {"beyond a double", "h\n1 2 3\n1e999 11\n20 21\n30 31\n", {0, 1, 2}, {1, 3, 5}, 3},
      {"no slots, no positions", "h\n9 0 4\n", {8, -1, 3}, {1, 3, 5}, 3},
  };
  const ArrayGeometry before = {{{{1, 2}, {3, 4}, {5, 6}}}, {2, 0, 1}, {}};
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const auto [geometry, bad_line] = tavrik::parse_coordinates(row.text, before);
    EXPECT_EQ(geometry.ch, row.ch);
    EXPECT_EQ(bad_line, row.bad_line);
    for (std::size_t slot = 0; slot < 3; ++slot) {
      EXPECT_EQ(geometry.pos[slot], (Point{row.x[slot], row.x[slot] + 1})) << slot;
    }
  }
}

/// The fixture is named after the function under test.
class check_channels : public FreshState {};

TEST_F(check_channels, names_everything_that_is_wrong) {
  const std::string all =
      "ch1=10 out of range (1-3)\nch2=10 out of range (1-3)\n"
      "ch3=10 out of range (1-3)\nch1=10 and ch2=10 must be different\n"
      "ch1=10 and ch3=10 must be different\nch2=10 and ch3=10 must be different\n";
  const std::pair<std::array<int, 3>, std::string> table[] = {
      {{2, 0, 1}, ""},
      {{-1, 1, 2}, "ch1=0 out of range (1-3)\n"},
      {{0, 3, 2}, "ch2=4 out of range (1-3)\n"},
      {{0, 1, 2147483647}, "ch3=2147483648 out of range (1-3)\n"},
      {{1, 1, 2}, "ch1=2 and ch2=2 must be different\n"},
      {{9, 9, 9}, all},
  };
  for (const auto& row : table) {
    support::CapturedStderr captured;
    const int status = exit_status([&row] { tavrik::check_channels(row.first); });
    EXPECT_EQ(captured.take(), row.second);
    EXPECT_EQ(status, row.second.empty() ? -1 : 1);
  }
}

/// The fixture is named after the function under test.
class read_coordinates : public FreshState {
 protected:
  static constexpr const char* swapped = "VQS-FILE\n2 1 3\n10.5 11\n-20 21\n30 31\n";
  static constexpr const char* default_echo = "VQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n";

  /// Reads a file and returns what was said.
  std::string read(const std::string& path, bool expect_defaults) {
    support::CapturedStderr captured;
    EXPECT_EQ(tavrik::read_coordinates(path), expect_defaults);
    return captured.take();
  }

  support::TemporaryFolder folder;
};

TEST_F(read_coordinates, reads_echoes_and_measures) {
  const std::string path = folder.write("a.coords", swapped);
  EXPECT_EQ(read(path, false), "Coord-file: " + path + "\n\n2 1 3\n-20 21\n10.5 11\n30 31\n");
  EXPECT_EQ(array_geometry.pos[1], (Point{10.5, 11}));
  EXPECT_NEAR(array_geometry.baselines.d12, std::hypot(30.5, 10), 1e-12);
  settings.quiet = true;
  EXPECT_EQ(read(path, false), "Coord-file: " + path + "\n");
}

TEST_F(read_coordinates, sets_the_default_triangle_when_there_is_no_file) {
  read(folder.write("a.coords", swapped), false);
  EXPECT_EQ(read(folder / "none", true),
            std::string("No coord.dat-file, using defaults\n") + default_echo);
  EXPECT_TRUE(array_geometry.pos == tavrik::default_positions);
  EXPECT_EQ(array_geometry.baselines.d13, 75.0);
  settings.quiet = true;
  EXPECT_EQ(read(folder / "none", true), "");
  EXPECT_EQ(read(folder.path().string(), true), "") << "a folder is no file";
}

TEST_F(read_coordinates, keeps_positions_that_a_short_file_leaves_out) {
  read(folder.write("a.coords", swapped), false);
  const std::string said = read(folder.write("b.coords", "VQS-FILE\n1 2 3\n5 6\n"), false);
  EXPECT_TRUE(array_geometry.pos == (Positions{{{5, 6}, {10.5, 11}, {30, 31}}}));
  EXPECT_THAT(said, HasSubstr("can't read line 4"));
}

TEST_F(read_coordinates, ends_for_a_channel_without_a_slot_before_the_channels_are_checked) {
  for (const char* channels : {"4 4 4", "0 1 2", "-2147483648 1 2"}) {
    SCOPED_TRACE(channels);
    const std::string path =
        folder.write("bad.coords", std::string("h\n") + channels + "\n1 2\n3 4\n5 6\n");
    support::CapturedStderr captured;
    EXPECT_THAT([&] { tavrik::read_coordinates(path); },
                testing::ThrowsMessage<std::out_of_range>(testing::AllOf(
                    StartsWith("array::at: __n (which is "), HasSubstr(") >= _Nm (which is 3)"))));
    EXPECT_EQ(captured.take(), "Coord-file: " + path + "\n");
  }
  const std::string path = folder.write("same.coords", "h\n1 3 1\n1 2\n3 4\n5 6\n");
  support::CapturedStderr captured;
  EXPECT_EQ(exit_status([&] { tavrik::read_coordinates(path); }), 1);
  EXPECT_THAT(captured.take(), HasSubstr("ch1=1 and ch3=1 must be different\n"));
}

TEST_F(read_coordinates, puts_the_secondary_method_in_force_when_a_file_was_read) {
  settings.primary_direction = Direction::old_method;
  settings.secondary_direction = Direction::weighted_method;
  read(folder / "none", true);
  EXPECT_EQ(settings.primary_direction, Direction::old_method);
  read(folder.write("a.coords", swapped), false);
  EXPECT_EQ(settings.primary_direction, Direction::weighted_method);
}

TEST_F(read_coordinates, traces_the_positions) {
  settings.quiet = true;
  settings.debug = 1;
  EXPECT_THAT(read(folder / "none", true),
              testing::MatchesRegex(
                  "src/geometry:[0-9]+:: debug: M.1.: x: 0 y: 0\nM.2.: x: -75 y: 0\nM.3.: x: 0 y: "
                  "-75\n"));
}

}  // namespace
