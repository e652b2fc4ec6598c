// The coordinate file, and what is special about baselines: the directions over plane waves use
// them all.

#include "src/geometry.h"

#include <cmath>
#include <gmock/gmock.h>
#include <numbers>
#include <stdexcept>
#include <string>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace tavrik;
using testing::HasSubstr;

// A component to the north of exactly 0 counts as 1e-6 of the length.
TEST(compute_geometry, guards_components_to_the_north_alone) {
  constexpr double guard = 1e-6 * 180 / std::numbers::pi;
  const Baselines base = compute_geometry({{{1000, -500}, {1050, -500}, {1000, -530}}});
  EXPECT_NEAR(base.az12, 90 - guard, 1e-9);
  EXPECT_NEAR(base.dy12, 50e-6, 1e-12);
  EXPECT_EQ(base.dx13, 0);
  EXPECT_NEAR(base.az23, 180 + std::atan(5.0 / 3) * 180 / std::numbers::pi, 1e-9);
  EXPECT_TRUE(std::isnan(compute_geometry({{{7, 8}, {7, 8}, {7, 88}}}).az12));
}

TEST(parse_coordinates, takes_what_is_there_until_the_first_bad_line) {
  // The text, the channels, each position's x, of which y is 1 more, and the bad line.
  const std::tuple<const char*, std::array<int, 3>, std::array<double, 3>, int> table[] = {
      {"h\r\n3 1 2\r\n10 11\r\n20 21\r\n30 31", {2, 0, 1}, {20, 30, 10}, 0},
      {"\n\t1  2 3 \n -1.5e1 -14.\n+.25 1.25\n0\t+1", {0, 1, 2}, {-15, .25, 0}, 0},
      {"1 1 1\n1 2 3 4\n10 11 x\n20 21 9\n30 31\nx", {0, 1, 2}, {10, 20, 30}, 0},
      {"", {2, 0, 1}, {1, 3, 5}, 2},
      {"h\n1 2\n10 11\n20 21\n30 31\n", {2, 0, 1}, {1, 3, 5}, 2},
      {"h\n1 two 3\n10 11\n20 21\n30 31\n", {2, 0, 1}, {1, 3, 5}, 2},
      {"h\n2 1 3", {1, 0, 2}, {1, 3, 5}, 3},
      {"h\n1 2 3\n10 11\n20 21\n30\n31\n", {0, 1, 2}, {10, 20, 5}, 5},
      {"h\n1 2 3\n1e999 11\n20 21\n30 31\n", {0, 1, 2}, {1, 3, 5}, 3},
  };

  const ArrayGeometry before = {{{{1, 2}, {3, 4}, {5, 6}}}, {2, 0, 1}, {}};
  for (const auto& [text, ch, x, expected_line] : table) {
    SCOPED_TRACE(text);
    const auto [geometry, bad_line] = parse_coordinates(text, before);
    EXPECT_EQ(bad_line, expected_line);
    const Positions expected = {{{x[0], x[0] + 1}, {x[1], x[1] + 1}, {x[2], x[2] + 1}}};
    EXPECT_TRUE((geometry == ArrayGeometry{expected, ch, {}}));
  }
}

class coordinates : public FreshState {
 protected:
  /// Reads a file of the given text and returns what was said.
  std::string read(const std::string& text) {
    support::CapturedStderr captured;
    const std::string path = text.empty() ? folder.path().string() : folder.write("a", text);
    status = exit_status([&] { EXPECT_EQ(read_coordinates(path), text.empty()); });
    return captured.take();
  }

  support::TemporaryFolder folder;
  int status = -1;
};

TEST_F(coordinates, are_read_echoed_and_measured) {
  settings.secondary_direction = Direction::weighted_method;
  EXPECT_EQ(read(""),  // a folder is no file
            "No coord.dat-file, using defaults\nVQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n");
  EXPECT_EQ(settings.primary_direction, Direction::new_method);
  const std::string start = "Coord-file: " + (folder / "a") + "\n";
  EXPECT_EQ(read("VQS-FILE\n2 1 3\n10.5 11\n-20 21\n30 31\n"),
            start + "\n2 1 3\n-20 21\n10.5 11\n30 31\n");
  EXPECT_NEAR(array_geometry.baselines.d12, std::hypot(30.5, 10), 1e-12);
  EXPECT_EQ(settings.primary_direction, Direction::weighted_method);
  EXPECT_EQ(read("VQS-FILE\n1 2 3\n5 6\n"),
            start + "WARNING: " + (folder / "a") +
                ": can't read line 4, what follows keeps its values\n" +
                "\n1 2 3\n5 6\n10.5 11\n30 31\n");
  settings.quiet = true;
  settings.debug = 1;
  EXPECT_THAT(read(""), testing::MatchesRegex("src/geometry:[0-9]+:: debug: M.1.: x: 0 y: 0\n"
                                              "M.2.: x: -75 y: 0\nM.3.: x: 0 y: -75\n"));
  EXPECT_EQ(array_geometry.baselines.d13, 75.0);
}

TEST_F(coordinates, end_for_wrong_channels_and_name_them_all) {
  EXPECT_THAT(read("h\n1 3 1\n1 2\n3 4\n5 6\n"),
              testing::EndsWith("\nch1=1 and ch3=1 must be different\n"));
  EXPECT_EQ(status, 1);
  const std::pair<std::array<int, 3>, std::string> table[] = {
      {{2, 0, 1}, ""},
      {{-1, 1, 2}, "ch1=0 out of range (1-3)\n"},
      {{0, 1, 2147483647}, "ch3=2147483648 out of range (1-3)\n"},
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

TEST_F(coordinates, throw_for_a_channel_without_a_slot_before_the_channels_are_checked) {
  for (const std::string channels : {"4 4 4", "0 1 2", "-2147483648 1 2"}) {
    EXPECT_THAT([&] { read("h\n" + channels + "\n1 2\n3 4\n5 6\n"); },
                testing::ThrowsMessage<std::out_of_range>(HasSubstr(") >= _Nm (which is 3)")));
  }
}

}  // namespace
