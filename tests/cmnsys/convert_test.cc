#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cmnsys_tool.h"

namespace CmnSys::Test {
namespace {

using std::string_literals::operator""s;

ProcessResult Convert(const std::string& type, const std::string& from, const std::string& to,
                      const std::string& input, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"convert", type, "-", "--from", from, "--to", to});
  return Cmnsys(options, input);
}

TEST(Convert, CountsMessagesOfTextByTheLinesBetweenThem) {
  EXPECT_EQ(Convert("Gid", "text", "delimited", "---\ntype: 2\n---\n\n").output, "\x02\x38\x02");
  EXPECT_EQ(Convert("Gid", "text", "delimited", "\n").output, "\0"s);
}

TEST(Convert, PassesOverAByteOrderMark) {
  EXPECT_EQ(Convert("Gid", "text", "binary", "\xef\xbb\xbftype: 2\r\n").output, "\x38\x02");
  EXPECT_EQ(Convert("Gid", "hex", "binary", "\xef\xbb\xbf 38 02\r\n").output, "\x38\x02");
}

TEST(Convert, WritesAndReadsJsonByItsOptions) {
  const std::string gid = "\x0a\x02\xff\x01\x38\x02"s;
  const std::vector<std::string> hexadecimal = {"--compact", "--hex-bytes", "--enums-as-numbers"};
  const std::string json = Convert("Gid", "binary", "json", gid, hexadecimal).output;
  EXPECT_EQ(json, "{\"id\":\"ff01\",\"type\":2}\n");
  EXPECT_EQ(Convert("Gid", "json", "binary", json, hexadecimal).output, gid);
}

TEST(Convert, PlacesErrorsInAStream) {
  EXPECT_TRUE(RefusedWith(Convert("Gid", "text", "delimited", "type: 2\n---\ntype: 3\ntipe: 4\n"),
                          "standard input:4:5: "));
  EXPECT_TRUE(RefusedWith(Convert("Gid", "delimited", "delimited", "\x02\x38\x02\x04\x38"),
                          "standard input: record 1, at byte 5: the stream ends 3 bytes before"));
  EXPECT_TRUE(RefusedWith(Convert("Gid", "json", "delimited", "{\"type\":2}\n{\"type\":2"),
                          "standard input:2:10: the text ends before the message does"));
  // A plain Gid and one with a field that is not known.
  EXPECT_NE(Convert("Gid", "delimited", "json", "\x02\x38\x02\x04\x38\x02\x28\x07")
                .errors.find("record 1 cannot be written as JSON: field 5 (varint) is not known"),
            std::string::npos);
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

}  // namespace
}  // namespace CmnSys::Test
