#include <gtest/gtest.h>

#include <string>

#include "cmnsys_tool.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

using std::string_literals::operator""s;

// A Gid with the id 01 00 02, a kind of object that no version knows, and an unassigned field 5.
const std::string kGidWithUnknowns = "\x0a\x03\x01\x00\x02\x38\x1b\x28\x07"s;

TEST(Encode, WritesTheBytesOfTheTextAndDecodeGivesTheTextBack) {
  const TemporaryFolder folder;
  for (const char* const name : {"gid.txt:Pb.CmnSys.Gid", "iota.txt:Iota"}) {
    const std::string pair = name;
    const std::string file = std::string(CMNSYS_EXAMPLE_DATA "/") + pair.substr(0, pair.find(':'));
    const std::string type = pair.substr(pair.find(':') + 1);
    const std::string bytes = folder.PathOf("bytes");
    ASSERT_EQ(Cmnsys({"encode", type, file, "--output", bytes}).status, 0);

    const ProcessResult text = Cmnsys({"decode", type, bytes});
    ASSERT_EQ(text.status, 0) << text.errors;
    EXPECT_EQ(Cmnsys({"encode", type}, text.output).output, ReadFile(bytes));
  }
  EXPECT_EQ(Cmnsys({"encode", "Gid"}, "id: '\\001\\000' type: GID_TYPE_SERVER").output,
            "\x0a\x02\x01\x00\x38\x02"s);
}

TEST(Decode, ShowsUnknownFieldsByNumber) {
  const ProcessResult result = Cmnsys({"decode", "Gid"}, kGidWithUnknowns);
  ASSERT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output, "id: \"\\001\\000\\002\"\n7: 27\n5: 7\n");
}

TEST(Encode, NamesLineAndColumnOfMalformedText) {
  const TemporaryFolder folder;
  const std::string file = folder.Write("bad.txt", "type: IOTA_TYPE_U32\niota_u32 { vl: 7 }\n");
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Iota", file}), file + ":2:14: "));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Iota"}, "type: NOTHING"), "standard input:1:14: "));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Iota"}, "iota_u32 {"), "standard input:1:11: "));
}

TEST(Decode, TellsWhereBytesAreTruncatedOrMalformed) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid"}, "\x0a\x05\x01\x02"),
                          "at byte 1, in id, the length is 5 but the bytes left are 2"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Iota"}, "\x08\x04\xe2\x0c\x02\x08\xff"),
                          "in iota_u32.val, a number is cut off"));
}

TEST(Commands, LimitDepthAndSizeOfTheirInput) {
  std::string text = "type: IOTA_TYPE_U32";
  for (int i = 0; i < 40; ++i) {
    text = "iota_localized_string { val { arguments { " + text + " } } }";
  }
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "Iota"}, text), "recursion limit of 100"));
  const ProcessResult bytes = Cmnsys({"encode", "Iota", "--max-depth", "120"}, text);
  ASSERT_EQ(bytes.status, 0) << bytes.errors;
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Iota"}, bytes.output), "nested more than 100 deep"));
  EXPECT_EQ(Cmnsys({"decode", "Iota", "-", "--max-depth", "120"}, bytes.output).status, 0);

  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid", "-", "--max-bytes", "8"}, kGidWithUnknowns),
                          "longer than 8 bytes"));
}

TEST(Commands, SuggestTheNearestNamesForAnUnknownType) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Pb.CmnSys.Gdi"}), "\n  Pb.CmnSys.Gid\n"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "iotaboolarray"}), "\n  Pb.CmnSys.IotaBoolArray\n"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "NothingOfTheKind"}), "\"cmnsys list\""));
}

TEST(Commands, AskForMoreOfAnAmbiguousName) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "EmailMessage"}),
                          "\n  Pb.CmnSys.Email.EmailMessage\n  Pb.CmnSys.EmailMessage"));
}

TEST(Commands, ReportInputThatCannotBeRead) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid", "/no/such/file"}), "/no/such/file"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid", "/"}), "Is a directory"));
}

TEST(Commands, ExitWithTwoForACommandLineThatIsNotUnderstood) {
  EXPECT_EQ(Cmnsys({}).status, 2);
  EXPECT_EQ(Cmnsys({"frobnicate"}).status, 2);
  EXPECT_EQ(Cmnsys({"decode"}).status, 2);
  EXPECT_EQ(Cmnsys({"decode", "Gid", "-", "--max-depth", "0"}).status, 2);
  EXPECT_EQ(Cmnsys({"--version"}).status, 0);
}

}  // namespace
}  // namespace CmnSys::Test
