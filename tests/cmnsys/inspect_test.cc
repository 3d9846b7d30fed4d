// Commands that look into messages: diff, guess, size; and sample, which makes some to look at.

#include <gtest/gtest.h>

#include <string>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Sample, TakesNumbersInTheirRangeOnlyAndTypesOfTheSiblings) {
  for (const char* const option : {"--count", "--seed", "--max-bytes", "--percent-set"}) {
    EXPECT_TRUE(RefusedWith(Cmnsys({"sample", "Gid", option, "-1"}),
                            "-1 is not a whole number from 0 to "));
  }
  EXPECT_EQ(Cmnsys({"sample", "Pb.Prism.Version"}).status, 0);
}

TEST(Diff, PrintsEachDifferenceAndExitsLikeDiff) {
  const TemporaryFolder folder;
  const std::string left = folder.Write("left.txt", "id: 'x' type: GID_TYPE_SERVER");
  const std::string same = folder.Write("same.json", R"({"type":2,"id":"eA=="})");
  const std::string right = folder.Write("right.hex", "38 03 12 01 79");
  EXPECT_EQ(Cmnsys({"diff", "Gid", left, same}).status, 0);
  EXPECT_EQ(Cmnsys({"diff", "Gid", left, same}).output, "");
  const ProcessResult different = Cmnsys({"diff", "Gid", left, right});
  EXPECT_EQ(different.status, 1);
  EXPECT_EQ(different.output,
            "deleted: id: \"x\"\nadded: data_store_id: \"y\"\n"
            "modified: type: GID_TYPE_SERVER -> GID_TYPE_SAVED_VIEW\n");
}

TEST(Diff, ComparesByTheChosenMeaning) {
  const TemporaryFolder folder;
  const std::string zeros = folder.Write("zeros.txt", "val: 0 val: -0.0");
  const std::string positive = folder.Write("positive.txt", "val: 0 val: 0");
  EXPECT_EQ(Cmnsys({"diff", "IotaDoubleArray", zeros, positive}).output,
            "modified: val[1]: -0 -> 0\n");
  EXPECT_EQ(Cmnsys({"diff", "IotaDoubleArray", zeros, positive, "--any-order"}).status, 1);
  EXPECT_EQ(Cmnsys({"diff", "IotaDoubleArray", zeros, positive, "--approximate"}).status, 0);
  const std::string set = folder.Write("set.txt", "val: 0");
  EXPECT_EQ(Cmnsys({"diff", "IotaU32", set, "/dev/null"}).status, 1);
  EXPECT_EQ(Cmnsys({"diff", "IotaU32", set, "/dev/null", "--equivalent"}).status, 0);
}

TEST(Diff, ComparesStreamsRecordByRecord) {
  const TemporaryFolder folder;
  const std::string left = folder.Write("left.json", "{\"type\":2}{\"type\":3}{\"type\":4}");
  const std::string right = folder.Write("right.json", "{\"type\":2}{\"type\":4}");
  const std::string last = "record 2: this and what follows: only in " + left + "\n";
  const ProcessResult result = Cmnsys({"diff", "Gid", left, right});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output,
            "record 1: modified: type: GID_TYPE_SAVED_VIEW -> GID_TYPE_MAP\n" + last);
}

TEST(Diff, FindsWhatIsMissingInAnyOrder) {
  const TemporaryFolder folder;
  const std::string a = folder.Write(
      "a.txt", "events { this_id: 1 } events { this_id: 2 } events { this_id: 2 } events {}");
  const std::string b = folder.Write(
      "b.txt", "events { this_id: 3 } events { this_id: 2 } events { timestamp: 0 } events {}");
  EXPECT_EQ(Cmnsys({"diff", "EventList", a, b, "--any-order"}).output,
            "deleted: events[0]: { this_id: 1 }\ndeleted: events[2]: { this_id: 2 }\n"
            "added: events[2]: { timestamp: 0 }\nadded: events[0]: { this_id: 3 }\n");
  // An element that is set to defaults equals one that is not set.
  EXPECT_EQ(Cmnsys({"diff", "EventList", a, b, "--any-order", "--equivalent"}).output,
            "deleted: events[0]: { this_id: 1 }\ndeleted: events[2]: { this_id: 2 }\n"
            "added: events[3]: { }\nadded: events[0]: { this_id: 3 }\n");
}

TEST(Guess, TellsTiesAndWhatFitsNothing) {
  EXPECT_TRUE(Contains(Cmnsys({"guess"}, "\x08\x01").output, " types fit equally well"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"guess"}, "\xff\xff\xff\xff\xff"), "fits no message type", 1));
}

TEST(Guess, WeighsTheBeginningOfALongInput) {
  // Cut inside an event and its string.
  std::string name;
  while (name.size() < 100000) name += "North gate, ";
  std::string list = "events { originating_server_name: '" + name + "' }";
  for (int i = 0; i < 3; ++i) list += "events { event_type: EVENT_DEVICE_CONNECTED this_id: 1 }";
  const std::string bytes = Cmnsys({"encode", "EventList"}, list).output;
  const ProcessResult guess = Cmnsys({"guess", "--limit", "3"}, bytes);
  EXPECT_TRUE(Contains(guess.output, " Pb.CmnSys.Events.EventList  (score ")) << guess.output;
  EXPECT_EQ(
      guess.errors.find("cmnsys: only the beginning of standard input is weighed: 1 record, "), 0U)
      << guess.errors;
}

TEST(Size, AddsUpBytesByField) {
  const ProcessResult paths =
      Cmnsys({"size", "EventList", "-f", "text", "--by-path"},
             "events { this_id: 100 originating_server_gid { id: 'xy' } } events { this_id: 1 }");
  EXPECT_EQ(paths.output,
            "       BYTES   SHARE      VALUES  FIELD\n"
            "          16  100.0%          1  (Pb.CmnSys.Events.EventList)\n"
            "          16  100.0%          2  events[]\n"
            "           7   43.8%          1  events[].originating_server_gid\n"
            "           4   25.0%          1  events[].originating_server_gid.id\n"
            "           5   31.2%          2  events[].this_id\n")
      << paths.errors;
  const ProcessResult stream =
      Cmnsys({"size", "Gid", "-f", "delimited"}, "\x02\x38\x02\x05\x38\x02\x2a\x01x");
  EXPECT_TRUE(Contains(stream.output, "           3   42.9%          1  5\n")) << stream.output;
}

}  // namespace
}  // namespace CmnSys::Test
