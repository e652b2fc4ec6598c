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
  for (const char* text : {"memory gw 8 gh 6 nc 256", "  memory  nc 16 gh 6\tgw 8 "}) {
    EXPECT_TRUE(gr::set_driver(text));
    EXPECT_TRUE(gr::GrSetMode(gr::ModeKind::default_graphics, 5, 5, 5));
    EXPECT_EQ(gr::GrSizeX(), 8);
    EXPECT_EQ(gr::max_y(), 5);
  }
  gr::surface.driver = "as before";
  for (const std::string text :
       {"", "gw 8 gh 6", "gw 8 gw 9 gh 6 nc 256", "gw 8 gh 6 nc 256 gw", "gw 8 gh 6 nc 256 zz 1",
        "gw8 gh 6 nc 256", "gw +8 gh 6 nc 256", "gw -8 gh -6 nc 256", "gw 0 gh 6 nc 256",
        "gw 32769 gh 32768 nc 256", "gw 99999999999 gh 1 nc 256", "gw 8 gh 6 nc 16M"}) {
    EXPECT_FALSE(gr::set_driver("memory " + text)) << text;
  }
  EXPECT_FALSE(gr::set_driver("Memory gw 8 gh 6 nc 256"));
  EXPECT_FALSE(gr::set_driver("gw 8 gh 6 nc 256"));
  EXPECT_EQ(gr::surface.driver, "as before");
}

TEST_F(mode, a_mode_that_cannot_be_set_says_why_and_changes_nothing) {
  constexpr auto given = gr::ModeKind::width_height_color_graphics;

  const std::tuple<const char*, gr::ModeKind, int, int, std::string> rows[] = {
      {"memory gw 8 gh 6 nc 256", static_cast<gr::ModeKind>(99), 8, 256, "unknown video mode"},
      {"memory gw 8 gh 6 nc 256", given, 0, 256, "could not find suitable video mode"},
      {"memory gw 8 gh 6 nc 256", given, 1 << 20, 256, "could not find suitable video mode"},
      {"memory gw 8 gh 6 nc 256", given, 8, 257, "could not set color mode"},
      {"memory gw 8 gh 6 nc 0", gr::ModeKind::default_graphics, 0, 256, "could not set color mode"},
      {"", given, 800, 256, "could not find suitable video driver"},
  };

  for (const auto& [driver, kind, width, colors, reason] : rows) {
    ASSERT_TRUE(gr::set_driver(driver));
    support::CapturedStderr error;
    EXPECT_FALSE(gr::GrSetMode(kind, width, 1 << 20, colors));
    EXPECT_EQ(error.take(), "GrSetMode: " + reason + "\n");
    EXPECT_FALSE(gr::surface.open);
    EXPECT_EQ(gr::max_x(), -1);
  }
}

TEST_F(mode, a_new_mode_begins_cleared_and_without_colors) {
  gr::set_driver("memory gw 1 gh 1 nc 256");
  for (const int width : {4, 8}) {
    EXPECT_TRUE(gr::GrSetMode(gr::ModeKind::width_height_color_graphics, width, 6));
    EXPECT_EQ(gr::surface.screen.pixels, std::vector<std::uint8_t>(width * 6));
    EXPECT_EQ(gr::surface.screen.window, (gr::UserWindow{0, 0, width - 1, 5}));
    EXPECT_EQ(gr::surface.palette.used, 0U);
    EXPECT_EQ(gr::video_driver_name(), "memory");
    gr::allocate_color(1, 2, 3);
    gr::clear_screen(7);
    gr::set_user_window(5, 5, 6, 6);
  }
  gr::set_text_mode();
  EXPECT_EQ(gr::GrSizeX(), 0);
  EXPECT_EQ(gr::max_y(), -1);
  EXPECT_EQ(gr::video_driver_name(), "");
}
