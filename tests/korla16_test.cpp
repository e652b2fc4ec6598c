// 16-bit station files, text and binary: good ones, broken ones, their times and gaps.

#include "korla/korla16.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "korla/korla.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::KORLA16;
using support::binary_block;
using support::binary_group;
using support::comment_line;
using support::placed_samples;
using support::text_group;
using support::text_line;
using support::TextStyle;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr double frequency = 8;  // so that a block of 128 samples is of 16 s, one of 512 of 64
constexpr std::int64_t day = 1456790400;     // 1 March 2016
constexpr std::int64_t start = day + 21600;  // what comment_line says

const std::string lf = "\n";
const std::string cr = "\r";

class korla16 : public FreshState {
 protected:
  /// Reads a file; `said_` is what was written to the error stream.
  std::unique_ptr<KORLA16> read(const std::string& path, double name_time = 0) {
    support::CapturedStderr captured;
    std::unique_ptr<KORLA16> series;
    try {
      series = std::make_unique<KORLA16>(path, name_time);
    } catch (...) {
      said_ = captured.take();
      throw;
    }
    said_ = captured.take();
    return series;
  }

  std::unique_ptr<KORLA16> read_bytes(const std::string& bytes, double name_time = 0) {
    return read(folder_.write("morning.dat", bytes), name_time);
  }

  /// What reading a file throws.
  std::string failure(const std::string& bytes) {
    try {
      read_bytes(bytes);
    } catch (const std::exception& error) {
      return error.what();
    }
    return "nothing";
  }

  /// "WARNING: PATH: TEXT".
  std::string warning(const std::string& text) const {
    return "WARNING: " + (folder_ / "morning.dat") + ": " + text + "\n";
  }

  std::string stopped(int group) const {
    return warning("group " + std::to_string(group) +
                   " is incomplete or damaged, samples end there");
  }

  /// The series has placed samples from 0 on, and no more.
  static void expect_placed(const KORLA16& series, std::size_t count) {
    ASSERT_EQ(series.samples.size(), 3U);
    for (std::size_t c = 0; c < 3; ++c) {
      EXPECT_EQ(series.samples[c], placed_samples(c, 0, count)) << "channel " << c;
    }
    EXPECT_EQ(series.times.size(), count);
  }

  support::TemporaryFolder folder_;
  std::string said_;
};

TEST_F(korla16, reads_samples_and_times_of_every_layout) {
  struct Row {
    std::string name;
    std::string bytes;
    std::size_t block_length = 128;
  };

  const std::string s128 = comment_line('S', 128, frequency);
  const std::string s512 = comment_line('S', 512, frequency);
  const TextStyle crlf{.line_end = "\r\n"};
  const TextStyle airy{.line_end = " \n", .before_line = " \t ", .separator = " \t "};
  const TextStyle bare{.times = false};
  const std::string between = "\n\r\nA line of words\nZ 1 2 3\n \t \n\r\n";
  const auto odd = [](const std::string& time, std::size_t first) {
    return text_group(time, first, 10);
  };
  const std::vector<Row> table = {
      {"text", s128 + lf + text_group("360 0", 0, 128) + text_group("360 16", 128, 128)},
      {"text of 512", s512 + lf + text_group("360 0", 0, 512) + text_group("361 4", 512, 512), 512},
      {"text, CR LF",
       s128 + "\r\n" + text_group("360 0", 0, 128, crlf) + text_group("360 16", 128, 128, crlf)},
      {"text, blanks and tabs",
       s128 + lf + text_group("360 0", 0, 128, airy) + text_group("360 16", 128, 128, airy)},
      {"text, fractional times",
       s128 + lf + text_group("359.6 0.4", 0, 128) + text_group("360.4 1.55e1", 128, 128)},
      {"text, called U", comment_line('U', 128, frequency) + lf + text_group("360 0", 0, 128) +
                             text_group("360 16", 128, 128)},
      {"text with lines of other kinds",
       s128 + lf + "\n \t \n" + text_group("360 0", 0, 128) + between +
           text_line("360 16", placed_samples(0, 128, 128)) + between +
           text_line("360 16", placed_samples(1, 128, 128)) +
           text_line("360 16", placed_samples(2, 128, 128)) + between},
      {"text, last line without end",
       s128 + lf + text_group("360 0", 0, 128) +
           text_group("360 16", 128, 128).erase(text_group("360 16", 128, 128).size() - 1)},
      {"text with more values on lines than a block has",
       s128 + lf + text_group("360 0", 0, 128, {.line_end = " 9 9\n"}) +
           text_group("360 16", 128, 128, {.line_end = " 9 words\n"})},
      {"text without times",
       s128 + lf + text_group("", 0, 128, bare) + text_group("", 128, 128, bare)},
      {"text of 10 values",
       comment_line('S', 10, frequency) + lf + odd("360 0", 0) + odd("360 1", 10), 10},
      {"binary", s128 + cr + binary_group({360, 0}, 0, 128) + binary_group({360, 16}, 128, 128)},
      {"binary of 512",
       s512 + cr + binary_group({360, 0}, 0, 512) + binary_group({361, 4}, 512, 512), 512},
      {"binary, times in one number",
       comment_line('U', 128, frequency) + cr +
           binary_group({start & 0xffff, start >> 16}, 0, 128) +
           binary_group({(start + 16) & 0xffff, (start + 16) >> 16}, 128, 128)},
      {"binary, padded comment",
       s128 + "\x7f\x7f" + cr + binary_group({360, 0}, 0, 128) + binary_group({360, 16}, 128, 128)},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const auto series = read_bytes(row.bytes);
    EXPECT_EQ(said_, row.block_length == 10 ? "WARNING: nonstandard length: 10\n" : "");
    expect_placed(*series, 2 * row.block_length);
    for (std::size_t i = 0; i < series->times.size(); ++i) {
      ASSERT_EQ(series->times[i], start + static_cast<double>(i) / frequency) << i;
    }
  }
}

