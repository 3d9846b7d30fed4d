#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <string>

#include "commands.h"
#include "failure.h"
#include "input.h"
#include "message_type.h"
#include "output.h"

namespace CmnSys::Tool {

using google::protobuf::TextFormat;

namespace {

struct EncodeOptions {
  std::string type;
  InputOptions input;
  OutputOptions output;
};

// Keeps the first error; later ones mostly follow from it.
class FirstError : public google::protobuf::io::ErrorCollector {
 public:
  explicit FirstError(std::string input_name) : input_name_(std::move(input_name)) {}

  void AddError(int line, google::protobuf::io::ColumnNumber column,
                const std::string& message) override {
    if (!text_.empty()) return;
    // The parser counts from 0, people and editors from 1.
    text_ = input_name_ + ":" + std::to_string(line + 1) + ":" + std::to_string(column + 1) + ": " +
            message;
  }

  const std::string& text() const { return text_; }

 private:
  std::string input_name_;
  std::string text_;
};

void Encode(const EncodeOptions& options) {
  const std::unique_ptr<google::protobuf::Message> message = NewMessage(options.type);
  const std::string text = ReadInput(options.input);

  FirstError error(options.input.Name());
  TextFormat::Parser parser;
  parser.RecordErrorsTo(&error);
  parser.SetRecursionLimit(options.input.max_depth);
  if (!parser.ParseFromString(text, message.get())) {
    throw Failure(error.text().empty()
                      ? options.input.Name() + " is not a " + message->GetTypeName() + " as text"
                      : error.text());
  }
  WriteOutput(options.output, message->SerializeAsString(), OutputKind::kBinary);
}

}  // namespace

void AddEncodeCommand(CLI::App* app) {
  auto options = std::make_shared<EncodeOptions>();
  CLI::App* command =
      app->add_subcommand("encode", "Turn a message in text format into its wire bytes");
  command->add_option("TYPE", options->type, "Message type, for example Pb.CmnSys.Gid or Gid")
      ->required();
  options->input.AddTo(command);
  options->output.AddTo(command);
  command->footer(
      "The text format is protobuf's own: "
      "https://protobuf.dev/reference/protobuf/textformat-spec/\n"
      "\n"
      "Examples:\n"
      "  cmnsys encode Pb.CmnSys.Gid gid.txt --output gid.bin\n"
      "  echo 'id: \"\\001\\002\" type: GID_TYPE_SERVER' | cmnsys encode Gid | od -A d -t x1z");
  command->callback([options] { Encode(*options); });
}

}  // namespace CmnSys::Tool
