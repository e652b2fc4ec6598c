// Sums over lags, correlation series, their peaks, and the spectrum.

#include "src/correlation.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <gmock/gmock.h>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "tests/support/fresh_state.h"

#include "src/lag_sums.h"
#include "src/spectrum.h"

namespace {

using tavrik::Lags;
using tavrik::PairSeries;
using testing::ElementsAre;
using Series = std::vector<double>;

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

  Series series(std::size_t size) {
    Series result(size);
    std::generate(result.begin(), result.end(), [this] { return between(-3, 3); });
    return result;
  }

 private:
  std::mt19937_64 generator_{1814};
};

void fill(tavrik::PaddedSignal& signal, const Series& values, std::size_t max_lag) {
  signal.resize(values.size(), max_lag);
  std::copy(values.begin(), values.end(), signal.samples().begin());
}

/// The definition, with the order of summation that results depend on.
Series slow_lag_sums(const Series& a, const Series& b, std::size_t max_lag) {
  Series sums(2 * max_lag + 1, 0.0);
  for (std::size_t k = 0; k < sums.size(); ++k) {
    for (std::size_t i = 0; i < a.size(); ++i) {
      if (i + k >= max_lag && i + k - max_lag < b.size()) {
        sums[k] += a[i] * b[i + k - max_lag];
      }
    }
  }
  return sums;
}

TEST(lag_sums, are_the_same_as_by_their_definition) {
  std::vector<std::pair<std::size_t, std::size_t>> table = {
      {1, 1},    {1, 300},  {2, 2},   {8, 7},   {8, 8},   {8, 255},
      {128, 16}, {300, 19}, {64, 20}, {41, 39}, {100, 40}};
  Numbers numbers;
  for (int i = 0; i < 80; ++i) {
    table.emplace_back(numbers.size_between(1, 600), numbers.size_between(1, 300));
  }
  tavrik::PaddedSignal padded_a;  // used again and again: nothing may be left of the case before
  tavrik::PaddedSignal padded_b;
  for (const auto& [size, max_lag] : table) {
    SCOPED_TRACE(testing::Message() << size << " samples, lags to " << max_lag);
    const Series a = numbers.series(size);
    const Series b = numbers.series(size);
    fill(padded_a, a, max_lag);
    fill(padded_b, b, max_lag);
    const Series expected = slow_lag_sums(a, b, max_lag);
    for (const tavrik::LagSums variant : tavrik::usable_lag_sums()) {
      const auto first = -static_cast<std::ptrdiff_t>(max_lag);
      Series sums(2 * max_lag + 1, nan);
      variant(padded_a, padded_b, first, sums);
      ASSERT_EQ(sums, expected);
      Series part(max_lag + 2, nan);  // one of them beyond the reach
      variant(padded_a, padded_b, 0, part);
      ASSERT_TRUE(std::equal(part.begin(), part.end() - 1, expected.begin() - first));
      ASSERT_EQ(part.back(), 0);
    }
  }
}

class correlation : public FreshState {};

TEST_F(correlation, divides_the_weighted_series_so_that_small_lags_win) {
  for (const std::size_t max_lag : {1U, 16U, 65535U}) {
    SCOPED_TRACE(max_lag);
    tavrik::set_maxdelay(max_lag);
    const Series& divisors = tavrik::correlation.divisors;
    ASSERT_EQ(divisors.size(), 2 * max_lag + 1);
    const auto m = static_cast<double>(max_lag);
    EXPECT_DOUBLE_EQ(divisors[max_lag], 8 * m);
    EXPECT_DOUBLE_EQ(divisors[max_lag - 1], 8.2 * m);
    EXPECT_DOUBLE_EQ(divisors.front(), (0.2 * m + 8) * m);
    EXPECT_DOUBLE_EQ(divisors.back(), divisors.front());
  }
}

TEST(correlate, divides_by_divisors_or_by_the_geometric_mean_of_the_energies) {
  Series out(3);
  tavrik::correlate_weighted(std::vector{3.0, -4.0, 0.0}, std::vector{6.0, 8.0, 2.0}, out);
  EXPECT_THAT(out, ElementsAre(0.5, -0.5, 0.0));
  tavrik::correlate_normalised(std::vector{3.0, -6.0, 0.0}, 4, 9, out);
  EXPECT_THAT(out, ElementsAre(0.5, -1.0, 0.0));
}

