// What every key changes, and what it asks for; and which keys a long analysis obeys.

#include "src/viewer_keys.h"

#include <gtest/gtest.h>

#include "tests/support/fresh_state.h"

#include "src/viewer_wait.h"

namespace {

using namespace tavrik;

/// A view in which every key that changes something can be seen to.
View some_view() {
  return {.display = {.div = 5, .horizontal_offset = 70, .vertical_offset = 9, .time_shift = 3},
          .plot = PlotKind::circular_velocity,
          .debug = 2};
}

/// Selects a plot, which takes the pans back.
void select(View& view, PlotKind plot) {
  view.plot = plot;
  view.display.horizontal_offset = view.display.vertical_offset = 0;
}

TEST(apply_key, changes_the_view_or_asks_for_an_action) {
  const auto nothing = [](View&) {};

  const struct {
    std::vector<int> keys;
    void (*change)(View& expected);
    Action action = Action::redraw;
  } table[] = {
      {{'+'}, [](View& v) { v.display.div = 4; }},
      {{'-'}, [](View& v) { v.display.div = 6; }},
      {{'1', 'p', 'P'}, [](View& v) { select(v, PlotKind::result); }},  // P: from either circle
      {{'2'}, [](View& v) { select(v, PlotKind::circular); }},
      {{'3'}, [](View& v) { select(v, PlotKind::circular_velocity); }},
      {{'b', 'B'}, [](View& v) { v.display.center_time = true; }},
      {{'d', 'D'}, [](View& v) { v.debug = 0; }},
      {{'u', 'U'}, [](View& v) { v.print_ut = false; }},
      {{gr::key_home}, [](View& v) { v.display = {}; }},
      {{gr::key_page_up}, [](View& v) { v.display.time_shift = 33; }},
      {{gr::key_page_down}, [](View& v) { v.display.time_shift = -27; }},
      {{gr::key_left}, [](View& v) { v.display.horizontal_offset = 150; }},
      {{gr::key_right}, [](View& v) { v.display.horizontal_offset = -10; }},
      {{'r', 'R', gr::key_up, gr::key_down}, nothing},
      {{'?', 'h', 'H', gr::key_f1}, nothing, Action::help},
      {{'f', 'F', 's', 'S'}, nothing, Action::save},
      {{264}, nothing, Action::save_and_end},
      {{27}, nothing, Action::end},
      {{8}, nothing, Action::previous_file},
      {{13, ' ', '=', 'x', '4', 9, 340}, nothing, Action::next_file},
  };

  for (const auto& row : table) {
    for (const int key : row.keys) {
      SCOPED_TRACE(key);
      View view = some_view();
      View expected = some_view();
      row.change(expected);
      EXPECT_EQ(apply_key(key, view, {619, 800}), row.action);
      EXPECT_EQ(view, expected);
    }
  }
  View view;  // of the result plot
  apply_key('p', view, {});
  EXPECT_EQ(view.plot, PlotKind::circular);
}

TEST(apply_key, comes_to_an_end_when_a_key_is_held) {
  const auto hold = [](int key, std::size_t n_records) {
    View view;
    for (int i = 0; i < 200; ++i) {
      apply_key(key, view, {n_records, 100000000});
    }
    return view.display;
  };
  EXPECT_EQ(hold('+', 600).div, 1);
  EXPECT_EQ(hold('-', 600).div, 100);
  EXPECT_EQ(hold(gr::key_left, 600).horizontal_offset, 1000000000);
  EXPECT_EQ(hold(gr::key_page_down, 20 * 100000000UL).time_shift, -1000000000);
  EXPECT_EQ(hold(gr::key_page_up, 19).time_shift, 0);
}

class end_was_asked : public FreshState {};

TEST_F(end_was_asked, by_esc_or_close_and_keys_that_were_pressed_stay) {
  gr::graphics.events = {{.kind = gr::EventKind::left_press},
                         {.key = 13},
                         {.key = 13, .repeated = true},
                         {.kind = gr::EventKind::left_motion, .x = 9},
                         {.key = ' '}};
  EXPECT_FALSE(tavrik::end_was_asked());
  EXPECT_EQ(gr::graphics.events.size(), 2U);
  for (const gr::Event& end : {gr::Event{.key = 27}, {.kind = gr::EventKind::close}}) {
    gr::graphics.events = {{.key = 13}, end};
    EXPECT_TRUE(tavrik::end_was_asked());
  }
}

}  // namespace
