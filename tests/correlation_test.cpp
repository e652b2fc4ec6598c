// Sums over lags, correlation series, their peaks, and the spectrum.

#include "src/correlation.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <gmock/gmock.h>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "tests/support/fresh_state.h"

#include "src/lag_sums.h"
#include "src/spectrum.h"

namespace {

using tavrik::Lags;
using tavrik::PaddedSignal;
using tavrik::PairSeries;
using testing::ElementsAre;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// Random numbers, the same in every run.
class Numbers {
 public:
  double between(double low, double high) {
    return low + (high - low) * static_cast<double>(generator_() >> 11) * 0x1p-53;
  }

  std::size_t size_between(std::size_t low, std::size_t high) {
    return low + generator_() % (high - low + 1);
  }

  std::vector<double> series(std::size_t size) {
    std::vector<double> result(size);
    std::generate(result.begin(), result.end(), [this] { return between(-3, 3); });
    return result;
  }

 private:
  std::mt19937_64 generator_{1814};
};

void fill(PaddedSignal& signal, const std::vector<double>& values, std::size_t max_lag) {
  signal.resize(values.size(), max_lag);
  std::copy(values.begin(), values.end(), signal.samples().begin());
}

std::vector<double> sums_of(const std::vector<double>& a, const std::vector<double>& b,
                            std::size_t max_lag) {
  PaddedSignal padded_a;
  PaddedSignal padded_b;
  fill(padded_a, a, max_lag);
  fill(padded_b, b, max_lag);
  std::vector<double> sums(2 * max_lag + 1, nan);
  tavrik::lag_sums(padded_a, padded_b, max_lag, sums);
  return sums;
}

/// The definition, with the order of summation that results depend on.
double sum_at(const std::vector<double>& a, const std::vector<double>& b, std::ptrdiff_t lag) {
  const auto size = static_cast<std::ptrdiff_t>(a.size());
  double sum = 0;
  for (std::ptrdiff_t i = std::max<std::ptrdiff_t>(0, -lag); i < std::min(size, size - lag); ++i) {
    sum += a[static_cast<std::size_t>(i)] * b[static_cast<std::size_t>(i + lag)];
  }
  return sum;
}

TEST(lag_sums, are_the_same_bits_as_by_their_definition) {
  struct Row {
    std::size_t size, max_lag;
  };

  std::vector<Row> table = {{1, 1},   {1, 300}, {2, 1},    {2, 2},    {8, 255},
                            {8, 7},   {8, 8},   {9, 8},    {128, 16}, {300, 19},
                            {64, 20}, {41, 39}, {100, 40}, {200, 60}, {512, 255}};
  Numbers numbers;
  for (int i = 0; i < 80; ++i) {
    table.push_back({numbers.size_between(1, 600), numbers.size_between(1, 300)});
  }
  PaddedSignal padded_a;  // used again and again: nothing may be left of the case before
  PaddedSignal padded_b;
  for (const Row& row : table) {
    SCOPED_TRACE(testing::Message() << row.size << " samples, lags to " << row.max_lag);
    const std::vector<double> a = numbers.series(row.size);
    const std::vector<double> b = numbers.series(row.size);
    fill(padded_a, a, row.max_lag);
    fill(padded_b, b, row.max_lag);
    for (const tavrik::LagSums variant : tavrik::usable_lag_sums()) {
      std::vector<double> sums(2 * row.max_lag + 1, nan);
      variant(padded_a, padded_b, row.max_lag, sums);
      for (std::size_t k = 0; k < sums.size(); ++k) {
        const auto lag = static_cast<std::ptrdiff_t>(k) - static_cast<std::ptrdiff_t>(row.max_lag);
        ASSERT_EQ(std::bit_cast<std::uint64_t>(sums[k]),
                  std::bit_cast<std::uint64_t>(sum_at(a, b, lag)))
            << "lag " << lag;
      }
    }
  }
}

class correlation : public FreshState {};

TEST_F(correlation, divides_the_weighted_series_so_that_small_lags_win) {
  for (const std::size_t max_lag : {1U, 16U, 255U, 65535U}) {
    SCOPED_TRACE(max_lag);
    tavrik::set_maxdelay(max_lag);
    EXPECT_EQ(tavrik::correlation.max_lag, max_lag);
    const std::vector<double>& divisors = tavrik::correlation.divisors;
    ASSERT_EQ(divisors.size(), 2 * max_lag + 1);
    const auto m = static_cast<double>(max_lag);
    EXPECT_DOUBLE_EQ(divisors[max_lag], 8 * m);
    EXPECT_DOUBLE_EQ(divisors[max_lag - 1], 8.2 * m);
    EXPECT_DOUBLE_EQ(divisors.front(), (0.2 * m + 8) * m);
    EXPECT_DOUBLE_EQ(divisors.back(), divisors.front());
    for (const std::vector<double>& series : tavrik::correlation.crs_norm) {
      EXPECT_EQ(series.size(), 2 * max_lag + 1);
    }
  }
}

TEST_F(correlation, of_a_shifted_copy_peaks_at_the_shift) {
  constexpr int max_lag = 16;
  tavrik::set_maxdelay(max_lag);
  Numbers numbers;
  for (int shift = -max_lag; shift <= max_lag; ++shift) {
    SCOPED_TRACE(shift);
    const std::vector<double> sound = numbers.series(440);
    const std::vector<double> a(sound.begin() + 20, sound.begin() + 420);
    const std::vector<double> b(sound.begin() + 20 - shift, sound.begin() + 420 - shift);
    const std::vector<double> sums = sums_of(a, b, max_lag);
    PairSeries crs;
    PairSeries norm;
    for (std::size_t p = 0; p < 3; ++p) {
      crs[p].resize(sums.size());
      norm[p].resize(sums.size());
      tavrik::correlate_weighted(sums, tavrik::correlation.divisors, crs[p]);
      EXPECT_EQ(tavrik::divide_by_peak(crs[p], norm[p]),
                *std::max_element(crs[p].begin(), crs[p].end()));
    }
    Lags lags;
    std::array<double, 3> value_at_lag{};
    tavrik::find_lags(norm, crs, value_at_lag, lags, max_lag);
    for (const double lag : lags) {
      EXPECT_NEAR(lag, shift, std::abs(shift) == max_lag ? 0 : 0.5);
    }
  }
}

TEST(correlate, divides_by_divisors_or_by_the_geometric_mean_of_the_energies) {
  std::vector<double> out(3);
  tavrik::correlate_weighted(std::vector{3.0, -4.0, 0.0}, std::vector{6.0, 8.0, 2.0}, out);
  EXPECT_THAT(out, ElementsAre(0.5, -0.5, 0.0));
  tavrik::correlate_normalised(std::vector{3.0, -6.0, 0.0}, 4, 9, out);
  EXPECT_THAT(out, ElementsAre(0.5, -1.0, 0.0));
  tavrik::correlate_normalised(std::vector{0.0, 0.0, 0.0}, 0, 9, out);
  EXPECT_THAT(out, testing::Each(testing::IsNan()));
}

TEST(divide_by_peak, makes_the_highest_value_exactly_one) {
  struct Row {
    const char* name;
    std::vector<double> crs, expected;
    double peak;
  };

  const std::vector<Row> table = {
      {"mixed", {-2, 4, 1}, {-0.5, 1, 0.25}, 4},
      {"zero on top", {-2, 0, -1}, {0, 0, 0}, 0},
      {"all negative", {-4, -2, -8}, {2, 1, 4}, -2},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    std::vector<double> norm(3, nan);
    EXPECT_EQ(tavrik::divide_by_peak(row.crs, norm), row.peak);
    EXPECT_EQ(norm, row.expected);
  }
  Numbers numbers;
  for (int i = 0; i < 2000; ++i) {  // with 1 / peak as a factor, one in a few would miss
    std::vector<double> norm(5);
    tavrik::divide_by_peak(numbers.series(5), norm);
    ASSERT_EQ(std::count(norm.begin(), norm.end(), 1.0), 1);
  }
}

TEST(find_lags, takes_the_peak_at_the_largest_lag) {
  struct Row {
    const char* name;
    std::vector<double> series;
    double lag;
    std::ptrdiff_t value_index;  ///< -1: the value stays as it was
  };

  const std::vector<Row> table = {
      {"in the middle", {0, 0.5, 1, 0.5, 0}, 0, 2},
      {"leaning", {0, 0.25, 1, 0.75, 0}, 0.25, 2},
      {"two equal ones", {0, 1, 0, 1, 0}, 1, 3},
      {"two equal neighbours", {0, 1, 1, 0, 0}, -0.5, 2},
      {"next to the low end", {0.5, 1, 0.5, 0, 0}, -1, 1},
      {"at the high end", {0, 0.5, 0.75, 0.5, 1}, 2, -1},
      {"at the low end", {1, 0.5, 0.75, 0.5, 0}, -2, -1},
      {"at both ends", {1, 0, 0, 0, 1}, 2, -1},
      {"at the high end and within", {0, 0, 1, 0, 1}, 2, -1},
      {"at the low end and within", {1, 0, 1, 0, 0}, 0, 2},
      {"negative, over its maximum", {4, 2, 1, 2, 4}, 0, 2},
      {"none", {0, 0, 0, 0, 0}, 0, -1},
      {"nearly", {0, 0, 1 - 0x1p-53, 1 + 0x1p-52, 0}, 0, -1},
      {"nan at the high end", {0, 0.5, 1, 0.5, nan}, 0, 2},
      {"nan on the way", {0.5, 1, 0.5, nan, nan}, -1, 1},
      {"nan at the low end", {nan, nan, 0.5, 1, 0.5}, 1, 3},
      {"nan alone", {nan, nan, nan, nan, nan}, 0, -1},
      {"one behind nan at the low end", {1, nan, nan, nan, nan}, -2, -1},
  };
  const std::vector<double> flat(5, 0.0);
  for (const Row& row : table) {
    for (std::size_t p = 0; p < 3; ++p) {
      SCOPED_TRACE(testing::Message() << row.name << ", pair " << p);
      PairSeries norm = {flat, flat, flat};
      norm[p] = row.series;
      PairSeries crs = {flat, flat, flat};
      crs[p] = {10, 11, 12, 13, 14};
      std::array<double, 3> value_at_lag = {7, 8, 9};
      std::array<double, 3> expected = value_at_lag;
      if (row.value_index >= 0) {
        expected[p] = crs[p][static_cast<std::size_t>(row.value_index)];
      }
      Lags lags = {5, 5, 5};
      Lags expected_lags{};
      expected_lags[p] = row.lag;
      tavrik::find_lags(norm, crs, value_at_lag, lags, 2);
      EXPECT_EQ(lags, expected_lags);
      EXPECT_EQ(value_at_lag, expected);
    }
  }
}

TEST(find_lags, is_exact_on_a_parabola) {
  Numbers numbers;
  constexpr std::size_t max_lag = 16;
  for (int i = 0; i < 500; ++i) {
    const double bend = numbers.between(0.001, 0.1);
    const auto peak = static_cast<double>(numbers.size_between(1, 2 * max_lag - 1));
    const double off = numbers.between(-0.45, 0.45);
    std::vector<double> series(2 * max_lag + 1);
    for (std::size_t k = 0; k < series.size(); ++k) {
      const double x = static_cast<double>(k) - peak;
      series[k] = 1.0 - bend * (x * x - 2 * x * off);
    }
    const PairSeries norm = {series, series, series};
    Lags lags;
    std::array<double, 3> value_at_lag{};
    tavrik::find_lags(norm, norm, value_at_lag, lags, max_lag);
    EXPECT_NEAR(lags[0], peak + off - max_lag, 1e-9);
    EXPECT_EQ(value_at_lag[0], 1.0);
  }
}

TEST(line_fit, is_the_line_of_least_squares) {
  struct Row {
    const char* name;
    std::vector<double> y;
    double intercept, slope;
  };

  const std::vector<Row> table = {
      {"two points", {5, 3}, 7, -2},
      {"a line", {1.5, 2, 2.5, 3, 3.5}, 1, 0.5},
      {"one point off", {0, 0, 0, 10}, -5, 3},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const tavrik::Line line = tavrik::line_fit(row.y);
    EXPECT_NEAR(line.slope, row.slope, 1e-12);
    EXPECT_NEAR(line.intercept, row.intercept, 1e-12);
  }
  EXPECT_TRUE(std::isnan(tavrik::line_fit(std::vector{1.0}).slope));
  EXPECT_TRUE(std::isnan(tavrik::line_fit({}).slope));
}

constexpr double pi = std::numbers::pi;

TEST(spectrum, has_a_tone_in_its_bin_averaged_over_the_channels) {
  constexpr std::size_t size = 128;
  constexpr double amplitudes[] = {1e6, 4e6, 1e6};
  tavrik::Spectrum spectrum(size);
  for (const std::size_t bin : {1U, 5U, 63U}) {
    SCOPED_TRACE(bin);
    for (std::size_t c = 0; c < 3; ++c) {
      std::vector<std::int32_t> raw(size);
      for (std::size_t i = 0; i < size; ++i) {
        const double angle = 2 * pi * static_cast<double>(bin * i) / size + static_cast<double>(c);
        raw[i] = static_cast<std::int32_t>(std::lround(amplitudes[c] * std::sin(angle))) + 500000;
      }
      spectrum.set_channel(c, raw.data());
    }
    std::vector<double> average(size, nan);
    spectrum.transform();
    spectrum.average_magnitudes(average);
    for (std::size_t k = 0; k < size; ++k) {
      EXPECT_NEAR(average[k], k == bin || k == size - bin ? 2e6 * size / 2 : 0, 100) << k;
    }
    EXPECT_EQ(average[0], 0);
  }
}

TEST(spectrum, agrees_with_the_sums_that_define_it) {
  Numbers numbers;
  for (const std::size_t size : {8U, 13U, 100U}) {
    SCOPED_TRACE(size);
    tavrik::Spectrum spectrum(size);
    std::vector<double> expected(size, 0.0);
    for (std::size_t c = 0; c < 3; ++c) {
      std::vector<std::int32_t> raw(size);
      for (std::int32_t& sample : raw) {
        sample = static_cast<std::int32_t>(numbers.between(-8e6, 8e6));
      }
      spectrum.set_channel(c, raw.data());
      for (std::size_t k = 1; k < size; ++k) {
        std::complex<double> sum = 0;
        for (std::size_t i = 0; i < size; ++i) {
          sum += static_cast<double>(raw[i]) *
                 std::polar(
                     1.0, -2 * pi * static_cast<double>(k * i % size) / static_cast<double>(size));
        }
        expected[k] += std::abs(sum) / 3;
      }
    }
    std::vector<double> average(size - 2);  // a caller may want the first bins only
    spectrum.transform();
    spectrum.average_magnitudes(average);
    for (std::size_t k = 0; k < average.size(); ++k) {
      EXPECT_NEAR(average[k], expected[k], 1e-4) << k;
    }
  }
}

}  // namespace
