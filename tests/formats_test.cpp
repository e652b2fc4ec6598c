// Every format that the array has written, through the whole analysis: the same sound gives the
// same results, files of all formats join, and damage ends as it should.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <random>
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
#include "src/gather.h"

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
    tavrik::ResultSeries results;
    tavrik::analyse({path}, results);
    said = captured.take();
    return results.records;
  }

  enum class Outcome { result, ended, error };

  /// Opens and analyses a file: a result, an end with status 1, or an error that has a text.
  /// Anything else passes through and fails the test.
  Outcome outcome(const std::string& bytes) {
    records.clear();
    rewrite(bytes);
    try {
      series = KorLa::open_series(path, 0, true);
      std::size_t loaded = 0;
      for (std::size_t c = 0; series && c < series->header.n_channels; ++c) {
        // Of equal length, but for ko24's last sample.
        const std::size_t length = series->samples.at(c).size();
        EXPECT_LE(length - series->times.size(), series->format_id() == 1 ? 1U : 0U);
        loaded += 4 * series->samples[c].capacity() + sizeof(KorLa::ChannelDescriptor);
      }
      // No promise of the header takes memory that the file can't need.
      EXPECT_LE(loaded, 2 * bytes.size() + 8192);
      tavrik::ResultSeries results;
      tavrik::analyse({path}, results);
      records = results.records;
      return Outcome::result;
    } catch (const ProcessEnded& end) {
      EXPECT_EQ(end.status, 1);
      tavrik::finish_result_files();
      return Outcome::ended;
    } catch (const std::exception& error) {
      EXPECT_STRNE(error.what(), "");
      return Outcome::error;
    }
  }

  /// Writes the file at `path` without emptying it: file systems hurry to save what was emptied.
  void rewrite(const std::string& bytes) const {
    std::ofstream(path, std::ios::app).close();
    std::fstream(path, std::ios::binary | std::ios::in | std::ios::out) << bytes;
    std::filesystem::resize_file(path, bytes.size());
  }

  support::TemporaryFolder folder;
  /// Dates the files whose comment has no date: 06:00 on 1 March 2016, rasvik.
  const std::string path = folder / "20160301/r6030106.dat";
  std::string said;
  /// What `outcome` has found.
  std::unique_ptr<KorLa::Korla_Base> series;
  std::vector<tavrik::ResultRecord> records;
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
  const tavrik::LoadedSeries joined = tavrik::gather(files);
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
  const tavrik::LoadedSeries turned = tavrik::gather({files[2], files[0]});
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
    const auto windows = run(recorded, storage);
    EXPECT_EQ(said, "TIMEGAP in data\n");
    for (const tavrik::ResultRecord& record : windows) {
      const double place = record.time - recorded.start;
      EXPECT_TRUE(place + 128 / 18.0 < 200.1 || place > (storage.format == tm4 ? 263.999 : 263))
          << place;
    }
    // Of 333 windows. A block of 512 is 28 s; so much may be lost on each side, and at the end.
    EXPECT_GT(windows.size(), 333U - static_cast<std::size_t>((64 + 3 * 28.5) * 18 / 32));
  }
}

// The start of a file takes every one of these values at each byte.
TEST_F(formats, survive_any_damage) {
  const support::CapturedStderr captured;
  const std::string others("\0 \r\n!-.09T\xff", 11);
  settings.clength = settings.cstep = 8;
  for (const std::string name :
       {"ko24/twenty_samples.ko24", "text/two_blocks_of_16.dat", "text/form_1_one_group.dat",
        "binary/one_group.dat", "binary/one_group_u.dat", "binary/one_group_plain.dat",
        "tm4/twenty_lines.dat"}) {
    const std::string bytes = support::contents_of(support::station_file(name));
    int analysed = 0;
    for (std::size_t place = 0; place < bytes.size(); place += place < 100 ? 1 : 7) {
      SCOPED_TRACE(name + ", byte " + std::to_string(place));
      analysed += outcome(bytes.substr(0, place)) == Outcome::result ? 1 : 0;
      for (std::size_t v = 0; v < (place < 100 ? others.size() : 1); ++v) {
        std::string changed = bytes;
        changed[place] = others[(place + v) % others.size()];
        analysed += outcome(changed) == Outcome::result ? 1 : 0;
      }
    }
    EXPECT_GT(analysed, 300) << name;
  }
}