// Binary files have the block length that their own scan finds, whatever their comment is worth.
TEST_F(korla16, reads_binary_files_whose_comment_is_none) {
  struct Row {
    std::string comment;
    std::size_t block_length;
    bool times;
  };

  const std::vector<Row> table = {
      {"!S512 and nothing else" + cr, 512, true},
      {"!S128 and nothing else" + cr, 128, true},
      {"!SUusS!512" + cr, 512, true},
      {"!S5\x7f"
       "12" +
           cr,
       512, true},
      {"!512" + cr, 128, true},
      {"!S256" + cr, 128, true},
      {"!S1024" + cr, 128, true},
      {"!Station" + cr, 128, true},
      {"!S512X" + lf + "second line" + cr, 512, true},
      {"Tidserier" + cr, 128, false},
      {"T!S512" + cr, 128, false},
      {"", 128, true},  // the first word is no "!", so that there is no comment line
  };
  const std::string invalid =
      "validate_comment: Invalid comment line\nCouldn't determine sampling frequency\n"
      "defaulting to 18.0Hz\n";
  for (const Row& row : table) {
    SCOPED_TRACE(row.comment);
    const std::vector<int> words = row.times ? std::vector<int>{13, 13} : std::vector<int>{};
    const auto series = read_bytes(row.comment + binary_group(words, 0, row.block_length));
    EXPECT_EQ(said_,
              invalid + warning("neither comment nor path has a date, times count from 1970"));
    EXPECT_EQ(double{series->header.sampling_frequency}, 18.0);
    expect_placed(*series, row.block_length);
    EXPECT_EQ(series->times.at(0), row.times ? 13 * 60 + 13 : 0);
    EXPECT_EQ(series->times.at(1), series->times.at(0) + 1 / 18.0);
    EXPECT_EQ(int{series->header.station}, 255);
  }
}

TEST_F(korla16, keeps_every_value_of_16_bits_and_in_text_of_more) {
  std::mt19937 random(16);
  for (const bool binary : {false, true}) {
    for (int trial = 0; trial < 20; ++trial) {
      SCOPED_TRACE(trial);
      const std::size_t block_length = trial % 2 == 0 ? 128 : 512;
      std::vector<std::vector<std::int32_t>> written(3);
      std::string bytes = comment_line('S', block_length, frequency) + (binary ? cr : lf);
      for (unsigned groups = random() % 4 + 1; groups > 0; --groups) {
        for (std::vector<std::int32_t>& channel : written) {
          std::vector<std::int32_t> block(block_length);
          for (std::int32_t& value : block) {
            const auto any = static_cast<std::int32_t>(random());
            value = binary ? static_cast<std::int16_t>(any) : any >> random() % 32;
          }
          block[random() % block_length] = binary ? -32768 : INT32_MIN;
          block[random() % block_length] = binary ? 32767 : INT32_MAX;
          bytes += binary ? binary_block({360, 0}, block) : text_line("360 0", block);
          channel.insert(channel.end(), block.begin(), block.end());
        }
      }
      EXPECT_EQ(read_bytes(bytes)->samples, written);
    }
  }
}

