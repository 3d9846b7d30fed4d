#include <fcntl.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "CmnSys/Util/DelimitedStream.h"
#include "CmnSys/Util/RandomMessage.h"
#include "ProtoBuf/CmnSys/CmnSys.Events.pb.h"
#include "ProtoBuf/CmnSys/CmnSys.Gid.pb.h"
#include "support/files.h"

namespace CmnSys::Test {
namespace {

using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::StringOutputStream;
using Pb::CmnSys::Gid;
using Pb::CmnSys::Events::Event;
using std::string_literals::operator""s;
using Util::DelimitedReader;
using Util::DelimitedStatus;

// How a stream ends that is read record by record: the number of records, the last status and what
// is wrong.
struct Outcome {
  std::uint64_t records = 0;
  DelimitedStatus status = DelimitedStatus::kRecord;
  std::string error;
};

Outcome ReadAll(const std::string& bytes, const Util::DelimitedReadOptions& options = {}) {
  ArrayInputStream input(bytes.data(), static_cast<int>(bytes.size()));
  DelimitedReader reader(&input, options);
  Gid gid;
  Outcome outcome;
  while ((outcome.status = reader.Read(&gid)) == DelimitedStatus::kRecord) ++outcome.records;
  EXPECT_EQ(gid.ByteSizeLong(), 0U);
  if (outcome.status != DelimitedStatus::kEnd) outcome.error = ToString(reader.error());
  return outcome;
}

TEST(DelimitedStream, IsProtobufsOwnForm) {
  std::string ours;
  std::ostringstream theirs;
  {
    StringOutputStream output(&ours);
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
      Event event;
      Util::FillRandom(seed, {}, &event);
      if (seed % 10 == 0) event.Clear();
      ASSERT_FALSE(Util::WriteDelimited(event, &output));
      ASSERT_TRUE(google::protobuf::util::SerializeDelimitedToOstream(event, &theirs));
    }
  }
  EXPECT_EQ(ours, theirs.str());

  // As bytes, passed on without parsing.
  ArrayInputStream input(ours.data(), static_cast<int>(ours.size()), 100);
  DelimitedReader reader(&input);
  std::string copy;
  {
    StringOutputStream output(&copy);
    std::string_view bytes;
    while (reader.Read(&bytes) == DelimitedStatus::kRecord) {
      ASSERT_FALSE(Util::WriteDelimited(bytes, &output));
    }
  }
  EXPECT_EQ(copy, ours);
  EXPECT_EQ(reader.records(), 50U);
}

TEST(DelimitedStream, TellsCleanEndTruncatedAndCorruptApart) {
  const std::string record = "\x04\x0a\x02xy"s;
  const struct {
    std::string bytes;
    std::uint64_t records;
    DelimitedStatus status;
    const char* error;
  } cases[] = {
      {record + "\0"s, 2, DelimitedStatus::kEnd, ""},
      {record + "\x04\x0a\x02x", 1, DelimitedStatus::kTruncated,
       "record 1, at byte 9: the stream ends 1 bytes before the record does, which is 4 bytes "
       "long"},
      {record + "\x84", 1, DelimitedStatus::kTruncated,
       "record 1, at byte 5: the stream ends inside the length of a record"},
      {record + "\x02\x0a\x05" + record, 1, DelimitedStatus::kCorruptRecord,
       "record 1, at byte 7: in id, the length is 5 but the bytes left are 0"},
      {record + "\xff\xff\xff\xff\xff\x01", 1, DelimitedStatus::kCorruptLength,
       "record 1, at byte 5: what stands here is no length"},
      {record + "\x80\x80\x80\x80\x01", 1, DelimitedStatus::kTooLong,
       "record 1, at byte 5: the record is 268435456 bytes long but at most 67108864 are allowed"},
      {"\x84\x80\x80\x80\x00\x0a\x02xy"s, 1, DelimitedStatus::kEnd, ""},
  };
  for (const auto& c : cases) {
    const Outcome outcome = ReadAll(c.bytes);
    EXPECT_EQ(outcome.records, c.records) << c.error;
    EXPECT_EQ(outcome.status, c.status) << outcome.error;
    EXPECT_NE(outcome.error.find(c.error), std::string::npos) << outcome.error;
  }
}

TEST(DelimitedStream, LimitsSizeAndDepth) {
  Util::DelimitedReadOptions options;
  options.max_record_bytes = 4;
  EXPECT_EQ(ReadAll("\x04\x0a\x02xy"s, options).status, DelimitedStatus::kEnd);
  EXPECT_EQ(ReadAll("\x05\x0a\x03xyz"s, options).status, DelimitedStatus::kTooLong);

  // No memory goes with a length that is only announced.
  Gid gid;
  const std::string lying = "\x06\x0a\xff\xff\xff\x7f\x00"s;
  ArrayInputStream lying_input(lying.data(), static_cast<int>(lying.size()));
  EXPECT_EQ(DelimitedReader(&lying_input).Read(&gid), DelimitedStatus::kCorruptRecord);
  EXPECT_LE(gid.SpaceUsedLong(), 1000U);

  Event event;
  event.mutable_originating_server_gid()->set_id("x");
  std::string bytes;
  {
    StringOutputStream output(&bytes);
    ASSERT_FALSE(Util::WriteDelimited(event, &output, event.ByteSizeLong()));
    const auto error = Util::WriteDelimited(event, &output, event.ByteSizeLong() - 1);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->find("the record is 6 bytes long but at most 5 are allowed"), 0U) << *error;
  }
  EXPECT_EQ(bytes.size(), 1 + event.ByteSizeLong());
  ArrayInputStream input(bytes.data(), static_cast<int>(bytes.size()));
  Util::DelimitedReadOptions shallow;
  shallow.max_depth = 0;
  DelimitedReader reader(&input, shallow);
  EXPECT_EQ(reader.Read(&event), DelimitedStatus::kCorruptRecord);
  EXPECT_NE(reader.error().reason.find("nested more than 0 deep"), std::string::npos);
}

