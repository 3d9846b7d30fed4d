#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

using std::string_literals::operator""s;

ProcessResult Convert(const std::string& type, const std::string& from, const std::string& to,
                      const std::string& input, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"convert", type, "-", "--from", from, "--to", to});
  return Cmnsys(options, input);
}

TEST(Convert, BringsAStreamBackThroughEveryFormat) {
  const std::string stream =
      Cmnsys({"sample", "Pb.CmnSys.Events.Event", "--count", "20", "--to", "delimited"}).output;
  ASSERT_GT(stream.size(), 500U);
  for (const std::string format : {"text", "json", "hex", "delimited-hex", "delimited"}) {
    const ProcessResult there = Convert("Events.Event", "delimited", format, stream);
    const ProcessResult back = Convert("Events.Event", format, "delimited", there.output);
    EXPECT_EQ(back.output, stream) << format << there.errors << back.errors;
  }
}

TEST(Convert, KeepsTheNumberOfMessagesThroughText) {
  using std::string_literals::operator""s;
  for (const std::string& stream :
       {""s, "\0"s, "\0\0"s, "\x02\x38\x02\0"s, "\0\0\x02\x38\x02\0\0"s}) {
    const std::string text = Convert("Gid", "delimited", "text", stream).output;
    EXPECT_EQ(Convert("Gid", "text", "delimited", text).output, stream) << text;
  }
  EXPECT_EQ(Convert("Gid", "text", "delimited", "---\ntype: 2\n---\n\n").output, "\x02\x38\x02");
  EXPECT_EQ(Convert("Gid", "text", "delimited", "\n").output, "\0"s);
}

TEST(Convert, WritesAndReadsJsonByItsOptions) {
  const std::string gid = "\x0a\x02\xff\x01\x38\x02"s;
  EXPECT_EQ(Convert("Gid", "binary", "json", gid, {"--compact"}).output,
            "{\"id\":\"/wE=\",\"type\":\"GID_TYPE_SERVER\"}\n");
  const std::vector<std::string> hexadecimal = {"--compact", "--hex-bytes", "--enums-as-numbers"};
  const std::string json = Convert("Gid", "binary", "json", gid, hexadecimal).output;
  EXPECT_EQ(json, "{\"id\":\"ff01\",\"type\":2}\n");
  EXPECT_EQ(Convert("Gid", "json", "binary", json, hexadecimal).output, gid);
}

TEST(Convert, LeavesNothingOutUnlessTold) {
  // A stream of a plain Gid and one with an unknown field.
  const std::string stream = "\x02\x38\x02\x04\x38\x02\x28\x07"s;
  const ProcessResult refused = Convert("Gid", "delimited", "json", stream, {"--compact"});
  EXPECT_EQ(refused.status, 2);
  const std::string error = "record 1 cannot be written as JSON: field 5 (varint) is not known";
  EXPECT_NE(refused.errors.find(error), std::string::npos) << refused.errors;
  const ProcessResult lossy = Convert("Gid", "delimited", "json", stream, {"--compact", "--lossy"});
  EXPECT_EQ(lossy.status, 0);
  EXPECT_EQ(lossy.output, "{\"type\":\"GID_TYPE_SERVER\"}\n{\"type\":\"GID_TYPE_SERVER\"}\n");
  EXPECT_EQ(lossy.errors,
            "cmnsys: warning: record 1: field 5 (varint) is not known to Pb.CmnSys.Gid\n");

  EXPECT_EQ(Convert("Gid", "delimited", "delimited", stream).output, stream);
}

TEST(Convert, KnowsFormatsByTheEndingOfTheName) {
  const TemporaryFolder folder;
  const std::string json = folder.Write("in.jsonl", "{\"type\":2} {\"type\":3}");
  const std::string stream = folder.PathOf("out.delimited");
  ASSERT_EQ(Cmnsys({"convert", "Gid", json, "--output", stream}).status, 0);
  EXPECT_EQ(ReadFile(stream), "\x02\x38\x02\x02\x38\x03");
  const std::string lines = folder.PathOf("out.ndjson");
  ASSERT_EQ(Cmnsys({"convert", "Gid", stream, "-o", lines}).status, 0);
  EXPECT_EQ(ReadFile(lines),
            "{\"type\":\"GID_TYPE_SERVER\"}\n{\"type\":\"GID_TYPE_SAVED_VIEW\"}\n");
  const std::string text = folder.PathOf("out.txt");
  ASSERT_EQ(Cmnsys({"convert", "Gid", stream, "-o", text}).status, 0);
  EXPECT_EQ(ReadFile(text), "type: GID_TYPE_SERVER\n---\ntype: GID_TYPE_SAVED_VIEW\n");
}

TEST(Convert, PlacesErrorsInAStream) {
  EXPECT_TRUE(RefusedWith(Convert("Gid", "text", "delimited", "type: 2\n---\ntype: 3\ntipe: 4\n"),
                          "standard input:4:5: "));
  EXPECT_TRUE(RefusedWith(Convert("Gid", "delimited", "delimited", "\x02\x38\x02\x04\x38"),
                          "standard input: record 1, at byte 5: the stream ends 3 bytes before"));
  EXPECT_TRUE(RefusedWith(Convert("Gid", "json", "delimited", "{\"type\":2}\n{\"type\":2"),
                          "standard input:2:10: the text ends before the message does"));
  EXPECT_TRUE(RefusedWith(Convert("Gid", "delimited", "binary", "\x02\x38\x02\x02\x38\x02"),
                          "several messages"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"convert", "Gid", "/", "-f", "json"}), "Is a directory"));
}

TEST(Convert, LimitsEachMessageOfAStream) {
  const std::vector<std::string> limit = {"--max-bytes", "8"};
  const std::string text = "type: 2\n---\ntype: 3\n---\ntype: 4\n";
  EXPECT_EQ(Convert("Gid", "text", "delimited", text, limit).output.size(), 9U);
  EXPECT_TRUE(RefusedWith(Convert("Gid", "text", "delimited", text + "id:'x'\n", limit),
                          "a message longer than 8 bytes"));
  EXPECT_TRUE(RefusedWith(Convert("Gid", "json", "delimited", "{\"type\":2}", limit), "max_bytes"));
  EXPECT_TRUE(RefusedWith(Convert("Gid", "delimited", "text", "\x09", limit), "--max-bytes"));
}

TEST(Convert, LeavesNoPartialFileWhenAStreamBreaksOff) {
  const TemporaryFolder folder;
  const std::string output = folder.Write("out.json", "kept");
  std::string stream;
  for (int i = 0; i < 20000; ++i) stream += "\x02\x38\x02";
  EXPECT_TRUE(RefusedWith(Convert("Gid", "delimited", "json", stream + "\x02", {"-o", output}),
                          "record 20000"));
  EXPECT_EQ(ReadFile(output), "kept");
  EXPECT_EQ(folder.Names(), std::vector<std::string>{"out.json"});
}

}  // namespace
}  // namespace CmnSys::Test
