// Expansion of response files.

#include "src/response_files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "korla/bytes.h"

#include "src/console.h"

namespace tavrik {

namespace {

/// The files that are being expanded, outermost first.
using Chain = std::vector<KorLa::FileStatus>;

using Lines = std::vector<std::string>;

void strip_line_end(std::string& line) {
  for (const char end : {'\n', '\r'}) {
    if (line.ends_with(end)) {
      line.pop_back();
    }
  }
}

struct FreeMemory {
  void operator()(char* memory) const { std::free(memory); }
};

Lines read_lines(std::FILE* file) {
  Lines lines;
  char* buffer = nullptr;
  std::size_t room = 0;
  ssize_t length = 0;
  while ((length = getline(&buffer, &room, file)) >= 0) {
    lines.emplace_back(buffer, static_cast<std::size_t>(length));
    strip_line_end(lines.back());
  }
  const std::unique_ptr<char, FreeMemory> release(buffer);
  return lines;
}

bool is_active(const Chain& chain, const KorLa::FileStatus& status) {
  return std::any_of(chain.begin(), chain.end(), [&status](const KorLa::FileStatus& active) {
    return active.st_dev == status.st_dev && active.st_ino == status.st_ino;
  });
}

void expand(const std::string& argument, Chain& chain, std::vector<std::string>& result) {
  if (argument.starts_with('#')) {
    return;
  }
  KorLa::FileStatus status{};
  KorLa::File file;
  if (argument.starts_with('@') || argument.starts_with('$')) {
    file.reset(std::fopen(argument.c_str() + 1, "re"));
  }
  if (!file || fstat(fileno(file.get()), &status) != 0 || S_ISDIR(status.st_mode)) {
    result.push_back(argument);
    return;
  }
  if (is_active(chain, status)) {
    fail("Error: response file {} names itself\n", argument.substr(1));
  }
  const Lines lines = read_lines(file.get());
  file.reset();
  chain.push_back(status);
  for (const std::string& line : lines) {
    expand(line, chain, result);
  }
  chain.pop_back();
}

}  // namespace

std::vector<std::string> expand_response_files(int count, const char* const* arguments) {
  std::vector<std::string> result;
  Chain chain;
  if (count > 0) {
    result.emplace_back(arguments[0]);
  }
  for (int i = 1; i < count; ++i) {
    expand(arguments[i], chain, result);
  }
  return result;
}

}  // namespace tavrik