TEST_F(korla16, presets_the_header) {
  const auto series = read_bytes(
      "!S128Tidserier sampfrek: 12.5 gain: 3 station: t2 date: 2016-03-01 time: 12:00:07\n" +
      text_group("720 7", 0, 128));
  const KorLa::SeriesHeader& header = series->header;
  EXPECT_THAT(header.magic, ElementsAre('k', 'o', '2', '4'));
  EXPECT_EQ(int{header.version}, 1);
  EXPECT_EQ(int{header.station}, 6);
  EXPECT_EQ(int{header.n_channels}, 3);
  EXPECT_EQ(std::uint32_t{header.sample_code}, 7U);
  EXPECT_EQ(int{header.bits_per_sample}, 16);
  EXPECT_EQ(int{header.bytes_per_sample}, 2);
  EXPECT_EQ(double{header.sampling_frequency}, 12.5);
  EXPECT_EQ(std::uint32_t{header.start_sec}, day + 43207);
  EXPECT_EQ(std::uint32_t{header.start_nsec}, 0U);
  EXPECT_THAT(header.extra_time, testing::Each(0));
  ASSERT_EQ(series->channels.size(), 3U);
  for (int c = 0; c < 3; ++c) {
    const KorLa::ChannelDescriptor& channel = series->channels[static_cast<std::size_t>(c)];
    EXPECT_THAT(channel.magic, ElementsAre('c', 'h', 'a', 'n'));
    EXPECT_EQ(int{channel.index}, c);
    EXPECT_EQ(int{channel.flags}, 1);
    EXPECT_EQ(double{channel.range_low}, -10.0);
    EXPECT_EQ(double{channel.range_high}, 10.0);
    EXPECT_EQ(double{channel.scale}, 30.0);
  }
  EXPECT_EQ(series->format_id(), 2);
}

TEST_F(korla16, takes_gains_1_to_4_and_stations_of_the_tables) {
  struct Row {
    std::string words;
    double scale = 10;
    int station = 255;
    std::string error = "nothing";
  };

  const std::vector<Row> table = {
      {" gain: 1 station: fjallby", 10, 4},
      {" gain: 2 station: ostermyra2", 20, 3},
      {" gain: 3 station: r2", 30, 5},
      {" gain: 4 station: o", 40, 3},
      {" gain: 4", 40},
      {"", 10},
      {" gain: 1 station: unknown", 0, 0, "map::at"},
      {" gain: 1 station: Rasvik", 0, 0, "map::at"},
      {" gain: 0", 0, 0, "array::at"},
      {" gain: 5", 0, 0, "array::at"},
      {" gain: -1", 0, 0, "array::at"},
      {" gain: -2147483648", 0, 0, "array::at"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.words);
    for (const std::string& data :
         {lf + text_group("1 1", 0, 128), cr + binary_group({1, 1}, 0, 128)}) {
      const std::string bytes = "!S128Tidserier sampfrek: 8" + row.words + data;
      if (row.error != "nothing") {
        EXPECT_THROW(read_bytes(bytes), std::out_of_range);
        EXPECT_THAT(failure(bytes), StartsWith(row.error));
        continue;
      }
      const auto series = read_bytes(bytes);
      EXPECT_EQ(double{series->channels.at(2).scale}, row.scale);
      EXPECT_EQ(int{series->header.station}, row.station);
    }
  }
}

TEST_F(korla16, refuses_what_is_no_station_file) {
  const std::string text = comment_line('S', 128, frequency) + lf + text_group("360 0", 0, 128);
  const std::string line_255(255, 'x');

  struct Row {
    std::string name;
    std::string bytes;
    std::string error;
  };

  const std::vector<Row> table = {
      {"an empty file", "", "fread: EOF \n"},
      {"255 bytes", text.substr(0, 255), "fread: EOF \n"},
      {"256 bytes", text.substr(0, 256), "nothing"},
      {"no line end", "!" + std::string(400, 'x'), "Found no end of first commentline\n"},
      {"a line end behind 256 bytes", "!" + line_255 + "\r" + std::string(1000, 'x'),
       "Found no end of first commentline\n"},
      {"a line end at the 256th byte", "!" + line_255.substr(1) + "\r" + std::string(1000, 'x'),
       "nothing"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(failure(row.bytes), row.error);
  }
  for (const std::string& path : {folder_ / "none", folder_.path().string()}) {
    try {
      read(path);
      ADD_FAILURE() << "read all the same";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), "Can't open " + path + "\n");
    }
  }
}