/// Part of a file, in bytes.
struct Part {
  std::size_t begin, end;
};

bool is_text(const Storage& storage) {
  return storage.format == tm4 || (storage.format > ko24_2 && storage.format < binary);
}

/// A byte, a block of bytes, or lines; in a file without lines as many bytes as blocks have.
Part choose_part(const std::string& file, const Storage& storage, std::mt19937& random) {
  const auto unit = random() % 3;
  const std::size_t begin = random() % file.size();
  const std::size_t end = std::min(begin + 1 + (unit > 0 ? random() % 1500 : 0), file.size());
  if (unit < 2) {
    return {begin, end};
  }
  if (is_text(storage)) {
    return {file.substr(0, begin).rfind('\n') + 1, file.find('\n', end - 1) + 1};
  }
  const std::size_t times = storage.format == binary_plain ? 0 : 4;
  const std::size_t block = 2 * storage.block_length.value_or(128) + times;
  return {begin, std::min(begin + (1 + random() % 3) * block, file.size())};
}

/// A file with a part that is lost, doubled, cut short or changed, or in which the file ends.
std::string damaged(std::string file, Part part, std::mt19937& random) {
  const std::size_t size = part.end - part.begin;
  const std::size_t inside = part.begin + random() % size;
  const bool as_text = random() % 2 == 0;
  switch (random() % 5) {
    case 0:
      return file.erase(part.begin, size);
    case 1:
      return file.insert(part.end, file.substr(part.begin, size));
    case 2:
      return file.erase(inside, part.end - inside);
    case 3:
      return file.substr(0, inside);
    default:
      std::generate_n(&file[part.begin], size, [&] {
        return as_text ? "0123456789 -!.\n\r"[random() % 16] : static_cast<char>(random());
      });
      return file;
  }
}

std::array<std::int32_t, 3> values_at(const std::vector<Counts>& samples, std::size_t i) {
  return {samples.at(0)[i], samples.at(1)[i], samples.at(2)[i]};
}

/// A recording of a wave that every window hears.
class damage : public formats {
 protected:
  damage() {
    settings.cstep = 64;
    recording::Scene scene{.length = length, .station = 0, .noise = 20};
    scene.waves = {{.azimuth = 31, .start = -50, .length = 400, .low = 1, .high = 4}};
    recorded = compute_recording(scene);
    for (std::size_t i = 0; i < recorded.samples[0].size(); ++i) {
      places[values_at(recorded.samples, i)] = recorded.start + static_cast<double>(i) / 18;
    }
  }

  /// What is said of a file, with the text of the error that ends the run.
  std::string messages_of(const std::string& bytes) {
    support::CapturedStderr captured;
    const Outcome found = outcome(bytes);
    ended = found != Outcome::result;
    return captured.take() + (found == Outcome::error ? "error" : "");
  }

  /// Whether all windows hear the wave that are not between two seconds.
  bool directions_fit(double begin, double end) const {
    return std::ranges::all_of(records, [&](const auto& record) {
      const double place = record.time - recorded.start;
      const bool away = place + 128 / 18.0 < begin || place > end;
      return !away || std::fabs(record.az - 31) <= 2;
    });
  }

  /// Whether all samples that are known by their values are within a second, that of a stamp, of
  /// their places.
  bool times_fit() const {
    for (std::size_t i = 0; i < series->times.size(); ++i) {
      const auto place = places.find(values_at(series->samples, i));
      const double wanted = place == places.end() ? series->times[i] : place->second;
      if (std::fabs(series->times[i] - wanted) > 1.01) {
        return false;
      }
    }
    return true;
  }

