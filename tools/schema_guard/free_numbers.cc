#include "free_numbers.h"

#include <string>
#include <vector>

namespace CmnSys::SchemaGuard {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;

namespace {

struct Range {
  int first;
  int last;
};

constexpr Range One(int number) { return {number, number}; }

struct FreeNumbers {
  const char* type;  // full name of a message or an enum
  std::vector<Range> ranges;
};

// The schema cannot reserve these numbers: reserved ranges would stand in the registered
// descriptors, which hold nothing but the contract. The comments of the .proto files tell them too.
const std::vector<FreeNumbers>& AllFreeNumbers() {
  static const auto* const all = new std::vector<FreeNumbers>{
      {"Pb.CmnSys.DbChangeType", {One(1002)}},
      {"Pb.CmnSys.Gid", {{5, 6}}},
      {"Pb.CmnSys.GidType", {One(24), One(27), One(33)}},
      {"Pb.CmnSys.Iota", {{2, 200}}},
      {"Pb.CmnSys.ServerCompat", {{1, 2}}},

      {"Pb.CmnSys.Alarms.AlarmAcknowledge", {One(100)}},
      {"Pb.CmnSys.LicensePlate.Channel", {One(9)}},
      {"Pb.CmnSys.Maps.MapGeometry", {{2, 200}}},
      {"Pb.CmnSys.Maps.MapObject", {{5, 200}}},
      {"Pb.CmnSys.Nodes.Node", {{4, 6}, {10, 200}}},
      {"Pb.CmnSys.Nodes.NodeServer", {One(9)}},
      {"Pb.CmnSys.RecordingSchedule.RecordingSchedule", {One(2)}},
      {"Pb.CmnSys.SavedViews.ChildPanel.WebPanel", {{2, 3}}},
      {"Pb.CmnSys.Schedule.Recurrence", {{6, 99}}},
      {"Pb.CmnSys.Schedule.RecurrenceMonthly", {{9, 999}}},
      {"Pb.CmnSys.Schedule.Schedule", {{5, 99}}},
      {"Pb.CmnSys.Stor.RecordingDesc", {{9, 10}, {20, 24}}},
      {"Pb.CmnSys.Stor.Usage", {{9, 11}, {13, 15}, {22, 126}}},
      {"Pb.CmnSys.SystemInfos.ApiInfo", {{2, 6}}},
      {"Pb.CmnSys.SystemInfos.DeprecatedDevicePlatform", {{9, 99}}},
      {"Pb.CmnSys.SystemInfos.DeviceDiscoveryInfo", {One(2)}},
      {"Pb.CmnSys.SystemInfos.EntityInfo", {{7, 14}}},
      {"Pb.CmnSys.TextTransact.DataFormat", {One(100)}},
      {"Pb.CmnSys.TextTransact.TransactionPos", {One(8)}},
      {"Pb.CmnSys.Users.Group", {One(5), {7, 10}}},
      {"Pb.CmnSys.Users.Permissions", {{1, 2}}},
      {"Pb.CmnSys.Users.User", {One(8)}},
      {"Pb.Rpc.Client.SvcTextTransact.ConvertFromCodePageRsp", {One(1)}},
      {"Pb.Rpc.SvcClusterMgmt.JoinReq", {One(7)}},
      {"Pb.Rpc.SvcDeviceMgmt.DmReq", {One(4)}},

      {"Pb.CmnSys.Notifications.Notification", {{4, 99}, One(106)}},
      {"Pb.CmnSys.Notifications.NotificationType", {One(7)}},
      {"Pb.CmnSys.Notifications.NotificationUserMessage", {{1, 100}}},
      {"Pb.CmnSys.Notifications.NotificationUserMessage.CollaborationResponseMessage", {One(3)}},

      // Lasting actions have their three times at 2 to 4.
      {"Pb.CmnSys.Rules.RuleActionPtzSetAux", {One(1)}},
      {"Pb.CmnSys.Rules.RuleActionRecordDevice", {One(1)}},
      {"Pb.CmnSys.Rules.RuleActionSetDigitalOutput", {One(1)}},
      {"Pb.CmnSys.Rules.RuleTriggerType", {{14, 15}, One(23), One(26)}},

      // Types come in blocks by what they change; operations are numbered from 100 or 101.
      {"Pb.CmnSys.SavedViews.StateChange.StateChange", {{4, 99}}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChange.SavedViewOp", {{3, 99}, One(105)}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChange.SavedViewOp.ArmedPanelMapOp", {{1, 99}}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChange.SavedViewOp.ChildPanelOp", {{2, 99}}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChange.SavedViewOp.ChildPanelOp.ImagePanelOp",
       {{1, 99}}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChange.SavedViewOp.ChildPanelOp.TtxPanelOp",
       {{1, 99}}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChange.SavedViewOp.ChildPanelOp.WebPanelOp",
       {{1, 100}}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChange.SavedViewOp.TransportOp", {{1, 99}}},
      {"Pb.CmnSys.SavedViews.StateChange.StateChangeType",
       {{1, 9}, {16, 49}, {54, 99}, {104, 149}, {152, 199}, {208, 249}, {253, 299}}},

      {"Pb.CmnSys.Events.Event", {{6, 14}, {1307, 1308}}},
      {"Pb.CmnSys.Events.EventType",
       {One(3002),
        One(3004),
        One(5001),
        {5005, 5006},
        One(5024),
        {5035, 5036},
        {9000, 9001},
        {9003, 9004},
        {9011, 9012},
        One(11020)}},

      // Device events keep 2 free and have their own fields from 8.
      {"Pb.CmnSys.Events.EventDeviceCommunicationLost", {One(2), {6, 7}}},
      {"Pb.CmnSys.Events.EventDeviceCommunicationRestored", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceConnected", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceConnectionError", {One(2), {6, 7}}},
      {"Pb.CmnSys.Events.EventDeviceConnectionRestored", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceDigitalInputOff", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceDigitalInputOn", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceDigitalOutputOff", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceDisconnected", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceFailoverStarted", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceFailoverStopped", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceFwUpgradeDone", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceFwUpgradeError", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceFwUpgradeStarted", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceLprMatch", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceLprPlateFound", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceLprPlateLost", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceMotionStart", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceMotionStop", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceNoData", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceNoDataRecovered", {One(2)}},
      {"Pb.CmnSys.Events.EventDevicePacketsLost", {One(2)}},
      {"Pb.CmnSys.Events.EventDevicePacketsRecovered", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceRecordInterrupted", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceRecordRestored", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceRecordingStarted", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceRecordingStopped", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceTTxPosEvent", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceTTxTransactionEnd", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceTTxTransactionStart", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceVideoSignalLost", {One(2)}},
      {"Pb.CmnSys.Events.EventDeviceVideoSignalRestored", {One(2)}},
      // Storage and system events have their fields from 8.
      {"Pb.CmnSys.Events.EventStorageBackupEnded", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageBackupStarted", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageInitError", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageLowDiskSpace", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageRecoveryEnded", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageRecoveryStarted", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageSaveBookmarkFailed", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageUpgradeDataEnded", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageUpgradeDataStarted", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageVolumeFailed", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageVolumeRestored", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageWriteQueueFull", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageWritesBlocked", {{1, 7}}},
      {"Pb.CmnSys.Events.EventStorageWritesFailed", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemActiveDirectorySync", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemCentralStationTestMessage", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemClusterNetworkFailureDetected", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemClusterNetworkFailureResolved", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemEmailError", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemHardwareError", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemLowResources", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemNetInterfaceAdded", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemNetInterfaceRemoved", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemPluginLoadError", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemServerConnectionLost", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemServerDisconnected", {{1, 7}}},
      {"Pb.CmnSys.Events.EventSystemServerIncompatible", {{1, 4}}},
      {"Pb.CmnSys.Events.EventUserBookmark", {One(7)}},
      {"Pb.CmnSys.Events.EventUserDeviceConnect", {One(5)}},
      {"Pb.CmnSys.Events.EventUserPtzLock", {{3, 4}}},
  };
  return *all;
}

void FindIn(const SchemaSet& schema, const Descriptor& message, const Range& range,
            Findings* findings) {
  std::vector<const FieldDescriptor*> fields;
  schema.pool().FindAllExtensions(&message, &fields);
  for (int i = 0; i < message.field_count(); ++i) fields.push_back(message.field(i));
  for (const FieldDescriptor* field : fields) {
    if (field->number() >= range.first && field->number() <= range.last) {
      findings->Add(*field, "number " + std::to_string(field->number()) + " of " +
                                message.full_name() + " must stay free; take another");
    }
  }
}

void FindIn(const EnumDescriptor& type, const Range& range, Findings* findings) {
  for (int i = 0; i < type.value_count(); ++i) {
    const int number = type.value(i)->number();
    if (number >= range.first && number <= range.last) {
      findings->Add(*type.value(i), "number " + std::to_string(number) + " of " + type.full_name() +
                                        " must stay free; take another");
    }
  }
}

}  // namespace

void FindUsedFreeNumbers(const SchemaSet& schema, Findings* findings) {
  for (const FreeNumbers& entry : AllFreeNumbers()) {
    const Descriptor* message = schema.pool().FindMessageTypeByName(entry.type);
    const EnumDescriptor* type = schema.pool().FindEnumTypeByName(entry.type);
    if (message == nullptr && type == nullptr) {
      findings->AddAt("tools/schema_guard/free_numbers.cc: " + std::string(entry.type),
                      "the schema has no such message or enum");
    }
    for (const Range& range : entry.ranges) {
      if (message != nullptr) FindIn(schema, *message, range, findings);
      if (type != nullptr) FindIn(*type, range, findings);
    }
  }
}

}  // namespace CmnSys::SchemaGuard
