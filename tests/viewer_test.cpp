// The viewer's loop, with keys and mouse events that were pushed beforehand. Behind the last one a
// memory canvas is as good as closed.

#include "src/viewer.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "graphics/event.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

#include "src/viewer_wait.h"

namespace {

using namespace tavrik;
using gr::EventKind;

constexpr gr::Event close_event = {.kind = EventKind::close};

gr::Event key(int code, bool repeated = false) {
  return {.kind = EventKind::key, .key = code, .repeated = repeated};
}

gr::Event press(int x) {
  return {.kind = EventKind::left_press, .x = x};
}

gr::Event motion(int x) {
  return {.kind = EventKind::left_motion, .x = x};
}

class viewer : public FreshState {
 protected:
  viewer() {
    std::filesystem::current_path(folder_.path());
    settings.memory = true;
    settings.quiet = true;
    graphics_init(settings.graphics_mode);
    settings.memory = false;  // the canvas at hand serves as the screen
    series_.sampling_frequency = 16;
    for (int i = 0; i < 700; ++i) {
      ResultRecord record;
      record.time = 4.0 * i;
      series_.records.push_back(record);
    }
  }

  ~viewer() override { std::filesystem::current_path(before_); }

  /// Shows the file at `cursor` of three, with these events waiting.
  bool show(std::size_t& cursor, const std::vector<gr::Event>& events) const {
    gr::surface.events.assign(events.begin(), events.end());
    return display(series_, {"a.ko24", "b.ko24", "c.ko24"}, cursor);
  }

 private:
  support::TemporaryFolder folder_;
  std::filesystem::path before_ = std::filesystem::current_path();
  ResultSeries series_;
};

TEST_F(viewer, moves_through_the_files_and_ends) {
  const struct {
    const char* name;
    std::size_t from;
    std::vector<gr::Event> events;
    bool ends;
    std::size_t to;
    std::size_t left;  // events that wait for the next file
  } rows[] = {
      {"on", 0, {key(13), key('2')}, false, 1, 1},
      {"on behind the last", 2, {key(' ')}, false, 3, 0},
      {"back", 2, {key('u'), key(8)}, false, 1, 0},
      {"never before the first", 0, {key(8), key(8), key(13)}, false, 1, 0},
      {"esc", 1, {key(27), key(13)}, true, 1, 1},
      {"close", 1, {close_event, key(13)}, true, 1, 2},
      {"help takes a key", 1, {key('h'), key(13), key(gr::key_f1), key(27), key(8)}, false, 0, 0},
      {"close in the help", 1, {key('?'), close_event, key(13)}, true, 1, 2},
      {"the mouse is no key", 1, {press(5), motion(6), key('2'), press(7), key(8)}, false, 0, 0},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::size_t cursor = row.from;
    EXPECT_EQ(show(cursor, row.events), row.ends);
    EXPECT_EQ(cursor, row.to);
    EXPECT_EQ(gr::surface.events.size(), row.left);
  }
}

TEST_F(viewer, keeps_its_view_from_file_to_file_but_for_div) {
  std::size_t cursor = 0;
  show(cursor, {key('2'), key('-'), key('-'), key(gr::key_left), key('b'), key('u'), key('d'),
                key(gr::key_page_up), key(13)});
  EXPECT_EQ(display_state.div, 5);
  show(cursor, {key(13)});
  EXPECT_EQ(display_state.div, 3);  // 700 windows on 300 pixels
  EXPECT_EQ(display_state.horizontal_offset, 80);
  EXPECT_EQ(display_state.time_shift, 35);
  EXPECT_TRUE(display_state.center_time);
  EXPECT_FALSE(settings.center_time);
  EXPECT_FALSE(settings.print_ut);
  EXPECT_EQ(settings.plot_routine, PlotKind::circular);
}

TEST_F(viewer, saves_the_complete_plot_where_it_stays) {
  std::size_t cursor = 1;
  EXPECT_FALSE(show(cursor, {key('s'), key(13)}));
  EXPECT_TRUE(std::filesystem::exists("b.png"));
  EXPECT_EQ(cursor, 2U);
}

TEST_F(viewer, ends_the_run_at_a_file_without_data) {
  support::CapturedStderr error;
  std::size_t cursor = 1;
  EXPECT_TRUE(display(ResultSeries(), {"a.ko24", "b.ko24"}, cursor));
  EXPECT_EQ(error.take(), "file: b.ko24 No data\n");
}

TEST_F(viewer, pans_on_the_third_motion_by_twice_the_way) {
  const struct {
    const char* name;
    std::vector<gr::Event> events;
    int pan;
  } rows[] = {
      {"from the press", {press(100), motion(110), motion(130), motion(120)}, 40},
      {"from the first motion", {motion(110), motion(130), motion(105)}, -10},
      {"from the last press", {press(1), motion(2), press(50), motion(55), motion(57)}, 14},
      {"two motions", {press(100), motion(110), motion(130)}, 0},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    display_state.horizontal_offset = 0;
    gr::surface.events.assign(row.events.begin(), row.events.end());
    EXPECT_EQ(wait_for_key_or_drag(), row.pan == 0 ? gr::key_escape : 'R');
    EXPECT_EQ(display_state.horizontal_offset, row.pan);
  }
}

TEST_F(viewer, ends_an_analysis_by_esc_or_close_and_keeps_keys_that_were_pressed) {
  gr::surface.events = {key(13), key(13, true), key(' '), key('+', true)};
  EXPECT_FALSE(end_was_asked());
  EXPECT_EQ(gr::surface.events.size(), 2U);
  for (const gr::Event& end : {key(27), close_event}) {
    gr::surface.events = {key(13), end};
    EXPECT_TRUE(end_was_asked());
  }
}

}  // namespace
