// The program in a real window: its user presses keys, drags, resizes, covers and closes it. What
// the window has to show is drawn beside it in memory, by what the keys mean.

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "graphics/mode.h"
#include "graphics/png.h"
#include "tests/support/fresh_state.h"
#include "tests/support/pictures.h"
#include "tests/support/program_runner.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/virtual_screen.h"
#include "tools/recording.h"

#include "src/analysis.h"
#include "src/circular_plot.h"
#include "src/result_plot.h"
#include "src/results.h"
#include "src/save_plot.h"
#include "src/viewer_keys.h"

namespace {

using namespace tavrik;
using support::Ended;
using support::Image;
using support::ProgramRun;
using testing::HasSubstr;
using testing::Not;

/// A key's name on the keyboard, and its code in the program; code 0: no key for the program.
struct Key {
  const char* name;
  int code;
};

class window : public FreshState {
 protected:
  window() {
    std::filesystem::current_path(folder_.path());
    for (std::size_t i = 0; i < files.size(); ++i) {
      write_file(files[i], static_cast<double>(i));
    }
  }

  ~window() override { std::filesystem::current_path(before_); }

  /// Some minutes with a wave from one side, and a hole in the middle.
  static void write_file(const std::string& name, double number) {
    recording::Scene scene;
    scene.length = 500 + 300 * number;
    scene.seed = 5;
    scene.waves = {{.azimuth = 50 + 100 * number, .start = 60, .length = 150}};
    write_ko24(name, compute_recording(scene), 1);
  }

