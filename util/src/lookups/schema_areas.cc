#include <string>
#include <vector>

#include "CmnSys/Util/Schema.h"

namespace CmnSys::Util {

namespace {

struct Area {
  const char* title;
  std::vector<std::string> files;  // Without folder and ending.
};

// The same areas as in ProtoBuf/CmnSys/README.md.
const std::vector<Area>& Areas() {
  static const auto* const areas = new std::vector<Area>{
      {"Core types",
       {"CmnSys", "CmnSys.Gid", "CmnSys.Iotas", "CmnSys.Links", "CmnSys.CrossSite",
        "Legacy.CmnSys"}},
      {"Events and notifications",
       {"CmnSys.Events", "CmnSys.EventsDerived", "CmnSys.Notifications",
        "CmnSys.NotificationsDerived", "CmnSys.SvcEvents"}},
      {"Alarms, rules and schedules",
       {"CmnSys.Alarms", "CmnSys.AlarmConfig", "CmnSys.Rules", "CmnSys.Schedule",
        "CmnSys.RecordingSchedule", "CmnSys.SvcAlarms", "CmnSys.SvcRules"}},
      {"Devices",
       {"CmnSys.DeviceCmds", "CmnSys.PtzSpaces", "CmnSys.DigitalIo", "CmnSys.Discovery",
        "CmnSys.Analytics", "CmnSys.LicensePlate", "CmnSys.SvcDeviceMgmt"}},
      {"Queries, timeline and bookmarks",
       {"CmnSys.Query", "CmnSys.QueryResult", "CmnSys.Timeline", "CmnSys.Bookmarks",
        "CmnSys.SvcQuery", "CmnSys.SvcTimeline", "CmnSys.SvcRecorder"}},
      {"Views and maps",
       {"CmnSys.SavedViews", "CmnSys.SavedViewsStateChange", "CmnSys.SiteViews", "CmnSys.Maps",
        "CmnSys.UserObjects", "CmnSys.SvcSiteViews", "CmnSys.SvcSharedView"}},
      {"Users, login and directory",
       {"CmnSys.Users", "CmnSys.Login", "CmnSys.Directory", "CmnSys.SvcLogin",
        "CmnSys.SvcDirectory"}},
      {"Cluster and system administration",
       {"CmnSys.ClusterMgmt", "CmnSys.Nodes", "CmnSys.SystemInfos", "CmnSys.Storage",
        "CmnSys.Packages", "CmnSys.SettingsExpImp", "CmnSys.GossipTest",
        "CmnSys.VirtualSynchronyTest", "CmnSys.SvcClusterMgmt", "CmnSys.SvcNodes",
        "CmnSys.SvcBackupRpc", "CmnSys.SvcPackages", "CmnSys.SvcSettingsExpImp",
        "CmnSys.SvcConsole", "CmnSys.SvcDefault"}},
      {"Outbound messaging and text transactions",
       {"CmnSys.Email", "CmnSys.ExternalNotifier", "CmnSys.TextTransact", "CmnSys.SvcEmailRpc",
        "CmnSys.SvcExternalNotifierRpc", "CmnSys.SvcTextTransact"}},
  };
  return *areas;
}

}  // namespace

std::string SchemaArea(const google::protobuf::FileDescriptor& file) {
  for (const Area& area : Areas()) {
    for (const std::string& name : area.files) {
      if (file.name() == "ProtoBuf/CmnSys/" + name + ".proto") return area.title;
    }
  }
  return "";
}

}  // namespace CmnSys::Util
