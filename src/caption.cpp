// Composing of the caption.

#include "src/caption.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
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
    gr::set_window_title(text);
    caption.shown = std::move(text);
  }
}

/// Date and time of seconds since 1970 UTC, to the tenth; empty beyond every calendar.
std::string date_and_time(double time) {
  constexpr double farthest = 1e15;
  const double tenths = std::floor(std::clamp(time, -farthest, farthest) * 10);
  const auto second = static_cast<std::time_t>(std::floor(tenths / 10));
  std::tm calendar{};
  std::array<char, 100> text{};
  if (gmtime_r(&second, &calendar) != nullptr) {
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &calendar);
  }
  return fmt::format("{}.{:.0f}", text.data(), tenths - 10 * static_cast<double>(second));
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

std::string describe(const ResultRecord& record, double shift) {
  return fmt::format("{}  azimuth {:.1f}  velocity {:.0f} m/s  correlation {:.2f}",
                     date_and_time(record.time + shift), record.az, record.vel2, record.cmax);
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
