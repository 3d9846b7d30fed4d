#include "text/name_search.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace CmnSys::Util {
namespace {

using Names = std::vector<std::string>;

const Names kNames = {"Pb.A.Gid",   "Pb.A.GidType",   "Pb.B.Gid",
                      "Pb.B.Event", "Pb.B.EventList", "Gid2"};

TEST(MatchingNames, PreferTheWholeNameThenItsLastParts) {
  EXPECT_EQ(MatchingNames(kNames, "Pb.A.Gid"), Names{"Pb.A.Gid"});
  EXPECT_EQ(MatchingNames(kNames, "B.Gid"), Names{"Pb.B.Gid"});
  EXPECT_EQ(MatchingNames(kNames, "Gid"), (Names{"Pb.A.Gid", "Pb.B.Gid"}));
  EXPECT_EQ(MatchingNames(kNames, "id"), Names{});
  EXPECT_EQ(MatchingNames(kNames, ""), Names{});
}

TEST(NearestNames, ForgiveSlipsAndCaseAndKeepTheBestFirst) {
  EXPECT_EQ(NearestNames(kNames, "Evnet", 1), Names{"Pb.B.Event"});
  EXPECT_EQ(NearestNames(kNames, "eventlist", 1), Names{"Pb.B.EventList"});
  EXPECT_EQ(NearestNames(kNames, "Pb.B.Gdi", 1), Names{"Pb.B.Gid"});
  EXPECT_EQ(NearestNames(kNames, "SomethingElse"), Names{});
  EXPECT_EQ(NearestNames(kNames, ""), Names{});
  EXPECT_EQ(NearestNames(kNames, std::string(100000, 'x')), Names{});
  EXPECT_LE(NearestNames(kNames, "Gid", 2).size(), 2U);
}

}  // namespace
}  // namespace CmnSys::Util
