// ko24 files whose headers lie: whatever they say, a run ends with a result, with a message and
// status 1, or with an error that says why. formats_test.cpp has files that are damaged anywhere.

#include <cstdint>
#include <exception>
#include <gtest/gtest.h>
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

using support::Ko24File;
using tavrik::settings;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

class hostile_ko24 : public FreshState {
 protected:
  enum class Outcome { result, ended, error };

  hostile_ko24() {
    settings.quiet = true;
    settings.clength = settings.cstep = 8;
  }

  /// A file good but for its fields, with two windows of samples for as many channels as it says.
  static Ko24File small_file(const support::Ko24Fields& fields = {}) {
    std::vector<std::int32_t> values(20 * std::size_t{fields.n_channels});
    std::uint32_t value = 1;
    for (std::int32_t& sample : values) {
      value = value * 69069U + 1U;
      sample = static_cast<std::int32_t>(value);
    }
    return Ko24File(fields).add_values(values);
  }

  /// Opens and analyses a file. Anything but these outcomes passes through and fails the test.
  Outcome outcome(const Ko24File& file) const {
    const std::string path = folder.write("a.ko24", file.bytes());
    const support::CapturedStderr captured;
    try {
      // What was loaded comes from the file: no promise of its header takes memory.
      const auto series = KorLa::open_series(path, 0.0, true);
      std::size_t loaded = sizeof(KorLa::ChannelDescriptor) * series->channels.capacity();
      for (const std::vector<std::int32_t>& channel : series->samples) {
        loaded += 4 * channel.capacity();
      }
      EXPECT_LE(loaded, file.bytes().size());
      tavrik::ResultSeries results;
      tavrik::analyse({path}, results);
      EXPECT_EQ(results.records.size(), 2U);
      return Outcome::result;
    } catch (const ProcessEnded& end) {
      EXPECT_EQ(end.status, 1);
      tavrik::close_result_files();
      return Outcome::ended;
    } catch (const std::exception& error) {
      EXPECT_STRNE(error.what(), "");
      return Outcome::error;
    }
  }

  support::TemporaryFolder folder;
};

TEST_F(hostile_ko24, with_any_number_of_channels) {
  for (int n = 0; n < 256; ++n) {
    SCOPED_TRACE(n);
    const auto count = static_cast<std::uint8_t>(n);
    const Ko24File file = small_file({.n_channels = count});
    EXPECT_EQ(outcome(file), n < 3 ? Outcome::error : Outcome::result);
    // The same count in a file that holds neither the table nor the samples of so many.
    const Ko24File lying = small_file().set_bytes(20, std::string(1, static_cast<char>(n)));
    EXPECT_EQ(outcome(lying), n == 3 ? Outcome::result : Outcome::error);
  }
}

TEST_F(hostile_ko24, with_any_frequency) {
  settings.write_az = settings.partial = settings.lltmp = settings.crn = true;
  settings.comment = settings.center_time = settings.histogram = true;
  for (const double hz : {0.0, -18.0, nan, inf, -inf, 5e-324, 1e-9, 0.6, 7e4, 1e9, 1e300}) {
    for (const std::uint8_t n_channels : {3, 4}) {  // the fourth is searched for time marks
      SCOPED_TRACE(testing::Message() << hz << " Hz, channels: " << int{n_channels});
      const Ko24File file = small_file({.n_channels = n_channels, .sampling_frequency = hz});
      settings.maxdelay_auto = true;  // the lags by the frequency
      EXPECT_EQ(outcome(file), hz == 0.6 || hz == 7e4 ? Outcome::result : Outcome::ended);
      settings.maxdelay_auto = false;
      EXPECT_EQ(outcome(file), hz > 0 && hz < inf ? Outcome::result : Outcome::ended);
    }
  }
}

}  // namespace