// The binary reader's comment line ends with CR alone.
TEST_F(korla16, ends_the_process_inside_a_comment_without_cr) {
  const std::string invalid =
      "validate_comment: Invalid comment line\nCouldn't determine sampling frequency\n"
      "defaulting to 18.0Hz\n";
  EXPECT_EQ(exit_status([&] { read_bytes("!nothing\n" + std::string(300, '1')); }), 1);
  EXPECT_THAT(said_, testing::StartsWith(invalid + "fgetc: EOF \n" + folder_.path().string()));
  EXPECT_EQ(exit_status([&] { read_bytes("T\n" + std::string(300, '1')); }), 1);
  EXPECT_EQ(exit_status([&] { read_bytes("?\n" + std::string(300, '1')); }), -1);
}

TEST_F(korla16, keeps_what_stands_before_the_damage) {
  const std::string text = comment_line('S', 128, frequency) + lf;
  const std::string group0 = text_group("360 0", 0, 128);
  const std::string group1 = text_group("360 16", 128, 128);
  const auto line = [](std::size_t channel, std::size_t first, std::size_t count) {
    return text_line("360 16", placed_samples(channel, first, count));
  };
  const std::string short_line = line(1, 128, 100);
  const std::string shorter = short_line.substr(0, short_line.size() - 1);
  const std::string failed = "Failed to read value 102, of line:\n" + shorter + "\n";
  const std::string word = text_line("360 16 5 x", placed_samples(0, 0, 200));
  const std::string fraction = text_line("360 16 7.5", placed_samples(0, 0, 200));
  const std::string large = text_line("360 16 2147483648", placed_samples(0, 0, 200));
  const std::string bare_text = text + text_group("", 0, 128, {.times = false});

  const std::string binary = comment_line('S', 128, frequency) + cr;
  const std::string block_group0 = binary_group({360, 0}, 0, 128);
  const std::string block_group1 = binary_group({360, 16}, 128, 128);

  struct Row {
    std::string name;
    std::string bytes;
    std::size_t groups;
    std::string said;
  };

  const std::vector<Row> table = {
      {"text: two lines of a group", text + group0 + line(0, 128, 128) + line(1, 128, 128), 1,
       stopped(2)},
      {"text: one line alone", text + line(0, 0, 128), 0, stopped(1)},
      {"text: a line cut short", text + group0 + line(0, 128, 128) + shorter, 1,
       failed + stopped(2)},
      {"text: a short line in the middle", text + group0 + line(0, 128, 128) + short_line + group0,
       1, failed + stopped(2)},
      {"text: a word among the values", text + group0 + word + group1, 1,
       "Failed to read value 3, of line:\n" + word + stopped(2)},
      {"text: a fraction", text + group0 + fraction + group1, 1,
       "Failed to read value 3, of line:\n" + fraction + stopped(2)},
      {"text: a value beyond 32 bits", text + group0 + large + group1, 1,
       "Failed to read value 2, of line:\n" + large + stopped(2)},
      {"text: no time", text + group0 + "? 1" + group1, 1, stopped(2)},
      {"text: half a time", text + group0 + "360 nan" + group1, 1, stopped(2)},
      {"text: a minute beyond all days", text + group0 + "1e7 " + group1, 1, stopped(2)},
      {"text: a line that is too long", text + group0 + std::string(51199, ' ') + group1, 1,
       "Error: Line to long\n" + stopped(2)},
      {"text: too long without end", text + group0 + std::string(51199, '1'), 1,
       "Error: Line to long\n" + stopped(2)},
      {"text: as long as a line may be",
       text + group0 + std::string(51198 - (line(0, 128, 128).size() - 1), ' ') +
           line(0, 128, 128) + line(1, 128, 128) + line(2, 128, 128),
       2, ""},
      {"text: two values lost in the first line",
       text + text_line("360 0", placed_samples(0, 0, 126)) + group0 + group1, 0, stopped(1)},
      {"text without times: a short line",
       bare_text + text_line("", placed_samples(0, 128, 127), {.times = false}), 1,
       "Failed to read value 129, of line:\n" +
           text_line("", placed_samples(0, 128, 127), {.times = false}) + stopped(2)},
      {"binary: nothing behind the comment",
       binary + std::string(256, '\r').substr(0, 0) + block_group0, 1, ""},
      {"binary: a byte", binary + block_group0 + "x", 1, "fread: EOF\n" + stopped(2)},
      {"binary: a block but for a byte", binary + block_group0 + block_group1.substr(0, 259), 1,
       "fread: EOF\n" + stopped(2)},
      {"binary: a block", binary + block_group0 + block_group1.substr(0, 260), 1, stopped(2)},
      {"binary: half of the second block", binary + block_group0 + block_group1.substr(0, 400), 1,
       "fread: EOF\n" + stopped(2)},
      {"binary: two blocks", binary + block_group0 + block_group1.substr(0, 520), 1, stopped(2)},
      {"binary: a group but for a byte", binary + block_group0 + block_group1.substr(0, 779), 1,
       "fread: EOF\n" + stopped(2)},
      {"binary: half of the first group", binary + block_group0.substr(0, 400), 0,
       "fread: EOF\n" + stopped(1)},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const auto series = read_bytes(row.bytes);
    EXPECT_EQ(said_, row.said);
    expect_placed(*series, 128 * row.groups);
    EXPECT_EQ(series->start_time(), start);
  }
}

