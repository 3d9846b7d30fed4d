#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "cmnsys_tool.h"

namespace CmnSys::Test {
namespace {

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(List, PrintsEachNameOnceAndFiltersByPart) {
  const std::string all = Cmnsys({"list"}).output;
  EXPECT_TRUE(Contains(all, "\nPb.CmnSys.Acl.AclEntry\n"));
  EXPECT_EQ(Cmnsys({"list", "IotaBool"}).output, "Pb.CmnSys.IotaBool\nPb.CmnSys.IotaBoolArray\n");
  EXPECT_EQ(Cmnsys({"list", "--kind", "files", "Legacy"}).output,
            "ProtoBuf/CmnSys/Legacy.CmnSys.proto                  Core types\n");
  EXPECT_EQ(Cmnsys({"list", "--kind", "all", "GID_TYPE_LPR_W"}).output,
            "Pb.CmnSys.GID_TYPE_LPR_WATCH_LIST\n");
  EXPECT_TRUE(RefusedWith(Cmnsys({"list", "nothing like it"}), "nothing like it", 1));
}

TEST(Describe, ShowsFieldsWithNumbersTypesDefaultsAndComments) {
  const std::string gid = Cmnsys({"describe", "Gid"}).output;
  EXPECT_TRUE(Contains(gid, "message Pb.CmnSys.Gid  (ProtoBuf/CmnSys/CmnSys.Gid.proto)\n"));
  EXPECT_TRUE(Contains(
      gid, "7  type           optional Pb.CmnSys.GidType, default GID_TYPE_UNKNOWN (0)\n"));
  EXPECT_TRUE(std::regex_search(gid, std::regex("\n  1  id  +optional bytes\n       [A-Z]")))
      << gid;

  // The first value is the default also where it is not 0.
  EXPECT_TRUE(Contains(Cmnsys({"describe", "DbChangeType"}).output, "999  DB_CHANGE_TYPE_UNKNOWN"));
}

TEST(Describe, FindsEveryKindOfDeclaration) {
  const std::pair<const char*, const char*> cases[] = {
      {"ProtoBuf/CmnSys/CmnSys.Links.proto", "import ProtoBuf/CmnSys/CmnSys.Gid.proto"},
      {"IotaType", "enum Pb.CmnSys.IotaType"},
      {"GID_TYPE_LINK", "19  GID_TYPE_LINK"},
      {"Link.linkType", "4  linkType  optional int32"},
      {"Acl", "message Pb.CmnSys.Acl.AclEntry"},
      {"Pb.Prism.Version", "message Pb.Prism.Version"},
  };
  for (const auto& [name, expected] : cases) {
    const ProcessResult result = Cmnsys({"describe", name});
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_TRUE(Contains(result.output, expected)) << name << ":\n" << result.output;
  }
  EXPECT_TRUE(RefusedWith(Cmnsys({"describe", "GID_TYPE_SERVR"}), "Pb.CmnSys.GID_TYPE_SERVER"));
}

TEST(Describe, TellsWhatASelectorValueSelects) {
  const std::pair<const char*, const char*> cases[] = {
      {"EVENT_DEVICE_MOTION_START",
       "  category EVENT_CATEGOTY_DEVICE (3)\n"
       "  as event_type of Pb.CmnSys.Events.Event\n"
       "    extension 713  [Pb.CmnSys.Events.event_device_motion_start]\n"
       "    payload Pb.CmnSys.Events.EventDeviceMotionStart\n"},
      {"EVENT_SYSTEM_NETWORK_ERROR", "  as event_type of Pb.CmnSys.Events.Event\n    no payload\n"},
      {"NOTIFICATION_EVENT", "    field 101  notification_event\n"},
      {"QUERY_TYPE_BOOKMARKS_ALL",
       "    field 100  query_bookmarks_all\n"
       "    payload Pb.CmnSys.Queries.QueryBookmarksAll\n"
       "  answered by QUERY_RESULT_TYPE_BOOKMARKS (1)\n"},
      {"QUERY_TYPE_TRANSACT_WATCH_GROUP", "  answered by no result type\n"},
      {"STATE_CHANGE_TYPE_SAVED_VIEW_SET_NAME", "    field 100  saved_view_op.set_name\n"},
      {"GID_TYPE_LOGIN_SESSION", "  in words: login session\n"},
      {"event_db_lost", "  selected by EVENT_DB_LOST (3005)\n"},
      {"Iota.iota_u32", "  selected by IOTA_TYPE_U32 (4)\n"},
  };
  for (const auto& [name, expected] : cases) {
    const std::string output = Cmnsys({"describe", name}).output;
    EXPECT_TRUE(Contains(output, expected)) << name << ":\n" << output;
  }
}

}  // namespace
}  // namespace CmnSys::Test
