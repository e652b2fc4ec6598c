#pragma once
// The name of the file that is being read, for the message of an error that nothing catches. Marked
// by those who read, told by src/process.cpp.

#include <string>

namespace tavrik {

/// Marks a file as the one being read. Marks may nest: the innermost counts.
class ReadingFile {
 public:
  explicit ReadingFile(const std::string& path);
  ReadingFile(const ReadingFile&) = delete;
  ReadingFile& operator=(const ReadingFile&) = delete;
  ~ReadingFile();

 private:
  std::string shown_;
  const std::string* outer_;
};

/// The path of the file being read, as messages show it; null between files.
const std::string* file_being_read();

}  // namespace tavrik