/// A group's stamps, with what stands before it.
struct Stamp {
  int minute, second;
  bool mark = false;
};

struct GapCase {
  std::string name;
  std::vector<Stamp> stamps;
  std::vector<double> times;  ///< of the groups' first samples, from the start
  std::string said = {};      ///< behind the file's name, where it begins with a colon
};

const std::string one_gap = "TIMEGAP in data\n";
const std::string gaps = "Warning: TIMEGAPs in data\n";

/// Reads the case from text, and from binary where a binary file can say the same.
class korla16_gaps : public korla16 {
 protected:
  void expect_gaps(const GapCase& row) {
    std::string text = comment_line('S', 128, frequency) + lf;
    std::string binary = comment_line('S', 128, frequency) + cr;
    bool marked = false;
    std::size_t first = 0;
    for (const Stamp& stamp : row.stamps) {
      text += stamp.mark ? "! gap\n" : "";
      marked = marked || stamp.mark;
      text +=
          text_group(std::to_string(stamp.minute) + " " + std::to_string(stamp.second), first, 128);
      binary += binary_group({stamp.minute, stamp.second}, first, 128);
      first += 128;
    }
    expect_times(text, row);
    if (!marked) {
      expect_times(binary, row);
    }
  }

 private:
  void expect_times(const std::string& bytes, const GapCase& row) {
    const auto series = read_bytes(bytes);
    EXPECT_EQ(said_, row.said);
    ASSERT_NO_FATAL_FAILURE(expect_placed(*series, 128 * row.stamps.size()));
    for (std::size_t g = 0; g < row.stamps.size(); ++g) {
      for (std::size_t i = 0; i < 128; ++i) {
        ASSERT_EQ(series->times[128 * g + i],
                  start + row.times[g] + static_cast<double>(i) / frequency)
            << "group " << g << ", sample " << i;
      }
    }
  }
};

TEST_F(korla16_gaps, are_found_by_stamps_that_are_late) {
  const auto back = [this](int group) {
    return warning("the time goes back at group " + std::to_string(group) + ", samples count on");
  };
  const std::vector<GapCase> table = {
      {"none", {{360, 0}, {360, 16}, {360, 32}}, {0, 16, 32}},
      {"stamps that count from elsewhere", {{400, 50}, {401, 6}, {401, 22}}, {0, 16, 32}},
      {"a second late", {{360, 0}, {360, 17}, {360, 33}}, {0, 16, 32}},
      {"two seconds late", {{360, 0}, {360, 18}, {360, 34}}, {0, 16, 32}},
      {"three", {{360, 0}, {360, 19}, {360, 35}}, {0, 19, 35}, one_gap},
      {"two late, from a first that is early by rounding",
       {{360, 59}, {361, 17}, {361, 33}},
       {0, 16, 32}},
      {"late by degrees: measured from the first",
       {{360, 0}, {360, 17}, {360, 34}, {360, 51}, {361, 7}},
       {0, 16, 32, 51, 67},
       one_gap},
      {"an hour", {{360, 0}, {420, 16}, {420, 32}}, {0, 3616, 3632}, one_gap},
      {"two gaps", {{360, 0}, {360, 30}, {361, 0}}, {0, 30, 60}, gaps},
      {"three gaps",
       {{360, 0}, {360, 30}, {360, 46}, {361, 10}, {365, 0}},
       {0, 30, 46, 70, 300},
       gaps},
      {"two seconds early", {{360, 0}, {360, 14}, {360, 30}}, {0, 16, 32}},
      {"three early", {{360, 0}, {360, 13}, {360, 32}}, {0, 16, 32}, back(2)},
      {"back", {{360, 0}, {300, 0}, {360, 32}}, {0, 16, 32}, back(2)},
      {"back twice: said once", {{360, 30}, {360, 0}, {359, 0}}, {0, 16, 32}, back(2)},
      {"back within the tolerance", {{360, 0}, {360, 18}, {360, 17}}, {0, 16, 32}, back(3)},
      {"a gap, then back", {{360, 0}, {365, 0}, {360, 32}}, {0, 300, 316}, back(3) + one_gap},
  };
  for (const GapCase& row : table) {
    SCOPED_TRACE(row.name);
    expect_gaps(row);
  }
}

