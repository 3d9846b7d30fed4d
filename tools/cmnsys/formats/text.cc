// Messages in text format.

#include <google/protobuf/text_format.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>

#include "formats/parse.h"
#include "formats/record_input.h"
#include "formats/sink.h"
#include "formats/streams.h"
#include "io/block_input.h"
#include "io/colour.h"
#include "io/failure.h"
#include "io/lines.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

constexpr std::string_view kSeparator = "---";
constexpr const char* kBlanks = " \t\r\n";

bool IsSeparator(std::string_view line) {
  const std::size_t end = line.find_last_not_of(kBlanks);
  return end != std::string_view::npos && line.substr(0, end + 1) == kSeparator;
}

// A record ends with a separator.
class TextEnds : public RecordEnds {
 public:
  Found Next(std::string_view text) override {
    begin_ = end_;
    while (true) {
      const std::size_t line_end = text.find('\n', at_);
      if (line_end == std::string_view::npos) break;
      const std::string_view line = text.substr(line_, line_end - line_);
      at_ = line_ = line_end + 1;
      if (!IsSeparator(line)) continue;
      end_ = at_;
      return Found::kRecord;
    }
    at_ = text.size();
    return Found::kNone;
  }
  void Drop(std::size_t size) override {
    for (std::size_t* place : {&begin_, &end_, &line_, &at_}) *place -= std::min(*place, size);
  }
  void Reset() override { *this = {}; }
  std::size_t begin() const override { return begin_; }
  std::size_t end() const override { return end_; }

 private:
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t line_ = 0;  // Where the line begins that is looked at, and up to where that is done.
  std::size_t at_ = 0;
};

class TextBlock : public MessageBlock {
 public:
  explicit TextBlock(const InputOptions& options) : options_(options) {}

  InputBlock* block() { return &block_; }
  // To be called when the block has been filled; so many lines and bytes of the input are before
  // it.
  void Begin(int lines, std::uint64_t bytes) {
    at_ = before_ = 0;
    lines_ = lines_before_ = lines;
    offset_ = bytes;
  }

  bool Next(Message* message) override {
    TextEnds ends;
    const std::string_view rest = block_.bytes.substr(at_);
    if (ends.Next(rest) != RecordEnds::Found::kRecord) return false;
    const std::string_view record = rest.substr(0, ends.end());
    before_ = at_;
    lines_before_ = lines_;
    at_ += record.size();
    lines_ += static_cast<int>(CountLines(record));
    const std::size_t separator = record.rfind('\n', record.size() - 2) + 1;
    ParseText(std::string(record.substr(0, separator)), options_, message, lines_before_ + 1);
    return true;
  }
  void Back() override {
    at_ = before_;
    lines_ = lines_before_;
  }
  std::uint64_t position() const override { return offset_ + at_; }
  std::size_t bytes() const override { return block_.memory.capacity(); }
  void Release() override { block_.Release(); }

 private:
  const InputOptions& options_;
  InputBlock block_;
  std::size_t at_ = 0;  // Where the next record begins, and the one at hand.
  std::size_t before_ = 0;
  int lines_ = 0;  // Of the input, before these.
  int lines_before_ = 0;
  std::uint64_t offset_ = 0;  // Of the block in the input.
};

class TextSource : public MessageSource {
 public:
  explicit TextSource(const InputOptions& options)
      : options_(options), input_(options, std::make_unique<TextEnds>()) {}

  // A text without separators is one message, also when it is empty. Of one with separators, blank
  // ends are no messages.
  bool Next(Message* message) override {
    while (!done_) {
      const bool is_first = line_ == 0;
      const int first_line = line_ + 1;
      std::string text;
      bool blank = true;
      done_ = !ReadSection(&text, &blank);
      input_.input().ExpectNoError();
      const bool is_end = is_first != done_;
      if (blank && is_end) continue;
      ParseText(text, options_, message, first_line);
      return true;
    }
    return false;
  }

  std::uint64_t position() const override { return input_.position(); }

