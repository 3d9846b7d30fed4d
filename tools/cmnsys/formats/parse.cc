#include "formats/parse.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <string_view>
#include <utility>

#include "CmnSys/Util/Parse.h"
#include "formats/hint.h"
#include "io/failure.h"

namespace CmnSys::Tool {

using google::protobuf::Message;
using google::protobuf::TextFormat;

namespace {

// Keeps the first error; later ones mostly follow from it.
class FirstError : public google::protobuf::io::ErrorCollector {
 public:
  FirstError(std::string input_name, int first_line)
      : input_name_(std::move(input_name)), first_line_(first_line) {}

  void AddError(int line, google::protobuf::io::ColumnNumber column,
                const std::string& message) override {
    if (!text_.empty()) return;
    // The parser counts from 0, people and editors from 1.
    text_ = input_name_ + ":" + std::to_string(line + first_line_) + ":" +
            std::to_string(column + 1) + ": " + message;
  }

  const std::string& text() const { return text_; }

 private:
  std::string input_name_;
  int first_line_;
  std::string text_;
};

}  // namespace

void ParseBinary(const std::string& input, const InputOptions& options, Message* message) {
  Util::ParseLimits limits;
  limits.max_depth = options.max_depth;
  const auto fault = Util::Parse(input, limits, message);
  if (!fault) return;
  throw Failure(options.Name() + " does not hold a " + message->GetTypeName() + ": " +
                Util::ToString(*fault) + HintAtBytes(input));
}

void ParseText(const std::string& input, const InputOptions& options, Message* message,
               int first_line) {
  FirstError error(options.Name(), first_line);
  TextFormat::Parser parser;
  parser.RecordErrorsTo(&error);
  parser.SetRecursionLimit(options.max_depth);
  if (parser.ParseFromString(input, message)) return;
  const std::string fault =
      error.text().empty() ? options.Name() + " is not a " + message->GetTypeName() + " as text"
                           : error.text();
  throw Failure(fault + HintAtText(input));
}

void DropByteOrderMark(std::string* text) {
  static constexpr std::string_view kMark = "\xef\xbb\xbf";
  if (text->compare(0, kMark.size(), kMark) == 0) text->erase(0, kMark.size());
}

}  // namespace CmnSys::Tool
