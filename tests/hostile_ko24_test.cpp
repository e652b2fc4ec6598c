// Files whose headers lie: whatever they say, a run ends with a result, with a message and status,
// or with an error that says why.

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <fstream>
#include <gmock/gmock.h>
#include <limits>
#include <string>
#include <vector>

#include "korla/korla_base.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

#include "src/analysis.h"

namespace {

using support::Ko24Fields;
using support::Ko24File;
using tavrik::settings;

constexpr std::size_t n_samples = 20;  // two windows
constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

class hostile_ko24 : public FreshState {
 protected:
  enum class Outcome { result, ended, error };

  hostile_ko24() {
    settings.quiet = true;
    settings.clength = settings.cstep = 8;
  }

  /// A small file, good but for its fields, with samples for as many channels as it promises.
  static Ko24File small_file(const Ko24Fields& fields = {}) {
    std::vector<std::int32_t> values(n_samples * std::max<std::size_t>(fields.n_channels, 1));
    std::int32_t value = 1;
    for (std::int32_t& sample : values) {
      value = static_cast<std::int32_t>(static_cast<std::uint32_t>(value) * 69069U + 1U);
      sample = value;
    }
    return Ko24File(fields).add_values(values);
  }

  Outcome outcome_of(const std::string& bytes) {
    folder.write("a.ko24", bytes);
    return outcome(bytes.size());
  }

  /// Opens and analyses the file. Anything but these outcomes passes through and fails the test.
  Outcome outcome(std::size_t file_size, bool reader_alone = false) {
    try {
      expect_memory_in_proportion(file_size);
      if (reader_alone) {
        return Outcome::result;
      }
      tavrik::ResultSeries series;
      tavrik::analyse({path}, series);
      EXPECT_LE(series.records.size(), 2 * 2U);
      return Outcome::result;
    } catch (const ProcessEnded& end) {
      EXPECT_TRUE(end.status == 0 || end.status == 1) << end.status;
      tavrik::close_result_files();
      return Outcome::ended;
    } catch (const std::exception& error) {
      EXPECT_STRNE(error.what(), "");
      return Outcome::error;
    }
  }

  support::TemporaryFolder folder;
  const std::string path = folder / "a.ko24";

 private:
  /// What was loaded comes from the file: no promise of its header takes memory. A file that lost
  /// its "ko24" counts as one of 16 bits, in blocks of up to 512.
  void expect_memory_in_proportion(std::size_t file_size) const {
    const auto series = KorLa::open_series(path, 0.0, true);
    ASSERT_NE(series, nullptr);
    std::size_t loaded = sizeof(KorLa::ChannelDescriptor) * series->channels.capacity();
    for (const std::vector<std::int32_t>& channel : series->samples) {
      loaded += 4 * channel.capacity();
      EXPECT_GE(channel.size(), series->times.size());
    }
    EXPECT_LE(loaded, series->format_id() == 1 ? file_size : 2 * file_size + 8192);
  }
};

TEST_F(hostile_ko24, with_any_number_of_channels) {
  for (const std::uint8_t n : {0, 1, 2, 3, 4, 255}) {
    SCOPED_TRACE(int{n});
    Ko24Fields fields;
    fields.n_channels = n;
    support::CapturedStderr captured;
    EXPECT_EQ(outcome_of(small_file(fields).bytes()), n < 3 ? Outcome::error : Outcome::result);
    // The same count in a file that holds neither the table nor the samples of so many.
    Ko24File lying = small_file();
    lying.set_bytes(20, std::string(1, static_cast<char>(n)));
    EXPECT_EQ(outcome_of(lying.bytes()), n == 3 ? Outcome::result : Outcome::error);
  }
}

TEST_F(hostile_ko24, with_any_frequency) {
  struct Row {
    double frequency;
    Outcome derived, given;  ///< with the lags by the frequency, and with 16
  };

  const std::vector<Row> table = {
      {0.0, Outcome::ended, Outcome::ended},       {-18.0, Outcome::ended, Outcome::ended},
      {nan, Outcome::ended, Outcome::ended},       {inf, Outcome::ended, Outcome::ended},
      {-inf, Outcome::ended, Outcome::ended},      {5e-324, Outcome::ended, Outcome::result},
      {1e-9, Outcome::ended, Outcome::result},     {0.6, Outcome::result, Outcome::result},
      {70000.0, Outcome::result, Outcome::result}, {1e9, Outcome::ended, Outcome::result},
      {1e300, Outcome::ended, Outcome::result},
  };
  settings.write_az = settings.partial = settings.lltmp = settings.crn = true;
  settings.comment = settings.center_time = settings.histogram = true;
  for (const Row& row : table) {
    for (const std::uint8_t n_channels : {3, 4}) {  // the fourth is searched for time marks
      SCOPED_TRACE(testing::Message() << row.frequency << ", channels: " << int{n_channels});
      Ko24Fields fields;
      fields.sampling_frequency = row.frequency;
      fields.n_channels = n_channels;
      const std::string bytes = small_file(fields).bytes();
      support::CapturedStderr captured;
      settings.maxdelay_auto = true;
      EXPECT_EQ(outcome_of(bytes), row.derived);
      settings.maxdelay_auto = false;
      EXPECT_EQ(outcome_of(bytes), row.given);
    }
  }
}

TEST_F(hostile_ko24, cut_off_anywhere) {
  settings.write_az = true;
  const Ko24File whole = small_file();
  const std::size_t first_sample = whole.data_offset() + 8;
  for (std::size_t size = 0; size <= whole.bytes().size(); ++size) {
    SCOPED_TRACE(size);
    support::CapturedStderr captured;
    // The four bytes behind "data" mean nothing, so that they may be missing.
    EXPECT_EQ(outcome_of(whole.bytes().substr(0, size)),
              size < first_sample - 4 ? Outcome::error : Outcome::result);
  }
}

TEST_F(hostile_ko24, with_any_byte_of_its_header_changed) {
  const Ko24File good = small_file();
  folder.write("a.ko24", good.bytes());
  // In place: to write the whole file anew some ten thousand times would take its time.
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  const auto set_byte = [&file](std::size_t place, char value) {
    file.seekp(static_cast<std::streamoff>(place)).put(value).flush();
  };
  std::array<std::size_t, 3> outcomes{};
  support::CapturedStderr captured;
  for (std::size_t place = 0; place < good.data_offset() + 8; ++place) {
    // The analysis never looks at the descriptors, two thirds of the bytes.
    const bool in_descriptor = place >= good.descriptor_offset(0) && place < good.data_offset();
    for (int value = 0; value < 256; ++value) {
      SCOPED_TRACE(testing::Message() << "byte " << place << " is " << value);
      set_byte(place, static_cast<char>(value));
      ++outcomes.at(static_cast<std::size_t>(outcome(good.bytes().size(), in_descriptor)));
    }
    set_byte(place, good.bytes()[place]);
  }
  ASSERT_TRUE(file.good());
  EXPECT_THAT(outcomes, testing::Each(testing::Gt(256U)));
}

}  // namespace
