// Where JSON objects that stand one behind the other end.

#ifndef CMNSYS_TOOLS_FORMATS_JSON_ENDS_H_
#define CMNSYS_TOOLS_FORMATS_JSON_ENDS_H_

#include <cstddef>
#include <string_view>

#include "formats/record_input.h"

namespace CmnSys::Tool {

// Counts brackets outside strings. Of malformed JSON, an object that it finds may be another than a
// reader would find, but then the reader sees what is wrong before that end, without what follows.
class JsonEnds : public RecordEnds {
 public:
  Found Next(std::string_view text) override;
  void Drop(std::size_t size) override;
  void Reset() override { *this = {}; }
  std::size_t begin() const override { return begin_; }
  std::size_t end() const override { return at_; }

 private:
  bool SkipEscape(std::string_view text);

  std::size_t begin_ = 0;
  std::size_t at_ = 0;     // Up to where the text has been looked at.
  std::size_t depth_ = 0;  // Brackets that are open.
  bool in_string_ = false;
};

}  // namespace CmnSys::Tool

#endif  // CMNSYS_TOOLS_FORMATS_JSON_ENDS_H_
