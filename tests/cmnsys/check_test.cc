#include <gtest/gtest.h>

#include <string>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

constexpr const char* kMismatch = "type: IOTA_TYPE_U32 iota_bool {}";
constexpr const char* kMismatchLine =
    "iota_bool: payload-mismatch: type is IOTA_TYPE_U32, whose payload is iota_u32, but iota_bool "
    "is set\n";

TEST(CheckCommand, NamesAMessageThatIsWrongAsAWhole) {
  EXPECT_EQ(Cmnsys({"check", "DeviceCmd"}).output,
            ".: alternative-missing: none of the 26 alternatives of "
            "Pb.CmnSys.DeviceCmds.DeviceCmd is set\n");
}

TEST(CheckCommand, NamesTheInputOfEachViolationWhenThereAreSeveral) {
  const TemporaryFolder folder;
  const std::string good = folder.Write("good", "type: IOTA_TYPE_U32 iota_u32 {}");
  const std::string bad = folder.Write("bad", kMismatch);
  const std::string torn = folder.Write("torn", "type: IOTA_TYPE_U32 iota_u32 {");
  const ProcessResult result =
      Cmnsys({"check", "Iota", torn, good, bad, "no-such-file", "--from", "text"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, bad + ": " + kMismatchLine);
  // An input that is no message does not keep the others from being checked.
  EXPECT_EQ(result.errors.find("cmnsys: " + torn + ":1:31: "), 0U) << result.errors;
  EXPECT_NE(result.errors.find("cannot read no-such-file"), std::string::npos) << result.errors;

  EXPECT_EQ(Cmnsys({"check", "Iota", good, good, "--from", "text"}).status, 0);
  EXPECT_EQ(Cmnsys({"check", "Iota", good, torn, "--from", "text"}).status, 2);
}

TEST(CheckCommand, ReadsStreamsAndKeepsWhatItFoundBeforeAFault) {
  const std::string bytes = Cmnsys({"encode", "Iota"}, kMismatch).output;
  const std::string record = std::string(1, static_cast<char>(bytes.size())) + bytes;
  const ProcessResult stream =
      Cmnsys({"check", "Iota", "--from", "delimited"}, record + record + "\x05");
  EXPECT_EQ(stream.status, 2);
  const std::string both = "record 0: " + std::string(kMismatchLine) + "record 1: " + kMismatchLine;
  EXPECT_EQ(stream.output, both);
  // Text tells by the second record that it is a stream.
  const std::string texts = std::string(kMismatch) + "\n---\n" + kMismatch;
  EXPECT_EQ(Cmnsys({"check", "Iota", "--from", "text"}, texts).output, both);
  EXPECT_EQ(stream.errors.find("cmnsys: standard input: "), 0U) << stream.errors;
}

TEST(CheckCommand, SaysWhenItStopsEarly) {
  EXPECT_EQ(Cmnsys({"check", "LocalizedString", "--from", "text", "--max-violations", "2"},
                   "arguments {} arguments {}")
                .errors,
            "");
  const ProcessResult result =
      Cmnsys({"check", "LocalizedString", "--from", "text", "--max-violations", "2"},
             "arguments {} arguments {} arguments {}");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output,
            "arguments[0].type: selector-unset: type is not set, so readers cannot tell the kind\n"
            "arguments[1].type: selector-unset: type is not set, so readers cannot tell the "
            "kind\n");
  EXPECT_EQ(result.errors,
            "cmnsys: stopped checking standard input after 2 violations; --max-violations sets the "
            "limit\n");
}

}  // namespace
}  // namespace CmnSys::Test
