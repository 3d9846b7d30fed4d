#include "all_services.h"

#include "ProtoBuf/CmnSys/CmnSys.SvcAlarms.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcBackupRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcClusterMgmt.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcConsole.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDefault.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDeviceMgmt.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcDirectory.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEmailRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcEvents.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcExternalNotifierRpc.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcLogin.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcNodes.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcPackages.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcQuery.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcRecorder.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcRules.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcSettingsExpImp.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcSharedView.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcSiteViews.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcTextTransact.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.SvcTimeline.pb.h"

namespace CmnSys::Test {
namespace {

template <typename Service>
class EmptyServer : public Service {};

template <typename Service, typename Stub>
ServiceClass Entry() {
  ServiceClass entry = {};
  entry.descriptor = Service::descriptor();
  entry.new_server = [] {
    return std::unique_ptr<google::protobuf::Service>(new EmptyServer<Service>);
  };
  entry.new_stub = [](google::protobuf::RpcChannel* channel) {
    return std::unique_ptr<google::protobuf::Service>(new Stub(channel));
  };
  return entry;
}

}  // namespace

std::vector<ServiceClass> AllServices() {
  return {
      Entry<Pb::Rpc::Client::SvcAlarms::Alarms, Pb::Rpc::Client::SvcAlarms::Alarms_Stub>(),
      Entry<Pb::Rpc::SvcBackupRpc::BackupRpc, Pb::Rpc::SvcBackupRpc::BackupRpc_Stub>(),
      Entry<Pb::Rpc::SvcClusterMgmt::ClusterMgmt, Pb::Rpc::SvcClusterMgmt::ClusterMgmt_Stub>(),
      Entry<Pb::Rpc::SvcConsole::Console, Pb::Rpc::SvcConsole::Console_Stub>(),
      Entry<Pb::Rpc::SvcDefault::Default, Pb::Rpc::SvcDefault::Default_Stub>(),
      Entry<Pb::Rpc::SvcDeviceMgmt::DeviceMgmt, Pb::Rpc::SvcDeviceMgmt::DeviceMgmt_Stub>(),
      Entry<Pb::Rpc::SvcDirectory::Directory, Pb::Rpc::SvcDirectory::Directory_Stub>(),
      Entry<Pb::Rpc::SvcEmailRpc::EmailRpc, Pb::Rpc::SvcEmailRpc::EmailRpc_Stub>(),
      Entry<Pb::Rpc::SvcEvents::EventsRpc, Pb::Rpc::SvcEvents::EventsRpc_Stub>(),
      Entry<Pb::Rpc::SvcExternalNotifierRpc::ExternalNotifierRpc,
            Pb::Rpc::SvcExternalNotifierRpc::ExternalNotifierRpc_Stub>(),
      Entry<Pb::Rpc::SvcLogin::Login, Pb::Rpc::SvcLogin::Login_Stub>(),
      Entry<Pb::Rpc::SvcNodes::Nodes, Pb::Rpc::SvcNodes::Nodes_Stub>(),
      Entry<Pb::Rpc::SvcPackages::Packages, Pb::Rpc::SvcPackages::Packages_Stub>(),
      Entry<Pb::Rpc::SvcQuery::Query, Pb::Rpc::SvcQuery::Query_Stub>(),
      Entry<Pb::CmnSys::SvcRecorder::Recorder, Pb::CmnSys::SvcRecorder::Recorder_Stub>(),
      Entry<Pb::Rpc::Client::SvcRules::Rules, Pb::Rpc::Client::SvcRules::Rules_Stub>(),
      Entry<Pb::Rpc::SvcSettingsExpImp::SettingsExpImp,
            Pb::Rpc::SvcSettingsExpImp::SettingsExpImp_Stub>(),
      Entry<Pb::Rpc::SvcSharedView::SharedView, Pb::Rpc::SvcSharedView::SharedView_Stub>(),
      Entry<Pb::Rpc::SvcSiteViews::SiteViews, Pb::Rpc::SvcSiteViews::SiteViews_Stub>(),
      Entry<Pb::Rpc::Client::SvcTextTransact::TextTransact,
            Pb::Rpc::Client::SvcTextTransact::TextTransact_Stub>(),
      Entry<Pb::CmnSys::SvcTimeline::Timeline, Pb::CmnSys::SvcTimeline::Timeline_Stub>(),
  };
}

}  // namespace CmnSys::Test
