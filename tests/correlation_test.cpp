// Sums over lags, correlation series, their peaks, and the spectrum.

#include "src/correlation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <numbers>
#include <random>
#include <vector>

#include "tests/support/fresh_state.h"
#include "tests/support/not_finite.h"

#include "src/spectrum.h"
#include "src/window_kernel.h"

namespace {

using support::nan;
using tavrik::Lags;
using testing::ElementsAre;
using Series = std::vector<double>;

/// Random numbers, the same in every run.
Series random_series(std::size_t size) {
  static std::mt19937_64 generator(1814);
  Series series(size);
  for (double& value : series) {
    value = static_cast<double>(generator() >> 11) * 0x1p-50 - 4;
  }
  return series;
}

TEST(lag_sums, are_the_same_as_by_their_definition_in_the_order_of_its_terms) {
  const std::size_t some[] = {1, 2, 8, 300, 16, 19, 20, 39, 40, 41, 128, 7, 255};
  tavrik::PaddedSignal a, b;  // used again and again: nothing may be left of the case before
  for (const std::size_t size : some) {
    for (const std::size_t max_lag : some) {
      SCOPED_TRACE(testing::Message() << size << " samples, lags to " << max_lag);
      for (tavrik::PaddedSignal* signal : {&a, &b}) {
        signal->resize(size, max_lag);
        std::ranges::copy(random_series(size), signal->samples().begin());
      }
      Series expected(2 * max_lag + 1, 0.0);
      for (std::size_t k = 0; k < expected.size(); ++k) {
        for (std::size_t i = max_lag - std::min(k, max_lag); i < size && i + k < size + max_lag;
             ++i) {
          expected[k] += a.samples()[i] * b.samples()[i + k - max_lag];
        }
      }
      const auto first = -static_cast<std::ptrdiff_t>(max_lag);
      for (const tavrik::WindowKernel& kernel : tavrik::usable_kernels()) {
        Series sums(2 * max_lag + 1, nan), part(max_lag + 2, nan);
        kernel.lag_sums(a, b, first, sums);
        ASSERT_EQ(sums, expected);
        kernel.lag_sums(a, b, 0, part);  // the last of them beyond the reach
        ASSERT_TRUE(std::equal(part.begin(), part.end() - 1, expected.begin() - first));
        ASSERT_EQ(part.back(), 0);
      }
    }
  }
}

// Every instruction set adds in the order of the samples, and so gives what plain loops give.
TEST(window_kernel, treats_each_channel_as_if_it_were_alone) {
  for (const std::size_t size : {1, 2, 3, 5, 128}) {
    std::array<std::vector<std::int32_t>, 3> raw;
    for (std::vector<std::int32_t>& channel : raw) {
      for (const double value : random_series(size)) {
        channel.push_back(static_cast<std::int32_t>(value * 0x1p28));
      }
    }
    const tavrik::PerChannel mean = {0.1, 2e8, -3}, scale = {7, 1, 0.3};
    for (const tavrik::WindowKernel& kernel : tavrik::usable_kernels()) {
      tavrik::Frames frames(4 * size);
      std::array<Series, 3> inputs = {Series(2 * size), Series(2 * size), Series(2 * size)};
      kernel.load({raw[0].data(), raw[1].data(), raw[2].data()},
                  {inputs[0].data(), inputs[1].data(), inputs[2].data()}, frames);
      const auto [plain, absolute] = kernel.sum(frames);
      const tavrik::PerChannel squares = kernel.sum_squares(frames, mean);
      const tavrik::PerChannel normal = kernel.normalise(frames, mean, scale);
      tavrik::Channels channels;
      for (tavrik::PaddedSignal& channel : channels) {
        channel.resize(size, 1);
      }
      kernel.separate(frames, channels);
      for (std::size_t c = 0; c < 3; ++c) {
        double expected[4] = {};
        for (std::size_t i = 0; i < size; ++i) {
          const double x = raw[c][i], d = x - mean[c];
          EXPECT_EQ(inputs[c][2 * i], x);
          EXPECT_EQ(channels[c].samples()[i], d / scale[c]);
          expected[0] += x;
          expected[1] += std::fabs(x);
          expected[2] += d * d;
          expected[3] += d / scale[c];
        }
        EXPECT_THAT(expected, ElementsAre(plain[c], absolute[c], squares[c], normal[c]));
      }
      const Series values = random_series(size);
      EXPECT_EQ(kernel.highest(values), *std::ranges::max_element(values));
    }
  }
}

class correlation : public FreshState {};

TEST_F(correlation, series_are_divided_so_that_small_lags_win_or_by_the_mean_energy) {
  tavrik::Correlation series;
  tavrik::set_maxdelay(series, 2);
  const Series divisors = {16.8, 16.4, 16, 16.4, 16.8};
  EXPECT_THAT(series.divisors, testing::Pointwise(testing::DoubleEq(), divisors));
  Series out(3);
  tavrik::correlate_weighted(std::vector{3.0, -4.0, 0.0}, std::vector{6.0, 8.0, 2.0}, out);
  EXPECT_THAT(out, ElementsAre(0.5, -0.5, 0.0));
  tavrik::correlate_normalised(std::vector{3.0, -6.0, 0.0}, 4, 9, out);
  EXPECT_THAT(out, ElementsAre(0.5, -1.0, 0.0));
}

TEST(divide_by_peak, makes_the_highest_value_exactly_one) {
  Series norm(3, nan);
  tavrik::divide_by_peak(std::vector{-2.0, 0.0, -1.0}, norm);
  EXPECT_THAT(norm, ElementsAre(0, 0, 0));
  EXPECT_EQ(tavrik::divide_by_peak(std::vector{-4.0, -2.0, -8.0}, norm), -2);
  EXPECT_THAT(norm, ElementsAre(2, 1, 4));
  for (int i = 0; i < 500; ++i) {  // with 1 / peak as a factor, one in a few would miss
    tavrik::divide_by_peak(random_series(3), norm);
    ASSERT_EQ(std::ranges::count(norm, 1.0), 1);
  }
}

TEST(find_lags, takes_the_peak_at_the_largest_lag) {
  // A series, its lag, and where its peak is; -1: at an end, the value stays as it was; -2:
  // nowhere.
  const std::tuple<Series, double, int> table[] = {
      {{0, 0.25, 1, 0.75, 0}, 0.25, 2}, {{0, 1, 1, 0, 0}, -0.5, 2},
      {{0.5, 1, 0.5, 0, 0}, -1, 1},     {{0, 0.5, 0.75, 0.5, 1}, 2, -1},
      {{1, 0.5, 0.75, 0.5, 0}, -2, -1}, {{1, 0, 1, 0, 0}, 0, 2},
      {{0, 0, 0, 0, 0}, 0, -2},         {{0, 0, 1 - 0x1p-53, 1 + 0x1p-52, 0}, 0, -2},
      {{0.5, 1, 0.5, nan, nan}, -1, 1}, {{nan, nan, 0.5, 1, 0.5}, 1, 3},
  };

  const tavrik::PairSeries crs = {{{1, 2, 3, 4, 5}, {11, 12, 13, 14, 15}, {21, 22, 23, 24, 25}}};
  for (std::size_t i = 0; i < std::size(table); ++i) {
    SCOPED_TRACE(testing::Message() << "rows from " << i);
    tavrik::PairSeries norm;
    std::array<double, 3> values = {9, 9, 9}, expected_values;
    Lags lags = {5, 5, 5}, expected_lags;
    for (std::size_t p = 0; p < 3; ++p) {
      const auto& [series, lag, peak] = table[(i + p) % std::size(table)];
      norm[p] = series;
      expected_lags[p] = lag;
      expected_values[p] = peak == -2 ? 0 : peak == -1 ? 9 : crs[p].at(peak);
    }
    tavrik::find_lags(norm, crs, values, lags, 2);
    EXPECT_EQ(lags, expected_lags);
    EXPECT_EQ(values, expected_values);
  }
}

TEST(line_fit, is_the_line_of_least_squares) {
  const tavrik::Line line = tavrik::line_fit(std::vector{0.0, 0.0, 0.0, 10.0});
  EXPECT_NEAR(line.intercept, -5, 1e-12);
  EXPECT_NEAR(line.slope, 3, 1e-12);
  EXPECT_TRUE(std::isnan(tavrik::line_fit(std::vector{1.0}).slope));
}

TEST(spectrum, averages_tones_that_each_have_a_bin_and_its_mirror_image) {
  constexpr std::size_t size = 13, bins = 11;  // a caller may want the first ones only
  tavrik::Spectrum spectrum(size);
  Series expected(size, 0.0);  // bin 0 too: the mean does not count
  for (std::size_t c = 0; c < 3; ++c) {
    const double turn = 2 * std::numbers::pi * static_cast<double>(c + 1) / size;
    const double amplitude = 1e6 * static_cast<double>(c + 1);
    for (std::size_t i = 0; i < size; ++i) {
      spectrum.input(c)[2 * i] = 5e6 + amplitude * std::cos(turn * static_cast<double>(i));
    }
    expected[c + 1] = expected[size - c - 1] = amplitude * size / 2 / 3;
  }
  expected.resize(bins);
  Series average(bins, nan);
  spectrum.transform();
  spectrum.average_magnitudes(average);
  EXPECT_THAT(average, testing::Pointwise(testing::DoubleNear(10), expected));
}

}  // namespace
