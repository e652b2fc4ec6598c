// What every key changes, and what it asks for.

#include "src/viewer_keys.h"

#include <gtest/gtest.h>
#include <random>

#include "graphics/event.h"

namespace {

using tavrik::Action;
using tavrik::PlotKind;
using tavrik::View;

constexpr tavrik::Screen screen = {600, 800};

/// A view in which every key that changes something can be seen to.
View some_view() {
  View view;
  view.display.div = 5;
  view.display.horizontal_offset = 70;
  view.display.vertical_offset = 9;
  view.display.time_shift = 3;
  view.plot = PlotKind::circular_velocity;
  view.debug = 2;
  return view;
}

/// Selects a plot, which takes the pans back.
void select(View& view, PlotKind plot) {
  view.plot = plot;
  view.display.horizontal_offset = view.display.vertical_offset = 0;
}

TEST(apply_key, changes_the_view) {
  const struct {
    std::vector<int> keys;
    void (*change)(View& expected);
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
      {{'r', 'R', gr::key_up, gr::key_down}, [](View&) {}},
  };

  for (const auto& row : table) {
    for (const int key : row.keys) {
      SCOPED_TRACE(key);
      View view = some_view();
      View expected = some_view();
      row.change(expected);
      EXPECT_EQ(tavrik::apply_key(key, view, screen), Action::redraw);
      EXPECT_EQ(view, expected);
    }
  }
}

TEST(apply_key, asks_for_an_action) {
  const std::pair<Action, std::vector<int>> table[] = {
      {Action::help, {'?', 'h', 'H', gr::key_f1}},
      {Action::save, {'f', 'F', 's', 'S'}},
      {Action::save_and_end, {264}},
      {Action::end, {27}},
      {Action::previous_file, {8}},
      {Action::next_file, {13, ' ', '=', 'x', '4', 9, 340}},
  };
  for (const auto& [action, keys] : table) {
    for (const int key : keys) {
      SCOPED_TRACE(key);
      View view = some_view();
      EXPECT_EQ(tavrik::apply_key(key, view, screen), action);
      EXPECT_EQ(view, some_view());
    }
  }
}

TEST(apply_key, keeps_div_within_1_and_100) {
  View view;
  tavrik::apply_key('+', view, screen);
  EXPECT_EQ(view.display.div, 1);
  view.display.div = 100;
  tavrik::apply_key('-', view, screen);
  EXPECT_EQ(view.display.div, 100);
}

TEST(apply_key, shifts_by_nothing_with_fewer_than_20_records) {
  View view;
  tavrik::apply_key(gr::key_page_up, view, {19, 800});
  EXPECT_EQ(view, View());
}

TEST(apply_key, panning_back_and_forth_changes_nothing) {
  std::mt19937 random(7);
  View view = some_view();
  std::vector<int> undo;
  for (int i = 0; i < 500; ++i) {
    constexpr int keys[][2] = {{gr::key_left, gr::key_right},
                               {gr::key_page_up, gr::key_page_down},
                               {'b', 'b'},
                               {'u', 'u'}};
    const auto& pair = keys[random() % 4];
    const bool forth = random() % 2 == 0;
    tavrik::apply_key(pair[forth ? 0 : 1], view, screen);
    undo.push_back(pair[forth ? 1 : 0]);
  }
  for (auto key = undo.rbegin(); key != undo.rend(); ++key) {
    tavrik::apply_key(*key, view, screen);
  }
  EXPECT_EQ(view, some_view());
}

}  // namespace
