// Every format that the array has written, through the whole analysis: the same sound gives the
// same results, files of all formats join, and damage ends as it should.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "korla/korla_base.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"
#include "tools/write_recording.h"

#include "src/analysis.h"

namespace {

using enum recording::Format;
using recording::Recording;
using recording::Storage;
using recording::write_recording;
using tavrik::settings;
using Counts = std::vector<std::int32_t>;

/// Every format with every block length that it has.
const std::vector<Storage> all_formats = {
    {ko24_0},         {ko24_1},         {ko24_2},        {text, 512},     {text, 128},
    {text_crlf, 512}, {text_crlf, 128}, {text_form1},    {text_form2},    {binary, 512},
    {binary, 128},    {binary_plain},   {binary_u, 512}, {binary_u, 128}, {tm4}};

std::string describe(const Storage& storage) {
  return "format " + std::to_string(static_cast<int>(storage.format)) + ", blocks of " +
         std::to_string(storage.block_length.value_or(0));
}

/// Two plane waves that are well above the wind and within 16 bits.
Recording two_waves(double length) {
  const double third = 0.3 * length;
  recording::Scene scene{.length = length, .station = 0, .noise = 20};
  scene.waves = {{.azimuth = 20, .start = 0.1 * length, .length = third, .low = 2, .high = 6},
                 {.azimuth = 290, .start = 0.6 * length, .length = third, .low = 2, .high = 6}};
  return compute_recording(scene);
}

class formats : public FreshState {
 protected:
  formats() {
    settings.quiet = true;
    std::filesystem::create_directory(folder / "20160301");
  }

  /// Writes a file and analyses it; `said` is what was written to the error stream.
  std::vector<tavrik::ResultRecord> run(const Recording& recorded, const Storage& storage) {
    write_recording(path, recorded, storage);
    support::CapturedStderr captured;
    tavrik::ResultSeries series;
    tavrik::analyse({path}, series);
    said = captured.take();
    return series.records;
  }

  /// Whether a file gives a result; if not, it ends with status 1 or an error that has a text.
  bool survives(const std::string& bytes) const {
    std::remove(path.c_str());  // file systems hurry to save what was emptied
    folder.write("20160301/r6030106.dat", bytes);
    try {
      const auto series = KorLa::open_series(path, 0, true);
      std::size_t loaded = 0;
      for (std::size_t c = 0; series && c < series->header.n_channels; ++c) {
        // Of equal length, but for ko24's last sample.
        const std::size_t length = series->samples.at(c).size();
        EXPECT_LE(length - series->times.size(), series->format_id() == 1 ? 1U : 0U);
        loaded += 4 * series->samples[c].capacity();
      }
      EXPECT_LE(loaded, 2 * bytes.size() + 8192);  // no more than the file can need
      tavrik::ResultSeries results;
      tavrik::analyse({path}, results);
      return true;
    } catch (const ProcessEnded& end) {
      EXPECT_EQ(end.status, 1);
      tavrik::close_result_files();
    } catch (const std::exception& error) {
      EXPECT_STRNE(error.what(), "");
    }
    return false;
  }