  std::unique_ptr<MessageBlock> NewBlock() override {
    if (!input_.PrepareInterrupt()) return nullptr;
    return std::make_unique<TextBlock>(options_);
  }
  // Whether the first section is a message, only Next tells.
  std::uint64_t Wait(std::uint64_t most) override { return line_ == 0 ? 0 : input_.Wait(most); }
  bool Take(std::uint64_t most, MessageBlock* block) override {
    auto* const taken = static_cast<TextBlock*>(block);
    const std::uint64_t before = position();
    if (line_ == 0 || !input_.Take(most, taken->block())) return false;
    taken->Begin(line_, before);
    line_ += static_cast<int>(CountLines(taken->block()->bytes));
    return true;
  }
  void Interrupt() override { input_.Interrupt(); }

 private:
  // Reads up to the next separator, and returns whether there is one.
  bool ReadSection(std::string* text, bool* blank) {
    for (std::string line; ReadLine(&line);) {
      if (++line_ == 1) DropByteOrderMark(&line);
      if (IsSeparator(line)) return true;
      *blank = *blank && line.find_first_not_of(kBlanks) == std::string::npos;
      *text += line;
      if (text->size() > options_.max_bytes) throw TooLong();
    }
    return false;
  }

  // The next line with its end. Returns false when there is none.
  bool ReadLine(std::string* line) {
    line->clear();
    BlockInput* const input = input_.stream();
    const void* data = nullptr;
    int size = 0;
    while (input->Next(&data, &size)) {
      const std::string_view block(static_cast<const char*>(data), static_cast<std::size_t>(size));
      const std::size_t end = block.find('\n');
      const std::size_t taken = end == std::string_view::npos ? block.size() : end + 1;
      *line += block.substr(0, taken);
      input->BackUp(size - static_cast<int>(taken));
      if (end != std::string_view::npos) return true;
      if (line->size() > options_.max_bytes) throw TooLong();
    }
    return !line->empty();
  }

  Failure TooLong() const {
    return Failure(options_.Name() + " holds a message longer than " +
                   std::to_string(options_.max_bytes) +
                   " bytes; raise the limit with --max-bytes if that is right");
  }

  const InputOptions& options_;
  RecordInput input_;
  int line_ = 0;
  bool done_ = false;
};

// Fields that the type does not know begin with their number.
std::string PaintUnknownFields(const std::string& text) {
  std::string result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
    const bool unknown = start < line.size() && line[start] >= '0' && line[start] <= '9';
    result += line.substr(0, start);
    line.erase(0, start);
    result += (unknown ? Painted(Colour::kYellow, line, STDOUT_FILENO) : line) + "\n";
  }
  return result;
}

class TextSink : public Sink {
 public:
  explicit TextSink(const OutputOptions& options)
      : Sink(options, OutputKind::kText),
        painted_(options.path == "-" && HasColours(STDOUT_FILENO)) {}

  // A separator alone tells a stream of none from one empty message.
  void Finish() override {
    if (count() == 0) output().Write(kSeparatorLine);
    Sink::Finish();
  }

  bool prints_apart() const override { return true; }
  bool Print(const Message& message, Buffer* text) const override {
    text->Append(kSeparatorLine);
    const std::string fields = Fields(message);
    text->Append(fields.empty() ? kNoFields : fields);
    return true;
  }

 protected:
  void PrintNext(const Message& message, std::uint64_t index, Buffer* text) override {
    if (index == 0) {
      const std::string fields = Fields(message);
      first_is_empty_ = fields.empty();
      text->Append(fields);
    } else {
      if (index == 1 && first_is_empty_) text->Append(kNoFields);
      Print(message, text);
    }
  }

 private:
  static constexpr std::string_view kSeparatorLine = "---\n";
  // Tells an empty message between separators.
  static constexpr std::string_view kNoFields = "# no fields\n";

  std::string Fields(const Message& message) const {
    std::string fields;
    if (!google::protobuf::TextFormat::PrintToString(message, &fields)) {
      throw Failure("cannot print the message as text: out of memory");
    }
    return painted_ ? PaintUnknownFields(fields) : fields;
  }

  bool painted_;
  bool first_is_empty_ = false;
};

}  // namespace

std::unique_ptr<MessageSource> OpenTextSource(const InputOptions& options) {
  return std::make_unique<TextSource>(options);
}

std::unique_ptr<MessageSink> OpenTextSink(const OutputOptions& options) {
  return std::make_unique<TextSink>(options);
}

}  // namespace CmnSys::Tool
