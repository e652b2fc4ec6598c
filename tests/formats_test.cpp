// Every format that the array has written, through the whole analysis: the same sound gives the
// same results, files of all formats join, and damage ends as it should.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "korla/korla_base.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"
#include "tools/write_recording.h"

#include "src/analysis.h"

namespace {

using recording::Format;
using recording::Gap;
using recording::Recording;
using recording::Storage;
using recording::write_recording;
using tavrik::ResultRecord;
using tavrik::settings;
using testing::HasSubstr;

struct StoredCase {
  std::string name;
  Storage storage;
};

/// Every format with every block length that it has.
const std::vector<StoredCase>& all_formats() {
  static const std::vector<StoredCase> table = {
      {"ko24-0", {Format::ko24_0}},
      {"ko24-1", {Format::ko24_1}},
      {"ko24-2", {Format::ko24_2}},
      {"text, 512", {Format::text, 512}},
      {"text, 128", {Format::text, 128}},
      {"text, CR LF, 512", {Format::text_crlf, 512}},
      {"text, CR LF, 128", {Format::text_crlf, 128}},
      {"text, first form", {Format::text_form1}},
      {"text, second form", {Format::text_form2}},
      {"binary, 512", {Format::binary, 512}},
      {"binary, 128", {Format::binary, 128}},
      {"binary, no times", {Format::binary_plain}},
      {"binary, times in one number, 512", {Format::binary_u, 512}},
      {"binary, times in one number, 128", {Format::binary_u, 128}},
      {"TM4", {Format::tm4}},
  };
  return table;
}

/// Two plane waves that are well above the wind and within 16 bits.
recording::Scene two_waves(double length) {
  recording::Scene scene;
  scene.station = 0;
  scene.length = length;
  scene.noise = 20;
  const recording::PlaneWave first{.azimuth = 20,
                                   .velocity = 345,
                                   .start = 0.1 * length,
                                   .length = 0.3 * length,
                                   .low = 2,
                                   .high = 6};
  recording::PlaneWave second = first;
  second.azimuth = 290;
  second.velocity = 380;
  second.start = 0.6 * length;
  scene.waves = {first, second};
  return scene;
}

/// A path that dates the files whose comment has no date: 06:00 on 1 March 2016, rasvik.
const std::string dated_folder = "20160301";
const std::string dated_name = dated_folder + "/r6030106.dat";

class formats : public FreshState {
 protected:
  formats() {
    settings.quiet = true;
    std::filesystem::create_directory(folder_ / dated_folder);
  }

  /// Analyses files as one run; `said_` is what was written to the error stream.
  std::vector<ResultRecord> run(const std::vector<std::string>& files) {
    support::CapturedStderr captured;
    tavrik::ResultSeries series;
    tavrik::analyse(files, series);
    said_ = captured.take();
    return series.records;
  }

