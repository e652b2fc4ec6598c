// Reading of data lines.

#include "korla/text_blocks.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <span>
#include <string>

#include "korla/messages.h"
#include "korla/numbers.h"

namespace KorLa {

namespace {

/// Reads a time column, rounded to the nearest whole number.
bool read_rounded(const char*& next, int& number) {
  constexpr double most = 1e6;  // far beyond any minute of a day
  double value = 0;
  if (!read_real(next, value) || !(std::fabs(value) < most)) {
    return false;
  }
  number = static_cast<int>(std::lround(value));
  return true;
}

/// Whether nothing but white space follows in the line.
bool is_at_end(const char* next, std::string_view line) {
  const char* end = line.data() + line.size();
  return std::all_of(next, end, [](char letter) { return letter >= 0 && letter <= ' '; });
}

/// Takes the next line that holds samples. Lines that begin with a letter are remarks.
LineReader::Found find_data_line(LineReader& lines, std::string_view& line, bool& marked) {
  LineReader::Found found{};
  do {
    found = lines.next_data(line, marked);
  } while (found == LineReader::Found::line &&
           std::isalpha(static_cast<unsigned char>(line[0])) != 0);
  return found;
}

std::size_t count_numbers(const char*& next) {
  std::size_t count = 0;
  double ignored = 0;
  while (read_real(next, ignored)) {
    ++count;
  }
  return count;
}

/// Reads samples; returns how many the line has, at most as many as there is room for.
std::size_t read_samples(const char*& next, std::span<std::int32_t> samples) {
  std::size_t count = 0;
  do {
    const char* place = next;
    // No call is in this loop, so that all it needs stays in registers.
    while (count < samples.size() && read_usual_whole(place, samples[count])) {
      ++count;
    }
    next = place;
  } while (count < samples.size() && read_any_whole(next, samples[count]) &&
           ++count < samples.size());
  return count;
}

/// Nothing in a file says whether it has time columns. Without them its lines have exactly as many
/// numbers as a block has samples. The lines of the first group vote, as any one may be damaged;
/// the first line decides a draw. The file is left where it was.
TextLayout find_layout(std::FILE* file, const std::string& path, std::size_t block_length) {
  const long start = std::ftell(file);
  LineReader lines(file, path);
  std::string_view line;
  bool marked = false;
  int n_lines = 0;
  int votes = 0;  // for time columns, less those against
  int n_surplus = 0;
  bool first = true;
  for (; n_lines < 3 && find_data_line(lines, line, marked) == LineReader::Found::line; ++n_lines) {
    const char* next = line.data();
    const std::size_t count = count_numbers(next);
    const bool stamped = count > block_length + 1;
    first = n_lines == 0 ? count != block_length : first;
    votes += stamped ? 1 : 0;
    votes -= count == block_length ? 1 : 0;
    const bool more_follows = count > block_length + 2 || !is_at_end(next, line);
    n_surplus += count >= block_length && more_follows ? 1 : 0;
  }
  std::fseek(file, start, SEEK_SET);
  return {votes == 0 ? first : votes > 0, n_lines > 0 && n_surplus == n_lines};
}

}  // namespace

TextBlocks::TextBlocks(std::FILE* file, std::size_t block_length, FileWarnings& warnings)
    : lines_(file, warnings.path()),
      block_length_(block_length),
      warnings_(warnings),
      layout_(find_layout(file, warnings.path(), block_length)) {
  if (layout_.has_surplus) {
    warnings_.say("its lines hold more numbers than a block has, the rest is left out");
  }
}

/// Takes the next line that holds samples; false where there is none.
bool TextBlocks::next_line(std::string_view& line) {
  const LineReader::Found found = find_data_line(lines_, line, marked_);
  if (found == LineReader::Found::too_long) {
    write_message("Error: Line to long\n");
    damage_ = Reading::too_long;
  }
  return found == LineReader::Found::line;
}

/// Shows the first line with too few numbers. The position counts the two time columns.
void TextBlocks::show_failure(std::string_view line, std::size_t count) {
  if (!said_failed_) {
    write_message(compose("Failed to read value {} of line:\n{}\n", count + 2, line));
    said_failed_ = true;
  }
}

TextBlocks::Reading TextBlocks::read_line(std::string_view line, TextBlock& block) {
  const char* next = line.data();
  if (layout_.has_stamps &&
      !(read_rounded(next, block.stamp.minute) && read_rounded(next, block.stamp.second))) {
    return Reading::no_time;
  }
  // A line of n characters has no more than n values, whatever the comment promises.
  block.samples.resize(std::min(block_length_, line.size()));
  const std::size_t count = read_samples(next, block.samples);
  if (count < block_length_) {
    show_failure(line, count);
    return Reading::too_few;
  }
  return layout_.has_surplus || is_at_end(next, line) ? Reading::block : Reading::too_many;
}

/// Says that the last line was left out, which holds once another one follows it.
void TextBlocks::warn_of_damage(Reading damage) {
  constexpr std::array<const char*, 4> texts = {
      "", "it has no minute and second, left out", "it has too few numbers, left out",
      "it has more than the numbers of a block, left out"};
  warnings_.repeat(texts.at(static_cast<std::size_t>(damage)), damaged_line_);
}

/// Whether nothing after the last line can be used.
bool TextBlocks::is_beyond_repair() const {
  return damage_ && (!layout_.has_stamps || damage_ == Reading::too_long);
}

bool TextBlocks::next(TextBlock& block) {
  block.after_damage = false;
  std::string_view line;
  while (!is_beyond_repair() && next_line(line)) {
    const Reading reading = read_line(line, block);
    if (damage_) {
      warn_of_damage(*damage_);
      block.after_damage = true;
      damage_.reset();
    }
    block.line = lines_.number() + 1;
    if (reading == Reading::block) {
      block.after_mark = marked_;
      marked_ = false;
      if (!lines_.had_end()) {
        warnings_.say(fmt::format(
            "line {}: the file ends without a line end, the last number may be cut", block.line));
      }
      return true;
    }
    damage_ = reading;
    damaged_line_ = block.line;
  }
  return false;
}

}  // namespace KorLa