  /// Starts the program on the three files, each by itself.
  ProgramRun start(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> arguments = {"--no-join", "-c", "-s16"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.insert(arguments.end(), files.begin(), files.end());
    return ProgramRun(folder_.path().string(), arguments);
  }

  /// Begins what the window has to show: the first file.
  void begin_view() {
    settings.memory = true;
    settings.quiet = true;
    settings.cstep = 16;
    settings.title = files[0];
    for (std::size_t i = 0; i < files.size(); ++i) {
      analyse({files[i]}, series_[i]);
    }
    graphics_init(settings.graphics_mode);
    show_file(0);
  }

  /// What a key does to the view. Returns whether the program goes on.
  bool apply(int key) {
    View view = {display_state, settings.plot_routine, settings.print_ut, settings.debug};
    const Action action = apply_key(key, view, {series_[file_].records.size(), gr::GrSizeX()});
    display_state = view.display;
    settings.plot_routine = view.plot;
    settings.print_ut = view.print_ut;
    if (action == Action::end || (action == Action::next_file && file_ + 1 == files.size())) {
      return false;
    }
    if (action == Action::next_file) {
      show_file(file_ + 1);
    } else if (action == Action::previous_file && file_ > 0) {
      show_file(file_ - 1);
    }
    return true;
  }

  Image expected() const {
    constexpr int (*plots[])(const std::string&, const ResultSeries&, int) = {
        result_plot, circular_plot, circular_velocity_plot};
    plots[static_cast<int>(settings.plot_routine)]("", series_[file_], save_and_exit_key);
    return support::to_image(support::current_picture());
  }

  void expect_view() const {
    EXPECT_TRUE(screen.wait_for_image(expected()));
    EXPECT_EQ(screen.title(), "tavrik: " + files[file_]);
  }

  /// The complete plot of the file as it is saved.
  Image complete_plot() const {
    save_complete_plot("expected.ko24", series_[file_]);
    resize_memory_canvas(800);
    return support::to_image(gr::load_png("expected.png").value_or(gr::Picture()));
  }

  /// What the program has saved of the file, as soon as it is there.
  Image saved_picture() const {
    const std::string path = result_path(files[file_], "png");
    for (int i = 0; i < 1000 && !std::filesystem::exists(path); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return support::to_image(gr::load_png(path).value_or(gr::Picture()));
  }

  std::size_t line_count(const std::string& name) const {
    const std::string text = folder_.read(name);
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }

  const std::vector<std::string> files = {"a.ko24", "b.ko24", "c.ko24"};
  support::VirtualScreen screen;
  ResultSeries series_[3];

 private:
  void show_file(std::size_t file) {
    file_ = file;
    display_state.div = std::min(
        static_cast<int>(series_[file].records.size()) / (gr::GrSizeY() / 2) + 1, most_div);
  }

  support::TemporaryFolder folder_;
  std::filesystem::path before_ = std::filesystem::current_path();
  std::size_t file_ = 0;
};

TEST_F(window, obeys_every_key_over_three_files) {
  const Key walk[] = {
      {"u", 'u'},       {"b", 'b'},           {"Left", 331},       {"Left", 331},
      {"Right", 333},   {"r", 'r'},           {"Up", 328},         {"Down", 336},
      {"s", 's'},       {"2", '2'},           {"plus", '+'},       {"minus", '-'},
      {"minus", '-'},   {"Page_Up", 329},     {"Page_Up", 329},    {"Page_Down", 337},
      {"BackSpace", 8}, {"Return", 13},       {"3", '3'},          {"KP_Subtract", '-'},
      {"KP_Add", '+'},  {"KP_Subtract", '-'}, {"Home", 327},       {"p", 'p'},
      {"U", 'U'},       {"P", 'P'},           {"KP_Page_Up", 329}, {"1", '1'},
      {"KP_Left", 331}, {"KP_Home", 327},     {"Num_Lock", 0},     {"KP_2", '2'},
      {"KP_1", '1'},    {"KP_6", '6'},        {"Num_Lock", 0},     {"Left", 331},
      {"BackSpace", 8}, {"KP_Enter", 13},     {"BackSpace", 8},    {"BackSpace", 8},
      {"BackSpace", 8}, {"Tab", 9},           {"d", 'd'},          {"equal", '='},
      {"F", 'F'},       {"Shift_L", 0},       {"Control_L", 0},    {"Alt_L", 0},
      {"F2", 0},        {"Delete", 0},        {"End", 0},          {"KP_End", 0},
      {"Insert", 0},    {"Super_L", 0},
  };
  begin_view();
  ProgramRun run = start();
  ASSERT_TRUE(screen.wait_for_window("tavrik: a.ko24"));
  expect_view();
  for (const Key& key : walk) {
    SCOPED_TRACE(key.name);
    const bool saves = key.code == 's' || key.code == 'F';
    const Image picture = saves ? complete_plot() : Image();
    screen.type(key.name);
    if (saves) {
      EXPECT_TRUE(saved_picture() == picture);
    }
    if (key.code != 0) {
      apply(key.code);
    }
    expect_view();
  }
  screen.type_with("Control_L", "x");
  screen.type_with("Alt_L", "Return");
  screen.type("Return");
  const Ended end = run.wait();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.error, HasSubstr("\nVideoDriver: x11\n"));
  EXPECT_EQ(line_count("c.az"), series_[2].records.size());
}

TEST_F(window, shows_help_until_a_key) {
  begin_view();
  ProgramRun run = start();
  ASSERT_TRUE(screen.wait_for_window("tavrik: a.ko24"));
  for (const char* help : {"h", "H", "question", "F1"}) {
    SCOPED_TRACE(help);
    expect_view();
    screen.type(help);
    screen.type("u");  // closes the help, and does nothing else
    screen.type(help);
    screen.type("Escape");
    screen.type("Left");
    apply(331);
  }
  expect_view();
  screen.type("h");
  screen.close_window();
  EXPECT_EQ(run.wait().status, 0);
}

TEST_F(window, pans_by_the_mouse) {
  begin_view();
  ProgramRun run = start();
  ASSERT_TRUE(screen.wait_for_window("tavrik: a.ko24"));
  expect_view();
  screen.type("r");
  screen.drag({300, 310, 320});  // too short
  screen.type("r");              // begins a new wait, which knows nothing of it
  screen.drag({400, 410, 420, 390});
  display_state.horizontal_offset -= 2 * 10;
  expect_view();
  screen.type("r");
  screen.drag({400, 410, 420, 430, 440, 450, 460, 470});
  display_state.horizontal_offset += 2 * 30 + 2 * 20;  // the second one from its first motion on
  expect_view();
  screen.type("2");
  apply('2');
  screen.drag({300, 310, 320, 330, 340});
  expect_view();
  screen.type("Escape");
  EXPECT_EQ(run.wait().status, 0);
}

TEST_F(window, keeps_its_picture_when_it_is_covered_and_resized) {
  begin_view();
  ProgramRun run = start();
  ASSERT_TRUE(screen.wait_for_window("tavrik: a.ko24"));
  expect_view();
  screen.cover_window();
  expect_view();

  const Image canvas = expected();
  for (const auto& [columns, rows, scale] :
       {std::tuple{1650, 1250, 2}, std::tuple{1000, 1250, 1}, std::tuple{400, 200, 1}}) {
    SCOPED_TRACE(columns);
    screen.resize_window(columns, rows);
    const int left = std::max(0, (columns - 800 * scale) / 2);
    const int top = std::max(0, (rows - 600 * scale) / 2);
    Image shown = {columns, rows, {}};
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < columns; ++x) {
        const bool inside =
            x >= left && x < left + 800 * scale && y >= top && y < top + 600 * scale;
        const int from = (y - top) / scale * 800 + (x - left) / scale;
        shown.pixels.push_back(inside ? canvas.pixels[static_cast<std::size_t>(from)] : 0x404040);
      }
    }
    EXPECT_TRUE(screen.wait_for_image(shown));
  }
  screen.close_window();
  EXPECT_EQ(run.wait().status, 0);
}

