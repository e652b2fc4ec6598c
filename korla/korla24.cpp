// Reading of ko24 files: head, channel table, sample block, time-mark correction.

#include "korla/korla24.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

#include "korla/bytes.h"
#include "korla/file_warnings.h"
#include "korla/messages.h"
#include "korla/sample_times.h"

// Headers and samples are read as the bytes that they are in memory.
static_assert(std::endian::native == std::endian::little);

namespace KorLa {

namespace {

constexpr const char* trace_module = "../../../src/korla24";

constexpr std::int32_t mark_level = 300000;
/// Seconds past the hour at which the recorder's clock gives its two marks.
constexpr double first_mark = 300.0;
constexpr double second_mark = 2100.0;

/// Samples of a channel that are read together.
constexpr std::size_t part_samples = 2048;

bool is_tagged(const char* bytes, const char* tag) {
  return std::memcmp(bytes, tag, 4) == 0;
}

void read_header(std::FILE* file, const std::string& path, SeriesHeader& header) {
  constexpr std::size_t first_part = 8;
  constexpr std::size_t second_part = 24;
  char* bytes = reinterpret_cast<char*>(&header);
  read_bytes(file, path, bytes, first_part);
  read_bytes(file, path, bytes + first_part, second_part);
  if (header.version == 1) {
    header.header_size = static_cast<std::uint16_t>(header.header_size + 4);
    read_bytes(file, path, header.extra_time.data(), 4);
  } else if (header.version == 2) {
    read_bytes(file, path, header.extra_time.data(), 8);
  }
  if (!is_tagged(header.magic.data(), "ko24")) {
    throw std::runtime_error("This is not a valid ko24 file\n");
  }
  if (header.version > 2) {
    throw std::runtime_error(
        fmt::format("Unknown version ({}) of an ko24 file\n", static_cast<int>(header.version)));
  }
}

/// Reads a chunk's tag and the number after it, the chunk's size in bytes as recorders write it.
/// Returns this number.
std::uint32_t expect_tag(std::FILE* file, const std::string& path, const char* tag) {
  std::array<char, 8> bytes;
  read_bytes(file, path, bytes.data(), bytes.size());
  if (!is_tagged(bytes.data(), tag)) {
    throw std::runtime_error(fmt::format("Unknown magic {}\n", tag));
  }
  std::uint32_t size = 0;
  std::memcpy(&size, bytes.data() + 4, sizeof size);
  return size;
}

void read_channel_table(std::FILE* file, const std::string& path,
                        std::vector<ChannelDescriptor>& channels) {
  expect_tag(file, path, "chns");
  for (ChannelDescriptor& channel : channels) {
    read_bytes(file, path, &channel, sizeof channel);
    if (!is_tagged(channel.magic.data(), "chan")) {
      throw std::runtime_error("Unknown magic chan\n");
    }
  }
}

/// Warns of a sample block that is not as long as the header promises, or ends inside a sample. The
/// samples are kept: a recorder that does not know their number yet writes 0, or all bits set. But
/// where bytes are lost or came twice, the times after that place are wrong.
void check_size(const std::string& path, std::size_t n_channels, std::uint32_t promised,
                std::size_t there) {
  constexpr std::uint32_t unknown = std::numeric_limits<std::uint32_t>::max();
  const std::size_t sample_size = n_channels * sizeof(std::int32_t);
  const std::size_t wanted = promised == 0 || promised == unknown ? there : promised;
  const std::size_t longer = std::max(wanted, there);
  const FileWarnings warnings(path);
  if (wanted / sample_size != there / sample_size) {
    warnings.say(fmt::format("the header promises {} samples, the file {} {}", wanted / sample_size,
                             wanted > there ? "ends after" : "holds", there / sample_size));
  } else if (longer % sample_size != 0) {
    warnings.say(
        fmt::format("{} bytes of data are no whole number of samples, the last {} left out", longer,
                    longer % sample_size));
  }
}

/// Appends interleaved values to their channels. The first of them is channel 0's.
void deal_out(std::span<const std::int32_t> values,
              std::vector<std::vector<std::int32_t>>& samples) {
  const std::size_t n_channels = samples.size();
  std::array<std::int32_t, part_samples> part;
  for (std::size_t c = 0; c < n_channels; ++c) {
    std::size_t count = 0;
    for (std::size_t i = c; i < values.size(); i += n_channels) {
      part[count++] = values[i];
    }
    samples[c].insert(samples[c].end(), part.data(), part.data() + count);
  }
}

/// Reads the interleaved block to the end of the file and deals its values out to the channels, in
/// parts that stay at hand: a second copy of the whole file would double the memory that is touched
/// for the first time. Returns the number of whole samples.
std::size_t read_samples(std::FILE* file, const std::string& path,
                         std::vector<std::vector<std::int32_t>>& samples) {
  std::size_t left = bytes_left(file) / sizeof(std::int32_t);
  const std::size_t n_channels = samples.size();
  for (std::vector<std::int32_t>& channel : samples) {
    channel.reserve(left / n_channels + 1);
  }
  const std::size_t part = part_samples * n_channels;
  const auto block = std::make_unique_for_overwrite<std::int32_t[]>(part);
  while (left > 0) {
    const std::size_t wanted = std::min(part, left) * sizeof(std::int32_t);
    const std::size_t bytes = std::fread(block.get(), 1, wanted, file);
    require_read(file, path);
    deal_out({block.get(), bytes / sizeof(std::int32_t)}, samples);
    left = bytes == wanted ? left - bytes / sizeof(std::int32_t) : 0;
  }
  return samples.back().size();
}

/// A time for trace lines, cut to whole seconds.
std::string utc_text(double time) {
  constexpr double latest = 6e16;  // the last year that a calendar record can hold
  if (!(std::fabs(time) < latest)) {
    return fmt::format("{}", time);
  }
  const auto seconds = static_cast<std::time_t>(time);
  std::tm calendar{};
  std::array<char, 64> text{};
  gmtime_r(&seconds, &calendar);
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %Z", &calendar);
  return text.data();
}

/// What moves a mark to its place in its hour.
double offset_to_mark(double time, double mark) {
  constexpr double hour = 3600.0;
  return std::floor(time / hour) * hour + mark - time;
}

}  // namespace

/// A mark may start at any sample of a run, and a start that leaves too much of the run is followed
/// by a try from the next sample. All these tries see the same end, and only two starts lie at an
/// accepted distance from it. So each run is walked once, to its end, and two places are looked at.
std::size_t find_time_mark(std::span<const std::int32_t> samples, int width) {
  const auto shortest = static_cast<std::size_t>(width) + 1;
  const auto longest = shortest + 1;
  std::size_t start = 0;
  while (start < samples.size()) {
    if (samples[start] <= mark_level) {
      ++start;
      continue;
    }
    std::size_t end = start + 1;
    while (end < samples.size() && samples[end] >= mark_level) {
      ++end;
    }
    if (end == samples.size()) {
      break;
    }
    for (const std::size_t length : {longest, shortest}) {
      if (end - start >= length && samples[end - length] > mark_level) {
        return end - length;
      }
    }
    start = end;
  }
  return samples.size();
}

KORLA24::KORLA24(const std::string& path, bool nudge) {
  const File file = open_for_reading(path.c_str());
  if (!file) {
    throw std::runtime_error(compose("Couldn't open {}\n", path));
  }
  read_header(file.get(), path, header);
  channels.resize(header.n_channels);
  samples.resize(header.n_channels);
  read_channel_table(file.get(), path, channels);
  const std::uint32_t promised = expect_tag(file.get(), path, "data");
  if (channels.empty()) {
    throw std::runtime_error(compose("No channels in {} (channel count 0)\n", path));
  }
  check_size(path, channels.size(), promised, bytes_left(file.get()));
  const std::size_t n_samples = read_samples(file.get(), path, samples);

  double correction = 0.0;
  if (nudge && channels.size() == 4) {
    correction = compute_nudge();
  } else {
    KORLA_TRACE("No nudge\n");
  }
  const double base = correction + start_time();
  times.reserve(n_samples);
  append_times(times, n_samples, header.sampling_frequency, base);
}

int KORLA24::format_id() const {
  return 1;
}

double KORLA24::uncorrected_time(std::size_t index) const {
  return start_time() + static_cast<double>(index) / header.sampling_frequency;
}

double KORLA24::compute_nudge() const {
  KORLA_TRACE("nudge enabled\n");
  const std::span<const std::int32_t> marks(samples[3]);
  const double frequency = header.sampling_frequency;
  if (!(frequency > 0.0 && frequency < static_cast<double>(marks.size()))) {
    return 0.0;  // not a second of samples, so no mark either
  }
  const int width = static_cast<int>(std::lround(frequency));
  const std::size_t mark1 = find_time_mark(marks, width);
  if (mark1 == marks.size()) {
    return 0.0;
  }
  const double time1 = uncorrected_time(mark1);
  KORLA_TRACE("Time @ 5 min mark1: {}", utc_text(time1));
  double nudge = offset_to_mark(time1, first_mark);

  // A mark is longer than `width`, so this stays inside the channel.
  const std::size_t next = mark1 + static_cast<std::size_t>(width);
  const std::size_t mark2 = next + find_time_mark(marks.subspan(next), width);
  if (mark2 != marks.size()) {
    const double time2 = uncorrected_time(mark2);
    KORLA_TRACE("Time @ 35 min mark2: {}", utc_text(time2));
    const double distance = static_cast<double>(mark2 - mark1) / frequency;
    if (distance < 1799.0 || distance > 1801.0) {
      KORLA_TRACE("Time marks not 1800 seconds apart: {}\n", distance);
      KORLA_TRACE("Nudging aborted\n");
      return 0.0;
    }
    // A mark is known to the sample only; the mean of two halves that error.
    nudge = (offset_to_mark(time2, second_mark) + nudge) * 0.5;
  }
  KORLA_TRACE("nudge = {}\n", nudge);
  return nudge;
}

}  // namespace KorLa
