#pragma once
// One synthetic day at a station, for the benchmarks: computed once, stored when asked for.

#include <cstdlib>
#include <filesystem>
#include <string>

#include "korla/calendar.h"
#include "tools/recording.h"
#include "tools/write_recording.h"

namespace bench {

/// A recorded day, 18 Hz, in a folder that goes when the program ends.
class Day {
 public:
  Day() {
    std::string name = std::filesystem::temp_directory_path() / "tavrik_bench_XXXXXX";
    folder_ = mkdtemp(name.data());
    recording::Scene scene;
    scene.length = KorLa::seconds_per_day;
    scene.station = 0;
    scene.waves = recording::demo_waves();
    recording_ = recording::compute_recording(scene);
    recording::write_coordinates(folder_ / "day.coords", scene.microphones);
  }

  Day(const Day&) = delete;
  Day& operator=(const Day&) = delete;

  ~Day() { std::filesystem::remove_all(folder_); }

  /// The day's file in a format; written at the first call.
  std::string path(recording::Format format) const {
    const auto number = static_cast<int>(format);
    std::string path = folder_ / (number == 1 ? "day.ko24" : "day." + std::to_string(number));
    if (!std::filesystem::exists(path)) {
      recording::write_recording(path, recording_, {.format = format});
    }
    return path;
  }

  const std::int32_t* channel(std::size_t c) const { return recording_.samples[c].data(); }

  std::size_t size() const { return recording_.samples[0].size(); }

 private:
  std::filesystem::path folder_;
  recording::Recording recording_;
};

inline const Day& day() {
  static const Day the_day;
  return the_day;
}

}  // namespace bench
