#include "event_file.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/text_format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace QueryExample {
namespace {

class FirstError : public google::protobuf::io::ErrorCollector {
 public:
  explicit FirstError(std::string path) : path_(std::move(path)) {}

  void AddError(int line, google::protobuf::io::ColumnNumber column,
                const std::string& message) override {
    if (!text_.empty()) return;
    // The parser counts from 0, people and editors from 1.
    text_ =
        path_ + ":" + std::to_string(line + 1) + ":" + std::to_string(column + 1) + ": " + message;
  }

  const std::string& text() const { return text_; }

 private:
  std::string path_;
  std::string text_;
};

}  // namespace

Pb::CmnSys::Events::EventList ReadEventFile(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));

  FirstError error(path);
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&error);
  google::protobuf::io::IstreamInputStream text(&file);
  Pb::CmnSys::Events::EventList events;
  if (!parser.Parse(&text, &events)) throw std::runtime_error(error.text());
  if (file.bad()) throw std::runtime_error("cannot read " + path + ": " + std::strerror(errno));
  return events;
}

}  // namespace QueryExample
