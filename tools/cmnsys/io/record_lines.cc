#include "io/record_lines.h"

#include <sstream>

namespace CmnSys::Tool {

void RecordLines::Begin(std::uint64_t record) {
  if (record > 0 && !is_stream_) {
    is_stream_ = true;
    WriteWithPrefix(waiting_, prefix_ + "record 0: ");
    waiting_.clear();
  }
  record_ = record;
}

void RecordLines::Write(const std::string& lines) {
  if (is_stream_) {
    WriteWithPrefix(lines, prefix_ + "record " + std::to_string(record_) + ": ");
  } else {
    waiting_ += lines;
  }
}

void RecordLines::Finish() {
  WriteWithPrefix(waiting_, prefix_);
  waiting_.clear();
}

void RecordLines::WriteWithPrefix(const std::string& lines, const std::string& prefix) {
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) output_->Write(prefix + line + "\n");
}

}  // namespace CmnSys::Tool
