// The result files and their lines.

#include "src/results.h"

#include <charconv>
#include <cmath>

#include "korla/calendar.h"

#include "src/console.h"
#include "src/csv_file.h"
#include "src/settings.h"

namespace tavrik {

namespace {

std::array<ResultStream*, 11> all_streams() {
  ResultFiles& f = result_files;
  return {&f.az, &f.caz, &f.part, &f.lltmp, &f.crn, &f.acr, &f.crs, &f.cre, &f.hst, &f.vaz, &f.csv};
}

/// Opens a file if it is wanted, and begins it with the header if that is.
void open_with_header(ResultStream& stream, const DataHeader& header, const char* extension,
                      bool wanted) {
  if (!wanted || !open_result(stream, header.path, extension) || !settings.comment) {
    return;
  }
  put(stream, "# ");
  put(stream, header.station);
  put(stream, " ");
  put_general(stream, header.first_time);
  put(stream, settings.center_time ? " \"Center time adjusted\"\n" : "\n");
}

/// The values that the az and lltmp lines share, in the order of their columns.
std::array<double, 13> main_values(double time, const ResultRecord& r, const WindowValues& w) {
  return {time,
          r.az,
          r.vel,
          w.mvl[0],
          w.mvl[1],
          w.mvl[2],
          w.value_at_lag[0],
          w.value_at_lag[1],
          w.value_at_lag[2],
          w.lags[0],
          w.lags[1],
          w.lags[2],
          r.slope};
}

/// A line of the form that az, acr, crs and cre share.
void write_fixed(ResultStream& stream, std::span<const double> values) {
  put(stream, "0 0");
  put_filtered(stream, std::chars_format::fixed, 3, values);
  put(stream, "\n");
}

void write_crs(ResultStream& stream, double time, const WindowValues& w) {
  const auto& [s0, s1, s2] = w.spectra;
  write_fixed(stream, std::array{time, s0.entropy, s0.peak_frequency, s0.centroid, s1.entropy,
                                 s1.peak_frequency, s1.centroid, s2.entropy, s2.peak_frequency,
                                 s2.centroid});
}

void write_acr(ResultStream& stream, double time, const WindowValues& w) {
  const auto& [a0, a1, a2] = w.autocorrelation;
  write_fixed(stream, std::array{time, a0.variance, a0.zero_lag, a0.period, a0.period_value,
                                 a1.variance, a1.zero_lag, a1.period, a1.period_value, a2.variance,
                                 a2.zero_lag, a2.period, a2.period_value});
}

/// Time of day in minutes, then the values that plots against the time of day need.
void write_caz(ResultStream& stream, double time, const ResultRecord& r) {
  put_fixed(stream, settings.nan_handler(std::fmod(time, KorLa::seconds_per_day) / 60), 4);
  put_filtered(stream, std::chars_format::general, 2,
               std::array{r.az, r.vel, r.amp, r.cprod, r.quality});
  put(stream, "\n");
}

void write_part(ResultStream& stream, double time, const ResultRecord& r) {
  put_general(stream, settings.nan_handler(time / 60));
  put_filtered(
      stream, std::chars_format::general, 2,
      std::array{r.b12_13, r.b12_23, r.b13_23, r.a12_13, r.a12_23, r.a13_23, r.v12, r.v13, r.v23});
  put(stream, "\n");
}

void write_lltmp(ResultStream& stream, double time, const ResultRecord& r, const WindowValues& w) {
  put(stream, "0 0");
  put_filtered(stream, std::chars_format::general, 3, main_values(time, r, w));
  write_series(stream, std::array{r.p12, r.p13, r.p23});  // without the NaN filter: intended
}

}  // namespace

void open_result_files(const DataHeader& header) {
  ResultFiles& files = result_files;
  const bool az = settings.write_az;
  const bool entropy = az && settings.entropy;
  open_with_header(files.az, header, "az", az);
  open_with_header(files.caz, header, "caz", az);
  open_with_header(files.acr, header, "acr", settings.acr);
  open_with_header(files.crs, header, "crs", entropy);
  open_with_header(files.cre, header, "cre", entropy);
  if (az && settings.partial) {
    open_result(files.part, header.path, "part");
  }
  if (az && settings.lltmp) {
    open_result(files.lltmp, header.path, "lltmp");
  }
  if (settings.crn) {
    open_result(files.crn, header.path, "crn");
  }
  if (settings.csv && open_result(files.csv, header.path, "csv")) {
    write_csv_header(files.csv, header);
  }
}

double center_shift(double frequency) {
  return settings.center_time ? settings.cstep / frequency * 0.5 : 0;
}

void write_window(const ResultRecord& record, const WindowValues& values, const PairSeries& crs,
                  double frequency) {
  ResultFiles& files = result_files;
  const double time = record.time + center_shift(frequency);
  if (files.crn.is_open()) {
    for (const std::vector<double>& pair : crs) {
      put_general(files.crn, time / 60);
      write_series(files.crn, pair);
    }
  }
  if (files.az.is_open()) {
    write_fixed(files.az, main_values(time, record, values));
  }
  if (files.cre.is_open()) {
    write_fixed(files.cre, std::array{time, record.ent1, record.ent0, record.ent2});
  }
  if (files.crs.is_open()) {
    write_crs(files.crs, time, values);
  }
  if (files.acr.is_open()) {
    write_acr(files.acr, time, values);
  }
  if (files.caz.is_open()) {
    write_caz(files.caz, time, record);
  }
  if (files.part.is_open()) {
    write_part(files.part, time, record);
  }
  if (files.lltmp.is_open()) {
    write_lltmp(files.lltmp, time, record, values);
  }
  if (files.csv.is_open()) {
    write_csv_line(files.csv, time, record, values, frequency);
  }
}

std::vector<HistogramBin> make_histogram(std::span<const ResultRecord> records, int size,
                                         double filter) {
  constexpr double slowest = 240.0;
  constexpr double fastest = 600.0;
  std::vector<HistogramBin> bins(static_cast<std::size_t>(size));
  const double width = 360.0 / size;
  for (const ResultRecord& record : records) {
    if (std::isnan(record.az)) {
      continue;
    }
    const auto index = static_cast<std::size_t>(std::floor(record.az / width));
    if (index >= bins.size()) {
      fail("histoindex out of range({})\n", index);
    }
    if (!(record.cmax >= filter)) {
      continue;
    }
    HistogramBin& bin = bins[index];
    ++bin.count;
    if (record.vel2 >= slowest && record.vel2 <= fastest) {
      ++bin.n;
      bin.sum_vel2 += record.vel2;
      bin.sum_cprod += record.cprod;
      bin.sum_time += record.time;
    }
  }
  return bins;
}

void write_histogram(const std::string& data_path, std::span<const HistogramBin> bins) {
  ResultStream& stream = result_files.hst;
  if (!open_result(stream, data_path, "hst")) {
    return;
  }
  for (const HistogramBin& bin : bins) {
    put(stream, fmt::format("{}", bin.count));
    if (bin.n == 0) {
      put(stream, " 0. 0. 0.\n");
    } else {
      const auto n = static_cast<double>(bin.n);
      write_series(stream, std::array{bin.sum_vel2 / n, bin.sum_cprod / n, bin.sum_time / n / 60});
    }
  }
}

void write_passages(const DataHeader& header, std::span<const Passage> passages, double half_step) {
  ResultStream& stream = result_files.vaz;
  open_with_header(stream, header, "vaz", true);
  if (!stream.is_open()) {
    return;
  }
  for (const Passage& p : passages) {
    put_fixed(stream, settings.nan_handler(p.start + half_step));
    put_filtered(stream, std::chars_format::fixed, 2,
                 std::array{p.duration, p.first_az, p.last_az, p.turn, p.rate, p.vel2, p.quality});
    put(stream, "\n");
  }
}

void flush_result_files() {
  for (ResultStream* stream : all_streams()) {
    flush_result(*stream);
  }
}

void finish_result_files() {
  for (ResultStream* stream : all_streams()) {
    finish_result(*stream);
  }
}

void abandon_result_files() {
  for (ResultStream* stream : all_streams()) {
    abandon_result(*stream);
  }
}

}  // namespace tavrik
