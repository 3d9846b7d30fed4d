#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "cmnsys_tool.h"

namespace CmnSys::Test {
namespace {

using std::string_literals::operator""s;

ProcessResult FromHex(const std::string& dump) {
  return Cmnsys({"convert", "IotaBytesArray", "-", "--from", "hex", "--to", "binary"}, dump);
}

// 22 bytes in two fields, whose characters look like bytes of a dump.
const std::string kBytes =
    "\x0a\x0b"
    "ab cd ef 01"
    "\x0a\x07"
    "\x00\xff|>~ 2"s;

// The dumps of common tools are read by the fuzz target.
TEST(HexDump, ReadsFurtherForms) {
  const std::pair<const char*, const char*> dumps[] = {
      {"part of a longer dump",
       "00001fa0: 0a0b 6162 2063 6420 6566 2030 310a 0700\n00001fb0: ff7c 3e7e 2032\n"},
      {"xxd -i with a name",
       "unsigned char gid_bin[] = {\n"
       "  0x0a, 0x0b, 0x61, 0x62, 0x20, 0x63, 0x64, 0x20, 0x65, 0x66, 0x20, 0x30,\n"
       "  0x31, 0x0a, 0x07, 0x00, 0xff, 0x7c, 0x3e, 0x7e, 0x20, 0x32\n};\n"
       "unsigned int gid_bin_len = 22;\n"},
      {"xxd -e",
       "00000000: 62610b0a 20646320 30206665 00070a31  ..ab cd ef 01...\n"
       "00000010: 7e3e7cff     3220                    .|>~ 2\n"},
      {"short offsets",
       "0x0: 0a 0b 61 62 20 63 64 20 65 66 20 30 31 0a 07 00\n0x10: ff 7c 3e 7e 20 32\n"},
      {"C string",
       R"("\x0a\x0b\x61\x62\x20\x63\x64\x20\x65\x66\x20\x30\x31\x0a\x7\x0\xff\x7c\x3e\x7e\x20\x32")"},
  };
  for (const auto& [tool, dump] : dumps) {
    const ProcessResult result = FromHex(dump);
    EXPECT_EQ(result.status, 0) << tool << ": " << result.errors;
    EXPECT_EQ(result.output, kBytes) << tool;
  }
  EXPECT_EQ(FromHex("{0xa, 0x3, 0x1,\n 2, 0x3}").status, 2);
  EXPECT_EQ(FromHex("{0xa, 0x3, 0x1,\n 02, 0x3}").output, "\x0a\x03\x01\x02\x03");
}

TEST(HexDump, FillsInRepeatedLines) {
  const std::string dump =
      "00000000  0a 3e 61 61 61 61 61 61  61 61 61 61 61 61 61 61  |.>aaaaaaaaaaaaaa|\n"
      "00000010  61 61 61 61 61 61 61 61  61 61 61 61 61 61 61 61  |aaaaaaaaaaaaaaaa|\n"
      "*\n";
  EXPECT_EQ(FromHex(dump + "00000040\n").output, "\x0a\x3e" + std::string(62, 'a'));
  EXPECT_TRUE(RefusedWith(FromHex(dump), "how often to repeat"));
  EXPECT_TRUE(RefusedWith(FromHex(dump + "ffffffffff0\n"), "holds more than 67108864 bytes"));
}

TEST(HexDump, TellsTheBaseOfOffsetsByTheirDigits) {
  // od leaves out lines that repeat; the number of lines depends on the base.
  const std::string line = " 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61 61\n*\n";
  const std::string bytes = "\x0a\x4e" + std::string(78, 'a');
  const std::string first = " 0a 4e 61 61 61 61 61 61 61 61 61 61 61 61 61 61\n";
  EXPECT_EQ(FromHex("0000000" + first + "0000020" + line + "0000120\n").output, bytes);
  EXPECT_EQ(FromHex("0000000" + first + "0000016" + line + "0000080\n").output, bytes);
  EXPECT_EQ(FromHex("000000" + first + "000010" + line + "000050\n").output, bytes);
  // 7 lines in octal, 10 in decimal.
  EXPECT_TRUE(RefusedWith(FromHex("0000000" + line + "0000160\n"), "can be read in several ways"));
}

TEST(HexDump, NoticesWhatIsMissingOrNoDump) {
  // Each would otherwise give other bytes than those that were dumped.
  const std::pair<const char*, const char*> dumps[] = {
      {"00000000: 0a0b 6162 2063 6420\n00000010: 6566 2030\n",
       "2:1: the offset is 00000010 but 8 bytes stand above"},
      {"0000000 0b0a 6261\n0000004\n", "odd number"},
      {"0a0b 61 62", "1:1: 0a0b may be an offset or bytes"},
      {"0a 0", "1:4: an odd number"},
      {"0a 00 0x", "1:9: bytes are expected"},
      {"00000000  0a 0e 61 61 61 61 61 61  61 61 61 61 61 61 61 61\n"
       "00000020  61 61 61 61 61 61 61 61  61 61 61 61 61 61 61 61\n",
       "2:1: the offset is 00000020 but 16 bytes stand above"},
      {"10, 2, 97, 98", "1:1: these numbers may be decimal"},
      {"61 62  ab", "1:8: what stands here may be bytes or the characters"},
      {"00000000: 0a0b6162 20636420\n", "can be read in several ways"},
      {"unsigned char b[] = { 0x01 };\nunsigned int b_len = 2;\n", "declares 2 bytes but holds 1"},
      {"00000000: 0a02 zz01\n", "1:16: bytes are expected"},
  };
  for (const auto& [dump, error] : dumps) EXPECT_TRUE(RefusedWith(FromHex(dump), error));
}

TEST(HexDump, HoldsAnyNumberOfMessagesEachFromOffsetZero) {
  const std::string stream = "\x00\x02\x38\x02\x00"s;
  const ProcessResult dumps =
      Cmnsys({"convert", "Gid", "--from", "delimited", "--to", "hex"}, stream);
  const std::string empty = "00000000 " + std::string(50, ' ') + " ||\n";
  EXPECT_EQ(dumps.output, empty + "00000000  38 02" + std::string(45, ' ') + "|8.|\n" + empty);
  EXPECT_EQ(Cmnsys({"convert", "Gid", "--from", "hex", "--to", "delimited"}, dumps.output).output,
            stream);
  EXPECT_TRUE(RefusedWith(Cmnsys({"guess", "-", "--from", "hex"}, dumps.output), "holds 3 dumps"));
}

}  // namespace
}  // namespace CmnSys::Test