// Blocks of 10 samples last 1.25 s, so that the fourth has its place at 3.75 s.
TEST_F(korla16_gaps, are_told_from_stamps_that_are_a_little_off) {
  struct Row {
    std::string stamp;  ///< of the fourth block, behind one at 3 s
    double time;
    std::string said = {};
  };

  const std::vector<Row> table = {
      {"360 3", 3.75},
      {"360 5", 3.75},
      {"360 6", 6, one_gap},
      {"360 2", 3.75, warning("the time goes back at group 4, samples count on")},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.stamp);
    std::string bytes = comment_line('S', 10, frequency) + lf;
    for (const std::string& stamp :
         {std::string("360 0"), std::string("360 1"), std::string("360 3"), row.stamp}) {
      bytes += text_group(stamp, 0, 10);
    }
    EXPECT_EQ(read_bytes(bytes)->times.at(30), start + row.time);
    EXPECT_EQ(said_, "WARNING: nonstandard length: 10\n" + row.said);
  }
}

TEST_F(korla16_gaps, are_marked_by_lines_in_text) {
  const std::vector<GapCase> table = {
      {"where stamps are late too", {{360, 0}, {360, 30, true}}, {0, 30}, one_gap},
      {"where stamps are a second late", {{360, 0}, {360, 17, true}}, {0, 17}, one_gap},
      {"where stamps are in time", {{360, 0}, {360, 16, true}}, {0, 16}, one_gap},
      {"where stamps are early", {{360, 0}, {360, 15, true}}, {0, 16}, one_gap},
      {"twice", {{360, 0}, {360, 16, true}, {360, 40, true}}, {0, 16, 40}, gaps},
  };
  for (const GapCase& row : table) {
    SCOPED_TRACE(row.name);
    expect_gaps(row);
  }
  // Also inside a group, and in a file that has no times.
  const std::string text = comment_line('S', 128, frequency) + lf;
  const std::string group = text_group("360 16", 128, 128);
  std::string inside = group;
  inside.insert(group.find('\n') + 1, "!\n!\n");
  read_bytes(text + text_group("360 0", 0, 128) + inside);
  EXPECT_EQ(said_, one_gap);
  const TextStyle bare{.times = false};
  const auto series =
      read_bytes(text + text_group("", 0, 128, bare) + "!\n" + text_group("", 128, 128, bare));
  EXPECT_EQ(said_, one_gap);
  EXPECT_EQ(series->times.at(128), start + 16);
}

TEST_F(korla16_gaps, are_judged_by_the_first_channels_stamp) {
  const std::string differ = warning("the channels' times differ in group 2");
  const auto group = [](const std::array<int, 3>& seconds, std::size_t first, bool binary) {
    std::string bytes;
    for (std::size_t c = 0; c < 3; ++c) {
      const auto samples = placed_samples(c, first, 128);
      bytes += binary ? binary_block({360, seconds.at(c)}, samples)
                      : text_line("360 " + std::to_string(seconds.at(c)), samples);
    }
    return bytes;
  };
  for (const bool binary : {false, true}) {
    for (const std::array<int, 3>& odd :
         {std::array{16, 17, 16}, std::array{16, 16, 50}, std::array{16, 0, 0}}) {
      const auto series = read_bytes(comment_line('S', 128, frequency) + (binary ? cr : lf) +
                                     group({0, 0, 0}, 0, binary) + group(odd, 128, binary) +
                                     group({32, 33, 32}, 256, binary));
      EXPECT_EQ(said_, differ);
      EXPECT_EQ(series->times.at(256), start + 32);
    }
  }
}

