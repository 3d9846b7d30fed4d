// The compiler plugin on any schema that protobuf takes.
//
// It writes the same twice, or says why not; what it writes keeps its brackets and quotes closed,
// whatever names and paths the schema has.

#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <map>
#include <sstream>

#include "generator.h"
#include "messages.h"
#include "options.h"
#include "schemas.h"

namespace CmnSys::Fuzz {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
using google::protobuf::io::StringOutputStream;
using google::protobuf::io::ZeroCopyOutputStream;

namespace {

class Context : public google::protobuf::compiler::GeneratorContext {
 public:
  ZeroCopyOutputStream* Open(const std::string& path) override {
    return new StringOutputStream(&texts[path]);
  }
  ZeroCopyOutputStream* OpenForInsert(const std::string& path, const std::string& point) override {
    return new StringOutputStream(&texts[path + " " + point]);
  }

  std::map<std::string, std::string> texts;
};

class Silent : public DescriptorPool::ErrorCollector {
 public:
  void AddError(const std::string&, const std::string&, const google::protobuf::Message*,
                ErrorLocation, const std::string&) override {}
};

// What is wrong with generated C++ at first sight; empty when nothing is.
std::string Fault(const std::string& code) {
  std::istringstream lines(code);
  std::string open;
  for (std::string line; std::getline(lines, line);) {
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
      const char c = line[i];
      if (!quoted && line.compare(i, 2, "//") == 0) break;
      if (quoted && c == '\\') {
        ++i;
      } else if (c == '"') {
        quoted = !quoted;
      } else if (!quoted && (c == '{' || c == '(')) {
        open += c;
      } else if (!quoted && (c == '}' || c == ')')) {
        if (open.empty() || open.back() != (c == '}' ? '{' : '(')) return "unopened in " + line;
        open.pop_back();
      }
    }
    if (quoted) return "open quote in " + line;
  }
  return open.empty() ? "" : "open " + open;
}

std::map<std::string, std::string> Generate(const FileDescriptor* file) {
  Context context;
  std::string error;
  const bool done = Compiler::Generator().Generate(
      file, "dllexport_decl=M,stock_import=ProtoBuf/CmnSys/", &context, &error);
  Expect(done || !error.empty(), "a refusal says why");
  return context.texts;
}

void Run(std::string_view input) {
  const TypedInput split = SplitInput(input);
  if (split.prototype == nullptr) {
    Compiler::Options options;
    std::string error;
    Expect(Compiler::ParseOptions(std::string(input), &options, &error) || !error.empty(),
           "a refused option is named");
    return;
  }
  google::protobuf::FileDescriptorSet set;
  if (split.prototype->GetTypeName() != set.GetTypeName() || !kWireForm.read(split.content, &set) ||
      !set.IsInitialized()) {  // Refused when it is read from protoc.
    return;
  }
  DescriptorPool pool;
  Silent silent;
  for (const auto& proto : set.file()) {
    const FileDescriptor* file = pool.BuildFileCollectingErrors(proto, &silent);
    if (file == nullptr) return;
    const auto texts = Generate(file);
    Expect(Generate(file) == texts, "the same is written twice");
    for (const auto& [place, text] : texts) {
      const std::string fault = Fault(text);
      Expect(fault.empty(), fault + "\n" + place + ":\n" + text);
    }
  }
}

std::vector<std::string> Seeds() {
  std::vector<std::string> seeds = SchemaSeeds();
  seeds.emplace_back("dllexport_decl=M,export_header=a/b.h,stock_import=x");
  return seeds;
}

const Registration kRegistration({"plugin", Run, Seeds, MutateWire});

}  // namespace
}  // namespace CmnSys::Fuzz
