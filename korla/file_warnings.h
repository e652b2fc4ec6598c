#pragma once
// Warnings about one file: each names the file, and one that repeats is said once and counted. Used
// by the readers of all formats.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KorLa {

/// The warnings about the file of one path.
class FileWarnings {
 public:
  explicit FileWarnings(std::string path) : path_(std::move(path)) {}

  const std::string& path() const { return path_; }

  /// Writes "WARNING: PATH: TEXT".
  void say(std::string_view text) const;

  /// Writes "WARNING: PATH: line LINE: KIND" the first time that `kind` happens; later ones are
  /// only counted.
  void repeat(std::string_view kind, std::size_t line);

  /// Writes "WARNING: PATH: COUNT more like line LINE" for each kind that has happened again, and
  /// forgets all kinds. Called at the end of the file.
  void sum_up();

 private:
  struct Kind {
    std::string name;
    std::size_t first_line;
    std::size_t more = 0;  ///< after the first
  };

  std::string path_;
  std::vector<Kind> kinds_;
};

/// Says what is in a file that is no station file as far as its first bytes tell. whole: these are
/// all that it has.
void warn_of_unusable_start(const std::string& path, std::string_view bytes, bool whole);

}  // namespace KorLa
