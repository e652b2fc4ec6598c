// Composing of the caption.

#include "src/caption.h"

#include <fmt/format.h>
#include <utility>

#include "graphics/window.h"

#include "src/settings.h"

namespace tavrik {

namespace {

/// Gives the window what the caption says now, if that is new.
void update() {
  const std::string& addition = caption.note.empty() ? caption.detail : caption.note;
  std::string text = "tavrik: " + caption.file + (addition.empty() ? "" : " - ") + addition;
  if (settings.save_and_exit == 0 && text != caption.shown) {
    gr::set_window_title(text.c_str());
    caption.shown = std::move(text);
  }
}

}  // namespace

void show_title(const std::string& file) {
  if (file != caption.file) {
    caption.note.clear();
  }
  caption.file = file;
  show_detail("");
}

void show_detail(const std::string& detail) {
  caption.detail = detail;
  update();
}

void show_progress(const char* task, double share) {
  show_detail(fmt::format("{} {:.0f} %", task, 100 * share));
}

void show_note(const std::string& note) {
  constexpr std::chrono::seconds time_to_read(4);
  caption.note = note;
  caption.note_end = CaptionClock::now() + time_to_read;
  update();
}

CaptionClock::time_point note_end() {
  return caption.note.empty() ? CaptionClock::time_point::max() : caption.note_end;
}

void end_note() {
  caption.note.clear();
  update();
}

}  // namespace tavrik
