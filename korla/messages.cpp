// Writing of messages.

#include "korla/messages.h"

#include <bit>
#include <cstdio>

namespace KorLa {

namespace {

/// Whether the first two bytes of what looks like a UTF-8 character begin none: they spell a
/// shorter one, half a surrogate pair, or lie beyond the last one.
bool begins_no_character(unsigned char first, unsigned char second) {
  return first < 0xC2 || (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
         (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F) || first > 0xF4;
}

/// Number of bytes of the UTF-8 character that a text begins with; 1 for a byte that is no part of
/// one.
std::size_t character_size(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto size = static_cast<std::size_t>(std::countl_one(byte(0)));
  if (size < 2 || size > text.size() || begins_no_character(byte(0), byte(1))) {
    return 1;
  }
  for (std::size_t i = 1; i < size; ++i) {
    if (std::countl_one(byte(i)) != 1) {
      return 1;
    }
  }
  return size;
}

/// character: the bytes of one, or one that is no part of any.
bool is_control(std::string_view character) {
  constexpr unsigned char last = 0x9F;
  const auto code = static_cast<unsigned char>(character.back());
  if (character.size() == 1) {
    return code < ' ' || (code >= 0x7F && code <= last);
  }
  return character.size() == 2 && character.front() == '\xC2' && code <= last;
}

/// Where the first control character that is not among `kept` begins; the text's size if there is
/// none.
std::size_t find_control(std::string_view text, std::string_view kept) {
  std::size_t place = 0;
  while (place < text.size()) {
    const std::size_t size = character_size(text.substr(place));
    const std::string_view character = text.substr(place, size);
    if (is_control(character) && kept.find(character) == std::string_view::npos) {
      break;
    }
    place += size;
  }
  return place;
}

std::string question_mark(std::string_view) {
  return "?";
}

bool line_is_open = false;

}  // namespace

std::string replace_controls(std::string_view text, std::string_view kept,
                             std::string (*replace)(std::string_view bytes)) {
  std::string result;
  for (;;) {
    const std::size_t place = find_control(text, kept);
    result += text.substr(0, place);
    if (place == text.size()) {
      return result;
    }
    const std::size_t size = character_size(text.substr(place));
    result += replace(text.substr(place, size));
    text.remove_prefix(place + size);
  }
}

std::string printable(std::string_view text) {
  return replace_controls(text, "\t", question_mark);
}

void write_message(std::string_view text) {
  // Without taking memory, since the message may be that there is none.
  line_is_open = !text.empty() ? text.back() != '\n' : line_is_open;
  for (;;) {
    const std::size_t place = find_control(text, "\n\t");
    std::fwrite(text.data(), 1, place, stderr);
    if (place == text.size()) {
      return;
    }
    std::fputc('?', stderr);
    text.remove_prefix(place + character_size(text.substr(place)));
  }
}

void end_line() {
  if (line_is_open) {
    write_message("\n");
  }
}

void write_line(std::string text) {
  if (text.back() != '\n') {
    text += '\n';
  }
  write_message(text);
}

}  // namespace KorLa
