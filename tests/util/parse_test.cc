#include "CmnSys/Util/Parse.h"

#include <google/protobuf/io/coded_stream.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"

namespace CmnSys::Util {
namespace {

using Pb::CmnSys::Gid;
using Pb::CmnSys::Iota;
using Pb::CmnSys::Events::Event;
using std::string_literals::operator""s;

std::string Describe(const google::protobuf::Descriptor& type, const std::string& bytes) {
  const std::optional<WireFault> fault = FindWireFault(type, bytes);
  if (!fault) return "none";
  return std::to_string(fault->offset) + " [" + fault->path + "] " + fault->reason;
}

TEST(FindWireFault, NamesOffsetFieldAndReason) {
  const auto& gid = *Gid::descriptor();
  const auto& iota = *Iota::descriptor();
  EXPECT_EQ(Describe(gid, "\x0a\x01x\x38\x02"s), "none");
  EXPECT_EQ(Describe(gid, "\x0a\x05\x01\x02"s), "1 [id] the length is 5 but the bytes left are 2");
  EXPECT_EQ(Describe(gid, "\x38\xff"s), "1 [type] a number is cut off by the end of the input");
  EXPECT_EQ(Describe(gid, "\x0a\x01x\x00"s), "3 [] a tag with field number 0 stands here");
  EXPECT_EQ(Describe(gid, "\x2f"s), "1 [5] wire type 7 does not exist");
  EXPECT_EQ(Describe(gid, "\x2c"s), "0 [] an end of group 5 stands here without its beginning");
  EXPECT_EQ(Describe(gid, "\x2b\x08\x01"s), "3 [5] the end of the group is missing");
  EXPECT_EQ(Describe(gid, "\x29\x01"s), "1 [5] the value takes 8 bytes but the bytes left are 1");
  EXPECT_EQ(Describe(gid, "\x38" + std::string(10, '\xff') + "\x01"),
            "1 [type] a number is longer than 10 bytes");
  EXPECT_EQ(Describe(gid, "\x8a\x80\x80\x80\x80\x00\x01x"s),
            "0 [] a field tag is longer than 5 bytes");
  EXPECT_EQ(Describe(gid, "\x0a\x81\x80\x80\x80\x80\x00x"s),
            "1 [id] a length is longer than 5 bytes");
  // iota_localized_string.val.arguments[1].iota_u32 with a length that is too long by one.
  EXPECT_EQ(Describe(iota, "\xe2\x0d\x09\x0a\x07\x12\x00\x12\x03\xe2\x0c\x01"s),
            "11 [iota_localized_string.val.arguments[1].iota_u32] the length is 1 but the bytes "
            "left are 0");
}

TEST(FindWireFault, EntersExtensions) {
  Event event;
  event.MutableExtension(Pb::CmnSys::Events::event_device_motion_start);
  std::string bytes = event.SerializeAsString();
  bytes.back() = '\x01';
  bytes += '\x0a';
  const std::optional<WireFault> fault = FindWireFault(*Event::descriptor(), bytes);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->path.rfind("[Pb.CmnSys.Events.event_device_motion_start].", 0), 0U)
      << fault->path;
}

template <typename MessageType>
void AgreesWithTheParser(const std::string& bytes) {
  MessageType message;
  EXPECT_EQ(message.ParseFromString(bytes), !FindWireFault(*MessageType::descriptor(), bytes))
      << testing::PrintToString(bytes) << "\n"
      << Describe(*MessageType::descriptor(), bytes);
}

TEST(FindWireFault, AgreesWithTheParserOnOverlongNumbers) {
  // Varints that are longer than they need to be.
  for (const char* const begin : {"", "\x0a", "\x38", "\xe2\x0c\x02\x08"}) {
    for (std::size_t more = 0; more <= 11; ++more) {
      for (const char last : {'\x00', '\x01', '\x07', '\x0f', '\x7f'}) {
        AgreesWithTheParser<Iota>(begin + std::string(more, '\x80') + last + "\x01"s);
        AgreesWithTheParser<Gid>(begin + ("\x8a" + std::string(more, '\x80')) + last + "\x01x"s);
      }
    }
  }
}

TEST(FindWireFault, CountsDepthAsTheParserDoes) {
  std::string bytes;
  for (int depth = 1; depth <= 102; ++depth) {
    bytes = "\x0b" + bytes + "\x0c";  // unknown group 1 of a type without field 1 as a group
    AgreesWithTheParser<Gid>(bytes);
  }
  EXPECT_NE(Describe(*Gid::descriptor(), bytes).find("nested more than 100 deep"),
            std::string::npos);
}

TEST(Parse, KeepsItsLimits) {
  Gid gid;
  ParseLimits limits;
  limits.max_bytes = 3;
  EXPECT_FALSE(Parse("\x0a\x01x"s, limits, &gid));
  EXPECT_EQ(Parse("\x0a\x02xy"s, limits, &gid)->reason,
            "the message is 4 bytes long but at most 3 are allowed; raise the limit if that is "
            "right");
  Iota iota;
  iota.mutable_iota_localized_string()->mutable_val()->set_key("k");
  const std::string two_below = iota.SerializeAsString();
  limits = {};
  limits.max_depth = 2;
  EXPECT_FALSE(Parse(two_below, limits, &iota));
  EXPECT_EQ(iota.SerializeAsString(), two_below);
  limits.max_depth = 1;
  EXPECT_EQ(Parse(two_below, limits, &iota)->path, "iota_localized_string.val");
}

}  // namespace
}  // namespace CmnSys::Util
