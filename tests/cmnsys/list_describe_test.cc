#include <gtest/gtest.h>

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
            "ProtoBuf/CmnSys/Legacy.CmnSys.proto\n");
  EXPECT_EQ(Cmnsys({"list", "--kind", "all", "GID_TYPE_LPR_W"}).output,
            "Pb.CmnSys.GID_TYPE_LPR_WATCH_LIST\n");
  EXPECT_TRUE(RefusedWith(Cmnsys({"list", "nothing like it"}), "nothing like it"));
}

TEST(Describe, ShowsFieldsWithNumbersTypesDefaultsAndComments) {
  const std::string gid = Cmnsys({"describe", "Gid"}).output;
  EXPECT_TRUE(Contains(gid, "message Pb.CmnSys.Gid  (ProtoBuf/CmnSys/CmnSys.Gid.proto)\n"));
  EXPECT_TRUE(Contains(gid, "7  type  optional Pb.CmnSys.GidType, default GID_TYPE_UNKNOWN (0)\n"));
  EXPECT_TRUE(Contains(gid, "      The object's own identifier.\n"));

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

}  // namespace
}  // namespace CmnSys::Test
