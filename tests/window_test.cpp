// The program in a real window: its user presses keys, drags, resizes, covers and closes it. What
// the window has to show is drawn beside it in memory, by what the keys mean.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/program_runner.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/virtual_screen.h"
#include "tools/recording.h"

#include "src/analysis.h"
#include "src/caption.h"
#include "src/circular_plot.h"
#include "src/plot_routines.h"
#include "src/save_plot.h"
#include "src/viewer_keys.h"

namespace {

using namespace tavrik;
using support::Image;
using testing::HasSubstr;
using testing::Not;

/// The image in a window of this size: enlarged, and in a grey frame.
Image framed(const Image& canvas, int columns, int rows, int scale) {
  const int left = std::max(0, (columns - canvas.width * scale) / 2);
  const int top = std::max(0, (rows - canvas.height * scale) / 2);
  Image image = {columns, rows, std::vector<std::uint32_t>(std::size_t(columns) * rows, 0x404040)};
  for (int y = top; y < std::min(rows, top + canvas.height * scale); ++y) {
    for (int x = left; x < std::min(columns, left + canvas.width * scale); ++x) {
      image.pixels[y * columns + x] =
          canvas.pixels[(y - top) / scale * canvas.width + (x - left) / scale];
    }
  }
  return image;
}

class window : public FreshState {
 protected:
  window() {
    std::filesystem::current_path(folder_.path());
    settings.memory = settings.quiet = true;
    settings.cstep = 16;
    settings.title = files_[0];
    for (std::size_t i = 0; i < 3; ++i) {
      write_file(files_[i], {.length = 500 + 300.0 * static_cast<double>(i)});
      analyse({files_[i]}, series_[i]);
    }
    graphics_init(settings.graphics_mode);
    show_file(0);
  }

  ~window() override { std::filesystem::current_path(before_); }

  /// A recording with a wave in it.
  static void write_file(const std::string& name, recording::Scene scene) {
    scene.waves = {{.azimuth = scene.length / 4, .start = 60, .length = 150}};
    write_ko24(name, compute_recording(scene), 1);
  }

  /// Starts the program on the three files, each by itself.
  void start(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--no-join", "-c", "a.ko24", "b.ko24", "c.ko24"});
    run_.emplace(folder_.path().string(), arguments);
  }

  /// Starts it, and waits for the first file.
  void open() {
    start({"-s16"});
    ASSERT_TRUE(shows_view());
  }

  /// What a key does to the view. The first key in the help does nothing else than close it.
  void apply(int key) {
    if (key == 0 || std::exchange(help_, false)) {
      return;
    }
    View view = {display_state, settings.plot_routine, settings.print_ut};
    const Action action = apply_key(key, view, {series_[file_].records.size(), 800});
    display_state = view.display;
    settings.plot_routine = view.plot;
    settings.print_ut = view.print_ut;
    help_ = action == Action::help;
    if (action == Action::next_file) {
      show_file(file_ + 1);
    } else if (action == Action::previous_file && file_ > 0) {
      show_file(file_ - 1);
    }
  }

  Image view() const {
    constexpr int (*plots[])(const std::string&, const ResultSeries&, int) = {
        result_plot, circular_plot, circular_velocity_plot};
    plots[static_cast<int>(settings.plot_routine)]("", series_[file_], save_and_exit_key);
    return support::current_image();
  }

  /// Waits for what the window has to show now.
  bool shows_view() {
    return screen_.wait_for_window("tavrik: " + files_[file_]) && screen_.wait_for_image(view());
  }

  support::VirtualScreen screen_;
  support::TemporaryFolder folder_;
  std::optional<support::ProgramRun> run_;
  ResultSeries series_[3];
  bool help_ = false;

 private:
  void show_file(std::size_t file) {
    file_ = file;
    display_state.div = static_cast<int>(series_[file].records.size()) / 300 + 1;
  }

