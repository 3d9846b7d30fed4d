// What protobuf's conformance suite runs: it reads requests from its input and answers each on its
// output, the way that conformance.proto tells. JSON goes through our reader and writer, bytes
// through our Parse. The test messages are read from their schema files, so that they are no part
// of the build.

#include <google/protobuf/compiler/importer.h>
#include <google/protobuf/dynamic_message.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "CmnSys/Util/Json.h"
#include "CmnSys/Util/Parse.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DynamicMessageFactory;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

class PrintErrors : public google::protobuf::compiler::MultiFileErrorCollector {
 public:
  void AddError(const std::string& file, int line, int column,
                const std::string& message) override {
    std::fprintf(stderr, "%s:%d:%d: %s\n", file.c_str(), line + 1, column + 1, message.c_str());
  }
};

// The fields of the suite's own messages, by name.
class Fields {
 public:
  explicit Fields(Message* message) : message_(*message) {}

  bool Has(const char* name) const { return reflection().HasField(message_, Find(name)); }
  std::string Get(const char* name) const { return reflection().GetString(message_, Find(name)); }
  std::string GetEnum(const char* name) const {
    return reflection().GetEnum(message_, Find(name))->name();
  }
  void Set(const char* name, const std::string& value) {
    reflection().SetString(&message_, Find(name), value);
  }

 private:
  const google::protobuf::Reflection& reflection() const { return *message_.GetReflection(); }
  const FieldDescriptor* Find(const char* name) const {
    return message_.GetDescriptor()->FindFieldByName(name);
  }

  Message& message_;
};

class Testee {
 public:
  // `folders` are where schema files lie.
  explicit Testee(const std::vector<std::string>& folders) : importer_(&tree_, &errors_) {
    for (const std::string& folder : folders) tree_.MapPath("", folder);
    for (const char* const file :
         {"conformance/conformance.proto", "google/protobuf/test_messages_proto2.proto",
          "google/protobuf/test_messages_proto3.proto"}) {
      if (importer_.Import(file) == nullptr) good_ = false;
    }
  }

  bool good() const { return good_; }

  std::string Answer(const std::string& bytes) {
    const std::unique_ptr<Message> request = New("conformance.ConformanceRequest");
    const std::unique_ptr<Message> response = New("conformance.ConformanceResponse");
    request->ParseFromString(bytes);
    Fields answer(response.get());
    Answer(Fields(request.get()), &answer);
    return response->SerializeAsString();
  }

 private:
  std::unique_ptr<Message> New(const std::string& name) {
    const Descriptor* const type = importer_.pool()->FindMessageTypeByName(name);
    return type == nullptr ? nullptr : std::unique_ptr<Message>(factory_.GetPrototype(type)->New());
  }

  void Answer(const Fields& request, Fields* answer) {
    const std::string type = request.Get("message_type");
    if (type == "conformance.FailureSet") return answer->Set("protobuf_payload", "");
    const std::string category = request.GetEnum("test_category");
    if (category != "JSON_TEST" && category != "BINARY_TEST") {
      return answer->Set("skipped", "neither JSON nor the wire format as it is");
    }
    const std::unique_ptr<Message> message = New(type);
    if (message == nullptr) return answer->Set("skipped", "no proto2 or proto3");

    if (request.Has("json_payload")) {
      const auto error = Util::ReadJson(request.Get("json_payload"), {}, message.get());
      if (error) return answer->Set("parse_error", ToString(*error));
    } else {
      const auto fault = Util::Parse(request.Get("protobuf_payload"), {}, message.get());
      if (fault) return answer->Set("parse_error", ToString(*fault));
    }
    if (request.GetEnum("requested_output_format") == "PROTOBUF") {
      return answer->Set("protobuf_payload", message->SerializeAsString());
    }
    std::string json;
    if (const auto error = Util::WriteJson(*message, {}, &json)) {
      return answer->Set("serialize_error", ToString(*error));
    }
    answer->Set("json_payload", json);
  }

  google::protobuf::compiler::DiskSourceTree tree_;
  PrintErrors errors_;
  google::protobuf::compiler::Importer importer_;
  DynamicMessageFactory factory_;
  bool good_ = true;
};

// Bytes behind their length in four bytes, the lowest first.
bool ReadRecord(std::string* record) {
  unsigned char length[4];
  if (std::fread(length, 1, sizeof length, stdin) != sizeof length) return false;
  record->resize(length[0] | length[1] << 8 | length[2] << 16 |
                 static_cast<std::size_t>(length[3]) << 24);
  return std::fread(record->data(), 1, record->size(), stdin) == record->size();
}

void WriteRecord(const std::string& record) {
  for (int shift = 0; shift < 32; shift += 8) {
    std::putchar(static_cast<int>(record.size() >> shift & 0xff));
  }
  std::fwrite(record.data(), 1, record.size(), stdout);
  std::fflush(stdout);
}

}  // namespace
}  // namespace CmnSys::Test

// The folders with schema files stand in CMNSYS_CONFORMANCE_PROTOS, divided by colons, since the
// suite gives no arguments.
int main() {
  const char* const paths = std::getenv("CMNSYS_CONFORMANCE_PROTOS");
  std::vector<std::string> folders;
  std::istringstream list(paths == nullptr ? "" : paths);
  for (std::string folder; std::getline(list, folder, ':');) folders.push_back(folder);
  CmnSys::Test::Testee testee(folders);
  if (!testee.good()) return 1;
  for (std::string request; CmnSys::Test::ReadRecord(&request);) {
    CmnSys::Test::WriteRecord(testee.Answer(request));
  }
  return 0;
}
