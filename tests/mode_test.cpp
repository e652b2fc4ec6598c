// Driver texts, and why a mode can't be set.

#include "graphics/mode.h"

#include <gtest/gtest.h>

#include "tests/support/captured_stderr.h"

namespace {

class mode : public testing::Test {
 protected:
  ~mode() override { gr::surface = {}; }
};

}  // namespace

TEST_F(mode, a_driver_text_names_each_number_once_in_any_order) {
  const struct {
    const char* text;
    int width, height;  // 0 where the text is refused
  } rows[] = {{"memory gw 800 gh 600 nc 256", 800, 600},
              {"memory nc 16 gh 7 gw 9", 9, 7},
              {"  memory  gw 3\tgh 4 nc 2 ", 3, 4},
              {"memory", 0, 0},
              {"memory gw 800 gh 600", 0, 0},
              {"memory gw 8 gw 9 gh 6 nc 256", 0, 0},
              {"memory gw 8 gh 6 nc 256 gw", 0, 0},
              {"memory gw 8 gh 6 nc 256 zz 1", 0, 0},
              {"memory gw8 gh 6 nc 256", 0, 0},
              {"memory gw +8 gh 6 nc 256", 0, 0},
              {"memory gw -8 gh -6 nc 256", 0, 0},
              {"memory gw 0 gh 6 nc 256", 0, 0},
              {"memory gw 32769 gh 32768 nc 256", 0, 0},
              {"memory gw 99999999999 gh 1 nc 256", 0, 0},
              {"memory gw 8 gh 6 nc 16M", 0, 0},
              {"Memory gw 8 gh 6 nc 256", 0, 0},
              {"gw 8 gh 6 nc 256", 0, 0}};

  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    gr::surface = {};
    gr::surface.driver = "as before";
    ASSERT_EQ(gr::set_driver(row.text), row.width > 0);
    if (row.width == 0) {
      EXPECT_EQ(gr::surface.driver, "as before");
      continue;
    }
    EXPECT_TRUE(gr::GrSetMode(gr::ModeKind::default_graphics, 5, 5, 5));
    EXPECT_EQ(gr::GrSizeX(), row.width);
    EXPECT_EQ(gr::GrSizeY(), row.height);
    EXPECT_EQ(gr::max_x(), row.width - 1);
    EXPECT_EQ(gr::max_y(), row.height - 1);
  }
}

TEST_F(mode, a_mode_that_cannot_be_set_says_why_and_changes_nothing) {
  constexpr auto given = gr::ModeKind::width_height_color_graphics;

  const struct {
    const char* driver;
    gr::ModeKind kind;
    int width, height, colors;
    const char* message;
  } rows[] = {
      {"memory gw 8 gh 6 nc 256", static_cast<gr::ModeKind>(99), 8, 6, 256,
       "GrSetMode: unknown video mode\n"},
      {"memory gw 8 gh 6 nc 256", given, 0, 6, 256,
       "GrSetMode: could not find suitable video mode\n"},
      {"memory gw 8 gh 6 nc 256", given, 1 << 20, 1 << 20, 256,
       "GrSetMode: could not find suitable video mode\n"},
      {"memory gw 8 gh 6 nc 256", given, 8, 6, 257, "GrSetMode: could not set color mode\n"},
      {"memory gw 8 gh 6 nc 0", gr::ModeKind::default_graphics, 0, 0, 256,
       "GrSetMode: could not set color mode\n"},
      {"", given, 800, 600, 256, "GrSetMode: could not find suitable video driver\n"},
      {"memory gw 8 gh 6 nc 256", given, 800, 600, 256, ""},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    ASSERT_TRUE(gr::set_driver(row.driver));
    support::CapturedStderr error;
    const bool opened = gr::GrSetMode(row.kind, row.width, row.height, row.colors);
    EXPECT_EQ(error.take(), row.message);
    EXPECT_EQ(opened, std::string(row.message).empty());
    EXPECT_EQ(gr::surface.open, opened);
    EXPECT_EQ(gr::GrSizeX(), opened ? row.width : 0);
    EXPECT_EQ(gr::video_driver_name(), opened ? "memory" : "");
  }
}

TEST_F(mode, a_new_mode_begins_cleared_and_without_colors) {
  gr::set_driver("memory gw 8 gh 6 nc 256");
  gr::GrSetMode(gr::ModeKind::default_graphics);
  gr::allocate_color(1, 2, 3);
  gr::clear_screen(7);
  gr::set_user_window(5, 5, 6, 6);
  gr::GrSetMode(gr::ModeKind::default_graphics);
  EXPECT_EQ(gr::surface.screen.pixels, std::vector<std::uint8_t>(48));
  EXPECT_EQ(gr::surface.screen.window, (gr::UserWindow{0, 0, 7, 5}));
  EXPECT_EQ(gr::surface.palette.used, 0U);

  gr::set_text_mode();
  EXPECT_EQ(gr::GrSizeX(), 0);
  EXPECT_EQ(gr::max_y(), -1);
  EXPECT_EQ(gr::video_driver_name(), "");
}
