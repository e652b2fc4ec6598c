// Measures the readers on a day's file of each format, beside what others would do: text read line
// by line with std::from_chars, text read with an input stream, and merely touching the fresh
// memory that the series of a binary file needs. Items are samples of one channel.

#include <array>
#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <string>
#include <sys/mman.h>
#include <vector>

#include "bench/day.h"
#include "korla/korla_base.h"

namespace {

using recording::Format;
using Samples = std::array<std::vector<std::int32_t>, 3>;

void count(benchmark::State& state, std::size_t samples) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

void read_with_korla(benchmark::State& state, Format format) {
  const std::string path = bench::day().path(format);
  std::size_t samples = 0;
  for (auto _ : state) {
    samples = KorLa::open_series(path, 0.0, true)->times.size();
  }
  count(state, samples);
}

/// Appends the numbers of a line after its two time columns.
void append_line(const char* next, const char* end, std::vector<std::int32_t>& samples) {
  int column = 0;
  std::int32_t value = 0;
  while (next < end) {
    if (*next == ' ') {
      ++next;
      continue;
    }
    const auto result = std::from_chars(next, end, value);
    if (result.ec != std::errc()) {
      return;
    }
    next = result.ptr;
    if (column++ >= 2) {
      samples.push_back(value);
    }
  }
}

void text_by_from_chars(benchmark::State& state) {
  const std::string path = bench::day().path(Format::text);
  std::size_t n_samples = 0;
  for (auto _ : state) {
    Samples samples;
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    for (std::size_t block = 0; std::getline(file, line); ++block) {
      append_line(line.data(), line.data() + line.size(), samples[block % 3]);
    }
    n_samples = samples[0].size();
  }
  count(state, n_samples);
}

void text_by_stream(benchmark::State& state) {
  const std::string path = bench::day().path(Format::text);
  constexpr std::size_t block_length = 512;
  std::size_t n_samples = 0;
  for (auto _ : state) {
    Samples samples;
    std::ifstream file(path);
    file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    int minute = 0, second = 0;
    std::int32_t value = 0;
    for (std::size_t block = 0; file >> minute >> second; ++block) {
      for (std::size_t i = 0; i < block_length && file >> value; ++i) {
        samples[block % 3].push_back(value);
      }
    }
    n_samples = samples[0].size();
  }
  count(state, n_samples);
}

/// Writes once to each page of fresh memory that a day's series fills.
void touch_memory(benchmark::State& state) {
  constexpr std::size_t page = 4096;
  const std::size_t size = bench::day().size();
  const std::size_t bytes = size * (3 * sizeof(std::int32_t) + sizeof(double));
  for (auto _ : state) {
    void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    for (std::size_t i = 0; i < bytes; i += page) {
      static_cast<volatile char*>(memory)[i] = 1;
    }
    munmap(memory, bytes);
  }
  count(state, size);
}

BENCHMARK_CAPTURE(read_with_korla, text, Format::text)->Unit(benchmark::kMillisecond);
BENCHMARK(text_by_from_chars)->Unit(benchmark::kMillisecond);
BENCHMARK(text_by_stream)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_with_korla, tm4, Format::tm4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_with_korla, binary, Format::binary)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(read_with_korla, ko24, Format::ko24_1)->Unit(benchmark::kMillisecond);
BENCHMARK(touch_memory)->Unit(benchmark::kMillisecond);

}  // namespace
