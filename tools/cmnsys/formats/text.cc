// Messages in text format.

#include <google/protobuf/text_format.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string_view>

#include "formats/parse.h"
#include "formats/sink.h"
#include "formats/streams.h"
#include "io/colour.h"
#include "io/failure.h"
#include "io/input_stream.h"

namespace CmnSys::Tool {

using google::protobuf::Message;

namespace {

constexpr std::string_view kSeparator = "---";
constexpr const char* kBlanks = " \t\r\n";

class TextSource : public MessageSource {
 public:
  explicit TextSource(const InputOptions& options) : options_(options), input_(options) {}

  // A text without separators is one message, also when it is empty. Of one with separators, blank
  // ends are no messages.
  bool Next(Message* message) override {
    while (!done_) {
      const bool is_first = line_ == 0;
      const int first_line = line_ + 1;
      std::string text;
      bool blank = true;
      done_ = !ReadSection(&text, &blank);
      input_.ExpectNoError();
      const bool is_end = is_first != done_;
      if (blank && is_end) continue;
      ParseText(text, options_, message, first_line);
      return true;
    }
    return false;
  }

  std::uint64_t position() const override { return input_.position(); }

 private:
  // Reads up to the next separator, and returns whether there is one.
  bool ReadSection(std::string* text, bool* blank) {
    for (std::string line; ReadLine(&line);) {
      ++line_;
      if (IsSeparator(line)) return true;
      *blank = *blank && line.find_first_not_of(kBlanks) == std::string::npos;
      *text += line;
      if (text->size() > options_.max_bytes) throw TooLong();
    }
    return false;
  }

  static bool IsSeparator(const std::string& line) {
    const std::size_t end = line.find_last_not_of(kBlanks);
    return end != std::string::npos && line.compare(0, end + 1, kSeparator) == 0;
  }

  // The next line with its end. Returns false when there is none.
  bool ReadLine(std::string* line) {
    line->clear();
    const void* data = nullptr;
    int size = 0;
    while (input_.get()->Next(&data, &size)) {
      const std::string_view block(static_cast<const char*>(data), static_cast<std::size_t>(size));
      const std::size_t end = block.find('\n');
      const std::size_t taken = end == std::string_view::npos ? block.size() : end + 1;
      *line += block.substr(0, taken);
      input_.get()->BackUp(size - static_cast<int>(taken));
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
  InputStream input_;
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