  const std::string files_[3] = {"a.ko24", "b.ko24", "c.ko24"};
  std::filesystem::path before_ = std::filesystem::current_path();
  std::size_t file_ = 0;
};

TEST_F(window, obeys_every_key_over_three_files) {
  const std::pair<const char*, int> walk[] = {
      // Names on the keyboard, and codes in the program; 0: no key for the program.
      {"u", 'u'},           {"b", 'b'},       {"Left", 331},        {"Left", 331},
      {"Right", 333},       {"r", 'r'},       {"Up", 328},          {"Down", 336},
      {"h", 'h'},           {"u", 'u'},       {"2", '2'},           {"plus", '+'},
      {"minus", '-'},       {"minus", '-'},   {"Page_Up", 329},     {"Page_Up", 329},
      {"Page_Down", 337},   {"BackSpace", 8}, {"question", '?'},    {"Escape", 27},
      {"Return", 13},       {"3", '3'},       {"H", 'H'},           {"Return", 13},
      {"KP_Subtract", '-'}, {"KP_Add", '+'},  {"KP_Subtract", '-'}, {"Home", 327},
      {"p", 'p'},           {"U", 'U'},       {"P", 'P'},           {"KP_Page_Up", 329},
      {"1", '1'},           {"KP_Left", 331}, {"KP_Home", 327},     {"Num_Lock", 0},
      {"KP_2", '2'},        {"KP_1", '1'},    {"KP_6", '6'},        {"Num_Lock", 0},
      {"Left", 331},        {"BackSpace", 8}, {"KP_Enter", 13},     {"BackSpace", 8},
      {"BackSpace", 8},     {"BackSpace", 8}, {"Tab", 9},           {"d", 'd'},
      {"equal", '='},       {"F1", 315},      {"F1", 315},          {"2", '2'},
      {"b", 'b'},           {"F", 'F'},       {"Shift_L", 0},       {"Control_L", 0},
      {"Alt_L", 0},         {"F2", 0},        {"Delete", 0},        {"End", 0},
      {"KP_End", 0},        {"Insert", 0},    {"Super_L", 0}};
  open();
  for (const char* modifier : {"Control_L", "Alt_L", "Super_L"}) {  // the desktop's
    screen_.type("x", modifier);
    screen_.type("Return", modifier);
  }
  for (const auto& [name, code] : walk) {
    SCOPED_TRACE(name);
    screen_.type(name);
    apply(code);
    EXPECT_TRUE(code != 'F' || screen_.wait_for_window("tavrik: c.ko24 - saved c.png"));
    ASSERT_TRUE(help_ || shows_view());
  }
  screen_.type("space");
  const support::Ended end = run_->wait();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.error, HasSubstr("saved c.png\n"));
  EXPECT_THAT(end.error, HasSubstr("\nVideoDriver: x11\n"));
  EXPECT_THAT(end.error, HasSubstr("plot_maxx="));  // a trace, asked for by "d"
  settings.memory = false;                          // so that it is gathered as from a window
  save_complete_plot("expected.ko24", series_[2]);
  support::expect_same("c", support::load_image("c.png"), support::load_image("expected.png"));
}

TEST_F(window, pans_by_the_mouse_on_the_third_motion) {
  open();
  screen_.drag({10, 10});            // too short
  screen_.drag({10, 40, -30, -15});  // 20 from its own start, and the rest from its first motion on
  display_state.horizontal_offset = 2 * 10 + 2 * (-30 - 15);
  EXPECT_TRUE(shows_view());
  screen_.resize_window(1650, 1250);
  screen_.drag({20, 20, 20});
  display_state.horizontal_offset += 2 * 60 / 2;
  EXPECT_TRUE(screen_.wait_for_image(framed(view(), 1650, 1250, 2)));
  screen_.type("2");
  apply('2');
  screen_.drag({10, 10, 10, 10});
  screen_.type("Page_Up");
  apply(329);
  EXPECT_TRUE(screen_.wait_for_image(framed(view(), 1650, 1250, 2)));
  screen_.type("Escape");
  EXPECT_EQ(run_->wait().status, 0);
}

TEST_F(window, tells_in_its_caption_of_what_is_under_the_pointer) {
  open();
  const std::vector<ResultRecord>& records = series_[0].records;
  const ResultRecord& record = records[200];
  const int column = (800 - static_cast<int>(records.size() - 1)) / 2 + 200 + 1;
  const int row = static_cast<int>(390 - record.az);
  screen_.point(column, row);
  EXPECT_TRUE(screen_.wait_for_window("tavrik: a.ko24 - " + describe(record, 0)));
  screen_.point(10, 10);
  EXPECT_TRUE(shows_view());
  for (const auto& [name, code] : {std::pair{"b", int{'b'}}, {"Left", 331}}) {
    screen_.type(name);
    apply(code);
  }
  EXPECT_TRUE(shows_view());
  screen_.point(column + 80, row);
  EXPECT_TRUE(screen_.wait_for_window("tavrik: a.ko24 - " + describe(record, 8 / 18.0)));
  screen_.type("3");
  apply('3');
  EXPECT_TRUE(shows_view());  // whose caption is that of the file alone
  screen_.point(300, 200);
  const auto* nearest = nearest_dot(records, display_state, DotRadius::velocity, 300, 200);
  EXPECT_TRUE(screen_.wait_for_window("tavrik: a.ko24 - " + describe(*nearest, 8 / 18.0)));
  screen_.type("Escape");
  EXPECT_EQ(run_->wait().status, 0);
}

