#include "pairing/pairing_tables.h"

#include "pairing/event_blocks.h"

namespace CmnSys::Util {
namespace {

std::vector<ByExtension::Block> EventExtensionBlocks() {
  std::vector<ByExtension::Block> blocks;
  for (const EventBlock& block : kEventBlocks) {
    blocks.push_back({block.first_type, block.first_extension});
  }
  return blocks;
}

}  // namespace

const std::vector<FixedOffset>& FixedOffsetTable() {
  static const auto* const table = new std::vector<FixedOffset>{
      {"Pb.CmnSys.Iota", "type", 200, "IOTA_TYPE_UNKNOWN"},
      {"Pb.CmnSys.Notifications.Notification", "notification_type", 99, "NOTIFICATION_UNKNOWN"},
      {"Pb.CmnSys.Rules.RuleParam", "rule_param_type", 99, "RULE_PARAM_TYPE_UNKNOWN"},
      {"Pb.CmnSys.Rules.RuleAction", "rule_action_type", 99, "RULE_ACTION_TYPE_UNKNOWN"},
      {"Pb.CmnSys.Rules.RuleActionRecordDeviceEventCreator", "type", 100, nullptr},
      {"Pb.CmnSys.Rules.Rule", "rule_type", 100, nullptr},
      {"Pb.CmnSys.Rules.Schedule", "schedule_type", 100, nullptr},
      {"Pb.CmnSys.Schedule.Schedule", "type", -901, "SCHEDULE_UNKNOWN"},
      {"Pb.CmnSys.DeviceCmds.DeviceCmdPTZTour", "tourAction", 1, "PTZ_TOUR_ACTION_UNKNOWN"},
      {"Pb.CmnSys.Queries.Query", "type", 99, "QUERY_TYPE_UNKNOWN"},
      {"Pb.CmnSys.QueriesResult.QueryResult", "type", 99, "QUERY_RESULT_TYPE_UNKNOWN"},
      {"Pb.CmnSys.SavedViews.ChildPanel", "type", 4, nullptr},
      {"Pb.CmnSys.TextTransact.Filter", "filter_type", 99, "FILTER_UNKNOWN"},
      {"Pb.CmnSys.TextTransact.WatchItem", "watch_item_type", 99, "WATCH_ITEM_UNKNOWN"},
      {"Pb.CmnSys.TextTransact.SourceProvider", "source_provider_type", 99,
       "SOURCE_PROVIDER_UNKNOWN"},
      {"Pb.CmnSys.TextTransact.LineItem", "line_item_type", 99, "LINE_ITEM_UNKNOWN"},
      {"Pb.CmnSys.TextTransact.TextData", "text_type", 99, "TEXT_TYPE_UNKNOWN"},
  };
  return *table;
}

const std::vector<OffsetWithExceptions>& OffsetWithExceptionsTable() {
  static const auto* const table = new std::vector<OffsetWithExceptions>{
      {"Pb.CmnSys.Alarms.AlarmTrigger",
       "trigger_type",
       99,
       {{"ALARM_TRIGGER_TYPE_UNKNOWN", kNoPayload}, {"ALARM_TRIGGER_TYPE_STARTUP", kNoPayload}}},
      {"Pb.CmnSys.Alarms.AlarmAcknowledge",
       "acknowledge_type",
       99,
       {{"ALARM_ACKNOWLEDGE_TYPE_UNKNOWN", kNoPayload},
        {"ALARM_ACKNOWLEDGE_TYPE_AUTOMATIC", kNoPayload},
        {"ALARM_ACKNOWLEDGE_TYPE_RULE", kNoPayload}}},
      // Every payload stands one number further on than in the other records of the file.
      {"Pb.CmnSys.TextTransact.DataFormat",
       "data_format_type",
       100,
       {{"DATA_FORMAT_UNKNOWN", kNoPayload}, {"DATA_FORMAT_ANALYTICS", kNoPayload}}},
      {"Pb.Rpc.SvcDeviceMgmt.DmReq",
       "reqType",
       1,
       {{"DM_REQ_TYPE_NONE", kNoPayload}, {"DM_REQ_TYPE_IP_DISC", kNoPayload}}},
  };
  return *table;
}

const std::vector<ByName>& ByNameTable() {
  static const auto* const table = new std::vector<ByName>{
      {"Pb.CmnSys.Alarms.AlarmConfig",
       "alarm_type",
       {{"ALARM_TYPE_UNKNOWN", kNoPayload},
        {"ALARM_TYPE_NORMAL", "config_normal"},
        {"ALARM_TYPE_GRANTDENY", "config_grant_deny"}}},
      {"Pb.CmnSys.Login.AuthInitParams",
       "type",
       {{"AUTH_TYPE_UNKNOWN", kNoPayload},
        {"AUTH_TYPE_LEGACY_SHA1", "legacy_sha1"},
        {"AUTH_TYPE_SSO", "sso"},
        {"AUTH_TYPE_CREDPAIR", kNoPayload},
        {"AUTH_TYPE_SALTED", "salted"}}},
      {"Pb.CmnSys.Login.AuthReqParams",
       "type",
       {{"AUTH_TYPE_UNKNOWN", kNoPayload},
        {"AUTH_TYPE_LEGACY_SHA1", "legacy_sha1"},
        {"AUTH_TYPE_SSO", "sso"},
        {"AUTH_TYPE_CREDPAIR", "cred_pair"},
        {"AUTH_TYPE_SALTED", "salted"}}},
      {"Pb.CmnSys.Login.AuthRspParams",
       "type",
       {{"AUTH_TYPE_UNKNOWN", kNoPayload},
        {"AUTH_TYPE_LEGACY_SHA1", kNoPayload},
        {"AUTH_TYPE_SSO", "sso"},
        {"AUTH_TYPE_CREDPAIR", kNoPayload},
        {"AUTH_TYPE_SALTED", kNoPayload}}},
      {"Pb.CmnSys.SystemInfos.EntityInfo",
       "entity_type",
       {{"ENTITY_TYPE_UNKNOWN", kNoPayload},
        {"ENTITY_TYPE_CAMERA", "entity_info_camera"},
        {"ENTITY_TYPE_MONITOR", kNoPayload},
        {"ENTITY_TYPE_MICROPHONE", "entity_info_microphone"},
        {"ENTITY_TYPE_SPEAKER", "entity_info_speaker"},
        {"ENTITY_TYPE_DIGITAL_INPUT", "entity_info_digital_input"},
        {"ENTITY_TYPE_DIGITAL_OUTPUT", "entity_info_digital_output"},
        {"ENTITY_TYPE_SERIAL_PORT", "entity_info_serial_port"},
        {"ENTITY_TYPE_PTZ", "entity_info_ptz"},
        {"ENTITY_TYPE_ANALYTIC_CHANNEL", "entity_info_analytic_channel"}}},
  };
  return *table;
}

const std::vector<ByExtension>& ByExtensionTable() {
  static const auto* const table = new std::vector<ByExtension>{
      {"Pb.CmnSys.Events.Event",
       "event_type",
       EventExtensionBlocks(),
       {{"EVENT_UNKNOWN", kNoPayload},
        {"EVENT_ALL", kNoPayload},
        {"EVENT_DB_LOST", "event_db_lost"},
        {"EVENT_DB_ENVIRONMENT_DELETED_WITH_DBS", "event_db_environment_deleted_with_dbs"},
        {"EVENT_SYSTEM_NETWORK_ERROR", kNoPayload},
        {"EVENT_SYSTEM_NETWORK_ERROR_RECOVERED", kNoPayload}}},
      {"Pb.CmnSys.Maps.MapGeometry",
       "type",
       {{1, 201}},
       {{"MAP_OBJECT_GEOMETRY_TYPE_UNDEFINED", kNoPayload}}},
  };
  return *table;
}

const std::vector<ByPath>& ByPathTable() {
  static const auto* const table = new std::vector<ByPath>{
      {"Pb.CmnSys.SavedViews.StateChange.StateChange",
       "type",
       {
           {"STATE_CHANGE_TYPE_COMPLETE_UPDATE", "complete_update"},
           {"STATE_CHANGE_TYPE_SAVED_VIEW_SET_NAME", "saved_view_op.set_name"},
           {"STATE_CHANGE_TYPE_SAVED_VIEW_SET_MAXIMIZED", "saved_view_op.set_maximized"},
           {"STATE_CHANGE_TYPE_SAVED_VIEW_SET_LAYOUT", "saved_view_op.set_layout"},
           {"STATE_CHANGE_TYPE_SAVED_VIEW_SET_CHILD_PANEL", "saved_view_op.set_child_panel"},
           {"STATE_CHANGE_TYPE_SAVED_VIEW_SWAP_CHILD_PANELS", "saved_view_op.swap_child_panels"},
           {"STATE_CHANGE_TYPE_SAVED_VIEW_SET_LOGICAL_ID", "saved_view_op.set_logical_id"},
           {"STATE_CHANGE_TYPE_TRANSPORT_SET_TIMELINE_EXTENT",
            "saved_view_op.transport_op.set_timeline_extent"},
           {"STATE_CHANGE_TYPE_TRANSPORT_SET_STREAM_GROUP_SPEED",
            "saved_view_op.transport_op.set_stream_group_speed"},
           {"STATE_CHANGE_TYPE_TRANSPORT_SET_STREAM_GROUP_STATE",
            "saved_view_op.transport_op.set_stream_group_state"},
           {"STATE_CHANGE_TYPE_TRANSPORT_SET_STREAM_GROUP_TIME",
            "saved_view_op.transport_op.set_stream_group_time"},
           {"STATE_CHANGE_TYPE_WEB_PANEL_ZOOM",
            "saved_view_op.child_panel_op.web_panel_op.webp_zoom"},
           {"STATE_CHANGE_TYPE_WEB_PANEL_SCROLLBAR_X",
            "saved_view_op.child_panel_op.web_panel_op.webp_scrollbar_x"},
           {"STATE_CHANGE_TYPE_WEB_PANEL_SCROLLBAR_Y",
            "saved_view_op.child_panel_op.web_panel_op.webp_scrollbar_y"},
           {"STATE_CHANGE_TYPE_WEB_PANEL_NAVIGATE",
            "saved_view_op.child_panel_op.web_panel_op.webp_navigate"},
           {"STATE_CHANGE_TYPE_MAP_PANEL_NAVIGATE",
            "saved_view_op.child_panel_op.map_panel_op.mapp_navigate"},
           {"STATE_CHANGE_TYPE_MAP_PANEL_SET_ROI",
            "saved_view_op.child_panel_op.map_panel_op.mapp_set_roi"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_DEVICE",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_device"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_STREAM_MODE",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_stream_mode"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_GAMMA",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_gamma"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_BLACK",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_black"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_WHITE",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_white"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_ROI",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_roi"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_MIC_LEVEL",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_mic_level"},
           {"STATE_CHANGE_TYPE_IMAGE_PANEL_SET_AUTO_CONTRAST",
            "saved_view_op.child_panel_op.image_panel_op.imagep_set_auto_contrast"},
           {"STATE_CHANGE_TYPE_TTX_PANEL_SCROLLBAR_X",
            "saved_view_op.child_panel_op.ttx_panel_op.ttxp_scrollbar_x"},
           {"STATE_CHANGE_TYPE_TTX_PANEL_SCROLLBAR_Y",
            "saved_view_op.child_panel_op.ttx_panel_op.ttxp_scrollbar_y"},
           {"STATE_CHANGE_TYPE_TTX_PANEL_SET_STREAM_MODE",
            "saved_view_op.child_panel_op.ttx_panel_op.ttxp_set_stream_mode"},
           {"STATE_CHANGE_TYPE_ARMED_PANEL_MAP_ADD",
            "saved_view_op.armed_panel_map_op.armed_map_add"},
           {"STATE_CHANGE_TYPE_ARMED_PANEL_MAP_REMOVE",
            "saved_view_op.armed_panel_map_op.armed_map_remove"},
       },
       {"saved_view_op.child_panel_op.empty_panel_op",
        "saved_view_op.child_panel_op.armed_panel_op"}},
      // A yearly recurrence is a monthly one with a yearly part in it.
      {"Pb.CmnSys.Schedule.Recurrence",
       "type",
       {{"RECURRENCE_UNKNOWN", kNoPayload},
        {"RECURRENCE_DAILY", "recurrence_daily"},
        {"RECURRENCE_WEEKLY", "recurrence_weekly"},
        {"RECURRENCE_MONTHLY", "recurrence_monthly"},
        {"RECURRENCE_YEARLY", "recurrence_monthly.recurrence_yearly"}},
       {}},
  };
  return *table;
}

const std::vector<ExactlyOne>& ExactlyOneTable() {
  static const auto* const table = new std::vector<ExactlyOne>{
      {"Pb.CmnSys.DeviceCmds.DeviceCmd", 1, 26, false},
      {"Pb.CmnSys.SiteViews.BaseEntry", 1, 2, false},
      {"Pb.CmnSys.Nodes.Node", 201, 202, false},
      // An object of no kind means nothing but is complete.
      {"Pb.CmnSys.Maps.MapObject", 201, 204, true},
  };
  return *table;
}

}  // namespace CmnSys::Util
