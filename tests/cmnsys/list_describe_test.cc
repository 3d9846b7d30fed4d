#include <gtest/gtest.h>

#include <string>

#include "cmnsys_tool.h"

namespace CmnSys::Test {
namespace {

TEST(List, SaysWhenNothingFits) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"list", "nothing like it"}), "nothing like it", 1));
}

TEST(Describe, FindsEveryKindOfDeclarationAndTellsWhatBelongsToIt) {
  const std::pair<const char*, const char*> cases[] = {
      // The first value is the default also where it is not 0.
      {"DbChangeType", "999  DB_CHANGE_TYPE_UNKNOWN"},
      {"Gid", "7  type           optional Pb.CmnSys.GidType, default GID_TYPE_UNKNOWN (0)\n"},
      {"ProtoBuf/CmnSys/CmnSys.Links.proto", "import ProtoBuf/CmnSys/CmnSys.Gid.proto"},
      {"IotaType", "enum Pb.CmnSys.IotaType"},
      {"GID_TYPE_LINK", "19  GID_TYPE_LINK"},
      {"Link.linkType", "4  linkType  optional int32"},
      {"Acl", "message Pb.CmnSys.Acl.AclEntry"},
      {"Pb.Prism.Version", "message Pb.Prism.Version"},
      {"EVENT_SYSTEM_NETWORK_ERROR", "  as event_type of Pb.CmnSys.Events.Event\n    no payload\n"},
      {"QUERY_TYPE_BOOKMARKS_ALL",
       "    field 100  query_bookmarks_all\n"
       "    payload Pb.CmnSys.Queries.QueryBookmarksAll\n"
       "  answered by QUERY_RESULT_TYPE_BOOKMARKS (1)\n"},
      {"QUERY_TYPE_TRANSACT_WATCH_GROUP", "  answered by no result type\n"},
      {"GID_TYPE_LOGIN_SESSION", "  in words: login session\n"},
      {"event_db_lost", "  selected by EVENT_DB_LOST (3005)\n"},
      {"Iota.iota_u32", "  selected by IOTA_TYPE_U32 (4)\n"},
  };
  for (const auto& [name, expected] : cases) {
    const std::string output = Cmnsys({"describe", name}).output;
    EXPECT_NE(output.find(expected), std::string::npos) << name << ":\n" << output;
  }
}

}  // namespace
}  // namespace CmnSys::Test
