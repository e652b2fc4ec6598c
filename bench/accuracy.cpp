// How far the direction methods are off: plane waves of all azimuths over three triangles, at two
// sampling frequencies, in noise. Writes the table of docs/method.md: accuracy [STEP], the step of
// the azimuths in degrees (1).

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include "tools/recording.h"

#include "src/analysis.h"
#include "src/geometry.h"
#include "src/settings.h"

namespace {

using tavrik::Direction;
using tavrik::settings;

constexpr double velocity = 340;

struct Triangle {
  const char* name;
  recording::Positions microphones;
};

const Triangle triangles[] = {{"default", {{{0, 0}, {-75, 0}, {0, -75}}}},
                              {"scalene", {{{0, 0}, {-40, 90}, {-110, -20}}}},
                              {"narrow", {{{0, 0}, {-120, 20}, {-110, -15}}}}};

/// A sampling frequency, with the windows and the band that suit it.
struct Rate {
  double frequency;
  int length;
  double low, high;
};

constexpr Rate rates[] = {{18, 128, 1, 5}, {100, 512, 1, 25}};

constexpr Direction methods[] = {Direction::new_method, Direction::weighted_method,
                                 Direction::old_method, Direction::lsq_method};

/// Errors of all windows: degrees, and parts of the velocity.
struct Errors {
  std::vector<double> azimuth, velocity, velocity2;
};

double quantile(std::vector<double> values, double share) {
  const auto place =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

double share_above(const std::vector<double>& values, double bound) {
  const auto count = std::count_if(values.begin(), values.end(),
                                   [bound](double value) { return !(value <= bound); });
  return static_cast<double>(count) / static_cast<double>(values.size());
}

void analyse(const std::string& path, Direction method, double azimuth, Errors& errors) {
  settings.primary_direction = settings.secondary_direction = method;
  tavrik::ResultSeries series;
  tavrik::analyse({path}, series);
  for (const tavrik::ResultRecord& record : series.records) {
    errors.azimuth.push_back(std::fabs(std::remainder(record.az - azimuth, 360)));
    errors.velocity.push_back(std::fabs(record.vel / velocity - 1));
    errors.velocity2.push_back(std::fabs(record.vel2 / velocity - 1));
  }
}

/// Azimuths: median, 90th percentile, share of windows that are off by more than 10 degrees.
void print_azimuth(const Errors& errors) {
  std::printf(" %.2f / %.2f / %.1f |", quantile(errors.azimuth, 0.5), quantile(errors.azimuth, 0.9),
              100 * share_above(errors.azimuth, 10));
}

/// Velocities: median and 90th percentile, percent.
void print_velocity(const std::vector<double>& errors) {
  std::printf(" %.2f / %.2f |", 100 * quantile(errors, 0.5), 100 * quantile(errors, 0.9));
}

/// One row of the table. The wave is at its full strength in the windows that count.
void measure(const std::string& folder, const Triangle& triangle, const Rate& rate, double decibels,
             int step) {
  const std::string path = folder + "/wave.ko24";
  recording::write_coordinates(folder + "/wave.coords", triangle.microphones);
  recording::Scene scene;
  scene.sampling_frequency = rate.frequency;
  scene.microphones = triangle.microphones;
  scene.length = 60;
  const double amplitude = 10000;
  scene.noise = amplitude / std::pow(10, decibels / 20);
  settings.clength = static_cast<std::uint64_t>(rate.length);
  settings.cstep = rate.length;
  settings.range_set = true;
  settings.range_t0 = scene.start + 10;
  settings.range_t1 = scene.start + 50 - rate.length / rate.frequency;
  Errors errors[std::size(methods)];
  for (int azimuth = 0; azimuth < 360; azimuth += step) {
    scene.seed = static_cast<std::uint64_t>(azimuth) + 1;
    scene.waves = {{.azimuth = static_cast<double>(azimuth),
                    .velocity = velocity,
                    .start = 1,
                    .length = 58,
                    .low = rate.low,
                    .high = rate.high,
                    .amplitude = amplitude}};
    recording::write_ko24(path, recording::compute_recording(scene), 1);
    for (std::size_t m = 0; m < std::size(methods); ++m) {
      analyse(path, methods[m], azimuth, errors[m]);
    }
  }
  std::printf("| %s | %g | %g |", triangle.name, rate.frequency, decibels);
  for (const Errors& method : errors) {
    print_azimuth(method);
  }
  const auto& [with_new, with_weighted, with_old, with_lsq] = errors;
  print_velocity(with_new.velocity);
  print_velocity(with_new.velocity2);
  print_velocity(with_lsq.velocity);
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  const int step = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1;
  const std::string folder = std::filesystem::temp_directory_path() / std::to_string(getpid());
  std::filesystem::create_directory(folder);
  settings.quiet = true;
  std::printf(
      "| triangle | Hz | dB | azimuth `new` | `weighted` | `old` | `lsq` | `vel` of `new` | "
      "`vel2` | `lsq` |\n|---|---|---|---|---|---|---|---|---|---|\n");
  for (const Triangle& triangle : triangles) {
    for (const Rate& rate : rates) {
      for (const double decibels : {20.0, 10.0, 3.0}) {
        measure(folder, triangle, rate, decibels, step);
      }
    }
  }
  std::filesystem::remove_all(folder);
  return 0;
}
