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

class TextSource : public MessageSource {
 public:
  explicit TextSource(const InputOptions& options) : options_(options), input_(options) {}

  bool Next(Message* message) override {
    if (done_) return false;
    const int first_line = line_ + 1;
    std::string text;
    std::string line;
    done_ = true;
    while (ReadLine(&line)) {
      ++line_;
      if (IsSeparator(line)) {
        done_ = false;
        break;
      }
      text += line;
      if (text.size() > options_.max_bytes) throw TooLong();
    }
    input_.ExpectNoError();
    ParseText(text, options_, message, first_line);
    return true;
  }

  std::uint64_t position() const override { return input_.position(); }

 private:
  static bool IsSeparator(const std::string& line) {
    const std::size_t end = line.find_last_not_of(" \t\r\n");
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

 protected:
  void Print(const Message& message, std::uint64_t index, std::string* text) override {
    if (index > 0) *text += std::string(kSeparator) + "\n";
    std::string fields;
    if (!google::protobuf::TextFormat::PrintToString(message, &fields)) {
      throw Failure("cannot print the message as text: out of memory");
    }
    *text += painted_ ? PaintUnknownFields(fields) : fields;
  }

 private:
  bool painted_;
};

}  // namespace

std::unique_ptr<MessageSource> OpenTextSource(const InputOptions& options) {
  return std::make_unique<TextSource>(options);
}

std::unique_ptr<MessageSink> OpenTextSink(const OutputOptions& options) {
  return std::make_unique<TextSink>(options);
}

}  // namespace CmnSys::Tool