TEST(divide_by_peak, makes_the_highest_value_exactly_one) {
  Series norm(3, nan);
  EXPECT_EQ(tavrik::divide_by_peak(std::vector{-2.0, 0.0, -1.0}, norm), 0);
  EXPECT_THAT(norm, ElementsAre(0, 0, 0));
  EXPECT_EQ(tavrik::divide_by_peak(std::vector{-4.0, -2.0, -8.0}, norm), -2);
  EXPECT_THAT(norm, ElementsAre(2, 1, 4));
  Numbers numbers;
  for (int i = 0; i < 2000; ++i) {  // with 1 / peak as a factor, one in a few would miss
    tavrik::divide_by_peak(numbers.series(3), norm);
    ASSERT_EQ(std::count(norm.begin(), norm.end(), 1.0), 1);
  }
}

TEST(find_lags, takes_the_peak_at_the_largest_lag) {
  const struct {
    const char* name;
    Series series;
    double lag, value;  ///< 9: the value stays as it was
  } table[] = {
      {"leaning", {0, 0.25, 1, 0.75, 0}, 0.25, 12},
      {"two equal neighbours", {0, 1, 1, 0, 0}, -0.5, 12},
      {"next to the low end", {0.5, 1, 0.5, 0, 0}, -1, 11},
      {"at the high end", {0, 0.5, 0.75, 0.5, 1}, 2, 9},
      {"at the low end", {1, 0.5, 0.75, 0.5, 0}, -2, 9},
      {"at the high end and within", {0, 0, 1, 0, 1}, 2, 9},
      {"at the low end and within", {1, 0, 1, 0, 0}, 0, 12},
      {"none", {0, 0, 0, 0, 0}, 0, 9},
      {"nearly", {0, 0, 1 - 0x1p-53, 1 + 0x1p-52, 0}, 0, 9},
      {"nan on the way", {0.5, 1, 0.5, nan, nan}, -1, 11},
      {"nan at the low end", {nan, nan, 0.5, 1, 0.5}, 1, 13},
  };

  const Series flat(5, 0.0);
  for (const auto& row : table) {
    for (std::size_t p = 0; p < 3; ++p) {
      SCOPED_TRACE(testing::Message() << row.name << ", pair " << p);
      PairSeries norm = {flat, flat, flat};
      norm[p] = row.series;
      PairSeries crs = {flat, flat, flat};
      crs[p] = {10, 11, 12, 13, 14};
      std::array<double, 3> value_at_lag = {9, 9, 9}, expected = {9, 9, 9};
      Lags lags = {5, 5, 5}, expected_lags = {};
      expected[p] = row.value;
      expected_lags[p] = row.lag;
      tavrik::find_lags(norm, crs, value_at_lag, lags, 2);
      EXPECT_EQ(lags, expected_lags);
      EXPECT_EQ(value_at_lag, expected);
    }
  }
}

TEST(line_fit, is_the_line_of_least_squares) {
  using Row = std::pair<Series, std::pair<double, double>>;
  const Row table[] = {{{5, 3}, {7, -2}}, {{0, 0, 0, 10}, {-5, 3}}};
  for (const auto& [y, expected] : table) {
    const tavrik::Line line = tavrik::line_fit(y);
    EXPECT_NEAR(line.intercept, expected.first, 1e-12);
    EXPECT_NEAR(line.slope, expected.second, 1e-12);
  }
  EXPECT_TRUE(std::isnan(tavrik::line_fit(std::vector{1.0}).slope));
}

TEST(spectrum, agrees_with_the_sums_that_define_it) {
  Numbers numbers;
  for (const std::size_t size : {8U, 13U, 100U}) {
    SCOPED_TRACE(size);
    tavrik::Spectrum spectrum(size);
    Series expected(size, 0.0);
    for (std::size_t c = 0; c < 3; ++c) {
      std::vector<std::int32_t> raw(size);
      for (std::int32_t& sample : raw) {
        sample = static_cast<std::int32_t>(numbers.between(-8e6, 8e6));
      }
      spectrum.set_channel(c, raw.data());
      for (std::size_t k = 1; k < size; ++k) {  // the mean, of bin 0, does not count
        const double turn = -2 * std::numbers::pi / static_cast<double>(size);
        std::complex<double> sum = 0;
        for (std::size_t i = 0; i < size; ++i) {
          sum += static_cast<double>(raw[i]) * std::polar(1.0, turn * static_cast<double>(k * i));
        }
        expected[k] += std::abs(sum) / 3;
      }
    }
    for (const std::size_t bins : {size, size - 2}) {  // a caller may want the first ones only
      Series average(bins, nan);
      spectrum.transform();
      spectrum.average_magnitudes(average);
      for (std::size_t k = 0; k < bins; ++k) {
        EXPECT_NEAR(average[k], expected[k], 1e-4) << k;
      }
    }
  }
}

}  // namespace
