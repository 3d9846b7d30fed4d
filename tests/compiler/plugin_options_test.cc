#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/files.h"
#include "support/process.h"

namespace CmnSys::Compiler {
namespace {

using Test::ProcessResult;
using Test::ReadFile;
using Test::TemporaryFolder;

ProcessResult Generate(const TemporaryFolder& folder, const std::string& options) {
  return Test::Run({PROTOC, "--proto_path=" TEST_SCHEMAS, "--plugin=protoc-gen-cmnsys=" PLUGIN,
                    "--cpp_out=" + folder.path(), "--cmnsys_out=" + options + ":" + folder.path(),
                    "ProtoBuf/Sample/Base.proto"});
}

TEST(PluginOptions, UnknownOrEmptyOnesAreNamedAndNothingIsWritten) {
  const TemporaryFolder folder;
  const ProcessResult unknown = Generate(folder, "dllexport=X");
  EXPECT_NE(unknown.status, 0);
  EXPECT_NE(unknown.errors.find("unknown parameter \"dllexport\"; known are"), std::string::npos)
      << unknown.errors;

  const ProcessResult empty = Generate(folder, "stock_import=");
  EXPECT_NE(empty.status, 0);
  EXPECT_NE(empty.errors.find("\"stock_import\" needs a value"), std::string::npos) << empty.errors;

  EXPECT_TRUE(folder.Names().empty());
}

TEST(PluginOptions, NoneAreNeeded) {
  const TemporaryFolder folder;
  const ProcessResult result = Generate(folder, "");
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_NE(ReadFile(folder.PathOf("ProtoBuf/Sample/Base.pb.h"))
                .find("\nvoid protobuf_AddDesc_ProtoBuf_2fSample_2fBase_2eproto();"),
            std::string::npos);
}

TEST(PluginOutput, FileNamesThatNoIncludeCanHoldAreRefused) {
  const TemporaryFolder folder;
  const std::string name = "a \"quoted\\ name.proto";
  folder.Write(name, "syntax = 'proto2'; service S {}");
  const ProcessResult result = CmnSys::Test::Run(
      {PROTOC, "--proto_path=" + folder.path(), "--plugin=protoc-gen-cmnsys=" PLUGIN,
       "--cpp_out=" + folder.path(), "--cmnsys_out=" + folder.path(), name});
  EXPECT_NE(result.status, 0);
  EXPECT_NE(result.errors.find(R"(rename the file "a \042quoted\134 name.proto")"),
            std::string::npos)
      << result.errors;
  EXPECT_EQ(folder.Names(), std::vector<std::string>{name});
}

TEST(ValidationHeader, LeavesOutMessagesOfWhichTheWireDoesNotTellAll) {
  const std::pair<const char*, const char*> cases[] = {
      {"syntax = 'proto2'; message M { required int32 f = 1; }", "M.f is required"},
      {"syntax = 'proto2'; message M { optional group G = 1 {} }", "M.g is a group"},
      {"syntax = 'proto2'; import 'google/protobuf/timestamp.proto';"
       "message M { optional google.protobuf.Timestamp f = 1; }",
       "M.f is a google.protobuf.Timestamp"},
  };
  for (const auto& [schema, obstacle] : cases) {
    const TemporaryFolder folder;
    folder.Write("m.proto", std::string(schema) +
                                "message Above { repeated Between f = 1; }"
                                "message Between { optional M f = 1; } message Other {}");
    const ProcessResult result = CmnSys::Test::Run(
        {PROTOC, "--proto_path=" + folder.path(), "--plugin=protoc-gen-cmnsys=" PLUGIN,
         "--cmnsys_out=validation_header=m.validate.h:" + folder.path(), "m.proto"});
    EXPECT_EQ(result.status, 0) << result.errors;
    const std::string header = ReadFile(folder.PathOf("m.validate.h"));
    EXPECT_NE(header.find(std::string("// Above cannot be validated: ") + obstacle),
              std::string::npos)
        << header;
    EXPECT_EQ(header.find("struct SlotOf<::AboveView>"), std::string::npos);
    EXPECT_NE(header.find("struct SlotOf<::OtherView>"), std::string::npos);
  }
}

}  // namespace
}  // namespace CmnSys::Compiler
