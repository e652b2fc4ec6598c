#pragma once
// What a process needs around the run: standard streams that exist, and an abnormal end that says
// why and loses no result line.

#include <string>

namespace tavrik {

/// Marks a file as the one being read, for the message of an error that nothing catches. Marks may
/// nest: the innermost counts.
class ReadingFile {
 public:
  /// path: must outlive the mark.
  explicit ReadingFile(const std::string& path);
  ReadingFile(const ReadingFile&) = delete;
  ReadingFile& operator=(const ReadingFile&) = delete;
  ~ReadingFile();

 private:
  const std::string* outer_;
};

/// To be called first thing in main. Opens missing standard streams, so that no result file takes
/// their place; makes a closed pipe a failed write instead of a silent end; and has the result
/// files closed and the error told, once, whatever way the process ends.
void guard_process();

}  // namespace tavrik
