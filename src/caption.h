#pragma once
// The caption of the window: "tavrik: " and the name of the file, and what there is to say about
// it. In a run that saves a picture and ends nobody sees the window, and it has none.

#include <chrono>
#include <string>

#include "src/result_record.h"

namespace tavrik {

using CaptionClock = std::chrono::steady_clock;

/// What the caption says.
struct Caption {
  std::string file;
  std::string detail;                   ///< after the file's name, until something else is said
  std::string note;                     ///< in the detail's place, for some seconds
  CaptionClock::time_point note_end{};  ///< of these; while there is a note
  std::string shown;                    ///< what the window was given last
};

inline Caption caption;

/// Names a file, without any detail. A note on the same file stays.
void show_title(const std::string& file);

/// Adds a detail to the name; an empty one takes it away.
void show_detail(const std::string& detail);

/// The detail on an analysis window: its time with the date, azimuth, plotted velocity, highest
/// correlation. shift: seconds to be added to its time.
std::string describe(const ResultRecord& record, double shift);

/// Shows how far a long task is, as a share of 1.
void show_progress(const char* task, double share);

/// Shows a note for some seconds.
void show_note(const std::string& note);

/// When the note is to be taken away: the end of time if there is none.
CaptionClock::time_point note_end();

/// Takes the note away.
void end_note();

}  // namespace tavrik
