#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <gtest/gtest.h>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"
#include "ProtoBuf/CmnSys/Legacy.CmnSys.pb.h"
#include "ProtoBuf/Net/Net.Rpc.pb.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::FileDescriptor;
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

TEST(Registration, RoutinesMayBeCalledAgainInAnyOrder) {
  const FileDescriptor* before = Pb::CmnSys::Gid::descriptor()->file();
  Pb::Rpc::SvcDefault::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eSvcDefault_2eproto();
  Pb::CmnSys::Events::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eEvents_2eproto();
  Pb::Net::Rpc::protobuf_AddDesc_ProtoBuf_2fNet_2fNet_2eRpc_2eproto();
  Pb::Legacy::CmnSys::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fLegacy_2eCmnSys_2eproto();
  Pb::CmnSys::protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eGid_2eproto();
  EXPECT_EQ(Pb::CmnSys::Gid::descriptor()->file(), before);
  EXPECT_EQ(Pb::CmnSys::Iota::descriptor()->file(),
            Pb::CmnSys::LocalizedString::descriptor()->file());
}

}  // namespace
}  // namespace CmnSys::Test