  static constexpr double length = 4096 / 18.0;
  Recording recorded;
  bool ended = false;
  std::map<std::array<std::int32_t, 3>, double> places;  ///< of samples by their values
};

// A run that says nothing is right. Text comes back in step: past the head all its directions are
// right that it gives. But windows that hold the damaged place may be wrong: no format shows a
// value that has become another one. Times may be wrong where the head is damaged, which dates a
// file, or where nothing in a file shows how many blocks it had.
TEST_F(damage, is_never_hidden) {
  constexpr std::size_t longest_head = 160;
  unsigned seed = 0;
  int n_right = 0, n_said = 0, n_errors = 0;
  for (const Storage& storage : all_formats) {
    write_recording(path, recorded, storage);
    const std::string file = support::contents_of(path);
    const double margin = 3 + static_cast<double>(storage.block_length.value_or(128)) / 18;
    const double bytes_per_second = static_cast<double>(file.size()) / length;
    said = messages_of(file);
    ASSERT_TRUE(directions_fit(0, 0) && times_fit());
    for (const unsigned next = seed + 134; seed < next; ++seed) {
      std::mt19937 random(seed);
      const Part part = choose_part(file, storage, random);
      SCOPED_TRACE(testing::Message() << describe(storage) << ", seed " << seed << ", bytes "
                                      << part.begin << " to " << part.end << " of " << file.size());
      const bool silent = messages_of(damaged(file, part, random)) == said;
      ++(ended ? n_errors : silent ? n_right : n_said);
      const bool past_head = part.begin >= longest_head;
      const bool dated = past_head && storage.format != binary_plain;
      const double begin = static_cast<double>(part.begin) / bytes_per_second - margin;
      const double end = static_cast<double>(part.end) / bytes_per_second + margin;
      ASSERT_TRUE(!silent || (!ended && (!dated || times_fit())));
      const bool in_step = silent || (past_head && is_text(storage));
      ASSERT_TRUE(!in_step || directions_fit(begin, end));
    }
  }
  // Of 2,010.
  EXPECT_GT(n_right, 300);
  EXPECT_GT(n_said, 1000);
  EXPECT_GT(n_errors, 30);
}

/// Two windows of samples for as many channels as the fields say.
std::string small_file(const support::Ko24Fields& fields) {
  std::vector<std::int32_t> values(20 * std::size_t{fields.n_channels});
  std::mt19937 random(fields.n_channels);
  std::generate(values.begin(), values.end(), std::ref(random));
  return support::Ko24File(fields).add_values(values).bytes();
}

TEST_F(formats, survive_any_number_of_channels) {
  const support::CapturedStderr captured;
  settings.clength = settings.cstep = 8;
  for (int n = 0; n < 256; ++n) {
    SCOPED_TRACE(n);
    const auto count = static_cast<std::uint8_t>(n);
    EXPECT_EQ(outcome(small_file({.n_channels = count})), n < 3 ? Outcome::error : Outcome::result);
    EXPECT_EQ(records.size(), n < 3 ? 0U : 2U);
    // The same count in a file that holds neither the table nor the samples of so many.
    const std::string lying = small_file({}).replace(20, 1, 1, static_cast<char>(n));
    EXPECT_EQ(outcome(lying), n == 3 ? Outcome::result : Outcome::error);
  }
}

TEST_F(formats, survive_any_frequency) {
  const support::CapturedStderr captured;
  constexpr double inf = std::numeric_limits<double>::infinity();
  settings.clength = settings.cstep = 8;
  settings.write_az = settings.partial = settings.lltmp = settings.crn = true;
  settings.comment = settings.center_time = settings.histogram = true;
  for (const double hz : {0.0, -18.0, std::nan(""), inf, -inf, 5e-324, 1e-9, 0.6, 7e4, 1e300}) {
    for (const std::uint8_t n_channels : {3, 4}) {  // the fourth is searched for time marks
      SCOPED_TRACE(testing::Message() << hz << " Hz, channels: " << int{n_channels});
      const auto file = small_file({.n_channels = n_channels, .sampling_frequency = hz});
      settings.maxdelay_auto = true;  // the lags by the frequency
      EXPECT_EQ(outcome(file), hz == 0.6 || hz == 7e4 ? Outcome::result : Outcome::ended);
      settings.maxdelay_auto = false;
      EXPECT_EQ(outcome(file), hz > 0 && hz < inf ? Outcome::result : Outcome::ended);
    }
  }
}

