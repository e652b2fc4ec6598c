// The mark itself.

#include "src/file_being_read.h"

#include "korla/messages.h"

namespace tavrik {

namespace {

const std::string* marked_path = nullptr;

}  // namespace

ReadingFile::ReadingFile(const std::string& path)
    : shown_(KorLa::printable(path)), outer_(marked_path) {
  marked_path = &shown_;
}

ReadingFile::~ReadingFile() {
  marked_path = outer_;
}

const std::string* file_being_read() {
  return marked_path;
}

}  // namespace tavrik