  support::TemporaryFolder folder_;
  std::string said_;
};

TEST_F(formats, give_the_same_directions_and_velocities) {
  const recording::Scene scene = two_waves(3600);
  const Recording recorded = recording::compute_recording(scene);
  settings.cstep = 64;
  write_recording(folder_ / "reference", recorded, {Format::ko24_1});
  const std::vector<ResultRecord> expected = run({folder_ / "reference"});
  const std::string path = folder_ / dated_name;
  for (const StoredCase& row : all_formats()) {
    SCOPED_TRACE(row.name);
    write_recording(path, recorded, row.storage);
    const std::vector<ResultRecord> found = run({path});
    // All but a last block that is not whole.
    ASSERT_LE(found.size(), expected.size());
    ASSERT_GE(found.size() + 512 / 64, expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
      ASSERT_EQ(found[i].az, expected[i].az) << i;
      ASSERT_EQ(found[i].vel, expected[i].vel) << i;
      ASSERT_EQ(found[i].time, expected[i].time) << i;
      ASSERT_EQ(found[i].amp, expected[i].amp) << i;
    }
    const bool dateless = row.storage.format == Format::binary_plain;
    EXPECT_EQ(said_, dateless ? "validate_comment: Invalid comment line\nCouldn't determine "
                                "sampling frequency\ndefaulting to 18.0Hz\n"
                              : "");
  }
  // And they are the waves' own.
  for (const recording::PlaneWave& wave : scene.waves) {
    int windows = 0;
    for (const ResultRecord& record : expected) {
      const double age = record.time - scene.start - wave.start;
      if (age > 0.15 * wave.length && age < 0.8 * wave.length) {
        ASSERT_NEAR(record.az, wave.azimuth, 1);
        ASSERT_NEAR(record.vel, wave.velocity, 0.03 * wave.velocity);
        ++windows;
      }
    }
    EXPECT_GT(windows, 100);
  }
}

// Files of 128 s each: 18 blocks of 128 samples or 4.5 of 512.
TEST_F(formats, join_in_the_order_given) {
  const Recording whole = recording::compute_recording(two_waves(1024));
  const std::vector<std::size_t> order = {0, 4, 14, 9, 10, 2, 13, 6};
  std::vector<std::string> files;
  for (std::size_t f = 0; f < order.size(); ++f) {
    Recording part = whole;
    part.start += 128.0 * static_cast<double>(f);
    for (std::vector<std::int32_t>& channel : part.samples) {
      const auto first = channel.begin() + static_cast<std::ptrdiff_t>(2304 * f);
      channel = std::vector<std::int32_t>(first, first + 2304);
    }
    files.push_back(folder_ / std::to_string(f));
    write_recording(files.back(), part, all_formats().at(order[f]).storage);
  }
  support::CapturedStderr captured;
  const tavrik::JoinedSeries joined = tavrik::gather(files);
  // Of the file of blocks of 512 the last half block is missing, 14.2 s.
  EXPECT_THAT(captured.take(),
              testing::MatchesRegex("\nWARNING: hole in data 14.2222[0-9]* seconds\n\n"));
  ASSERT_EQ(joined.times.size(), 8 * 2304U - 256);
  for (std::size_t i = 0; i < joined.times.size(); ++i) {
    const auto place = static_cast<std::size_t>(std::lround((joined.times[i] - whole.start) * 18));
    ASSERT_NEAR(joined.times[i], whole.start + static_cast<double>(place) / 18, 1e-6);
    ASSERT_EQ(place, i < 4 * 2304 - 256 ? i : i + 256);
    for (std::size_t c = 0; c < 3; ++c) {
      ASSERT_EQ(joined.samples.at(c)[i], whole.samples[c][place]) << "channel " << c;
    }
  }

  const tavrik::JoinedSeries turned = tavrik::gather({files[2], files[0], files[1]});
  ASSERT_EQ(turned.times.size(), 3 * 2304U);
  EXPECT_NEAR(turned.times[0], whole.start + 256, 1e-6);
  EXPECT_EQ(turned.times[2304], whole.start);
  EXPECT_EQ(turned.samples[1][2304], whole.samples[1][0]);
}

TEST_F(formats, skip_windows_that_span_a_gap) {
  const recording::Scene scene = two_waves(600);
  const Recording recorded = recording::compute_recording(scene);
  settings.cstep = 32;
  const std::vector<Storage> stored = {
      {Format::text, 128},   {Format::text_crlf, 512}, {Format::text_form1}, {Format::binary, 128},
      {Format::binary, 512}, {Format::binary_u, 128},  {Format::tm4}};
  const Gap gap = {200, 64};
  write_recording(folder_ / "whole", recorded, {Format::ko24_1});
  const std::vector<ResultRecord> whole = run({folder_ / "whole"});
  for (Storage storage : stored) {
    SCOPED_TRACE(testing::Message()
                 << static_cast<int>(storage.format) << ' ' << storage.block_length.value_or(0));
    storage.gap = gap;
    write_recording(folder_ / dated_name, recorded, storage);
    const std::vector<ResultRecord> records = run({folder_ / dated_name});
    EXPECT_EQ(said_, "TIMEGAP in data\n");
    const double window = 128 / 18.0;
    const double stamp_error = storage.format == Format::tm4 ? 1e-3 : 1;
    int behind = 0;
    for (const ResultRecord& record : records) {
      const double place = record.time - scene.start;
      EXPECT_TRUE(place + window < gap.start + 0.1 || place > gap.start + gap.length - stamp_error)
          << place;
      behind += place > gap.start ? 1 : 0;
    }
    // A block of 512 is 28 s; so much may be lost on each side, and at the end.
    EXPECT_GT(records.size(), whole.size() - static_cast<std::size_t>((64 + 3 * 28.5) * 18 / 32));
    EXPECT_GT(behind, 150);
  }
}

/// The smallest files of each kind that are read whole, by their layout.
std::vector<std::pair<std::string, std::string>> small_files() {
  using support::binary_group;
  using support::text_group;
  const std::string text = support::comment_line('S', 16, 8) + "\n";
  const std::string binary = support::comment_line('S', 128, 8) + "\r";
  const std::string plural = support::comment_line('U', 128, 8) + "\r";
  return {
      {"text", text + text_group("360 0", 100, 16) + text_group("360 2", 200, 16)},
      {"text, first form", "!Tidserier 8 1\n" + text_group("360 0", 100, 128)},
      {"binary", binary + binary_group({360, 0}, 0, 128)},
      {"binary, times in one number", plural + binary_group({0x6000, 0x56d5}, 0, 128)},
      {"binary, no times", "Tidserier\r" + binary_group({}, 0, 128)},
      {"TM4", support::comment_line('S', 512, 8) + "\n" + support::tm4_lines(0, 100, 20, 8, 4)},
  };
}

class hostile_files : public FreshState {
 protected:
  hostile_files() {
    settings.quiet = true;
    settings.clength = settings.cstep = 8;
    KorLa::end_process = [](int status) { throw ProcessEnded{status}; };
  }

