#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.pb.h"
#include "ProtoBuf/CmnSys/Legacy.CmnSys.pb.h"
#include "ProtoBuf/Net/Net.Rpc.pb.h"
#include "ProtoBuf/Prism/Legacy.Prism.pb.h"

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

// The service classes come from our own plugin, so that the file carries no option for them.
TEST(Registration, KeepsTheServiceFilesDescriptorAsItIsOnTheWire) {
  FileDescriptorProto file;
  Pb::Rpc::SvcDefault::Default::descriptor()->file()->CopyTo(&file);
  EXPECT_EQ(file.ByteSizeLong(), 288U);
  EXPECT_FALSE(file.has_options());
  const auto& options = Pb::Rpc::SvcDefault::Default::descriptor()->options();
  EXPECT_EQ(options.GetExtension(Pb::Net::Rpc::interface_version), 1U);
  EXPECT_EQ(options.GetExtension(Pb::Net::Rpc::min_interface_version), 1U);
}

TEST(DefaultInstances, AreSharedAcrossFilesAndLibraries) {
  using Pb::CmnSys::Iota;
  using Pb::Legacy::CmnSys::DeviceAddress;
  EXPECT_EQ(&Iota::default_instance().iota_localized_string().val(),
            &Pb::CmnSys::LocalizedString::default_instance());
  EXPECT_EQ(&Pb::CmnSys::Events::Event::default_instance().originating_server_gid(),
            &Pb::CmnSys::Gid::default_instance());
  // Uuid lives in another library.
  EXPECT_EQ(&DeviceAddress().server_id(), &Pb::Legacy::Prism::Uuid::default_instance());
  EXPECT_FALSE(DeviceAddress().has_server_id());
}

}  // namespace
}  // namespace CmnSys::Test
