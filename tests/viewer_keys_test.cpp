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

TEST(apply_key, changes_the_view_and_asks_for_an_action) {
  const struct {
    const char* name;
    std::vector<int> keys;
    Action action;
    void (*change)(View& expected);
  } table[] = {
      {"smaller div", {'+'}, Action::redraw, [](View& v) { v.display.div = 4; }},
      {"greater div", {'-'}, Action::redraw, [](View& v) { v.display.div = 6; }},
      {"result plot",
       {'1', 'p', 'P'},  // from the second circular plot P goes back to the result plot
       Action::redraw,
       [](View& v) {
         v.plot = PlotKind::result;
         v.display.horizontal_offset = v.display.vertical_offset = 0;
       }},
      {"circular plot",
       {'2'},
       Action::redraw,
       [](View& v) {
         v.plot = PlotKind::circular;
         v.display.horizontal_offset = v.display.vertical_offset = 0;
       }},
      {"second circular plot",
       {'3'},
       Action::redraw,
       [](View& v) { v.display.horizontal_offset = v.display.vertical_offset = 0; }},
      {"center time", {'b', 'B'}, Action::redraw, [](View& v) { v.display.center_time = true; }},
      {"trace level", {'d', 'D'}, Action::redraw, [](View& v) { v.debug = 0; }},
      {"clock times", {'u', 'U'}, Action::redraw, [](View& v) { v.print_ut = false; }},
      {"home", {gr::key_home}, Action::redraw, [](View& v) { v.display = {}; }},
      {"page up",
       {gr::key_page_up},
       Action::redraw,
       [](View& v) { v.display.time_shift = 33; }},
      {"page down",
       {gr::key_page_down},
       Action::redraw,
       [](View& v) { v.display.time_shift = -27; }},
      {"left",
       {gr::key_left},
       Action::redraw,
       [](View& v) { v.display.horizontal_offset = 150; }},
      {"right",
       {gr::key_right},
       Action::redraw,
       [](View& v) { v.display.horizontal_offset = -10; }},
      {"redraw", {'r', 'R', gr::key_up, gr::key_down}, Action::redraw, [](View&) {}},
      {"help", {'?', 'h', 'H', gr::key_f1}, Action::help, [](View&) {}},
      {"save", {'f', 'F', 's', 'S'}, Action::save, [](View&) {}},
      {"save and end", {264}, Action::save_and_end, [](View&) {}},
      {"end", {27}, Action::end, [](View&) {}},
      {"back", {8}, Action::previous_file, [](View&) {}},
      {"on", {13, ' ', '=', 'x', '4', 9, 340}, Action::next_file, [](View&) {}},
  };

  for (const auto& row : table) {
    for (const int key : row.keys) {
      SCOPED_TRACE(testing::Message() << row.name << ", key " << key);
      View view = some_view();
      View expected = some_view();
      row.change(expected);
      EXPECT_EQ(tavrik::apply_key(key, view, screen), row.action);
      EXPECT_EQ(view, expected);
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
