// The comment lines of 16-bit and TM4 files.

#include "korla/comment.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "korla/trace.h"
#include "tests/support/captured_stderr.h"

namespace {

using KorLa::Comment;
using KorLa::parse_comment;
using KorLa::validate_comment;

constexpr std::int64_t day = 1456790400;  // 1 March 2016
constexpr std::int64_t noon = day + 43200;
const std::string newest = "!S512Tidserier sampfrek: 20";

/// The texts of a comment line.
struct Texts {
  std::string station = {}, date = {}, time = {};
};

TEST(comment, is_read_in_each_of_its_forms) {
  const auto expect = [](const std::string& line, double frequency, int gain,
                         std::uint32_t block_length = 128, char letter = 'S',
                         const Texts& texts = {}, const std::string& said = {}) {
    SCOPED_TRACE(line);
    Comment comment;
    comment.block_length = 7;
    support::CapturedStderr captured;
    EXPECT_TRUE(validate_comment(line, comment));
    EXPECT_EQ(captured.take(), said);
    EXPECT_EQ(comment.frequency, frequency);
    EXPECT_EQ(comment.gain, gain);
    EXPECT_EQ(comment.block_length, block_length);
    EXPECT_EQ(comment.station_name, texts.station);
    EXPECT_EQ(comment.date_text, texts.date);
    EXPECT_EQ(comment.time_text, texts.time);
    EXPECT_EQ(comment.type_letter, letter);
    EXPECT_EQ(comment.u_flag, letter == 'U');
  };
  expect("!Tidserier 18.0 2", 18, 2);
  expect("!Tidserier\t -20.5\n 3 and more", -20.5, 3);
  expect("!Tidserier  sampfrek: 12.5 gain: 4", 12.5, 4);
  expect("!Tidserier sampfrek:12.5 gain:4", 12.5, 4);
  expect(newest, 20, 1, 512);
  expect(newest + " gain: 3", 20, 3, 512);
  expect(newest + " gain: x station: y", 20, 1, 512);
  expect(newest + " station: rasvik", 20, 1, 512);
  const std::string gain_3 = "!U128Tidserier sampfrek:2e1 gain:3";
  expect(gain_3 + " station:x", 20, 3, 128, 'U', {"x"});
  expect(gain_3 + " station: x date: y", 20, 3, 128, 'U', {"x", "y"});
  expect(gain_3 + " station: x date: y time: z", 20, 3, 128, 'U', {"x", "y", "z"});
  const std::string most(255, 'n');
  expect(newest + " gain: 1 station: " + most + " date: d", 20, 1, 512, 'S', {most, "d"});
  expect(newest + " gain: 1 station: " + most + "n date: d", 20, 1, 512, 'S', {most});
  const std::string odd = "WARNING: nonstandard length: ";
  expect("!S64Tidserier sampfrek: 20", 20, 1, 64, 'S', {}, odd + "64\n");
  expect("!S0Tidserier sampfrek: 0", 0, 1, 0, 'S', {}, odd + "0\n");
}

TEST(comment, defaults_to_18_hz_when_it_has_none_of_the_forms) {
  for (const std::string line :
       {"", "Tidserier 18.0 2", " !Tidserier 18.0 2", "!tidserier 18.0 2", "!Tidserier 18.0",
        "!Tidserier  sampfrek: 18.0 gain:", "!X512Tidserier sampfrek: 20.0",
        "!s64Tidserier sampfrek: 20.0", "!STidserier sampfrek: 20.0",
        "!S512 Tidserier sampfrek: 20.0", "!S512Tidserier sampfrek: fast"}) {
    SCOPED_TRACE(line);
    const std::string said =
        std::string(line.starts_with("!s64") ? "WARNING: nonstandard length: 64\n" : "") +
        "validate_comment: Invalid comment line\nCouldn't determine sampling frequency\n"
        "defaulting to 18.0Hz\n";
    Comment comment;
    comment.frequency = 99;
    support::CapturedStderr captured;
    EXPECT_FALSE(validate_comment(line, comment));
    EXPECT_EQ(captured.take(), said);
    EXPECT_EQ(comment.frequency, 18.0);
    EXPECT_EQ(comment.gain, 1);
  }
}

TEST(comment, gives_date_and_time_as_utc) {
  const auto expect = [](const std::string& texts, std::optional<std::int64_t> record_time,
                         std::optional<std::int64_t> day_time) {
    SCOPED_TRACE(texts);
    Comment comment;
    ASSERT_TRUE(validate_comment(newest + " gain: 1 station: r date: " + texts, comment));
    EXPECT_EQ(comment.record_time, record_time);
    EXPECT_EQ(comment.day_time, day_time);
  };
  const std::nullopt_t none = std::nullopt;
  expect("2016-03-01 time: 12:00:00", noon, day);
  expect("2016x3x1 time: 12h0m0", noon, day);
  expect("2016-02-29 time: 23:59:60", day, day - 86400);
  expect("2016-12-31 time: 00:00:01", 1483142401, 1483142400);
  expect("1969-12-31 time: 23:59:59", -1, -86400);
  expect("2100-03-01 time: 00:00:00", 4107542400, 4107542400);
  expect("2016-03-01", none, day);
  expect("2016-03-01 time: 12:00", none, day);
  expect("2016-03-01 time: 12:60:00", none, day);
  expect("2015-02-29 time: 12:00:00", none, none);
  expect("2016-13-01 time: 12:00:00", none, none);
  expect("2016-03 time: 12:00:00", none, none);
  expect("20160301 time: 12:00:00", none, none);
}

TEST(comment, traces_what_it_tries_and_finds) {
  // The trace of a line, without places and with LINE for the line itself.
  const auto traced = [](const std::string& line) {
    Comment comment;
    support::CapturedStderr captured;
    parse_comment(line, comment);
    const std::regex place("Debug:../../../src/korla\\([0-9]+\\) ");
    std::string trace = std::regex_replace(captured.take(), place, "");
    for (std::size_t at = 0; (at = trace.find(line)) != std::string::npos;) {
      trace.replace(at, line.size(), "LINE");
    }
    return trace;
  };
  setenv("TZ", "UTC", 1);
  KorLa::debug = true;
  const std::string first = "valid_comment_type1: \"LINE\"\n";
  const std::string second = first + "valid_comment_type2: \"LINE\"\n";
  const std::string third = second + "valid_comment_type3: \"LINE\"\n";
  EXPECT_EQ(traced("!Tidserier 18.5 2"),
            first + "frequency=18.5 gain=2\nvalid_comment_type1: LINE\n");
  EXPECT_EQ(traced("!Tidserier  sampfrek: 20 gain: 3"),
            second + "frequency=20 gain=3\nvalid_comment_type2: LINE\n");
  EXPECT_EQ(traced(newest + " gain: 1 station: r date: 2016-03-01 time: 12:00:00 more"),
            third +
                "ret: 7\nUnscanned comment:  more\nfrequency=20 gain=1 date=2016-03-01 "
                "time=12:00:00\nvalid_comment_type3: LINE\nTZ=UTC\n"
                "1456833600 Start of day represents 1456790400\n");
  EXPECT_EQ(traced("!X512Tidserier sampfrek: 20 and more"),
            third +
                "ret: 3\nUnscanned comment:  and more\nparse_comment: Invalid comment line\n"
                "Couldn't determine sampling frequency\ndefaulting to 18.0Hz\n");
  KorLa::debug = false;
}

}  // namespace
