// What the loaded library has registered is the schema in the .proto files, nothing less and
// nothing more: the same serialized descriptors, in which no option or name slips in unseen.

#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "CmnSys/Util/Schema.h"
#include "schema_set.h"

namespace CmnSys::SchemaGuard {
namespace {

using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorProto;

// A new file that is not in the library's list of files would be neither built nor checked.
TEST(RegisteredSchema, HasAllFilesOfTheFolder) {
  std::vector<std::string> in_folder;
  for (const auto& entry :
       std::filesystem::directory_iterator(CMNSYS_SOURCE_DIR "/ProtoBuf/CmnSys")) {
    if (entry.path().extension() == ".proto") {
      in_folder.push_back("ProtoBuf/CmnSys/" + entry.path().filename().string());
    }
  }
  std::sort(in_folder.begin(), in_folder.end());

  std::vector<std::string> registered;
  for (const FileDescriptor* file : Util::SchemaFiles()) registered.push_back(file->name());
  EXPECT_EQ(registered, in_folder);
  EXPECT_GE(registered.size(), 65U);
}

TEST(RegisteredSchema, IsWhatTheFilesSay) {
  const SchemaSet schema(ReadDescriptorSet(CMNSYS_DESCRIPTOR_SET));
  ASSERT_EQ(schema.files().size(), Util::SchemaFiles().size());
  for (const FileDescriptor* compiled : schema.files()) {
    const FileDescriptor* loaded =
        google::protobuf::DescriptorPool::generated_pool()->FindFileByName(compiled->name());
    ASSERT_NE(loaded, nullptr) << compiled->name();
    FileDescriptorProto expected;
    compiled->CopyTo(&expected);
    FileDescriptorProto registered;
    loaded->CopyTo(&registered);
    if (registered.SerializeAsString() != expected.SerializeAsString()) {
      std::string differences;
      google::protobuf::util::MessageDifferencer differencer;
      differencer.ReportDifferencesToString(&differences);
      differencer.Compare(expected, registered);
      ADD_FAILURE() << loaded->name() << " is registered differently:\n" << differences;
    }
  }
}

}  // namespace
}  // namespace CmnSys::SchemaGuard