  /// Opens and analyses a file. Anything but a result, an error with a text, or an end of the
  /// process passes through and fails the test.
  void expect_survived(const std::string& bytes) {
    // Written by hand, and anew: the sweeps below write some ten thousands, and file systems hurry
    // to save what was emptied.
    std::remove(file_.c_str());
    std::FILE* stream = std::fopen(file_.c_str(), "wb");
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), stream), bytes.size());
    std::fclose(stream);
    try {
      const auto series = KorLa::open_series(file_, 0, true);
      if (series) {
        expect_whole(*series, bytes.size());
      }
      tavrik::ResultSeries results;
      tavrik::analyse({file_}, results);
      ++analysed_;
    } catch (const ProcessEnded& end) {
      EXPECT_EQ(end.status, 1);
      tavrik::close_result_files();
    } catch (const std::exception& error) {
      EXPECT_STRNE(error.what(), "");
    }
  }

  support::TemporaryFolder folder_;
  const std::string file_ = folder_ / "a.dat";
  int analysed_ = 0;

 private:
  /// Channels of equal length, with times, and no more memory than the file can need.
  static void expect_whole(const KorLa::Korla_Base& series, std::size_t file_size) {
    EXPECT_EQ(series.channels.size(), series.samples.size());
    EXPECT_EQ(series.samples.size(), series.header.n_channels);
    std::size_t loaded = 0;
    for (const std::vector<std::int32_t>& channel : series.samples) {
      EXPECT_EQ(channel.size(), series.times.size());
      loaded += 4 * channel.capacity();
    }
    EXPECT_LE(loaded, 2 * file_size + 8192);
  }
};

TEST_F(hostile_files, cut_off_anywhere) {
  for (const auto& [name, bytes] : small_files()) {
    SCOPED_TRACE(name);
    support::CapturedStderr captured;
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
      SCOPED_TRACE(size);
      expect_survived(bytes.substr(0, size));
    }
    EXPECT_GT(analysed_, 0);
    analysed_ = 0;
  }
}