TEST(DelimitedStream, TellsOfAnOutputThatFailsAndAnInputThatShrinks) {
  std::signal(SIGPIPE, SIG_IGN);
  Gid gid;
  gid.set_id("gate");
  int pipe_ends[2];
  ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
  close(pipe_ends[0]);
  const std::pair<int, int> outputs[] = {{open("/dev/full", O_WRONLY | O_CLOEXEC), ENOSPC},
                                         {pipe_ends[1], EPIPE}};
  for (const auto& [fd, error] : outputs) {
    google::protobuf::io::FileOutputStream output(fd);
    output.SetCloseOnDelete(true);
    std::optional<std::string> told;
    for (int i = 0; i < 10'000 && !told; ++i) told = Util::WriteDelimited(gid, &output);
    EXPECT_EQ(told, "the output cannot be written");
    EXPECT_EQ(output.GetErrno(), error);
  }
  // A record has 7 bytes, and 16 are read at a time.
  const TemporaryFolder folder;
  std::string records;
  for (int i = 0; i < 10; ++i) records += "\x06\x0a\x04gate";
  for (const auto& [size, end] :
       {std::pair(20, DelimitedStatus::kTruncated), std::pair(21, DelimitedStatus::kEnd)}) {
    google::protobuf::io::FileInputStream input(
        open(folder.Write("in", records).c_str(), O_RDONLY | O_CLOEXEC), 16);
    input.SetCloseOnDelete(true);
    DelimitedReader reader(&input);
    ASSERT_EQ(reader.Read(&gid), DelimitedStatus::kRecord);
    ASSERT_EQ(truncate(folder.PathOf("in").c_str(), size), 0);
    DelimitedStatus status{};
    while ((status = reader.Read(&gid)) == DelimitedStatus::kRecord) continue;
    EXPECT_EQ(status, end);
    EXPECT_EQ(reader.records(), static_cast<std::uint64_t>(size / 7));
  }
}

}  // namespace
}  // namespace CmnSys::Test