  support::TemporaryFolder folder;
  /// Dates the files whose comment has no date: 06:00 on 1 March 2016, rasvik.
  const std::string path = folder / "20160301/r6030106.dat";
  std::string said;
};

TEST_F(formats, give_the_same_directions_and_velocities) {
  const Recording recorded = two_waves(3600);
  settings.cstep = 64;
  const auto expected = run(recorded, {ko24_1});
  for (const Storage& storage : all_formats) {
    SCOPED_TRACE(describe(storage));
    const auto found = run(recorded, storage);
    // All but a last block that is not whole.
    ASSERT_LE(found.size(), expected.size());
    ASSERT_GE(found.size() + 512 / 64, expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
      const auto& a = found[i];
      const auto& b = expected[i];
      ASSERT_EQ(std::tie(a.time, a.az, a.vel, a.amp), std::tie(b.time, b.az, b.vel, b.amp)) << i;
    }
    EXPECT_EQ(said.substr(0, 17), storage.format == binary_plain ? "validate_comment:" : "");
  }
}

// Files of 128 s each: 18 blocks of 128 samples or 4.5 of 512.
TEST_F(formats, join_in_the_order_given) {
  const Recording whole = two_waves(1024);
  std::vector<std::string> files;
  for (const std::size_t format : {0U, 4U, 14U, 9U, 10U, 2U, 13U, 6U}) {
    const std::size_t first = 2304 * files.size();
    Recording part{18, whole.start + 128.0 * static_cast<double>(files.size()), 0, {}};
    for (const Counts& channel : whole.samples) {
      part.samples.emplace_back(&channel[first], &channel[first] + 2304);
    }
    files.push_back(folder / std::to_string(files.size()));
    write_recording(files.back(), part, all_formats.at(format));
  }
  support::CapturedStderr captured;
  const tavrik::JoinedSeries joined = tavrik::gather(files);
  // Of the file of blocks of 512 the last half block is missing.
  EXPECT_THAT(captured.take(), testing::HasSubstr("WARNING: hole in data 14.2222"));
  ASSERT_EQ(joined.times.size(), 8 * 2304U - 256);
  for (std::size_t i = 0; i < joined.times.size(); ++i) {
    const std::size_t place = i < 4 * 2304 - 256 ? i : i + 256;
    ASSERT_NEAR(joined.times[i], whole.start + static_cast<double>(place) / 18, 1e-6);
    for (std::size_t c = 0; c < 3; ++c) {
      ASSERT_EQ(joined.samples.at(c)[i], whole.samples[c][place]) << "channel " << c;
    }
  }
  const tavrik::JoinedSeries turned = tavrik::gather({files[2], files[0]});
  EXPECT_EQ(turned.times.at(2304), whole.start);
}

TEST_F(formats, skip_windows_that_span_a_gap) {
  const Recording recorded = two_waves(600);
  settings.cstep = 32;
  for (Storage storage : all_formats) {
    SCOPED_TRACE(describe(storage));
    storage.gap = {200, 64};
    if (storage.format <= ko24_2 || storage.format == binary_plain) {
      continue;
    }
    const auto records = run(recorded, storage);
    EXPECT_EQ(said, "TIMEGAP in data\n");
    for (const tavrik::ResultRecord& record : records) {
      const double place = record.time - recorded.start;
      EXPECT_TRUE(place + 128 / 18.0 < 200.1 || place > (storage.format == tm4 ? 263.999 : 263))
          << place;
    }
    // Of 333 windows. A block of 512 is 28 s; so much may be lost on each side, and at the end.
    EXPECT_GT(records.size(), 333U - static_cast<std::size_t>((64 + 3 * 28.5) * 18 / 32));
  }
}

TEST_F(formats, survive_any_damage) {
  const std::vector<std::string> small_files = {
      support::Ko24File({}).add_values(Counts(60, 1)).bytes(),
      support::text_file({"360 0", "360 2"}, 16),
      "!Tidserier 8 1\n" + support::text_group("360 0", 100, 128),
      support::binary_file({{360, 0}}),
      support::binary_file({{0x6000, 0x56d5}}).replace(1, 1, "U"),
      "Tidserier\r" + support::binary_group({}, 0, 128),
      support::comment_line('S', 512, 8) + "\n" + support::tm4_lines(0, 100, 20, 8, 4),
  };
  const std::string others("\0 \r\n!-.09T\xff", 11);
  settings.clength = settings.cstep = 8;
  for (const std::string& bytes : small_files) {
    SCOPED_TRACE(bytes.substr(0, 20));
    const support::CapturedStderr captured;
    int analysed = 0;
    for (std::size_t place = 0; place < bytes.size(); ++place) {
      SCOPED_TRACE(place);
      analysed += survives(bytes.substr(0, place)) ? 1 : 0;
      // The first line, and what follows it, takes every one of these values at each byte.
      for (std::size_t v = 0; v < (place < 120 ? others.size() : 1); ++v) {
        std::string changed = bytes;
        changed[place] = others[(place + v) % others.size()];
        analysed += survives(changed) ? 1 : 0;
      }
    }
    EXPECT_GT(analysed, 300);
  }
}

TEST_F(formats, are_written_with_16_bits_and_whole_blocks) {
  const Recording loud{
      18.0, 1456812000.75, 1, {Counts(300, 40000), Counts(300, -40000), Counts(300, 7)}};
  for (const Storage& storage : all_formats) {
    SCOPED_TRACE(describe(storage));
    if (storage.format <= ko24_2 || storage.block_length == 512U) {
      continue;
    }
    write_recording(path, loud, storage);
    const support::CapturedStderr captured;
    const auto series = KorLa::open_series(path, 0, false);
    const Recording whole{0, 0, 0, {Counts(256, 32767), Counts(256, -32768), Counts(256, 7)}};
    EXPECT_EQ(series->samples, storage.format == tm4 ? loud.samples : whole.samples);
    EXPECT_EQ(series->start_time(), 1456812000.0);
    EXPECT_EQ(int{series->header.station}, has_full_comment(storage.format) ? 1 : 0);
  }
}

TEST_F(formats, are_refused_what_they_have_no_room_for) {
  const auto refused = [&](const Storage& storage, std::size_t n_channels = 3, int station = 0,
                           double frequency = 18, double start = 1456812000) {
    const Recording recorded{frequency, start, static_cast<std::uint8_t>(station),
                             std::vector<Counts>(n_channels, Counts(1000))};
    const std::string why = support::failure([&] { write_recording(path, recorded, storage); });
    EXPECT_TRUE(why.starts_with("Can't write " + path + ": ")) << why;
    return why.substr(why.rfind(": ") + 2);
  };
  EXPECT_EQ(refused({text}, 4), "the format has no room for 4 channels");
  EXPECT_EQ(refused({tm4}, 2), "the format has no room for 2 channels");
  EXPECT_EQ(refused({binary}, 3, 254), "no name stands for station 254");
  EXPECT_EQ(refused({tm4}, 3, 8), "no name stands for station 8");  // its name is another's
  EXPECT_EQ(refused({binary_plain}, 3, 0, 20), "blocks without times are always of 18 Hz");
  EXPECT_EQ(refused({binary_u}, 3, 0, 18, -1), "the format has no start time -1");
  EXPECT_EQ(refused({text, 256}), "the format has no blocks of 256 samples");
  EXPECT_EQ(refused({text_form1, 512}), "the format has no blocks of 512 samples");
  EXPECT_EQ(refused({ko24_1, {}, {10, 10}}), "the format has no room for a gap");
  EXPECT_EQ(refused({binary_plain, {}, {10, 10}}), "the format has no room for a gap");
  EXPECT_EQ(refused({text, 128, {7, 10}}), "the gap begins too early");
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
