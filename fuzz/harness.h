#pragma once
// What the fuzz targets share: inputs as files in memory, process ends that are caught, and what a
// series that was loaded promises.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "korla/korla_base.h"
#include "korla/messages.h"

/// Called by the fuzzer, or by replay_main.cpp, for every input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// A file that only the code under test sees. Its opening takes no system call, of which an input
/// would otherwise need a dozen.
struct MemoryFile {
  std::string path;
  std::span<const std::uint8_t> bytes;
};

/// The files in memory; a path that is not among them leads where it always does.
inline std::vector<MemoryFile> memory_files;

/// Makes an input the only file in memory, and returns its path: every other one names a date.
inline const std::string& hold_input(const std::uint8_t* data, std::size_t size) {
  memory_files = {{size % 2 == 0 ? "input" : "20160301/r6030112.dat", {data, size}}};
  return memory_files.front().path;
}

/// Ends the fuzzing where a series breaks what korla_base.h says of it.
inline void check_promises(const KorLa::Korla_Base& series) {
  if (series.samples.size() != series.channels.size()) {
    std::abort();
  }
  for (const auto& channel : series.samples) {
    if (channel.size() < series.times.size()) {
      std::abort();
    }
  }
}

/// Takes values from the front of an input; zeros once it is used up.
struct Source {
  std::span<const std::uint8_t> left;

  template <typename Value>
  Value take() {
    Value value{};
    const std::size_t size = std::min(sizeof value, left.size());
    std::memcpy(&value, left.data(), size);
    left = left.subspan(size);
    return value;
  }

  bool flag() { return take<std::uint8_t>() % 2 != 0; }

  /// A whole number of a range, both ends included.
  int among(int least, int most) { return least + take<std::uint16_t>() % (most - least + 1); }

  /// A small number from one byte, or any from nine.
  double number() {
    constexpr double limits[] = {std::numeric_limits<double>::quiet_NaN(),
                                 std::numeric_limits<double>::infinity(), 1e308, 1e-300,
                                 2147483648.0};
    const auto kind = take<std::int8_t>();
    if (kind < -120) {
      return take<double>();
    }
    return kind < -110 ? limits[-kind % 5] * (kind % 2 == 0 ? 1 : -1) : kind;
  }
};

/// Thrown where the program would have ended.
struct ProcessEnded : std::exception {};

/// Runs a call that may end the process by design or throw what the readers throw.
template <typename Call>
int survive(Call call) {
  KorLa::end_process = [](int) { throw ProcessEnded{}; };
  try {
    call();
  } catch (const std::exception&) {
    return 0;
  }
  return 0;
}

}  // namespace fuzz