TEST_F(formats, are_written_with_16_bits_and_whole_blocks) {
  Recording loud{18.0, 1456812000.75, 1, std::vector<Counts>(3, Counts(700))};
  std::mt19937 random(16);
  for (Counts& channel : loud.samples) {
    std::generate(channel.begin(), channel.end(),
                  [&] { return static_cast<std::int32_t>(random()) >> random() % 32; });
  }
  for (const Storage& storage : all_formats) {
    SCOPED_TRACE(describe(storage));
    write_recording(path, loud, storage);
    const support::CapturedStderr captured;
    const auto file = KorLa::open_series(path, 0, false);
    const bool ko24 = storage.format <= ko24_2;
    const bool whole = ko24 || storage.format == tm4;
    EXPECT_EQ(file->times.size(), whole ? 700U : storage.block_length == 512U ? 512U : 640U);
    for (std::size_t i = 0; i < 3 * file->times.size(); ++i) {
      const std::int32_t value = loud.samples[i % 3][i / 3];
      ASSERT_EQ(file->samples.at(i % 3).at(i / 3),
                whole ? value : std::clamp(value, -32768, 32767));
    }
    EXPECT_EQ(file->start_time(), ko24 ? loud.start : 1456812000.0);
    EXPECT_EQ(int{file->header.station}, has_full_comment(storage.format) || ko24 ? 1 : 0);
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
  EXPECT_EQ(refused({ko24_0}, 0), "ko24 holds 1 to 255 channels, not 0");
  EXPECT_EQ(refused({ko24_1}, 256), "ko24 holds 1 to 255 channels, not 256");
  EXPECT_EQ(refused({ko24_2}, 1, 0, 18, -0.5), "ko24 has no start time -0.5");
  EXPECT_EQ(refused({ko24_2}, 1, 0, 18, 4294967295.5), "ko24 has no start time 4294967295.5");
  EXPECT_EQ(refused({text}, 4), "the format has no room for 4 channels");
  EXPECT_EQ(refused({tm4}, 2), "the format has no room for 2 channels");
  EXPECT_EQ(refused({binary}, 3, 254), "no name stands for station 254");
  EXPECT_EQ(refused({tm4}, 3, 8), "no name stands for station 8");  // its name is another's
  EXPECT_EQ(refused({binary_plain}, 3, 0, 20), "blocks without times are always of 18 Hz");
  EXPECT_EQ(refused({tm4}, 127), "the format has no room for 127 channels");
  EXPECT_EQ(refused({binary_u}, 3, 0, 18, -1), "the format has no start time -1");
  EXPECT_EQ(refused({text, 256}), "the format has no blocks of 256 samples");
  EXPECT_EQ(refused({text_form1, 512}), "the format has no blocks of 512 samples");
  EXPECT_EQ(refused({ko24_1, {}, {10, 10}}), "the format has no room for a gap");
  EXPECT_EQ(refused({binary_plain, {}, {10, 10}}), "the format has no room for a gap");
  EXPECT_EQ(refused({text, 128, {7.05, 10}}), "the gap begins too early");
  EXPECT_FALSE(std::filesystem::exists(path));
  const Recording short_one = {18, 1456812000, 0, std::vector<Counts>(3, Counts(1000))};
  write_recording(path, short_one,
                  {text, 128, {128 / 18.0, 10}});  // right after a block: not early
  write_recording(path, {18, 0, 0, std::vector<Counts>(126, Counts(2))}, {tm4});
  EXPECT_EQ(KorLa::open_series(path, 0, false)->samples.size(), 126U);
}

}  // namespace
