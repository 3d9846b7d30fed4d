// Commands that look into messages: diff, guess, size; and sample, which makes some to look at.

#include <gtest/gtest.h>

#include <string>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

using std::string_literals::operator""s;

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Sample, IsReproducibleAndReadsAsItsType) {
  const std::vector<std::string> command = {"sample", "Events.Event", "--seed",
                                            "3",      "--to",         "text"};
  const ProcessResult text = Cmnsys(command);
  ASSERT_EQ(text.status, 0) << text.errors;
  EXPECT_EQ(Cmnsys(command).output, text.output);
  EXPECT_EQ(Cmnsys({"encode", "Events.Event"}, text.output).output,
            Cmnsys({"sample", "Events.Event", "--seed", "3", "--to", "binary"}).output);
  EXPECT_LE(Cmnsys({"sample", "Events.Event", "--max-bytes", "20", "--to", "binary",
                    "--percent-set", "100"})
                .output.size(),
            20U);
}

TEST(Sample, PassesTheChecker) {
  for (const char* const type : {"Events.Event", "Iota", "Notification", "Query", "RuleAction"}) {
    for (const char* const seed : {"0", "1", "2", "3"}) {
      const ProcessResult sample = Cmnsys({"sample", type, "--seed", seed, "--to", "binary"});
      ASSERT_EQ(sample.status, 0) << sample.errors;
      EXPECT_EQ(Cmnsys({"check", type}, sample.output).output, "") << type << " " << seed;
    }
  }
}

TEST(Diff, PrintsEachDifferenceAndExitsLikeDiff) {
  const TemporaryFolder folder;
  const std::string left = folder.Write("left.txt", "id: 'x' type: GID_TYPE_SERVER");
  const std::string same = folder.Write("same.json", R"({"type":2,"id":"eA=="})");
  const std::string right = folder.Write("right.hex", "38 03 12 01 79");
  const ProcessResult equal = Cmnsys({"diff", "Gid", left, same});
  EXPECT_EQ(equal.status, 0);
  EXPECT_EQ(equal.output, "");
  const ProcessResult different = Cmnsys({"diff", "Gid", left, right});
  EXPECT_EQ(different.status, 1);
  EXPECT_EQ(different.errors, "");
  EXPECT_EQ(different.output,
            "deleted: id: \"x\"\nadded: data_store_id: \"y\"\n"
            "modified: type: GID_TYPE_SERVER -> GID_TYPE_SAVED_VIEW\n");
  EXPECT_TRUE(RefusedWith(Cmnsys({"diff", "Gid", left, "/no/such/file"}), "/no/such/file"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"diff", "Gid", "-", "-"}), "only one"));
}

TEST(Diff, ComparesByTheChosenMeaning) {
  const TemporaryFolder folder;
  const std::string a = folder.Write("a.txt", "val: 1 val: nan val: 0.3");
  const std::string b = folder.Write("b.txt", "val: 0.3 val: 1 val: nan");
  const std::string c = folder.Write("c.txt", "val: 1 val: nan val: 0.30000001");
  EXPECT_EQ(Cmnsys({"diff", "IotaDoubleArray", a, a}).status, 0) << "NaN equals itself";
  EXPECT_EQ(Cmnsys({"diff", "IotaDoubleArray", a, b}).status, 1);
  EXPECT_EQ(Cmnsys({"diff", "IotaDoubleArray", a, b, "--any-order"}).status, 0);
  EXPECT_EQ(Cmnsys({"diff", "IotaFloatArray", a, c}).status, 0) << "the same float";
  EXPECT_EQ(Cmnsys({"diff", "IotaDoubleArray", a, c}).status, 1);

  const std::string set = folder.Write("set.txt", "val: 0");
  const std::string unset = folder.Write("unset.txt", "");
  EXPECT_EQ(Cmnsys({"diff", "IotaU32", set, unset}).status, 1);
  EXPECT_EQ(Cmnsys({"diff", "IotaU32", set, unset, "--equivalent"}).status, 0);
}

TEST(Diff, ComparesStreamsRecordByRecord) {
  const TemporaryFolder folder;
  const std::string left = folder.Write("left.json", "{\"type\":2}{\"type\":3}{\"type\":4}");
  const std::string right = folder.Write("right.json", "{\"type\":2}{\"type\":4}");
  const ProcessResult result = Cmnsys({"diff", "Gid", left, right});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output,
            "record 1: modified: type: GID_TYPE_SAVED_VIEW -> GID_TYPE_MAP\n"
            "record 2 and what follows: only in " +
                left + "\n");
}

TEST(Guess, RanksTheRightTypeFirst) {
  for (const char* const type : {"Pb.CmnSys.Events.Event", "Pb.CmnSys.Notifications.Notification",
                                 "Pb.CmnSys.Rules.Rule", "Pb.CmnSys.Queries.Query"}) {
    const ProcessResult bytes =
        Cmnsys({"sample", type, "--seed", "1", "--percent-set", "90", "--to", "binary"});
    ASSERT_GT(bytes.output.size(), 30U) << type << bytes.errors;
    const ProcessResult result = Cmnsys({"guess", "--limit", "1"}, bytes.output);
    EXPECT_EQ(result.output.find("1. "s + type + "  (score "), 0U) << result.output;
    EXPECT_TRUE(Contains(result.output, "knows all " + std::to_string(bytes.output.size())));
  }
}

TEST(Guess, TellsTiesStreamsAndWhatFitsNothing) {
  EXPECT_TRUE(Contains(Cmnsys({"guess"}, "\x08\x01").output, " types fit equally well"));
  const std::string stream =
      Cmnsys({"sample", "Events.Event", "--count", "5", "--to", "delimited"}).output;
  EXPECT_EQ(Cmnsys({"guess", "-f", "delimited"}, stream).output.find("1. Pb.CmnSys.Events.Event"),
            0U);
  EXPECT_TRUE(Contains(Cmnsys({"guess"}, "\x02\x38\x02\x02\x38\x03").errors, "2 records"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"guess"}, ""), "empty"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"guess"}, "\xff\xff\xff\xff\xff"), "fits no message type"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"guess", "-f", "json"}, "{}"), "without knowing"));
}

TEST(Size, AddsUpBytesByField) {
  const TemporaryFolder folder;
  // Two events: ids of two and one bytes, a Gid of four bytes, an unknown field.
  const std::string events =
      folder.Write("events.txt",
                   "events { this_id: 100 originating_server_gid { id: 'xy' } }\n"
                   "events { this_id: 1 }\n");
  const ProcessResult result = Cmnsys({"size", "EventList", events, "--by-path"});
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output,
            "       BYTES   SHARE      VALUES  FIELD\n"
            "          16  100.0%          1  (Pb.CmnSys.Events.EventList)\n"
            "          16  100.0%          2  events[]\n"
            "           7   43.8%          1  events[].originating_server_gid\n"
            "           4   25.0%          1  events[].originating_server_gid.id\n"
            "           5   31.2%          2  events[].this_id\n");

  const ProcessResult stream =
      Cmnsys({"size", "Gid", "-", "-f", "delimited"}, "\x02\x38\x02\x05\x38\x02\x2a\x01x");
  EXPECT_TRUE(Contains(stream.output, "           7  100.0%          2  (Pb.CmnSys.Gid)\n"));
  EXPECT_TRUE(Contains(stream.output, "           3   42.9%          1  5\n")) << stream.output;
}

}  // namespace
}  // namespace CmnSys::Test
