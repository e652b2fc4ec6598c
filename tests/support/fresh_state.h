#pragma once
// A fixture that gives every test the program's state as it is at start-up, and puts it back
// afterwards; fatal conditions throw instead of ending the process.

#include <getopt.h>
#include <gtest/gtest.h>

#include "graphics/mode.h"
#include "korla/korla16.h"
#include "korla/messages.h"

#include "src/caption.h"
#include "src/console.h"
#include "src/display_state.h"
#include "src/geometry.h"
#include "src/plot_surface.h"
#include "src/progress.h"
#include "src/results.h"
#include "src/settings.h"

/// Thrown where the program would have ended.
struct ProcessEnded {
  int status;
};

class FreshState : public testing::Test {
 protected:
  FreshState() {
    reset();
    tavrik::end_process = [](int status) { throw ProcessEnded{status}; };
  }

  ~FreshState() override {
    reset();
    tavrik::end_process = std::exit;
  }

  /// Status with which a call ends the process; -1 when it returns.
  template <typename Call>
  static int exit_status(Call call) {
    try {
      call();
    } catch (const ProcessEnded& end) {
      return end.status;
    }
    return -1;
  }

  static void reset() {
    tavrik::abandon_result_files();
    tavrik::settings = {};
    tavrik::array_geometry = {};
    tavrik::result_files = {};
    tavrik::result_state = {};
    tavrik::display_state = {};
    tavrik::caption = {};
    tavrik::plot_surface = {};
    tavrik::progress_listener = [](const char*, double) {};
    tavrik::end_is_wanted = [] { return false; };
    gr::graphics = {};
    KorLa::debug = false;
    KorLa::negtime = false;
    optind = 0;
  }
};