TEST_F(korla16, dates_a_file_that_straddles_midnight) {
  struct Row {
    std::string name;
    std::string time;  ///< in the comment
    std::vector<Stamp> stamps;
    std::vector<double> times;  ///< of the groups, from the comment's midnight
    double earlier;             ///< with negtime
    std::string said = {};
  };

  constexpr double h = 3600;
  const std::vector<Row> table = {
      {"in time", "23:59:50", {{1439, 50}, {0, 6}, {0, 22}}, {86390, 86406, 86422}, 86400},
      {"with a gap behind midnight",
       "23:00:00",
       {{1380, 0}, {59, 0}},
       {23 * h, 24 * h + 3540},
       86400,
       one_gap},
      {"with a gap across midnight",
       "23:00:00",
       {{1380, 0}, {1380, 16}, {0, 5}},
       {23 * h, 23 * h + 16, 24 * h + 5},
       86400,
       one_gap},
      {"begun before the last hour", "22:59:59", {{1379, 59}, {0, 6}}, {82799, 82815}, 0, "back"},
      {"only up to midnight", "23:59:40", {{1439, 40}, {1439, 56}}, {86380, 86396}, 0},
      {"begun at midnight", "00:00:00", {{0, 0}, {0, 16}}, {0, 16}, 0},
      {"within an hour behind midnight", "00:50:00", {{50, 0}, {50, 16}}, {50 * 60, 3016}, 0},
  };
  for (const Row& row : table) {
    for (const bool negtime : {false, true}) {
      SCOPED_TRACE(row.name + (negtime ? ", negtime" : ""));
      KorLa::negtime = negtime;
      std::string bytes =
          "!S128Tidserier sampfrek: 8 gain: 1 station: r date: 2016-03-01 time: " + row.time + cr;
      for (std::size_t g = 0; g < row.stamps.size(); ++g) {
        bytes += binary_group({row.stamps[g].minute, row.stamps[g].second}, 128 * g, 128);
      }
      const auto series = read_bytes(bytes);
      EXPECT_EQ(said_, row.said == "back"
                           ? warning("the time goes back at group 2, samples count on")
                           : row.said);
      const double midnight = static_cast<double>(day) - (negtime ? row.earlier : 0);
      for (std::size_t g = 0; g < row.times.size(); ++g) {
        EXPECT_EQ(series->times.at(128 * g), midnight + row.times[g]);
      }
      EXPECT_EQ(series->start_time(), series->times.at(0));
    }
  }
}

TEST_F(korla16, starts_by_comment_then_path_then_stamps) {
  struct Row {
    std::string name;
    std::string file;
    std::string comment;  ///< behind the gain
    std::string stamp;
    double start;
    int station = 0;
    std::string said = {};
  };

  constexpr double h = 3600;
  const double night = static_cast<double>(day);
  const std::string undated = ": neither comment nor path has a date, times count from 1970\n";
  const std::string inferred = "Warning: year parsed from filename, 2016, is uncertain\n";
  const std::string full = " station: r date: 2016-03-01 time: 12:00:00";
  const std::vector<Row> table = {
      {"comment", "a.dat", full, "5 7", night + 12 * h},
      {"comment against path", "t2012010203.dat", full, "5 7", night + 12 * h},
      {"comment without time", "a.dat", " station: r date: 2016-03-01", "5 7", night + 307},
      {"a date that is none", "a.dat", " station: r date: 2016-02-30 time: 12:00:00", "5 7", 307, 0,
       undated},
      {"path, in its hour", "t2016030112.dat", "", "725 7", night + 12 * h + 307, 1},
      {"path, last second of its hour", "t2016030112.dat", "", "779 59", night + 13 * h - 1, 1},
      {"path, at another hour", "t2016030112.dat", "", "5 7", night + 12 * h, 1},
      {"path, just behind its hour", "t2016030112.dat", "", "780 0", night + 12 * h, 1},
      {"station in the comment", "t2016030112.dat", " station: f", "720 0", night + 12 * h, 4},
      {"path, its year inferred", "r6030112.dat", "", "720 0", night + 12 * h, 0, inferred},
      {"path of no station", "x2016030112.dat", "", "720 0", night + 12 * h, 255},
      {"folder", "20160301_w26030112.dat", "", "720 0", night + 12 * h, 7},
      {"nothing", "a.dat", "", "5 7", 307, 255, undated},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const std::string path =
        folder_.write(row.file, fmt::format("!S128Tidserier sampfrek: 8 gain: 1{}\n{}", row.comment,
                                            text_group(row.stamp, 0, 128)));
    const auto of_2016 = std::filesystem::file_time_type::clock::from_sys(
        std::chrono::sys_seconds(std::chrono::seconds(start)));
    std::filesystem::last_write_time(path, of_2016);
    const auto series = read(path);
    EXPECT_EQ(said_, row.said == undated ? fmt::format("WARNING: {}{}", path, undated) : row.said);
    EXPECT_EQ(series->times.at(0), row.start);
    EXPECT_EQ(series->start_time(), row.start);
    EXPECT_EQ(int{series->header.station}, row.station);
    // Only a time from the path is stored as one.
    std::uint32_t stored = 0;
    std::memcpy(&stored, series->header.extra_time.data(), sizeof stored);
    const bool by_path = row.comment.find("date") == std::string::npos && row.name != "nothing";
    EXPECT_EQ(stored, by_path ? row.start : 0);
  }
}