TEST_F(window, keeps_its_picture_when_it_is_covered_and_resized) {
  open();
  screen_.cover_window();
  EXPECT_TRUE(shows_view());
  for (const auto& [columns, rows, scale] :
       {std::tuple{1650, 1250, 2}, std::tuple{1000, 1250, 1}, std::tuple{400, 200, 1}}) {
    screen_.resize_window(columns, rows);
    EXPECT_TRUE(screen_.wait_for_image(framed(view(), columns, rows, scale))) << columns;
  }
  screen_.type("h");
  screen_.close_window();
  EXPECT_EQ(run_->wait().status, 0);
}

/// What is too wide for a picture is shown and panned all the same.
TEST_F(window, refuses_a_picture_and_goes_on) {
  const char* range = "--force=1456700000-1457000000";
  settings.range_forced = true;
  settings.range_t0 = 1456700000;
  settings.range_t1 = 1457000000;
  start({"-s16", range});
  ASSERT_TRUE(shows_view());
  screen_.type("s");
  EXPECT_TRUE(screen_.wait_for_window("tavrik: a.ko24 - not saved: the plot is too wide*"));
  screen_.type("Left");
  apply(331);
  EXPECT_TRUE(screen_.wait_for_image(view()));
  EXPECT_TRUE(screen_.wait_for_window("tavrik: a.ko24 - not saved*"));
  screen_.type("Escape");
  const support::Ended end = run_->wait();
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, HasSubstr("file: a.ko24\nError: the plot is too wide"));
}

/// The window is there at once, and Esc or closing it ends the run before its last window.
TEST_F(window, shows_how_far_a_long_analysis_is_and_ends_it) {
  write_file("b.ko24", {.sampling_frequency = 200, .length = 1800});
  for (const bool joined : {true, false}) {
    SCOPED_TRACE(joined);
    if (joined) {
      run_.emplace(folder_.path().string(),
                   std::vector<std::string>{"-s1", "-l512", "-c", "b.ko24", "a.ko24"});
    } else {
      start({"-s1", "-l512"});
      ASSERT_TRUE(screen_.wait_for_window("tavrik: a.ko24"));
      screen_.type("Return");
    }
    ASSERT_TRUE(screen_.wait_for_window("tavrik: b.ko24 - analysing *"));
    joined ? screen_.close_window() : screen_.type("Escape");
    const support::Ended end = run_->wait();
    EXPECT_EQ(end.status, 0) << end.error;
    EXPECT_THAT(end.error, HasSubstr("WARNING: b.ko24 was not analysed to its end\n"));
    EXPECT_THAT(end.error, Not(HasSubstr("file: b.ko24")));
    EXPECT_FALSE(std::filesystem::exists("b.caz"));
    EXPECT_LT(std::filesystem::file_size("b.caz.unfinished"), 359488U * 10);
  }
}

TEST_F(window, leaves_signals_alone) {
  for (const int signal : {SIGINT, SIGTERM}) {
    open();
    run_->send(signal);
    EXPECT_EQ(run_->wait().signal, signal);
  }
}

/// What lies in the current folder may be anybody's, also where the environment names that folder.
TEST_F(window, takes_no_module_from_the_current_folder) {
  const support::Ended end =
      support::run_program(folder_.path().string(), {"--save-and-exit", "a.ko24"},
                           ">tavrik_window.so; export LD_LIBRARY_PATH=: SDL_VIDEODRIVER=dummy");
  EXPECT_EQ(end.status, 0) << end.error;
}

/// A run that only saves its picture draws it screen by screen, and nobody sees a window.
TEST_F(window, stays_hidden_in_a_run_that_saves_and_ends) {
  start({"--save-and-exit", "-g1"});
  EXPECT_EQ(run_->wait().status, 0);
  EXPECT_FALSE(screen_.has_shown_a_window());
  EXPECT_TRUE(std::filesystem::exists("a.png"));
}

}  // namespace
