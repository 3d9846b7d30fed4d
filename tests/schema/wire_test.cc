// What must hold of the core types' bytes beyond the plain round trip.

#include <google/protobuf/io/coded_stream.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Iotas.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.NotificationsDerived.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.pb.h"

namespace CmnSys::Test {
namespace {

using Pb::CmnSys::Gid;
using Pb::CmnSys::Iota;
using std::string_literals::operator""s;

template <typename MessageType>
MessageType Parsed(const std::string& bytes) {
  MessageType message;
  EXPECT_TRUE(message.ParseFromString(bytes));
  return message;
}

TEST(EnumNumbersThatNoVersionKnows, LeaveTheFieldUnsetAndAreWrittenBack) {
  for (const char number : {24, 27, 33, 36}) {
    const std::string bytes = {'\x38', number};
    const Gid gid = Parsed<Gid>(bytes);
    EXPECT_FALSE(gid.has_type());
    EXPECT_EQ(gid.type(), Pb::CmnSys::GID_TYPE_UNKNOWN);
    EXPECT_EQ(gid.SerializeAsString(), bytes);
  }

  // A payload beside an unknown selector is kept as parsed.
  const std::string bytes = "\x08\x17\xe2\x0c\x02\x08\x07"s;
  const Iota iota = Parsed<Iota>(bytes);
  EXPECT_FALSE(iota.has_type());
  EXPECT_EQ(iota.iota_u32().val(), 7U);
  EXPECT_EQ(Parsed<Iota>(iota.SerializeAsString()).unknown_fields().field_count(), 1);
}

// 1002 lies between two numbers of the enum, which begins at 999.
TEST(EnumNumbersThatNoVersionKnows, IncludeGapsInsideAnEnum) {
  EXPECT_FALSE(Pb::CmnSys::DbChangeType_IsValid(1002));
  EXPECT_FALSE(Pb::CmnSys::DbChangeType_IsValid(0));
  using Pb::CmnSys::Notifications::NotificationDbScheduler;
  EXPECT_EQ(NotificationDbScheduler().db_change_type(), Pb::CmnSys::DB_CHANGE_TYPE_UNKNOWN);
  EXPECT_EQ(static_cast<int>(NotificationDbScheduler().db_change_type()), 999);
}

TEST(UnassignedFieldNumbers, AreKeptAndWrittenBehindTheKnownFields) {
  const Gid gid = Parsed<Gid>("\x28\x07\x32\x01x\x0a\x01y\x38\x02"s);
  EXPECT_EQ(gid.SerializeAsString(), "\x0a\x01y\x38\x02\x28\x07\x32\x01x"s);

  const std::string compat = "\x0a\x02\x08\x01\x30\x05"s;  // fields 1 and 6
  const auto server_compat = Parsed<Pb::CmnSys::ServerCompat>(compat);
  EXPECT_EQ(server_compat.server_class(), 5U);
  EXPECT_EQ(server_compat.SerializeAsString(), "\x30\x05\x0a\x02\x08\x01"s);
}

TEST(ByteStrings, KeepZerosAndEmptinessInAllIdFields) {
  Gid gid;
  gid.set_id("\0\0"s);
  gid.set_data_store_id(""s);
  gid.set_server_id("a\0b"s);
  gid.set_cluster_id(std::string(70000, '\0'));
  const Gid copy = Parsed<Gid>(gid.SerializeAsString());
  EXPECT_EQ(copy.id(), "\0\0"s);
  EXPECT_TRUE(copy.has_data_store_id());
  EXPECT_EQ(copy.server_id(), "a\0b"s);
  EXPECT_EQ(copy.cluster_id().size(), 70000U);
}

TEST(Iotas, AcceptSeveralPayloadsAndEmptyArrays) {
  Iota iota;
  iota.set_type(Pb::CmnSys::IOTA_TYPE_BOOL);
  iota.mutable_iota_bool()->set_val(true);
  iota.mutable_iota_string_array();
  const Iota copy = Parsed<Iota>(iota.SerializeAsString());
  EXPECT_TRUE(copy.iota_bool().val());
  EXPECT_TRUE(copy.has_iota_string_array());
  EXPECT_EQ(copy.iota_string_array().val_size(), 0);
}

// One level of nesting is Iota, IotaLocalizedString, LocalizedString: three messages.
Iota NestedIota(int levels) {
  Iota iota;
  Iota* innermost = &iota;
  for (int i = 0; i < levels; ++i) {
    innermost->set_type(Pb::CmnSys::IOTA_TYPE_LOCALIZED_STRING);
    innermost = innermost->mutable_iota_localized_string()->mutable_val()->add_arguments();
  }
  innermost->set_type(Pb::CmnSys::IOTA_TYPE_BOOL);
  return iota;
}

TEST(Iotas, NestAsDeepAsTheParsersLimitAllows) {
  Iota parsed;
  EXPECT_TRUE(parsed.ParseFromString(NestedIota(33).SerializeAsString()));
  EXPECT_EQ(parsed.SerializeAsString(), NestedIota(33).SerializeAsString());

  const std::string deeper = NestedIota(34).SerializeAsString();
  EXPECT_FALSE(parsed.ParseFromString(deeper));
  google::protobuf::io::CodedInputStream stream(
      reinterpret_cast<const std::uint8_t*>(deeper.data()), static_cast<int>(deeper.size()));
  stream.SetRecursionLimit(102);
  EXPECT_TRUE(parsed.ParseFromCodedStream(&stream));
}

}  // namespace
}  // namespace CmnSys::Test
