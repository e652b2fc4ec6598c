// Writing and counting of warnings about one file.

#include "korla/file_warnings.h"

#include <algorithm>

#include "korla/messages.h"

namespace KorLa {

void FileWarnings::say(std::string_view text) const {
  write_message(compose("WARNING: {}: {}\n", path_, text));
}

void FileWarnings::repeat(std::string_view kind, std::size_t line) {
  const auto known = std::ranges::find(kinds_, kind, &Kind::name);
  if (known != kinds_.end()) {
    ++known->more;
    return;
  }
  kinds_.push_back({std::string(kind), line});
  say(fmt::format("line {}: {}", line, kind));
}

void FileWarnings::sum_up() {
  for (const Kind& kind : kinds_) {
    if (kind.more > 0) {
      say(fmt::format("{} more like line {}", kind.more, kind.first_line));
    }
  }
  kinds_.clear();
}

void warn_of_unusable_start(const std::string& path, std::string_view bytes, bool whole) {
  const FileWarnings warnings(path);
  const std::string place =
      fmt::format("the {} {} bytes", whole ? "file's" : "first", bytes.size());
  if (bytes.empty()) {
    warnings.say("the file is empty");
  } else if (bytes.find_first_not_of('\0') == std::string_view::npos) {
    warnings.say(place + " are all zeros");
  } else if (bytes.find_first_of("\r\n") == std::string_view::npos) {
    warnings.say(place + " have no line end");
  } else {
    warnings.say(
        fmt::format("the file has only {} bytes, too few for a station file", bytes.size()));
  }
}

}  // namespace KorLa
