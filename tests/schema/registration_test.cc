#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <gtest/gtest.h>

namespace CmnSys::Test {
namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptorProto;

TEST(Registration, HasHappenedForFilesAndSiblingsRightAfterLoad) {
  // Nothing of this process has used reflection yet.
  for (const char* const path :
       {"ProtoBuf/CmnSys/CmnSys.Gid.proto", "ProtoBuf/CmnSys/CmnSys.SettingsExpImp.proto",
        "ProtoBuf/Prism/Legacy.Prism.proto", "ProtoBuf/Net/Legacy.If.proto"}) {
    FileDescriptorProto file;
    EXPECT_TRUE(DescriptorPool::internal_generated_database()->FindFileByName(path, &file)) << path;
    EXPECT_NE(DescriptorPool::generated_pool()->FindFileByName(path), nullptr) << path;
  }
}

}  // namespace
}  // namespace CmnSys::Test
