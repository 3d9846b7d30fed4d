#include <gtest/gtest.h>

#include <string>

#include "cmnsys_tool.h"

namespace CmnSys::Test {
namespace {

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

  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid", "-", "--max-bytes", "2"}, "\x38\x02\x38"),
                          "longer than 2 bytes"));
}

TEST(Commands, SayWhichNamesATypeMayHave) {
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Pb.CmnSys.Gdi"}), "\n  Pb.CmnSys.Gid\n"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"encode", "NothingOfTheKind"}), "\"cmnsys list\""));
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "EmailMessage"}),
                          "\n  Pb.CmnSys.Email.EmailMessage\n  Pb.CmnSys.EmailMessage"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "Gid", "/no/such/file"}), "/no/such/file"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"decode", "\x1b[31m\xc2\x9b"}), R"("\033[31m\302\233")"));
  EXPECT_TRUE(RefusedWith(Cmnsys({"convert", "Gid", "--compact=false"}), "--compact takes no"));
}

}  // namespace
}  // namespace CmnSys::Test
