// write_pairings <file>
//
// Writes the pairing tables of CmnSysUtil as JSON. docs/checker.md documents the form; a change by
// which its readers would go wrong raises kVersion.

#include <google/protobuf/descriptor.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "CmnSys/Util/Pairing.h"

namespace {

using CmnSys::Util::PairedRecord;
using CmnSys::Util::PairingPattern;
using CmnSys::Util::PathText;
using CmnSys::Util::PayloadPath;
using CmnSys::Util::SelectedPayload;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;

constexpr int kVersion = 1;

const char* NameOf(PairingPattern pattern) {
  switch (pattern) {
    case PairingPattern::kFixedOffset:
      return "fixed-offset";
    case PairingPattern::kOffsetWithExceptions:
      return "offset-with-exceptions";
    case PairingPattern::kByName:
      return "by-name";
    case PairingPattern::kByExtension:
      return "by-extension";
    case PairingPattern::kByPath:
      return "by-path";
    case PairingPattern::kExactlyOne:
      return "exactly-one";
  }
  throw std::logic_error("a pairing pattern has no name");
}

class Document {
 public:
  Document() : writer_(buffer_) {
    writer_.SetIndent(' ', 1);
    writer_.SetFormatOptions(rapidjson::kFormatSingleLineArray);
  }

  std::string Text() {
    writer_.StartObject();
    writer_.Key("version");
    writer_.Int(kVersion);
    writer_.Key("records");
    writer_.StartObject();
    for (const PairedRecord& record : CmnSys::Util::PairedRecords()) Write(record);
    writer_.EndObject();
    writer_.EndObject();
    return std::string(buffer_.GetString(), buffer_.GetSize()) + "\n";
  }

 private:
  void Write(const PairedRecord& record) {
    writer_.Key(record.record->full_name());
    writer_.StartObject();
    Member("pattern", NameOf(record.pattern));
    if (record.selector == nullptr) {
      writer_.Key("mayBeNone");
      writer_.Bool(record.may_be_none);
      writer_.Key("alternatives");
      writer_.StartArray();
      for (const FieldDescriptor* field : record.alternatives) {
        writer_.StartObject();
        WritePath({field});
        writer_.EndObject();
      }
      writer_.EndArray();
    } else {
      Member("selector", record.selector->name());
      const EnumDescriptor* const type = record.selector->enum_type();
      Member("enum", type->full_name());
      writer_.Key("values");
      writer_.StartObject();
      for (int i = 0; i < type->value_count(); ++i) Write(record, *type->value(i));
      writer_.EndObject();
    }
    writer_.EndObject();
  }

  void Write(const PairedRecord& record, const EnumValueDescriptor& value) {
    for (const SelectedPayload& selected : CmnSys::Util::SelectedPayloads(value)) {
      if (selected.record != record.record) continue;
      writer_.Key(value.name());
      writer_.StartObject();
      writer_.Key("number");
      writer_.Int(value.number());
      WritePath(selected.payload);
      if (selected.exception) {
        writer_.Key("exception");
        writer_.Bool(true);
      }
      writer_.EndObject();
    }
  }

  void WritePath(const PayloadPath& path) {
    writer_.Key("path");
    writer_.StartArray();
    for (const FieldDescriptor* field : path) writer_.String(PathText({field}));
    writer_.EndArray();
    if (!path.empty()) Member("type", path.back()->message_type()->full_name());
  }

  void Member(const char* name, const std::string& value) {
    writer_.Key(name);
    writer_.String(value);
  }

  rapidjson::StringBuffer buffer_;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: write_pairings FILE\n";
    return 2;
  }
  try {
    std::ofstream out(argv[1], std::ios::binary);
    out << Document().Text();
    if (!out.flush()) throw std::runtime_error("cannot write " + std::string(argv[1]));
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "write_pairings: " << error.what() << "\n";
    return 1;
  }
}