TEST_F(hostile_files, with_any_byte_changed) {
  const std::string others("\0 \r\n!-.09T\xff", 11);
  for (const auto& [name, bytes] : small_files()) {
    SCOPED_TRACE(name);
    support::CapturedStderr captured;
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      // Each byte of the first line and what follows it takes every one of these values, further
      // ones take one value each.
      const std::size_t dense = 120;
      for (std::size_t v = 0; v < (place < dense ? others.size() : 1); ++v) {
        SCOPED_TRACE(testing::Message() << "byte " << place << ", value " << v);
        std::string changed = bytes;
        changed[place] = others[(place + v) % others.size()];
        expect_survived(changed);
      }
    }
    EXPECT_GT(analysed_, 300);
    analysed_ = 0;
  }
}

TEST_F(formats, are_written_with_16_bits_and_whole_blocks) {
  const Recording loud{18.0,
                       1456812000.75,
                       1,
                       {std::vector<std::int32_t>(300, 40000),
                        std::vector<std::int32_t>(300, -40000), std::vector<std::int32_t>(300, 7)}};
  for (const StoredCase& row : all_formats()) {
    SCOPED_TRACE(row.name);
    const Format format = row.storage.format;
    if (format == Format::ko24_0 || format == Format::ko24_1 || format == Format::ko24_2) {
      continue;
    }
    write_recording(folder_ / dated_name, loud, row.storage);
    if (row.storage.block_length == 512U) {
      EXPECT_LT(std::filesystem::file_size(folder_ / dated_name), 256U);
      continue;
    }
    support::CapturedStderr captured;
    const auto series = KorLa::open_series(folder_ / dated_name, 0, false);
    const bool tm4 = format == Format::tm4;
    const std::size_t count = tm4 ? 300 : 256;
    EXPECT_EQ(series->samples.at(0), std::vector<std::int32_t>(count, tm4 ? 40000 : 32767));
    EXPECT_EQ(series->samples.at(1), std::vector<std::int32_t>(count, tm4 ? -40000 : -32768));
    EXPECT_EQ(series->samples.at(2), std::vector<std::int32_t>(count, 7));
    EXPECT_EQ(series->start_time(), 1456812000.0);
    EXPECT_EQ(int{series->header.station}, recording::has_full_comment(format) ? 1 : 0);
  }
}

TEST_F(formats, are_refused_what_they_have_no_room_for) {
  const std::vector<std::int32_t> channel(1000, 5);
  const Recording good{18.0, 1456812000, 0, {channel, channel, channel}};
  Recording four = good;
  four.samples.push_back(channel);
  Recording unnamed = good;
  unnamed.station = 254;
  Recording ambiguous = good;
  ambiguous.station = 8;
  Recording fast = good;
  fast.sampling_frequency = 20;
  Recording early = good;
  early.start = -1;

  struct Row {
    std::string path;
    Recording recorded;
    Storage storage;
    std::string why;
  };

  const std::string path = folder_ / "a";
  const std::vector<Row> table = {
      {folder_ / "none/a", good, {Format::text}, "No such file"},
      {"/dev/full", good, {Format::binary}, "No space"},
      {"/dev/full", good, {Format::tm4}, "No space"},
      {path, four, {Format::text}, "4 channels"},
      {path, unnamed, {Format::binary}, "station 254"},
      {path, ambiguous, {Format::tm4}, "station 8"},
      {path, fast, {Format::binary_plain}, "18 Hz"},
      {path, early, {Format::binary_u}, "start time"},
      {path, good, {Format::text, 256}, "256 samples"},
      {path, good, {Format::text_form1, 512}, "512 samples"},
      {path, good, {Format::ko24_1, std::nullopt, {10, 10}}, "gap"},
      {path, good, {Format::binary_plain, std::nullopt, {10, 10}}, "gap"},
      {path, good, {Format::text, 128, {7, 10}}, "gap"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.why);
    try {
      write_recording(row.path, row.recorded, row.storage);
      ADD_FAILURE() << "written all the same";
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr("Can't write " + row.path));
      EXPECT_THAT(error.what(), HasSubstr(row.why));
    }
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
