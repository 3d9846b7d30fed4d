// A program on the library and its siblings' own packages.

#include "ProtoBuf/CmnSys/CmnSys.SvcSettingsExpImp.pb.h"
#include "ProtoBuf/Net/Net.Rpc.pb.h"

int main() {
  using Pb::Rpc::SvcSettingsExpImp::ImportReq;
  using Pb::Rpc::SvcSettingsExpImp::SettingsExpImp;
  Pb::Rpc::SvcSettingsExpImp::
      protobuf_AddDesc_ProtoBuf_2fCmnSys_2fCmnSys_2eSvcSettingsExpImp_2eproto();
  ImportReq request;
  request.mutable_file_version()->set_major(7);
  ImportReq copy;
  const bool same =
      copy.ParseFromString(request.SerializeAsString()) && copy.file_version().major() == 7;
  const bool option_known =
      SettingsExpImp::descriptor()->options().GetExtension(Pb::Net::Rpc::interface_version) == 1;
  return same && option_known ? 0 : 1;
}