TEST_F(window, lives_through_two_hundred_random_keys) {
  const Key keys[] = {
      {"u", 'u'},     {"b", 'b'},       {"p", 'p'},         {"1", '1'},       {"2", '2'},
      {"3", '3'},     {"plus", '+'},    {"minus", '-'},     {"Home", 327},    {"Left", 331},
      {"Right", 333}, {"Page_Up", 329}, {"Page_Down", 337}, {"Up", 328},      {"r", 'r'},
      {"Return", 13}, {"space", ' '},   {"BackSpace", 8},   {"BackSpace", 8}, {"Delete", 0},
      {"s", 's'},     {"d", 'd'},       {"d", 'd'},         {"F5", 0},        {"Shift_R", 0},
      {"KP_8", 328},
  };
  begin_view();
  ProgramRun run = start();
  ASSERT_TRUE(screen.wait_for_window("tavrik: a.ko24"));
  std::mt19937 random(20);
  for (int i = 0; i < 200; ++i) {
    Key key = keys[random() % std::size(keys)];
    if (key.code != 0 && !apply(key.code)) {
      key = {"BackSpace", 8};  // instead of going past the last file
      apply(key.code);
    }
    screen.type(key.name);
    if (i % 20 == 19) {
      SCOPED_TRACE(i);
      expect_view();
      if (HasFailure()) {
        break;
      }
    }
  }
  screen.type("Escape");
  const Ended end = run.wait();
  EXPECT_EQ(end.status, 0) << end.error;
}

/// The window names the file at once, and Esc ends the run before its last window.
TEST_F(window, ends_a_long_analysis) {
  recording::Scene scene;
  scene.sampling_frequency = 200;
  scene.length = 1800;
  write_ko24("b.ko24", compute_recording(scene), 1);
  ProgramRun run = start({"-s1", "-l512"});
  ASSERT_TRUE(screen.wait_for_window("tavrik: a.ko24"));
  screen.type("Return");
  ASSERT_TRUE(screen.wait_for_window("tavrik: b.ko24"));
  screen.type("Escape");
  const Ended end = run.wait();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.error, HasSubstr("WARNING: b.ko24 was not analysed to its end\n"));
  EXPECT_THAT(end.error, Not(HasSubstr("file: b.ko24")));
  EXPECT_LT(line_count("b.caz"), 359488U);
}

TEST_F(window, leaves_signals_alone) {
  for (const int signal : {SIGINT, SIGTERM}) {
    ProgramRun run = start();
    ASSERT_TRUE(screen.wait_for_window("tavrik: a.ko24"));
    run.send(signal);
    EXPECT_EQ(run.wait().signal, signal);
  }
}

/// A run that only saves its picture draws it screen by screen, and nobody sees a window.
TEST_F(window, stays_hidden_in_a_run_that_saves_and_ends) {
  ProgramRun run = start({"--save-and-exit", "-g1"});
  EXPECT_EQ(run.wait().status, 0);
  EXPECT_FALSE(screen.has_shown_a_window());
  EXPECT_TRUE(std::filesystem::exists("a.png"));
}

}  // namespace
