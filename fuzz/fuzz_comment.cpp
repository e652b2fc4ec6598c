// Comment lines, and the dates in paths.

#include "fuzz/harness.h"
#include "korla/comment.h"
#include "korla/path_date.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  return fuzz::survive([&text] {
    KorLa::Comment comment;
    KorLa::validate_comment(text, comment);
    KorLa::parse_comment(text, comment);
    KorLa::find_path_date(text, 2026);
  });
}
