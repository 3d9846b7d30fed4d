// Makes a call that is not answered; a test kills it.

#include "CmnSys/Rpc/Channel.h"
#include "CmnSys/Rpc/ClientController.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  CmnSys::Rpc::Channel channel(argv[1]);
  CmnSys::Rpc::ClientController controller;
  const Pb::Rpc::SvcQuery::InitiateReq request;
  Pb::Rpc::SvcQuery::InitiateRsp response;
  Pb::Rpc::SvcQuery::Query_Stub(&channel).Initiate(&controller, &request, &response, nullptr);
  return 1;
}
