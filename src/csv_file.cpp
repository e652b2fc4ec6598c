// The lines of the csv file.

#include "src/csv_file.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <string_view>

#include "src/console.h"
#include "src/direction.h"
#include "src/geometry.h"
#include "src/settings.h"

namespace tavrik {

namespace {

/// Names of the columns that every file has.
constexpr std::string_view usual_columns =
    "time_utc,time_unix_s,azimuth_deg,velocity_m_s,velocity2_m_s,azimuth_sd_deg,velocity_sd_m_s,"
    "correlation_12,correlation_13,correlation_23,lag_12_s,lag_13_s,lag_23_s,closure_s,"
    "amplitude_counts,cmax,quality,slope";

constexpr std::string_view entropy_columns =
    ",entropy_1,peak_frequency_1_hz,centroid_1_hz,entropy_2,peak_frequency_2_hz,centroid_2_hz,"
    "entropy_3,peak_frequency_3_hz,centroid_3_hz";

constexpr std::string_view acr_columns =
    ",variance_1_counts2,zero_lag_1_s,period_1_s,period_value_1,variance_2_counts2,zero_lag_2_s,"
    "period_2_s,period_value_2,variance_3_counts2,zero_lag_3_s,period_3_s,period_value_3";

const char* method_name() {
  switch (settings.primary_direction) {
    case Direction::old_method:
      return "old";
    case Direction::weighted_method:
      return "weighted";
    case Direction::lsq_method:
      return "lsq";
    case Direction::new_method:
      break;
  }
  return "new";
}

/// A line of the head. Texts from outside stay on their line.
template <typename... Args>
void put_line(ResultStream& stream, fmt::format_string<Args...> format, const Args&... args) {
  put(stream, compose(format, args...));
}

/// ISO 8601 to the millisecond; nothing for a time beyond all calendars.
void put_time(ResultStream& stream, double time) {
  constexpr double beyond = 1e11;
  if (!(std::fabs(time) < beyond)) {
    return;
  }
  const auto milliseconds = static_cast<std::int64_t>(std::floor(time * 1000 + 0.5));
  const std::int64_t fraction = ((milliseconds % 1000) + 1000) % 1000;
  const std::time_t seconds = (milliseconds - fraction) / 1000;
  std::tm t{};
  gmtime_r(&seconds, &t);
  std::array<char, 64> text{};
  const auto end = fmt::format_to_n(
      text.data(), text.size(), "{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", t.tm_year + 1900,
      t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, fraction);
  put(stream, {text.data(), end.size});
}

/// A value with a comma in front of it.
void put_value(ResultStream& stream, double value) {
  put(stream, ",");
  if (!std::isnan(value)) {
    put_general(stream, value);
  }
}

void put_statistics(ResultStream& stream, const WindowValues& values) {
  if (settings.entropy) {
    for (const SpectralStatistics& s : values.spectra) {
      put_value(stream, s.entropy);
      put_value(stream, s.peak_frequency);
      put_value(stream, s.centroid);
    }
  }
  if (settings.acr) {
    for (const AutocorrelationStatistics& a : values.autocorrelation) {
      put_value(stream, a.variance);
      put_value(stream, a.zero_lag);
      put_value(stream, a.period);
      put_value(stream, a.period_value);
    }
  }
}

}  // namespace

void write_csv_header(ResultStream& stream, const DataHeader& header) {
  put_line(stream, "# tavrik {}\n", TAVRIK_DESCRIPTION);
  for (const JoinedFile& file : header.files) {
    put_line(stream, "# file: {}\n", file.path);
  }
  put_line(stream, "# station: {}\n", header.station);
  put(stream, "# start_utc: ");
  put_time(stream, header.first_time);
  put_line(stream, "\n# sampling_frequency_hz: {}\n", header.frequency);
  const auto& [p1, p2, p3] = array_geometry.pos;
  put_line(stream, "# positions_m: {},{} {},{} {},{}\n", p1.x, p1.y, p2.x, p2.y, p3.x, p3.y);
  put_line(stream, "# method: {}\n", method_name());
  put_line(stream, "# window_samples: {}\n# step_samples: {}\n# max_lag_samples: {}\n",
           settings.clength, settings.cstep, header.max_lag);
  if (settings.range_set) {
    put_line(stream, "# range_unix_s: {} {}\n", settings.range_t0, settings.range_t1);
  }
  put_line(stream, "# time: {}\n",
           settings.center_time ? "start of the window and half a step" : "start of the window");
  put(stream, usual_columns);
  put(stream, settings.entropy ? entropy_columns : "");
  put(stream, settings.acr ? acr_columns : "");
  put(stream, "\n");
}

void write_csv_line(ResultStream& stream, double time, const ResultRecord& record,
                    const WindowValues& values, double frequency) {
  const auto& [t12, t13, t23] = values.lags;
  const Uncertainty sd = uncertainty(values.lags, array_geometry.fit, frequency);
  put_time(stream, time);
  put(stream, ",");
  if (!std::isnan(time)) {
    put_fixed(stream, time, 3);
  }
  for (const double value :
       {record.az, record.vel, record.vel2, sd.azimuth, sd.velocity, values.coefficient[0],
        values.coefficient[1], values.coefficient[2], t12 / frequency, t13 / frequency,
        t23 / frequency, (t12 + t23 - t13) / frequency, record.amp, record.cmax, record.quality,
        record.slope}) {
    put_value(stream, value);
  }
  put_statistics(stream, values);
  put(stream, "\n");
}

}  // namespace tavrik