TEST_F(korla16, takes_a_name_time_that_is_less_than_2_s_off) {
  struct Row {
    double name_time;
    double start;
    std::uint32_t nanoseconds = 0;
  };

  const double six = static_cast<double>(start);
  const std::vector<Row> table = {
      {six + 1.75, six + 1.75, 750000000},
      {six - 1.75, six - 1.75, 250000000},
      {six + 2, six},
      {six - 2, six},
      {six, six},
      {0, six},
      {1e300, six},
      {std::nan(""), six},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name_time - six);
    const auto series = read_bytes(
        comment_line('S', 128, frequency) + lf + text_group("360 0", 0, 128), row.name_time);
    EXPECT_EQ(series->times.at(0), row.start);
    EXPECT_EQ(series->times.at(8), row.start + 1);
    EXPECT_EQ(std::uint32_t{series->header.start_sec}, std::floor(row.start));
    EXPECT_EQ(std::uint32_t{series->header.start_nsec}, row.nanoseconds);
    std::uint32_t stored = 0;
    std::memcpy(&stored, series->header.extra_time.data(), sizeof stored);
    EXPECT_EQ(stored, row.name_time == six || row.start != six ? std::floor(row.start) : 0);
  }
  // Without a date anywhere it names the day that the stamps are of.
  const auto series = read_bytes("!Tidserier 8 1\n" + text_group("362 0", 0, 128), six + 3600);
  EXPECT_EQ(series->times.at(0), six + 120);
  EXPECT_EQ(said_, "");
}

TEST_F(korla16, survives_any_frequency) {
  for (const std::string word : {"0", "-8", "nan", "inf", "-inf", "1e308", "1e-308", "1e999"}) {
    SCOPED_TRACE(word);
    const auto series =
        read_bytes(fmt::format("!S128Tidserier sampfrek: {}\n{}{}", word,
                               text_group("360 0", 0, 128), text_group("361 0", 128, 128)));
    EXPECT_EQ(series->samples.at(0).size(), 256U);
    EXPECT_EQ(series->times.size(), 256U);
  }
}

TEST_F(korla16, is_text_when_three_numbers_follow_a_good_comment) {
  struct Row {
    std::string name;
    std::string bytes;
    bool text;
  };

  const std::string good = comment_line('S', 128, frequency);
  const std::string rest = binary_group({360, 0}, 0, 128);
  const std::vector<Row> table = {
      {"numbers", good + "\r1 2 3 " + rest, true},
      {"numbers behind blank lines", good + "\r\n\n 1.5\n-2\t3e1x" + rest, true},
      {"two numbers", good + "\r1 2 x" + rest, false},
      {"a zero byte", good + "\r" + std::string(1, '\0') + "1 2 3" + rest, false},
      {"no good comment", "!S128 bad\r1 2 3 " + rest, false},
      {"numbers behind 256 bytes", good + "\r" + std::string(256 - good.size(), ' ') + "1 2 3",
       false},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const std::string path = folder_.write("a.dat", row.bytes);
    support::CapturedStderr captured;
    EXPECT_EQ(KorLa::open_station_file(path, 0, false)->is_binary(), !row.text);
    EXPECT_THAT(captured.take(),
                HasSubstr("File: " + path + " Type: " + (row.text ? "text\n" : "binary\n")));
  }
}

}  // namespace
