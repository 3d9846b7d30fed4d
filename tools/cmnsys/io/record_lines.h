// Lines about the records of an input, each behind "record N: " when the input is a stream.

#ifndef CMNSYS_TOOLS_IO_RECORD_LINES_H_
#define CMNSYS_TOOLS_IO_RECORD_LINES_H_

#include <cstdint>
#include <string>

#include "io/output.h"

namespace CmnSys::Tool {

// Whether an input is a stream may only show when a second record comes; the lines of the first one
// wait until then.
class RecordLines {
 public:
  // `prefix` stands in front of every line. The output must outlive this.
  RecordLines(std::string prefix, bool is_stream, Output* output)
      : prefix_(std::move(prefix)), is_stream_(is_stream), output_(output) {}

  // Tells of a record, counted from 0, before anything is written about it.
  void Begin(std::uint64_t record);

  // Writes text of any number of lines about the record.
  void Write(const std::string& lines);

  // Writes what waits; to be called at the end, also when reading has failed.
  void Finish();

 private:
  void WriteWithPrefix(const std::string& lines, const std::string& prefix);

  std::string prefix_;
  bool is_stream_;
  Output* output_;
  std::uint64_t record_ = 0;
  std::string waiting_;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_IO_RECORD_LINES_H_
