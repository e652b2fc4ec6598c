// The comment lines of 16-bit and TM4 files.

#include "korla/comment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "korla/trace.h"
#include "tests/support/captured_stderr.h"

namespace {

using KorLa::Comment;
using KorLa::parse_comment;
using KorLa::validate_comment;
using testing::MatchesRegex;

constexpr std::int64_t day = 1456790400;  // 1 March 2016
constexpr std::int64_t noon = day + 43200;

/// The texts of a comment line, for short rows.
struct Texts {
  std::string station, date, time;
};

struct Row {
  std::string name;
  std::string line;
  double frequency;
  int gain = 1;
  std::uint32_t block_length = 128;
  char letter = 'S';
  Texts texts = {};
  std::string said = {};
};

TEST(comment, is_read_in_each_of_its_forms) {
  const std::string odd = "WARNING: nonstandard length: ";
  const std::vector<Row> table = {
      {"first form", "!Tidserier 18.0 2", 18, 2},
      {"first form with all sorts of blanks", "!Tidserier\t 20.5\n 3 and more", 20.5, 3},
      {"second form", "!Tidserier  sampfrek: 12.5 gain: 4", 12.5, 4},
      {"second form, one blank", "!Tidserier sampfrek:12.5 gain:4", 12.5, 4},
      {"newest form",
       "!S512Tidserier sampfrek: 20.0 gain: 3 station: rasvik date: 2016-03-01 time: 12:00:00",
       20,
       3,
       512,
       'S',
       {"rasvik", "2016-03-01", "12:00:00"}},
      {"newest form, U, no blanks behind colons",
       "!U128Tidserier sampfrek:2e1 gain:3 station:w2 date:2016/03/01 time:12.00.00",
       20,
       3,
       128,
       'U',
       {"w2", "2016/03/01", "12.00.00"}},
      {"up to the date",
       "!S128Tidserier sampfrek: 20 gain: 3 station: x date: y",
       20,
       3,
       128,
       'S',
       {"x", "y", ""}},
      {"up to the station",
       "!S128Tidserier sampfrek: 20 gain: 3 station: x",
       20,
       3,
       128,
       'S',
       {"x", "", ""}},
      {"up to the gain", "!S512Tidserier sampfrek: 20 gain: 3", 20, 3, 512},
      {"without a gain", "!S512Tidserier sampfrek: 20", 20, 1, 512},
      {"a gain that is none", "!S512Tidserier sampfrek: 20 gain: x station: y", 20, 1, 512},
      {"a gain left out", "!S512Tidserier sampfrek: 20 station: rasvik", 20, 1, 512},
      {"a station of 255 letters",
       "!S512Tidserier sampfrek: 20 gain: 1 station: " + std::string(255, 'n') + " date: d",
       20,
       1,
       512,
       'S',
       {std::string(255, 'n'), "d", ""}},
      {"a station of more",
       "!S512Tidserier sampfrek: 20 gain: 1 station: " + std::string(300, 'n') + " date: d",
       20,
       1,
       512,
       'S',
       {std::string(255, 'n'), "", ""}},
      {"another length", "!S64Tidserier sampfrek: 20", 20, 1, 64, 'S', {}, odd + "64\n"},
      {"no length at all", "!S0Tidserier sampfrek: 20", 20, 1, 0, 'S', {}, odd + "0\n"},
      {"a frequency of zero", "!S512Tidserier sampfrek: 0", 0, 1, 512},
      {"a frequency below zero", "!Tidserier -18 1", -18, 1},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    Comment comment;
    comment.block_length = 7;
    support::CapturedStderr captured;
    EXPECT_TRUE(validate_comment(row.line, comment));
    EXPECT_EQ(captured.take(), row.said);
    EXPECT_EQ(comment.frequency, row.frequency);
    EXPECT_EQ(comment.gain, row.gain);
    EXPECT_EQ(comment.block_length, row.block_length);
    EXPECT_EQ(comment.station_name, row.texts.station);
    EXPECT_EQ(comment.date_text, row.texts.date);
    EXPECT_EQ(comment.time_text, row.texts.time);
    EXPECT_EQ(comment.type_letter, row.letter);
    EXPECT_EQ(comment.u_flag, row.letter == 'U');
  }
}

TEST(comment, defaults_to_18_hz_when_it_has_none_of_the_forms) {
  struct Refused {
    std::string line;
    std::string said_before = {};
  };

  const std::vector<Refused> table = {
      {""},
      {"!"},
      {"Tidserier 18.0 2"},
      {" !Tidserier 18.0 2"},
      {"!tidserier 18.0 2"},
      {"!Tidserier 18.0"},
      {"!Tidserier  sampfrek: 18.0 gain:"},
      {"!X512Tidserier sampfrek: 20.0"},
      {"!s512Tidserier sampfrek: 20.0"},
      {"!X64Tidserier sampfrek: 20.0", "WARNING: nonstandard length: 64\n"},
      {"!STidserier sampfrek: 20.0"},
      {"!S512 Tidserier sampfrek: 20.0"},
      {"!S512Tidserier sampfrek: fast"},
  };
  const std::string said =
      ": Invalid comment line\nCouldn't determine sampling frequency\ndefaulting to 18.0Hz\n";
  for (const Refused& row : table) {
    SCOPED_TRACE(row.line);
    Comment comment;
    comment.frequency = 99;
    support::CapturedStderr captured;
    EXPECT_FALSE(validate_comment(row.line, comment));
    EXPECT_EQ(captured.take(), row.said_before + "validate_comment" + said);
    EXPECT_EQ(comment.frequency, 18.0);
    EXPECT_EQ(comment.gain, 1);
    support::CapturedStderr again;
    EXPECT_FALSE(parse_comment(row.line, comment));
    EXPECT_EQ(again.take(), row.said_before + "parse_comment" + said);
  }
}

TEST(comment, gives_date_and_time_as_utc) {
  struct Dated {
    std::string texts;
    std::optional<std::int64_t> record_time, day_time;
  };

  const std::vector<Dated> table = {
      {"date: 2016-03-01 time: 12:00:00", noon, day},
      {"date: 2016.03.01 time: 12-00-00", noon, day},
      {"date: 2016x3x1 time: 12h0m0", noon, day},
      {"date: 2016-02-29 time: 23:59:60", day, day - 86400},
      {"date: 2016-12-31 time: 00:00:01", 1483142401, 1483142400},
      {"date: 1970-01-01 time: 00:00:00", 0, 0},
      {"date: 1969-12-31 time: 23:59:59", -1, -86400},
      {"date: 2100-03-01 time: 00:00:00", 4107542400, 4107542400},
      {"date: 2016-03-01", std::nullopt, day},
      {"date: 2016-03-01 time: 12:00", std::nullopt, day},
      {"date: 2016-03-01 time: 12:60:00", std::nullopt, day},
      {"date: 2016-03-01 time: noon", std::nullopt, day},
      {"date: 2015-02-29 time: 12:00:00", std::nullopt, std::nullopt},
      {"date: 2016-13-01 time: 12:00:00", std::nullopt, std::nullopt},
      {"date: 2016-03 time: 12:00:00", std::nullopt, std::nullopt},
      {"date: 20160301 time: 12:00:00", std::nullopt, std::nullopt},
      {"date: today time: 12:00:00", std::nullopt, std::nullopt},
  };
  for (const Dated& row : table) {
    SCOPED_TRACE(row.texts);
    Comment comment;
    ASSERT_TRUE(
        validate_comment("!S512Tidserier sampfrek: 20 gain: 1 station: r " + row.texts, comment));
    EXPECT_EQ(comment.record_time, row.record_time);
    EXPECT_EQ(comment.day_time, row.day_time);
  }
}

TEST(comment, traces_what_it_tries_and_finds) {
  const std::string at = "Debug:../../../src/korla\\([0-9]+\\) ";
  const auto tried = [&at](const std::string& name, const std::string& line) {
    return at + name + ": \"" + line + "\"\n";
  };

  struct Traced {
    std::string line;
    std::string pattern;
  };

  const std::string first = "!Tidserier 18.5 2";
  const std::string second = "!Tidserier  sampfrek: 20 gain: 3";
  const std::string newest =
      "!S512Tidserier sampfrek: 20 gain: 1 station: rasvik date: 2016-03-01 time: 12:00:00";
  const std::string cut = "!X512Tidserier sampfrek: 20 and more";
  const std::vector<Traced> table = {
      {first, tried("valid_comment_type1", first) + at + "frequency=18.5 gain=2\n" + at +
                  "valid_comment_type1: " + first + "\n"},
      {second, tried("valid_comment_type1", second) + tried("valid_comment_type2", second) + at +
                   "frequency=20 gain=3\n" + at + "valid_comment_type2: " + second + "\n"},
      {newest + " more", tried("valid_comment_type1", newest + " more") +
                             tried("valid_comment_type2", newest + " more") +
                             tried("valid_comment_type3", newest + " more") + at + "ret: 7\n" + at +
                             "Unscanned comment:  more\n" + at +
                             "frequency=20 gain=1 date=2016-03-01 time=12:00:00\n" + at +
                             "valid_comment_type3: " + newest + " more\n" + at + "TZ=UTC\n" + at +
                             "1456833600 Start of day represents 1456790400\n"},
      {cut, tried("valid_comment_type1", cut) + tried("valid_comment_type2", cut) +
                tried("valid_comment_type3", cut) + at + "ret: 3\n" + at +
                "Unscanned comment:  and more\n" +
                "validate_comment: Invalid comment line\nCouldn't determine sampling "
                "frequency\ndefaulting to 18.0Hz\n"},
  };
  setenv("TZ", "UTC", 1);
  KorLa::debug = true;
  for (const Traced& row : table) {
    SCOPED_TRACE(row.line);
    Comment comment;
    support::CapturedStderr captured;
    validate_comment(row.line, comment);
    EXPECT_THAT(captured.take(), MatchesRegex(row.pattern));
  }
  KorLa::debug = false;
}

}  // namespace
